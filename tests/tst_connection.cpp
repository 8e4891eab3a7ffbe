#include "OrvaneConnection.h"
#include "RecordingHost.h"

#include <QTcpServer>
#include <QtTest>

/// A connection over a plain socket, which unlike a TLS socket never reports bytes twice.
class tst_connection : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void carriesOutWhatArrivedInsideAHostCall();
};

void tst_connection::carriesOutWhatArrivedInsideAHostCall()
{
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    QTcpSocket client;
    client.connectToHost(server.serverAddress(), server.serverPort());
    QTRY_VERIFY(server.hasPendingConnections());
    QTcpSocket* socket = server.nextPendingConnection();

    RecordingHost host;
    const OrvaneInterface::OrvaneConnection connection(&host, socket, QString(), QString(), nullptr);
    host.duringCall = [&] {
        if (host.calls.size() > 1)
            return;
        client.write("<setSplitMode/>\r\n\r\n");
        QTRY_VERIFY(socket->bytesAvailable() > 0);
    };
    client.write("<loginClient/>\r\n\r\n<setPreset/>\r\n\r\n");
    QTRY_COMPARE(host.calls.size(), 2);
    QVERIFY(host.calls.last().startsWith(QStringLiteral("setSplitModeByName")));
}

QTEST_GUILESS_MAIN(tst_connection)
#include "tst_connection.moc"
