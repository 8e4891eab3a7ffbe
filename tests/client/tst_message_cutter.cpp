#include "HostConnection.h"

#include <QTest>

using namespace OrvaneClient;

class tst_message_cutter : public QObject { // NOLINT(readability-identifier-naming): named after its file
    Q_OBJECT

private Q_SLOTS:
    void messagesAreCutWhereverTheReadsEnd();
};

void tst_message_cutter::messagesAreCutWhereverTheReadsEnd()
{
    const QByteArray stream = "\r\n\r\na\r\nb\r\r\n\r\n\r\n\r\nc\r\n\r";
    const QList<QByteArray> expected = {"", "a\r\nb\r", ""};
    for (qsizetype first = 0; first <= stream.size(); ++first) {
        for (qsizetype second = first; second <= stream.size(); ++second) {
            MessageCutter cutter;
            QList<QByteArray> messages = cutter.add(stream.left(first));
            messages += cutter.add(stream.mid(first, second - first));
            messages += cutter.add(stream.mid(second));
            QCOMPARE(messages, expected);
            QCOMPARE(cutter.incompleteLength(), 4);
        }
    }
}

QTEST_GUILESS_MAIN(tst_message_cutter)

#include "tst_message_cutter.moc"
