#include "LogCapture.h"
#include "Session.h"

#include <QEventLoop>
#include <QPointer>
#include <QSignalSpy>
#include <QTcpServer>
#include <QThread>
#include <QtTest>

#include <array>
#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

using OrvaneInterface::OrvaneServer;

/// The server over real TLS: who is served, told and let go, whatever clients and host do; and what it can do because
/// it is a QTcpServer and a QObject: other addresses, pauses, other threads, company.
class tst_server : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void listensOnThePortItIsGiven();
    void saysNothingWhenThePortIsTaken();
    void commandsNothingWithoutHost();
    void canBeCalledByTheNamesOfItsSlots();
    void greetsNobodyAndLogsEachClient();
    void goesOnWhenAClientMisbehaves_data();
    void goesOnWhenAClientMisbehaves();
    void sendsWhatIsReadyBeforeTheNextLongCall();
    void canBeDestroyedInsideAnyHostCall_data();
    void canBeDestroyedInsideAnyHostCall();
    void canBeDestroyedWithClients();
    void canBeDestroyedInsideAnyLogLine_data();
    void canBeDestroyedInsideAnyLogLine();
    void takesUpWhatAClientDidInsideItsFirstLogLine_data();
    void takesUpWhatAClientDidInsideItsFirstLogLine();
    void closesAndListensAgain();
    void listensWhereTheHostWants_data();
    void listensWhereTheHostWants();
    void staysPausedWhenTheHostHasPausedIt();
    void acceptsAllHoweverFewMayWait();
    void worksInAThreadOfItsOwn_data();
    void worksInAThreadOfItsOwn();
    void knowsNothingOfAnotherServer();
};

namespace {

const QString FirstLine = u"New OrvaneConnection from"_s;

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

/// Runs \a reaction inside the first line that begins with \a beginning.
std::function<void(const QString&)> once(const QString& beginning, std::function<void()> reaction)
{
    return [beginning, reaction = std::move(reaction), done = false](const QString& line) mutable {
        if (done || !line.startsWith(beginning))
            return;
        done = true;
        reaction();
    };
}

/// A client that makes the server write all the lines.
void provokeLines(TlsClient& client, quint16 port)
{
    client.connectToPort(port);
    QTRY_VERIFY(client.isEncrypted() || client.state() == QAbstractSocket::UnconnectedState);
    client.loginAsOrvane();
    client.send("<unknown/>");
    client.send("<showTrack/>");
    client.send("<setPreset/>");
    const QByteArray replies = rejection("unknown", "Unknown command")
        + rejection("showTrack", "showTrack command without valid track ID or track name")
        + shortAcceptance("setPreset");
    QTRY_VERIFY(client.received == replies || client.state() == QAbstractSocket::UnconnectedState);
    client.disconnectFromHost();
}

/// Whether a client that has logged in with the system account is answered.
bool isServed(TlsClient& client)
{
    client.received.clear();
    client.send("<setPreset/>");
    return QTest::qWaitFor([&] { return client.received == shortAcceptance("setPreset"); });
}

qsizetype acceptedCount(const Session& session)
{
    return session.server->findChildren<QSslSocket*>().size();
}

/// A client that is served, to show that the server still works.
void serveAnother(const Session& session)
{
    const auto client = session.orvaneClient();
    QVERIFY(client && isServed(*client));
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

void tst_server::commandsNothingWithoutHost()
{
    const LogCapture log;
    OrvaneServer server(nullptr, freePort(), QString(), QString(), nullptr);
    server.startListeningForConnection();
    TlsClient client;
    client.connectToPort(server.serverPort());
    client.loginAsOrvane();
    client.send("<foo/>");
    QStringList lines;
    QTRY_COMPARE((lines += LogCapture::take()).filter(u"received command"_s).size(), 2);
    QCOMPARE(lines.size(), 3); // the first one tells of the connection
    QCOMPARE(client.received, QByteArray());
}

void tst_server::canBeCalledByTheNamesOfItsSlots()
{
    const Session session;
    QVERIFY(QMetaType::fromName("QList<QSslError>").isValid());
    const QSslError error(QSslError::NoPeerCertificate);
    const LogCapture log;
    QVERIFY(QMetaObject::invokeMethod(session.server.get(), "sslErrors", Q_ARG(QList<QSslError>, {error})));
    QCOMPARE(LogCapture::take(), QStringList(u'"' + error.errorString() + u'"'));
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
    QTRY_COMPARE(acceptedCount(session), 2);
    client.write(bytes);
    QTRY_COMPARE(client.bytesToWrite() + client.encryptedBytesToWrite(), 0);
    witness->send("<setPreset/>");
    QTRY_COMPARE(witness->received, shortAcceptance("setPreset"));

    client.abort();
    QTRY_COMPARE(acceptedCount(session), 1);
    serveAnother(session);
    QCOMPARE(session.host.calls.size(), 2);
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

void tst_server::canBeDestroyedInsideAnyHostCall_data()
{
    QTest::addColumn<QByteArray>("document");
    for (const char* document : Documents)
        QTest::newRow(document) << QByteArray(document);
}

void tst_server::canBeDestroyedInsideAnyHostCall()
{
    QFETCH(const QByteArray, document);

    Session session;
    session.host.answer = "<answer/>";
    session.host.refreshStarts = false;
    const auto bystander = session.orvaneClient();
    const auto client = session.orvaneClient();
    QVERIFY(bystander && client);
    QTRY_COMPARE(acceptedCount(session), 2);
    QPointer<QSslSocket> socket = session.server->findChildren<QSslSocket*>().last();
    session.host.duringCall = [&] {
        session.server.reset();
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

void tst_server::canBeDestroyedWithClients()
{
    Session session;
    const auto waiting = session.orvaneClient();
    QVERIFY(waiting);
    waiting->send("<updateRecorderContents/>");
    QTRY_COMPARE(session.host.calls.size(), 1);
    TlsClient mute;
    mute.connectToHost(QHostAddress(QHostAddress::LocalHost), session.server->serverPort());
    QTRY_COMPARE(acceptedCount(session), 2);

    session.server.reset();
    QTRY_COMPARE(waiting->state(), QAbstractSocket::UnconnectedState);
    QTRY_COMPARE(mute.state(), QAbstractSocket::UnconnectedState);
    QCOMPARE(waiting->received, QByteArray());
}

void tst_server::canBeDestroyedInsideAnyLogLine_data()
{
    QTest::addColumn<QString>("line");

    QTest::newRow("a client has connected") << FirstLine;
    QTest::newRow("a message has arrived") << u"OrvaneConnection received command:"_s;
    QTest::newRow("the login message") << u"\"loginClient\""_s;
    QTest::newRow("who has logged in") << u"This is Orvane"_s;
    QTest::newRow("the message") << u"\"<unknown/>\""_s;
    QTest::newRow("an unknown command") << u"Received unknown Orvane command:"_s;
    QTest::newRow("a track that is none")
        << u"OrvaneInterface: received showTrack command without valid track ID or track name!"_s;
    QTest::newRow("the message of a call") << u"\"<setPreset/>\""_s;
    QTest::newRow("a client has gone") << u"OrvaneConnection socket error:"_s;
}

void tst_server::canBeDestroyedInsideAnyLogLine()
{
    QFETCH(const QString, line);

    Session session;
    const auto bystander = session.orvaneClient();
    QVERIFY(bystander);
    bystander->send("<setPreset/>");
    QTRY_COMPARE(bystander->received, shortAcceptance("setPreset")); // it causes no more lines
    const quint16 port = session.server->serverPort();
    QList<QPointer<QObject>> children;
    QStringList callsBefore;
    const LogCapture log(once(line, [&] {
        for (QObject* child : session.server->children())
            children += child;
        callsBefore = session.host.calls;
        const QPointer<QSslSocket> speaking = session.server->findChildren<QSslSocket*>().last();
        session.server.reset();
        runEventLoop([&] { return bystander->state() == QAbstractSocket::UnconnectedState; });
        QVERIFY(speaking); // still inside its own signal, or in the hands of the server
    }));
    TlsClient client;
    provokeLines(client, port);
    QTRY_COMPARE(client.state(), QAbstractSocket::UnconnectedState);
    QTRY_VERIFY(!session.server);
    QTRY_VERIFY(std::all_of(children.cbegin(), children.cend(), [](const auto& child) { return child.isNull(); }));
    QCOMPARE(session.host.calls, callsBefore); // and none since
}

void tst_server::takesUpWhatAClientDidInsideItsFirstLogLine_data()
{
    QTest::addColumn<bool>("sends");
    QTest::addColumn<bool>("leaves");

    QTest::newRow("sends a message") << true << false;
    QTest::newRow("leaves") << false << true;
    QTest::newRow("sends a message and leaves") << true << true;
}

void tst_server::takesUpWhatAClientDidInsideItsFirstLogLine()
{
    QFETCH(const bool, sends);
    QFETCH(const bool, leaves);

    Session session;
    TlsClient client;
    const LogCapture log(once(FirstLine, [&] {
        runEventLoop([&] { return client.isEncrypted(); });
        const QPointer<QSslSocket> socket = session.server->findChild<QSslSocket*>();
        if (sends) {
            client.loginAsOrvane();
            client.send("<setPreset/>");
            runEventLoop([&] { return socket->bytesAvailable() > 0 && client.encryptedBytesToWrite() == 0; });
        }
        if (leaves) {
            client.disconnectFromHost();
            runEventLoop([&] { return socket->state() == QAbstractSocket::UnconnectedState; });
        }
    }));
    client.connectToPort(session.server->serverPort());
    if (leaves)
        QTRY_COMPARE(client.state(), QAbstractSocket::UnconnectedState);
    else
        QTRY_COMPARE(client.received, shortAcceptance("setPreset"));
    QTRY_COMPARE(session.server->findChildren<QSslSocket*>().size(), leaves ? 0 : 1);
    QCOMPARE(session.host.calls.size(), sends ? 1 : 0);
}

void tst_server::closesAndListensAgain()
{
    const Session session;
    const quint16 port = session.server->serverPort();
    const auto staying = session.orvaneClient();
    QVERIFY(staying);
    session.server->close();
    QVERIFY(!session.server->isListening());
    TlsClient refused;
    refused.connectToPort(port);
    QTRY_COMPARE(refused.error(), QAbstractSocket::ConnectionRefusedError);
    QVERIFY(isServed(*staying));

    session.server->startListeningForConnection();
    QCOMPARE(session.server->serverPort(), port);
    const auto next = session.orvaneClient();
    QVERIFY(next && isServed(*next));
    QVERIFY(isServed(*staying));
}

void tst_server::listensWhereTheHostWants_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<QString>("elsewhere");

    QTest::newRow("this machine alone") << u"127.0.0.1"_s << u"127.0.0.2"_s;
    QTest::newRow("one interface") << u"127.0.0.2"_s << u"127.0.0.1"_s;
    QTest::newRow("IPv6") << u"::1"_s << u"127.0.0.1"_s;
}

void tst_server::listensWhereTheHostWants()
{
    QFETCH(const QString, address);
    QFETCH(const QString, elsewhere);

    RecordingHost host;
    OrvaneServer server(&host, freePort(), u"operator"_s, u"secret"_s, nullptr);
    if (!server.listen(QHostAddress(address))) // at a port that the system chooses
        QSKIP("the machine has no such address");
    QCOMPARE(server.serverAddress(), QHostAddress(address));
    TlsClient client;
    client.connectToHostEncrypted(address, server.serverPort());
    QTRY_VERIFY(client.isEncrypted());
    client.loginAsOrvane();
    QVERIFY(isServed(client));
    TlsClient refused;
    refused.connectToHostEncrypted(elsewhere, server.serverPort());
    QTRY_COMPARE(refused.error(), QAbstractSocket::ConnectionRefusedError);
}

void tst_server::staysPausedWhenTheHostHasPausedIt()
{
    const Session session;
    auto leaving = session.orvaneClient();
    QVERIFY(leaving);
    session.server->pauseAccepting();
    QVERIFY(isServed(*leaving));
    leaving.reset();
    QTRY_COMPARE(acceptedCount(session), 0);
    TlsClient client;
    client.connectToPort(session.server->serverPort());
    QTRY_COMPARE(client.state(), QAbstractSocket::ConnectedState); // by the system
    QCoreApplication::processEvents();
    QCOMPARE(acceptedCount(session), 0);
    session.server->resumeAccepting();
    QTRY_VERIFY(client.isEncrypted());
}

void tst_server::acceptsAllHoweverFewMayWait()
{
    constexpr int clientCount = 3;
    const Session session;
    session.server->setMaxPendingConnections(1);
    std::vector<std::unique_ptr<TlsClient>> clients;
    for (int count = 0; count < clientCount; ++count) {
        clients.push_back(std::make_unique<TlsClient>());
        clients.back()->connectToHost(QHostAddress(QHostAddress::LocalHost), session.server->serverPort());
        QVERIFY(clients.back()->waitForConnected()); // by the system, not yet by the server
    }
    QTRY_COMPARE(acceptedCount(session), clientCount);
}

void tst_server::worksInAThreadOfItsOwn_data()
{
    QTest::addColumn<bool>("listensBefore");

    QTest::newRow("moved before it listens") << false;
    QTest::newRow("moved while it listens") << true;
}

void tst_server::worksInAThreadOfItsOwn()
{
    QFETCH(const bool, listensBefore);

    RecordingHost host;
    const quint16 port = freePort();
    auto server = std::make_unique<OrvaneServer>(&host, port, QString(), QString(), nullptr);
    if (listensBefore)
        server->startListeningForConnection();

    // The two threads meet in the standard library only: what Qt does between threads, the thread sanitizer cannot see.
    std::promise<QThread*> started;
    std::promise<void> moved;
    std::promise<bool> listens;
    std::atomic_bool finished = false;
    std::thread thread([&] {
        QEventLoop loop;
        started.set_value(QThread::currentThread());
        moved.get_future().wait();
        if (!listensBefore)
            server->startListeningForConnection();
        listens.set_value(server->isListening());
        while (!finished)
            loop.processEvents();
        server.reset();
    });
    server->moveToThread(started.get_future().get());
    moved.set_value();
    const bool isListening = listens.get_future().get();
    TlsClient client;
    client.connectToPort(port);
    const bool connected = QTest::qWaitFor([&] { return client.isEncrypted(); });
    client.loginAsOrvane();
    const bool served = isServed(client);
    finished = true;
    thread.join();
    QVERIFY(isListening && connected && served);
    QTRY_COMPARE(client.state(), QAbstractSocket::UnconnectedState);
    QCOMPARE(host.calls, QStringList(u"setPreset(\"\")"_s));
}

void tst_server::knowsNothingOfAnotherServer()
{
    Session one;
    auto other = std::make_unique<Session>();
    const auto client = one.orvaneClient();
    const auto clientOfOther = other->orvaneClient();
    QVERIFY(client && clientOfOther);
    client->send("<updateRecorderContents/>");
    clientOfOther->send("<updateRecorderContents/>");
    QTRY_COMPARE(one.host.calls.size(), 1);
    QTRY_COMPARE(other->host.calls.size(), 1);
    other->server->handleUpdateAllTreeDevicesFinished();
    QTRY_VERIFY(!clientOfOther->received.isEmpty());
    other.reset();
    QTRY_COMPARE(clientOfOther->state(), QAbstractSocket::UnconnectedState);
    QCOMPARE(client->received, QByteArray());
    one.server->handleUpdateAllTreeDevicesFinished();
    QTRY_COMPARE(client->received, clientOfOther->received);
    QVERIFY(isServed(*client));
}

QTEST_GUILESS_MAIN(tst_server)
#include "tst_server.moc"
