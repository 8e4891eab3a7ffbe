#include "LogCapture.h"
#include "Session.h"
#include "TestClass.h"

#include <QAbstractEventDispatcher>
#include <QEventLoop>
#include <QPointer>
#include <QRegularExpression>
#include <QTest>
#include <QThread>

#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <thread>
#include <utility>

using namespace Qt::StringLiterals;

using OrvaneInterface::OrvaneServer;

/// The server over real TLS: serving, logging and destruction, whatever clients and host do; and what it offers as a
/// QTcpServer and a QObject: other addresses, slots by name, other threads.
class tst_server : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void listensOnGivenPort();
    void carriesOutNothingWithoutHost();
    void hasSlotsCallableByName();
    void sendsNoGreetingAndLogsEachClient();
    void sendsReadyRepliesBeforeNextLongCall();
    void canBeDestroyedInAnyCallOrLogLine();
    void canBeDestroyedInLineOfReleasedClient();
    void carriesOutWhatClientDidDuringItsFirstLogLine();
    void acceptsClientAfterHostRefusedAnother();
    void listensOnChosenAddress();
    void worksInItsOwnThread();
    void movesWithItsClientsAndTheirTimes();
};

void tst_server::listensOnGivenPort()
{
    RecordingHost host;
    const quint16 port = freePort();
    OrvaneServer server(&host, port, QString(), QString(), nullptr);
    QVERIFY(!server.isListening());
    server.startListeningForConnection();
    QCOMPARE(server.serverPort(), port);
    QCOMPARE(server.serverAddress(), QHostAddress(QHostAddress::Any));

    const LogCapture log;
    OrvaneServer second(&host, port, QString(), QString(), nullptr);
    second.startListeningForConnection();
    QVERIFY(!second.isListening());
    QCOMPARE(second.serverError(), QAbstractSocket::AddressInUseError);
    QCOMPARE(LogCapture::take(), QStringList());

    OrvaneServer onDefaultPort(&host, 0, QString(), QString(), nullptr);
    onDefaultPort.startListeningForConnection();
    if (onDefaultPort.serverError() == QAbstractSocket::AddressInUseError)
        QSKIP("another program has the default port");
    QCOMPARE(onDefaultPort.serverPort(), quint16 {5679});
}

void tst_server::carriesOutNothingWithoutHost()
{
    const LogCapture log;
    OrvaneServer server(nullptr, 0, QString(), QString(), nullptr);
    server.listen();
    TlsClient client;
    client.connectToPort(server.serverPort());
    client.loginAsOrvane();
    client.send("<foo/>");
    QStringList lines;
    QTRY_COMPARE((lines += LogCapture::take()).filter(u"received command"_s).size(), 2);
    QCOMPARE(lines.size(), 3); // the first one reports the connection
    QCOMPARE(client.received, QByteArray());
}

void tst_server::hasSlotsCallableByName()
{
    const Session session;
    QVERIFY(QMetaType::fromName("QList<QSslError>").isValid());
    const QSslError error(QSslError::NoPeerCertificate);
    const LogCapture log;
    QVERIFY(QMetaObject::invokeMethod(session.server.get(), "sslErrors", Q_ARG(QList<QSslError>, {error})));
    QCOMPARE(LogCapture::take(), QStringList(u'"' + error.errorString() + u'"'));
    QVERIFY(QMetaObject::invokeMethod(session.server.get(), "handleUpdateAllTreeDevicesFinished"));
}

void tst_server::sendsNoGreetingAndLogsEachClient()
{
    Session session;
    const LogCapture log;
    const auto client = session.connectedClient();
    QVERIFY(client);
    client->send("<foo/>");
    QStringList taken;
    QTRY_VERIFY((taken += LogCapture::take()).contains(u"\"<foo/>\""_s));
    QCOMPARE(client->received, QByteArray());

    const QPointer<QSslSocket> socket = session.server->findChild<QSslSocket*>();
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

void tst_server::sendsReadyRepliesBeforeNextLongCall()
{
    constexpr int longCallMs = 5;
    constexpr int commands = 4;
    constexpr int shortCommands = 20;
    Session session;
    const auto client = session.orvaneClient();
    QVERIFY(client);
    const QSslSocket* socket = session.server->findChild<QSslSocket*>();
    session.host.duringCall = [&] {
        QCOMPARE(socket->bytesToWrite() + socket->encryptedBytesToWrite(), 0); // the replies to earlier calls
        QThread::msleep(longCallMs);
    };
    client->write(QByteArray("<setPreset/>\r\n\r\n").repeated(commands));
    QTRY_COMPARE(client->received, shortAcceptance("setPreset").repeated(commands));
    QCOMPARE(session.host.calls.size(), commands);

    int waiting = 0; // replies to short calls, also after a long one
    session.host.duringCall = [&] {
        waiting += socket->bytesToWrite() > 0 ? 1 : 0;
        QThread::msleep(session.host.calls.size() == 1 ? longCallMs : 0);
    };
    constexpr int attempts = 100; // on a slow machine the short calls can be long, too
    for (int attempt = 0; attempt < attempts && waiting == 0; ++attempt) {
        session.host.calls.clear();
        client->received.clear();
        client->write(QByteArray("<setPreset/>\r\n\r\n").repeated(shortCommands));
        QTRY_COMPARE(client->received, shortAcceptance("setPreset").repeated(shortCommands));
    }
    QVERIFY(waiting > 0);
}

void tst_server::canBeDestroyedInAnyCallOrLogLine()
{
    // One for each operation of the host, and for each log line that says why none is called.
    const QByteArray documents =
        "<unknown/>\r\n\r\n<showTrack/>\r\n\r\n<updateRecorderContents/>\r\n\r\n<getRecorderList/>\r\n\r\n"
        "<getPresetsList/>\r\n\r\n<showLive/>\r\n\r\n<showLiveAtSubsplit/>\r\n\r\n<setPreset/>\r\n\r\n"
        "<showTrack><track>T</track></showTrack>\r\n\r\n<showTrack><trackid>1</trackid></showTrack>\r\n\r\n"
        "<setSplitMode><splitmode>1</splitmode></setSplitMode>\r\n\r\n<setSplitMode/>\r\n\r\n<setDetailViews/>\r\n\r\n"
        "<getPertinentInfo/>\r\n\r\n";
    constexpr int calls = 12;
    int last = 1;
    for (bool isOver = false; !isOver; ++last) {
        Session session;
        TlsClient client;
        const auto isEnded = [&] { return client.state() == QAbstractSocket::UnconnectedState; };
        QPointer<QSslSocket> speaking;
        qsizetype callsBefore = 0;
        int happened = 0;
        const auto happen = [&] {
            if (++happened != last)
                return;
            speaking = session.server->findChild<QSslSocket*>();
            callsBefore = session.host.calls.size();
            session.server.reset();
            QVERIFY(waitFor(isEnded));
            QVERIFY(speaking); // inside its own signal
        };
        session.host.duringCall = happen;
        const LogCapture log([&](const QString&) { happen(); });
        client.connectToPort(session.server->serverPort());
        QTRY_VERIFY(client.isEncrypted() || isEnded());
        client.loginAsOrvane();
        client.write(documents);
        QTRY_VERIFY(!session.server || session.host.calls.size() == calls);
        client.disconnectFromHost();
        QTRY_VERIFY(isEnded() && !speaking && (!session.server || session.acceptedCount() == 0));
        isOver = session.server != nullptr; // everything has happened before
        QCOMPARE(session.host.calls.size(), isOver ? calls : callsBefore); // and none since
    }
    QVERIFY2(last > 2 * calls + 1, qPrintable(QString::number(last)));
}

void tst_server::canBeDestroyedInLineOfReleasedClient()
{
    Session session;
    session.server->setLimits({.maxMessageLengthBeforeLogin = 1000});
    const auto client = session.connectedClient();
    QVERIFY(client);
    auto* socket = session.server->findChild<QSslSocket*>();
    connect(socket, &QIODevice::readyRead, socket, // after the library's slot, which has released the client
        [socket] { Q_EMIT socket->errorOccurred(QAbstractSocket::NetworkError); });
    const LogCapture log([&](const QString& line) {
        if (line.contains(u"socket error"_s))
            session.server.reset();
    });
    client->send(QByteArray(2000, 'x'));
    QTRY_VERIFY(!session.server);
    QTRY_COMPARE(client->state(), QAbstractSocket::UnconnectedState);
}

void tst_server::carriesOutWhatClientDidDuringItsFirstLogLine()
{
    for (int row = 0; row < 3; ++row) { // it sends, leaves, or both
        const bool sends = row != 1;
        const bool leaves = row > 0;
        Session session;
        TlsClient client;
        bool isFirst = true;
        const LogCapture log([&](const QString&) {
            if (!std::exchange(isFirst, false))
                return;
            const auto* socket = session.server->findChild<QSslSocket*>();
            QVERIFY(waitFor([&] { return client.isEncrypted() && socket->isEncrypted(); }));
            if (sends)
                client.write(loginMessage() + "<setPreset/>\r\n\r\n");
            QVERIFY(waitFor(
                [&] { return !sends || (socket->bytesAvailable() > 0 && client.encryptedBytesToWrite() == 0); }));
            if (leaves)
                client.disconnectFromHost();
            QVERIFY(waitFor([&] { return !leaves || socket->state() == QAbstractSocket::UnconnectedState; }));
        });
        client.connectToPort(session.server->serverPort());
        QTRY_VERIFY(!isFirst);
        QTRY_COMPARE(session.host.calls.size(), sends ? 1 : 0);
        QTRY_COMPARE(session.acceptedCount(), leaves ? 0 : 1);
    }
}

void tst_server::acceptsClientAfterHostRefusedAnother()
{
    class PickyServer : public OrvaneServer {
    public:
        using OrvaneServer::OrvaneServer;
        bool isFirst = true;

    protected:
        void incomingConnection(qintptr socketDescriptor) override
        {
            if (std::exchange(isFirst, false))
                QTcpSocket().setSocketDescriptor(socketDescriptor); // closed by its destructor
            else
                OrvaneServer::incomingConnection(socketDescriptor);
        }
    };
    const LogCapture log;
    PickyServer server(nullptr, 0, QString(), QString(), nullptr);
    server.listen();
    TlsClient refused;
    refused.connectToPort(server.serverPort());
    QTRY_COMPARE(refused.state(), QAbstractSocket::UnconnectedState);
    TlsClient next;
    next.connectToPort(server.serverPort());
    QTRY_VERIFY(next.isEncrypted());
    QCOMPARE(LogCapture::take().size(), 1); // the server reports no error
}

void tst_server::listensOnChosenAddress()
{
    for (const auto& [address, elsewhere] :
        {std::pair("127.0.0.1", "127.0.0.2"), {"127.0.0.2", "127.0.0.1"}, {"::1", "127.0.0.1"}}) {
        const Session session;
        session.server->close();
        if (!session.server->listen(QHostAddress(QLatin1String(address))))
            continue; // the machine has no such address
        TlsClient client;
        client.connectToHostEncrypted(QLatin1String(address), session.server->serverPort());
        QTRY_VERIFY(client.isEncrypted());
        TlsClient refused;
        refused.connectToHostEncrypted(QLatin1String(elsewhere), session.server->serverPort());
        QTRY_COMPARE(refused.error(), QAbstractSocket::ConnectionRefusedError);
    }
}

/// Moves the server to a thread that serves until \a isOver, and then destroys it. The threads synchronise only through
/// the standard library: the thread sanitizer cannot see what Qt does.
static std::thread serveElsewhere(
    Session& session, std::function<bool()> isOver, std::function<void()> afterwards = [] {})
{
    auto moved = std::make_shared<std::promise<void>>();
    std::promise<QThread*> started;
    std::thread thread([&session, &started, moved, isOver = std::move(isOver), afterwards = std::move(afterwards)] {
        QEventLoop loop;
        started.set_value(QThread::currentThread());
        moved->get_future().wait();
        while (!isOver())
            loop.processEvents();
        session.server.reset();
        afterwards();
    });
    session.server->moveToThread(started.get_future().get());
    moved->set_value();
    return thread;
}

void tst_server::worksInItsOwnThread()
{
    QTest::failOnWarning(QRegularExpression(u".*"_s)); // Qt warns if an object is in another thread
    Session session;
    const quint16 port = session.server->serverPort();
    const auto early = session.orvaneClient();
    const quint64 earlyId = session.server->clients().at(0).id();
    std::atomic_bool finished = false;
    quint64 lastId = 0;
    std::thread thread = serveElsewhere(session, [&] {
        lastId = session.server->clients().constLast().id();
        return finished.load();
    });
    TlsClient client;
    client.connectToPort(port);
    const bool connected = waitFor([&] { return client.isEncrypted(); });
    client.loginAsOrvane();
    const bool served = isServed(client);
    finished = true;
    thread.join();
    QVERIFY(connected && served && lastId > earlyId);
    QTRY_COMPARE(client.state(), QAbstractSocket::UnconnectedState);
    QCOMPARE(session.host.calls, QStringList(u"setPreset(\"\")"_s));
}

/// Qt itself would register timers anew in the other thread later than it delivers the end of the first client, which
/// stops them.
void tst_server::movesWithItsClientsAndTheirTimes()
{
    QTest::failOnWarning(QRegularExpression(u".*"_s));
    Session session;
    OrvaneInterface::OrvaneLimits limits;
    const auto unlimited = session.tcpClient(); // which a move must not limit
    QTRY_COMPARE(session.server->clients().size(), 1);
    limits.maxClients = 4;
    limits.handshakeTimeout = std::chrono::seconds(2);
    session.server->setLimits(limits);
    int ended = 0;
    session.server->setClientObserver([&](const OrvaneInterface::OrvaneClientEvent& event) {
        ended += event.type == OrvaneInterface::OrvaneClientEvent::Type::Disconnected ? 1 : 0;
    });

    const auto first = session.tcpClient();
    const auto second = session.tcpClient();
    QTRY_COMPARE(session.server->clients().size(), 3);
    std::swap(limits.handshakeTimeout, limits.loginTimeout);
    session.server->setLimits(limits);
    const auto third = session.tcpClient();
    QTRY_COMPARE(session.server->clients().size(), 4);
    const auto fourth = session.tcpClient();
    QVERIFY(waitFor([&] { return session.acceptedCount() == 5; })); // and waits for a place, ten steps long
    const QObjectList receivers = session.server->findChildren<QObject*>();
    session.server->findChildren<QSslSocket*>().at(1)->abort();
    qsizetype timers = 0;
    bool isUnlimitedKept = false;
    std::thread thread = serveElsewhere(
        session,
        [&] {
            isUnlimitedKept = session.server->clients().value(0).port() == unlimited->localPort();
            return ended == 4;
        },
        [&] {
            for (QObject* destroyed : receivers)
                timers += QAbstractEventDispatcher::instance()->registeredTimers(destroyed).size();
        });
    thread.join();
    QVERIFY(isUnlimitedKept);
    QCOMPARE(timers, 0);
}

ORVANE_TEST(tst_server)
#include "tst_server.moc"
