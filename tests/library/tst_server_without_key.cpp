#include "LogCapture.h"
#include "Session.h"

#include <QtTest>

/// A host that carries no key and no certificate.
class tst_server_without_key : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void listensInSilenceAndServesNobody();
};

void tst_server_without_key::listensInSilenceAndServesNobody()
{
    const LogCapture log;
    const Session session;
    QVERIFY(session.server->isListening());
    QCOMPARE(LogCapture::take(), QStringList());

    TlsClient client;
    const QSignalSpy spy(&client, &QAbstractSocket::errorOccurred);
    client.connectToPort(session.server->serverPort());
    QTRY_COMPARE(spy.count(), 1);
    QVERIFY(!client.isEncrypted());
    QTRY_COMPARE(session.server->findChildren<QSslSocket*>().size(), 0);
}

QTEST_GUILESS_MAIN(tst_server_without_key)
#include "tst_server_without_key.moc"
