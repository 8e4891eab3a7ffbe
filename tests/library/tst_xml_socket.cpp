#include "XMLSocket.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

#include <memory>

using namespace Qt::StringLiterals;

/// Both ends of a connection on the loopback address, and the framing over one of them.
class tst_xml_socket : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void cutsWhereverTheReadsEnd_data();
    void cutsWhereverTheReadsEnd();
    void keepsAnIncompleteMessage();
    void decodesEachReadOnItsOwn();
    void writesOneTerminator_data();
    void writesOneTerminator();

private:
    QStringList receive(const QByteArray& bytes);

    std::unique_ptr<QTcpServer> server;
    std::unique_ptr<QTcpSocket> peer;
    std::unique_ptr<QTcpSocket> socket;
    std::unique_ptr<XMLSocket> xmlSocket;
};

void tst_xml_socket::init()
{
    server = std::make_unique<QTcpServer>();
    QVERIFY(server->listen(QHostAddress::LocalHost));
    peer = std::make_unique<QTcpSocket>();
    peer->connectToHost(server->serverAddress(), server->serverPort());
    QTRY_VERIFY(server->hasPendingConnections());
    socket.reset(server->nextPendingConnection());
    QTRY_COMPARE(peer->state(), QAbstractSocket::ConnectedState);
    xmlSocket = std::make_unique<XMLSocket>(socket.get());
}

void tst_xml_socket::cleanup()
{
    xmlSocket.reset();
    socket.reset();
    peer.reset();
    server.reset();
}

/// Sends \a bytes, has them read in one read, and takes the complete messages.
QStringList tst_xml_socket::receive(const QByteArray& bytes)
{
    peer->write(bytes);
    if (!QTest::qWaitFor([&] { return socket->bytesAvailable() == bytes.size(); }))
        return {u"the bytes did not arrive"_s};
    xmlSocket->readMessages();
    return std::exchange(xmlSocket->messages, {});
}

void tst_xml_socket::cutsWhereverTheReadsEnd_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QStringList>("messages");

    const QString a = u"<a/>"_s;
    const QString b = u"<b/>"_s;
    QTest::newRow("one message") << QByteArray("<a/>\r\n\r\n") << QStringList {a};
    QTest::newRow("two messages") << QByteArray("<a/>\r\n\r\n<b/>\r\n\r\n") << QStringList {a, b};
    QTest::newRow("two terminators in a row hold an empty message")
        << QByteArray("<a/>\r\n\r\n\r\n\r\n") << QStringList {a, QString()};
    QTest::newRow("a stray line break begins the next message")
        << QByteArray("<a/>\r\n\r\n\r\n<b/>\r\n\r\n") << QStringList {a, u"\r\n<b/>"_s};
    QTest::newRow("a carriage return before the terminator belongs to the message")
        << QByteArray("<a/>\r\r\n\r\n") << QStringList {u"<a/>\r"_s};
    QTest::newRow("other line ends do not end a message")
        << QByteArray("a\n\nb\r\rc\r\n\n\r\r\nd\r\n\r\n") << QStringList {u"a\n\nb\r\rc\r\n\n\r\r\nd"_s};
}

void tst_xml_socket::cutsWhereverTheReadsEnd()
{
    QFETCH(const QByteArray, bytes);
    QFETCH(const QStringList, messages);

    QCOMPARE(receive(bytes), messages);
    for (qsizetype cut = 1; cut < bytes.size(); ++cut) {
        QStringList taken = receive(bytes.first(cut));
        taken += receive(bytes.sliced(cut));
        QVERIFY2(taken == messages, qPrintable(u"cut at %1: %2"_s.arg(cut).arg(taken.join(u'|'))));
    }

    QStringList taken;
    for (const char byte : bytes)
        taken += receive(QByteArray(1, byte));
    QCOMPARE(taken, messages);
}

void tst_xml_socket::keepsAnIncompleteMessage()
{
    QCOMPARE(receive("A\r\n"), QStringList());
    QCOMPARE(receive("\r\nB\r\n\r"), QStringList {u"A"_s});
    QCOMPARE(receive(QByteArray(100000, 'x')), QStringList());
    QCOMPARE(receive("\r\n\r\n"), QStringList {u"B\r\n\r"_s + QString(100000, u'x')});
}

void tst_xml_socket::decodesEachReadOnItsOwn()
{
    const QByteArray e = "\u00e9"; // two bytes
    QCOMPARE(receive(e + "\r\n\r\n"), QStringList {u"\u00e9"_s});
    QCOMPARE(receive(e.first(1)), QStringList());
    QCOMPARE(receive(e.last(1) + "\r\n\r\n"), QStringList {u"\ufffd\ufffd"_s});
}

void tst_xml_socket::writesOneTerminator_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("bytes");

    QTest::newRow("text without terminator") << u"X"_s << QByteArray("X\r\n\r\n");
    QTest::newRow("text with terminator") << u"X\r\n\r\n"_s << QByteArray("X\r\n\r\n");
    QTest::newRow("half a terminator does not count") << u"X\r\n"_s << QByteArray("X\r\n\r\n\r\n");
    QTest::newRow("an empty text is the terminator alone") << QString() << QByteArray("\r\n\r\n");
    QTest::newRow("not in ASCII") << u"\u00e9"_s << QByteArray("\xc3\xa9\r\n\r\n");
}

void tst_xml_socket::writesOneTerminator()
{
    QFETCH(const QString, text);
    QFETCH(const QByteArray, bytes);

    xmlSocket->writeMessage(text);
    QCOMPARE(socket->bytesToWrite(), bytes.size());
    QTRY_COMPARE(peer->bytesAvailable(), bytes.size());
    QCOMPARE(peer->readAll(), bytes);
}

QTEST_GUILESS_MAIN(tst_xml_socket)
#include "tst_xml_socket.moc"
