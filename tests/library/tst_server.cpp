#include "LogCapture.h"
#include "Session.h"

#include <QEventLoop>
#include <QPointer>
#include <QSignalSpy>
#include <QTcpServer>
#include <QThread>
#include <QtTest>

#include <array>
#include <functional>

using namespace Qt::StringLiterals;

using OrvaneInterface::OrvaneServer;

/// The server and its connections over real TLS: who is served, told and let go, whatever clients and host do.
class tst_server : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void listensOnThePortItIsGiven();
    void saysNothingWhenThePortIsTaken();
    void canBeCalledByTheNamesOfItsSlots();
    void greetsNobodyAndLogsEachClient();
    void tellsThoseWhoWaitForARefresh();
    void tellsOfARefreshThatEndsInsideTheCall();
    void refusesASecondRefresh();
    void forgetsAWaitingClientThatLeft();
    void goesOnWhenAClientMisbehaves_data();
    void goesOnWhenAClientMisbehaves();
    void logsATlsFailure();
    void sendsWhatIsReadyBeforeTheNextLongCall();
    void keepsOrderInTheHostsEventLoops();
    void letsAClientGoInsideAHostCall();
    void canBeDestroyedInsideAnyHostCall_data();
    void canBeDestroyedInsideAnyHostCall();
    void canBeDestroyedAfterAClientLeftInsideAHostCall();
    void canBeDestroyedWithClients();
};

namespace {

const QByteArray Notice =
    "<p:updateRecorderContentsFinished xmlns:p=\"http://www.halden.example/ravo_1_0/\" />\r\n\r\n";

/// One document for each operation of the host.
const std::array Documents {
    "<updateRecorderContents/>",
    "<getRecorderList/>",
    "<getPresetsList/>",
    "<showLive/>",
    "<showLiveAtSubsplit/>",
    "<showTrack><track>T</track></showTrack>",
    "<showTrack><trackid>1</trackid></showTrack>",
    "<setPreset/>",
    "<setSplitMode><splitmode>1</splitmode></setSplitMode>",
    "<setSplitMode/>",
    "<setDetailViews/>",
    "<getPertinentInfo/>",
};

/// Runs the event loop, as a host may inside a call, until \a condition holds; then once more, deferred deletes
/// included.
template <typename Condition> void runEventLoop(Condition condition)
{
    QVERIFY(QTest::qWaitFor(condition));
    QEventLoop().processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

QSslSocket* onlySocket(const Session& session)
{
    const auto sockets = session.server->findChildren<QSslSocket*>();
    return sockets.size() == 1 ? sockets.first() : nullptr;
}

/// Lets the only client go inside each host call, and has \a rest happen when the server has seen it. Returns the
/// server's socket of that client, null when there is none.
QPointer<QSslSocket> leaveInsideHostCalls(Session& session, TlsClient& client, const std::function<void()>& rest)
{
    static_cast<void>(QTest::qWaitFor([&] { return onlySocket(session) != nullptr; }));
    QPointer<QSslSocket> socket = onlySocket(session);
    session.host.duringCall = [&client, socket, rest] {
        client.abort();
        runEventLoop([&] { return socket->state() == QAbstractSocket::UnconnectedState; });
        rest();
        QVERIFY(socket); // still inside its own signal
    };
    return socket;
}

/// A client that is served, to show that the server still works.
void serveAnother(Session& session)
{
    const auto client = session.orvaneClient();
    QVERIFY(client);
    client->send("<setPreset/>");
    QTRY_COMPARE(client->received, shortAcceptance("setPreset"));
}

} // namespace

void tst_server::listensOnThePortItIsGiven()
{
    RecordingHost host;
    const quint16 port = freePort();
    OrvaneServer server(&host, port, QString(), QString(), nullptr);
    QVERIFY(!server.isListening());
    server.startListeningForConnection();
    QCOMPARE(server.serverPort(), port);
    QCOMPARE(server.serverAddress(), QHostAddress(QHostAddress::Any));

    OrvaneServer onDefaultPort(&host, 0, QString(), QString(), nullptr);
    onDefaultPort.startListeningForConnection();
    if (onDefaultPort.serverError() == QAbstractSocket::AddressInUseError)
        QSKIP("another program has the default port");
    QCOMPARE(onDefaultPort.serverPort(), quint16 {5679});
}

void tst_server::saysNothingWhenThePortIsTaken()
{
    const Session session;
    RecordingHost host;
    const LogCapture log;
    OrvaneServer second(&host, session.server->serverPort(), QString(), QString(), nullptr);
    second.startListeningForConnection();
    QVERIFY(!second.isListening());
    QCOMPARE(second.serverError(), QAbstractSocket::AddressInUseError);
    QCOMPARE(LogCapture::take(), QStringList());
}

void tst_server::canBeCalledByTheNamesOfItsSlots()
{
    const Session session;
    QVERIFY(QMetaType::fromName("QList<QSslError>").isValid());
    QVERIFY(QMetaObject::invokeMethod(session.server.get(), "sslErrors", Q_ARG(QList<QSslError>, {})));
    QVERIFY(QMetaObject::invokeMethod(session.server.get(), "handleUpdateAllTreeDevicesFinished"));
}

void tst_server::greetsNobodyAndLogsEachClient()
{
    Session session;
    const LogCapture log;
    const auto client = session.connectedClient();
    QVERIFY(client);
    client->send("<foo/>");
    const QStringList lines {u"New OrvaneConnection from QHostAddress(\"::ffff:127.0.0.1\")"_s,
        u"OrvaneConnection received command:"_s, u"\"<foo/>\""_s};
    QStringList taken;
    QTRY_COMPARE((taken += LogCapture::take()), lines);
    QCOMPARE(client->received, QByteArray());

    QPointer<QSslSocket> socket = onlySocket(session);
    QVERIFY(socket);
    QCOMPARE(socket->socketOption(QAbstractSocket::KeepAliveOption).toInt(), 1);
    QCOMPARE(socket->socketOption(QAbstractSocket::LowDelayOption).toInt(), 1);
    QCOMPARE(socket->peerVerifyMode(), QSslSocket::VerifyNone);
    QCOMPARE(socket->protocol(), QSsl::SecureProtocols);
    client->disconnectFromHost();
    QTRY_VERIFY(!socket);
    taken = LogCapture::take();
    taken.removeDuplicates(); // Qt reports the end of TLS and the end of TCP as one error each
    QCOMPARE(taken, QStringList(u"OrvaneConnection socket error: QAbstractSocket::RemoteHostClosedError"_s));
}

void tst_server::tellsThoseWhoWaitForARefresh()
{
    Session session;
    const auto first = session.orvaneClient();
    const auto idle = session.orvaneClient();
    const auto second = session.orvaneClient();
    QVERIFY(first && idle && second);
    session.server->handleUpdateAllTreeDevicesFinished(); // nobody waits yet

    first->send("<updateRecorderContents/>");
    second->send("<updateRecorderContents/>");
    QTRY_COMPARE(session.host.calls.size(), 2);
    session.server->handleUpdateAllTreeDevicesFinished();
    session.server->handleUpdateAllTreeDevicesFinished(); // nobody waits any more
    for (TlsClient* client : {first.get(), idle.get(), second.get()})
        client->send("<setPreset/>");
    QTRY_COMPARE(first->received, Notice + shortAcceptance("setPreset"));
    QTRY_COMPARE(second->received, Notice + shortAcceptance("setPreset"));
    QTRY_COMPARE(idle->received, shortAcceptance("setPreset"));
}

void tst_server::tellsOfARefreshThatEndsInsideTheCall()
{
    Session session;
    session.host.duringCall = [&] { session.server->handleUpdateAllTreeDevicesFinished(); };
    const auto client = session.orvaneClient();
    QVERIFY(client);
    client->send("<updateRecorderContents/>");
    client->send("<setPreset/>"); // the call ends the refresh again, for which nobody waits now
    QTRY_COMPARE(client->received, Notice + shortAcceptance("setPreset"));
}

void tst_server::refusesASecondRefresh()
{
    const QByteArray refusal = rejection("updateRecorderContents", "Recorder list update already running");
    Session session;
    const auto client = session.orvaneClient();
    QVERIFY(client);
    client->send("<updateRecorderContents/>");
    QTRY_COMPARE(session.host.calls.size(), 1);

    session.host.refreshStarts = false;
    client->send("<updateRecorderContents/>");
    QTRY_COMPARE(client->received, refusal);
    session.server->handleUpdateAllTreeDevicesFinished(); // with the refusal the first request is off, too
    client->send("<setPreset/>");
    QTRY_COMPARE(client->received, refusal + shortAcceptance("setPreset"));
}

void tst_server::forgetsAWaitingClientThatLeft()
{
    Session session;
    const auto staying = session.orvaneClient();
    const auto leaving = session.orvaneClient();
    QVERIFY(staying && leaving);
    leaving->send("<updateRecorderContents/>");
    staying->send("<updateRecorderContents/>");
    QTRY_COMPARE(session.host.calls.size(), 2);
    leaving->abort();
    QTRY_COMPARE(session.server->findChildren<QSslSocket*>().size(), 1);
    session.server->handleUpdateAllTreeDevicesFinished();
    QTRY_COMPARE(staying->received, Notice);
}

void tst_server::goesOnWhenAClientMisbehaves_data()
{
    QTest::addColumn<bool>("encrypted");
    QTest::addColumn<QByteArray>("bytes");

    QTest::newRow("leaves in the middle of a message") << true << QByteArray("<setPreset><presetname>N");
    QTest::newRow("leaves without a word") << true << QByteArray();
    QTest::newRow("speaks no TLS") << false << QByteArray("<loginClient/>\r\n\r\n");
    QTest::newRow("leaves in the middle of the handshake") << false << QByteArray("\x16\x03\x01\x02\x00\x01");
    QTest::newRow("leaves before the handshake") << false << QByteArray();
}

void tst_server::goesOnWhenAClientMisbehaves()
{
    QFETCH(const bool, encrypted);
    QFETCH(const QByteArray, bytes);

    Session session;
    const auto witness = session.orvaneClient();
    QVERIFY(witness);
    TlsClient client;
    if (encrypted)
        client.connectToPort(session.server->serverPort());
    else
        client.connectToHost(QHostAddress(QHostAddress::LocalHost), session.server->serverPort());
    QTRY_VERIFY(encrypted ? client.isEncrypted() : client.state() == QAbstractSocket::ConnectedState);
    QTRY_COMPARE(session.server->findChildren<QSslSocket*>().size(), 2);
    client.write(bytes);
    QTRY_COMPARE(client.bytesToWrite() + client.encryptedBytesToWrite(), 0);
    witness->send("<setPreset/>");
    QTRY_COMPARE(witness->received, shortAcceptance("setPreset"));

    client.abort();
    QTRY_COMPARE(session.server->findChildren<QSslSocket*>().size(), 1);
    serveAnother(session);
    QCOMPARE(session.host.calls.size(), 2);
}

void tst_server::logsATlsFailure()
{
    Session session;
    const LogCapture log;
    TlsClient client;
    client.connectToHost(QHostAddress(QHostAddress::LocalHost), session.server->serverPort());
    client.write("GET / HTTP/1.1\r\n\r\n");
    QString error;
    QDebug(&error).nospace() << "OrvaneConnection socket error: " << QAbstractSocket::SslHandshakeFailedError;
    QStringList lines;
    QTRY_COMPARE((lines += LogCapture::take()).value(1), error);
    QTRY_COMPARE(session.server->findChildren<QSslSocket*>().size(), 0);
}

void tst_server::sendsWhatIsReadyBeforeTheNextLongCall()
{
    constexpr int longCallMs = 5;
    constexpr int commands = 4;
    Session session;
    const auto client = session.orvaneClient();
    QVERIFY(client);
    QTRY_VERIFY(onlySocket(session));
    const QSslSocket* socket = onlySocket(session);
    session.host.duringCall = [&] {
        QCOMPARE(socket->bytesToWrite() + socket->encryptedBytesToWrite(), 0); // the replies to the calls before
        QThread::msleep(longCallMs);
    };
    client->write(QByteArray("<setPreset/>\r\n\r\n").repeated(commands));
    QTRY_COMPARE(client->received, shortAcceptance("setPreset").repeated(commands));
    QCOMPARE(session.host.calls.size(), commands);
}

void tst_server::keepsOrderInTheHostsEventLoops()
{
    const auto setPreset = [](int number) {
        return "<setPreset><presetname>" + QByteArray::number(number) + "</presetname></setPreset>";
    };
    Session session;
    const auto client = session.orvaneClient();
    QVERIFY(client);
    client->send("<updateRecorderContents/>");
    QTRY_COMPARE(session.host.calls.size(), 1);
    session.host.calls.clear();

    bool running = false;
    session.host.duringCall = [&] {
        QVERIFY(!running);
        running = true;
        const int number = static_cast<int>(session.host.calls.size());
        if (number <= 2) {
            QSslSocket* socket = onlySocket(session);
            const auto* plainSocket = socket->findChild<QTcpSocket*>(); // below the TLS
            client->send(setPreset(number + 2));
            runEventLoop([&] { return plainSocket->bytesAvailable() > 0; });
            if (number == 2) {
                // Writing makes the TLS layer look for what has come, and report it although it is in its own signal.
                session.server->handleUpdateAllTreeDevicesFinished();
                runEventLoop([&] { return socket->bytesAvailable() > 0; });
            }
        }
        running = false;
    };
    client->write(setPreset(1) + "\r\n\r\n" + setPreset(2) + "\r\n\r\n");
    QTRY_COMPARE(client->received, shortAcceptance("setPreset") + Notice + shortAcceptance("setPreset").repeated(3));
    QStringList calls;
    for (int number = 1; number <= 4; ++number)
        calls += u"setPreset(\"%1\")"_s.arg(number);
    QCOMPARE(session.host.calls, calls);
}

void tst_server::letsAClientGoInsideAHostCall()
{
    Session session;
    const auto client = session.orvaneClient();
    QVERIFY(client);
    const QPointer<QSslSocket> socket = leaveInsideHostCalls(session, *client, [] {});
    QVERIFY(socket);
    client->write("<showLive/>\r\n\r\n<setPreset/>\r\n\r\n");
    QTRY_COMPARE(session.host.calls, QStringList(u"showLive(\"\", -1, false, -1)"_s));
    QTRY_VERIFY(!socket);
    session.host.duringCall = nullptr;
    session.host.calls.clear();
    serveAnother(session);
    QCOMPARE(session.host.calls.size(), 1);
}

void tst_server::canBeDestroyedInsideAnyHostCall_data()
{
    QTest::addColumn<QByteArray>("document");
    QTest::addColumn<bool>("eventLoop");

    for (const char* document : Documents) {
        QTest::addRow("%s", document) << QByteArray(document) << false;
        QTest::addRow("%s and an event loop afterwards", document) << QByteArray(document) << true;
    }
}

void tst_server::canBeDestroyedInsideAnyHostCall()
{
    QFETCH(const QByteArray, document);
    QFETCH(const bool, eventLoop);

    Session session;
    session.host.answer = "<answer/>";
    session.host.refreshStarts = false;
    const auto bystander = session.orvaneClient();
    const auto client = session.orvaneClient();
    QVERIFY(bystander && client);
    QTRY_COMPARE(session.server->findChildren<QSslSocket*>().size(), 2);
    QPointer<QSslSocket> socket = session.server->findChildren<QSslSocket*>().last();
    session.host.duringCall = [&] {
        session.server.reset();
        if (eventLoop)
            runEventLoop([&] { return client->state() == QAbstractSocket::UnconnectedState; });
    };
    client->send(document);
    client->send("<setPreset><presetname>too late</presetname></setPreset>");
    QTRY_COMPARE(client->state(), QAbstractSocket::UnconnectedState);
    QTRY_COMPARE(bystander->state(), QAbstractSocket::UnconnectedState);
    QTRY_VERIFY(!socket);
    QCOMPARE(session.host.calls.size(), 1);
    QCOMPARE(client->received, QByteArray());
}

void tst_server::canBeDestroyedAfterAClientLeftInsideAHostCall()
{
    Session session;
    const auto client = session.orvaneClient();
    QVERIFY(client);
    const QPointer<QSslSocket> socket = leaveInsideHostCalls(session, *client, [&] {
        const auto next = session.connectedClient(); // with which the server forgets the one that left
        QVERIFY(next);
        session.server.reset();
        runEventLoop([&] { return next->state() == QAbstractSocket::UnconnectedState; });
    });
    QVERIFY(socket);
    client->send("<showLive/>");
    QTRY_COMPARE(session.host.calls.size(), 1);
    QTRY_VERIFY(!socket);
}

void tst_server::canBeDestroyedWithClients()
{
    Session session;
    const auto waiting = session.orvaneClient();
    QVERIFY(waiting);
    waiting->send("<updateRecorderContents/>");
    QTRY_COMPARE(session.host.calls.size(), 1);
    TlsClient mute;
    mute.connectToHost(QHostAddress(QHostAddress::LocalHost), session.server->serverPort());
    QTRY_COMPARE(session.server->findChildren<QSslSocket*>().size(), 2);

    session.server.reset();
    QTRY_COMPARE(waiting->state(), QAbstractSocket::UnconnectedState);
    QTRY_COMPARE(mute.state(), QAbstractSocket::UnconnectedState);
    QCOMPARE(waiting->received, QByteArray());
}

QTEST_GUILESS_MAIN(tst_server)
#include "tst_server.moc"
