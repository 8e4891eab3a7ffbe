#include "LogCapture.h"
#include "PeakMemory.h"
#include "Session.h"
#include "TestClass.h"
#include "Wine.h"

#include <QAbstractEventDispatcher>
#include <QTest>
#include <QThread>

#ifdef Q_OS_UNIX
#include <sys/ioctl.h>
#include <sys/socket.h>
#endif

#include <algorithm>
#include <chrono>
#include <memory>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

/// Things that coincide: messages and the end of their client, a flood and other clients, a pause and new clients,
/// nested calls.
class tst_server_events : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void servesAllLoggedInClientsInOneRound();
    void discardsInputAfterTlsError();
    void releasesClientThatClosesAfterTlsError();
    void carriesOutOneReadPerTurn_data();
    void carriesOutOneReadPerTurn();
    void splitsNoCharacterAtEndOfTurn();
    void readsOneStrangerPerTurn();
    void acceptsOneClientPerTurn_data();
    void acceptsOneClientPerTurn();
    void limitsNestedCalls();
    void carriesOutCommandThatNestedCallsWaitFor();
    void carriesOutNextTurnsInNestedLoop();
    void stopsTimeoutWhileClientIsHeld();
    void carriesOutReceivedCommandsIfLogLineRunsEvents();
    void carriesOutCommandsOfClientThatResets_data();
    void carriesOutCommandsOfClientThatResets();
};

namespace {

/// Counts the log lines with a given beginning: the most in one round of the event loop, and all.
class LinesPerRound {
    Q_DISABLE_COPY_MOVE(LinesPerRound)

public:
    explicit LinesPerRound(const QString& beginning)
        : log([this, beginning](const QString& line) {
            if (!line.startsWith(beginning))
                return;
            most = std::max(most, ++count);
            ++all;
        })
    {
        const auto* dispatcher = QAbstractEventDispatcher::instance();
        QObject::connect(dispatcher, &QAbstractEventDispatcher::awake, &context, [this] { count = 0; });
    }

    int most = 0;
    int all = 0;

private:
    int count = 0;
    QObject context;
    const LogCapture log;
};

/// Runs enough rounds of the event loop for everything that was ready. \return false if that took too long
bool runRounds(TlsClient& loggedIn)
{
    int rounds = 0;
    while (rounds < 3 && isServed(loggedIn))
        ++rounds;
    return rounds == 3;
}

/// Logged in, and nothing of them is left to be carried out.
std::vector<std::unique_ptr<TlsClient>> orvaneClients(const Session& session, size_t count)
{
    std::vector<std::unique_ptr<TlsClient>> clients;
    while (clients.size() < count) {
        clients.push_back(session.orvaneClient());
        if (!clients.back() || !runRounds(*clients.back()))
            qFatal("a client is not served");
        clients.back()->received.clear();
    }
    return clients;
}

void setPreset(TlsClient& client, const QByteArray& name)
{
    client.send("<setPreset><presetname>" + name + "</presetname></setPreset>");
}

/// How many of the server's sockets have something that the server leaves there.
size_t unreadSockets(const Session& session)
{
    const auto sockets = session.server->findChildren<QSslSocket*>();
    return size_t(std::count_if(
        sockets.begin(), sockets.end(), [](const QSslSocket* socket) { return socket->bytesAvailable() > 0; }));
}

/// In one event loop, as a host's dialog does. waitFor() would deliver what Qt leaves lying in it.
bool runLoopUntil(const std::function<bool()>& condition)
{
    QEventLoop loop;
    QTimer timer;
    const QDeadlineTimer deadline(PatienceMs);
    timer.callOnTimeout([&] {
        if (condition() || deadline.hasExpired())
            loop.quit();
    });
    timer.start(10ms);
    loop.exec();
    return condition();
}

/// Waits until the server's system has received everything: otherwise the client's could discard the rest.
void waitForDelivery([[maybe_unused]] QSslSocket& client)
{
#ifdef Q_OS_UNIX
    const auto descriptor = static_cast<int>(client.socketDescriptor());
    for (int unreceived = 1; ioctl(descriptor, TIOCOUTQ, &unreceived) == 0 && unreceived > 0;)
        QThread::msleep(1);
#endif
}

/// Ends the connection as the system does for a client that closes before it has read everything.
void reset(QSslSocket& client)
{
#ifdef Q_OS_UNIX
    const linger none {1, 0};
    setsockopt(static_cast<int>(client.socketDescriptor()), SOL_SOCKET, SO_LINGER, &none, sizeof none);
#endif
    client.abort();
}

} // namespace

void tst_server_events::discardsInputAfterTlsError()
{
    constexpr int pieces = 24;
    const QByteArray piece(1 << 20, 'x');
    const Session session;
    const auto client = session.orvaneClient();
    QVERIFY(client && runRounds(*client));
    auto* network = client->findChild<QTcpSocket*>();
    const qsizetype growth = peakMemoryDuring([&] {
        for (int count = 0; count < pieces; ++count) {
            network->write(piece);
            QTRY_COMPARE(network->bytesToWrite(), 0);
        }
    });
    QVERIFY2(growth < pieces * piece.size() / 2, qPrintable(u"%1 bytes more"_s.arg(growth)));
    QCOMPARE(session.acceptedCount(), 1);
    network->abort();
    QTRY_COMPARE(session.acceptedCount(), 0);
}

/// Its replies can no longer be encrypted, and must not keep the server from seeing its end.
void tst_server_events::releasesClientThatClosesAfterTlsError()
{
    if (isWine())
        QSKIP(WineMissesEnds);
    Session session;
    const auto client = session.orvaneClient();
    QVERIFY(client && runRounds(*client));
    session.host.calls.clear();
    auto* network = client->findChild<QTcpSocket*>();
    for (int record = 0; record < 3; ++record) { // with the first reply, Qt meets the error
        client->send("<setPreset/>");
        client->flush();
    }
    network->write(QByteArray::fromHex("1703030037") + QByteArray(0x37, 'q'));
    network->flush();
    waitForDelivery(*client);
    network->abort();
    QTRY_COMPARE(session.acceptedCount(), 0);
    QCOMPARE(session.host.calls, QStringList(3, u"setPreset(\"\")"_s));
}

void tst_server_events::carriesOutOneReadPerTurn_data()
{
    QTest::addColumn<bool>("loggedIn");
    QTest::addColumn<int>("mostBytes");
    QTest::newRow("stranger") << false << 4096;
    QTest::newRow("logged-in client") << true << 8192;
}

void tst_server_events::carriesOutOneReadPerTurn()
{
    QFETCH(const bool, loggedIn);
    QFETCH(const int, mostBytes);
    const QByteArray message = "<a/>\r\n\r\n";
    constexpr int messages = 4000;
    const Session session;
    const auto client = loggedIn ? session.orvaneClient() : session.connectedClient();
    const auto witness = session.orvaneClient();
    QVERIFY(client && witness && runRounds(*witness));

    const LinesPerRound counter(u"OrvaneConnection received command"_s);
    client->write(message.repeated(messages) + loginMessage() + "<theLast/>\r\n\r\n");
    QTRY_VERIFY(client->received.endsWith(LastReply));
    QVERIFY2(counter.most > 100, qPrintable(QString::number(counter.most)));
    QVERIFY2(counter.most <= mostBytes / message.size(), qPrintable(QString::number(counter.most)));
}

void tst_server_events::splitsNoCharacterAtEndOfTurn()
{
    constexpr int commands = 200; // more than fit into ten turns
    Session session;
    const auto client = session.orvaneClient();
    QVERIFY(client);
    const QString name = u"x"_s + QString(300, QChar(0xFC)); // so that messages begin at odd and at even bytes
    for (int command = 0; command < commands; ++command) {
        client->received.clear();
        client->send("<setPreset><presetname>" + name.toUtf8() + "</presetname></setPreset>");
        QTRY_COMPARE(client->received, shortAcceptance("setPreset"));
    }
    session.host.calls.removeDuplicates();
    QCOMPARE(session.host.calls, QStringList {u"setPreset(\"%1\")"_s.arg(name)});
}

void tst_server_events::readsOneStrangerPerTurn()
{
    const Session session;
    std::vector<std::unique_ptr<TlsClient>> strangers(5);
    for (auto& each : strangers) {
        each = session.connectedClient();
        QVERIFY(each);
        each->setSocketOption(QAbstractSocket::LowDelayOption, 1); // its system would hold back the next message
    }
    const auto say = [&](size_t number) {
        strangers[number]->send("<a/>");
        strangers[number]->flush();
    };
    const auto allSay = [&] {
        for (size_t number = 0; number < strangers.size(); ++number)
            say(number);
    };
    const LinesPerRound lines(u"OrvaneConnection received command"_s);
    allSay();
    QTRY_COMPARE(lines.all, 5);
    QCOMPARE(lines.most, 1);

    // The one that is held longest is read first. So all are read equally often.
    std::vector<int> reads(strangers.size());
    session.server->setClientObserver([&](const auto& event) { // one that is read says the next thing at once
        for (size_t number = 0; number < strangers.size(); ++number) {
            if (strangers[number]->localPort() != event.client.port())
                continue;
            ++reads[number];
            say(number);
        }
    });
    allSay();
    QTRY_VERIFY(lines.all > 100);
    std::sort(reads.begin(), reads.end());
    QVERIFY2(reads.front() > 10, qPrintable(QString::number(reads.front())));
}

void tst_server_events::acceptsOneClientPerTurn_data()
{
    QTest::addColumn<bool>("beginsInAnEvent");
    QTest::newRow("server that has been listening") << false;
    QTest::newRow("server that begins to listen in an event") << true;
}

void tst_server_events::acceptsOneClientPerTurn()
{
    QFETCH(const bool, beginsInAnEvent);
    constexpr size_t count = 20;
    const Session session;
    std::vector<std::unique_ptr<TlsClient>> clients;
    const auto listenAndConnect = [&] {
        session.server->close();
        session.server->listen();
        while (clients.size() < count)
            clients.push_back(session.tcpClient());
    };
    if (beginsInAnEvent)
        QMetaObject::invokeMethod(session.server.get(), listenAndConnect, Qt::QueuedConnection);
    else
        listenAndConnect();
    const LinesPerRound counter(u"New OrvaneConnection"_s);
    QTRY_COMPARE(session.acceptedCount(), qsizetype {count});
    QCOMPARE(counter.most, 1);
}

void tst_server_events::limitsNestedCalls()
{
    constexpr size_t mostNested = 32;
    constexpr size_t clientCount = 40;
    Session session;
    const auto clients = orvaneClients(session, clientCount);
    size_t nested = 0;
    size_t most = 0;
    bool isOver = false;
    size_t woken = 0; // by the end of another call
    size_t mostWhenWoken = 0;
    session.host.calls.clear();
    session.host.duringCall = [&] {
        most = std::max(most, ++nested);
        if (isOver) {
            mostWhenWoken = std::max(mostWhenWoken, nested);
            ++woken;
            QVERIFY(runLoopUntil([&] { return woken == clientCount - mostNested; }));
        }
        for (size_t number = mostNested; nested == mostNested && number < clientCount && !isOver; ++number) {
            setPreset(*clients[number], QByteArray::number(int(number))); // each waits for those before
            QVERIFY(waitFor([&] { return unreadSockets(session) == number - mostNested + 1; }));
        }
        isOver = isOver || nested == mostNested;
        QVERIFY(waitFor([&] { return isOver || nested > mostNested; }));
        --nested;
    };
    for (size_t number = 0; number < mostNested; ++number)
        setPreset(*clients[number], QByteArray::number(int(number)));
    for (const auto& client : clients)
        QTRY_COMPARE(client->received, shortAcceptance("setPreset"));
    QCOMPARE(most, mostNested);
    QCOMPARE(session.host.calls.size(), clientCount);
    for (size_t number = mostNested; number < clientCount; ++number)
        QCOMPARE(session.host.calls.at(qsizetype(number)), u"setPreset(\"%1\")"_s.arg(number));
    QVERIFY(mostWhenWoken > 0 && mostWhenWoken < mostNested); // they do not pile up on the stack
}

void tst_server_events::carriesOutCommandThatNestedCallsWaitFor()
{
    constexpr size_t waitingCalls = 31;
    Session session;
    const auto clients = orvaneClients(session, waitingCalls + 2);
    int lasts = 0;
    size_t begun = 0; // calls, each in the one before
    session.host.duringCall = [&] {
        if (session.host.calls.last().contains(u"last"_s)) {
            ++lasts;
        } else if (++begun <= waitingCalls) {
            setPreset(*clients[begun], begun < waitingCalls ? "waits" : "short");
            QVERIFY(waitFor([&] { return lasts == 2; }));
        } else { // the limit of nested calls is reached
            setPreset(*clients[waitingCalls], "last");
            setPreset(*clients.back(), "last");
            QVERIFY(waitFor([&] { return unreadSockets(session) == 1; })); // its own is not decrypted
        }
    };
    setPreset(*clients.front(), "waits");
    for (size_t count = 0; count < waitingCalls; ++count)
        QTRY_COMPARE(clients[count]->received, shortAcceptance("setPreset"));
}

/// The next turns of both clients are queued at the same time. No reply wakes the event loop.
void tst_server_events::carriesOutNextTurnsInNestedLoop()
{
    Session session;
    const auto first = session.orvaneClient();
    const auto second = session.orvaneClient();
    QVERIFY(first && second);
    session.host.answer.reset();
    int lasts = 0;
    session.host.duringCall = [&] {
        if (!session.host.calls.last().contains(u"last"_s))
            return;
        ++lasts;
        QVERIFY(runLoopUntil([&] { return lasts == 2; }));
    };
    for (TlsClient* client : {first.get(), second.get()}) {
        client->write(QByteArray("<getPertinentInfo/>\r\n\r\n").repeated(500)
            + "<setPreset><presetname>last</presetname></setPreset>\r\n\r\n");
        client->flush();
    }
    QTRY_COMPARE(lasts, 2);
}

/// Unlike strangers, they share no turn.
void tst_server_events::servesAllLoggedInClientsInOneRound()
{
    constexpr int many = 10;
    for (const QByteArray& login : {loginMessage(), loginMessage("operator", "secret")}) {
        Session session;
        std::vector<std::unique_ptr<TlsClient>> clients;
        while (clients.size() < many) {
            clients.push_back(session.connectedClient());
            QVERIFY(clients.back());
            clients.back()->write(login);
            QVERIFY(runRounds(*clients.back()));
        }
        session.host.calls.clear();
        for (const auto& client : clients) {
            client->send("<setPreset/>");
            QVERIFY(client->waitForBytesWritten()); // without the server's event loop
            waitForDelivery(*client);
        }
        qsizetype most = 0; // in one round
        qsizetype before = 0;
        QVERIFY(waitFor([&] {
            const qsizetype calls = session.host.calls.size();
            most = std::max(most, calls - std::exchange(before, calls));
            return calls == many;
        }));
        QVERIFY2(most > many / 2, qPrintable(QString::number(most)));
    }
}

/// \return whether a client is served after being held for longer than \a timeout, its login time-out
static bool isServedAfterHold(std::chrono::milliseconds timeout)
{
    Session session;
    const auto clients = orvaneClients(session, 32);
    OrvaneInterface::OrvaneLimits limits;
    limits.loginTimeout = timeout;
    session.server->setLimits(limits);
    TlsClient late;
    const auto isEnded = [&] { return late.state() == QAbstractSocket::UnconnectedState; };
    int nested = 0;
    bool isOver = false;
    session.host.duringCall = [&] {
        if (++nested < 32) {
            waitFor([&] { return isOver; });
            return;
        }
        late.connectToPort(session.server->serverPort());
        late.loginAsOrvane();
        late.send(LastCommand);
        waitFor([&] { return late.isEncrypted() || isEnded(); });
        runEventsFor(timeout + timeout / 2); // without the hold it would time out
        isOver = true;
    };
    for (const auto& client : clients)
        client->send("<setPreset/>");
    waitFor([&] { return nested == 32 && (late.received == LastReply || (isOver && isEnded())); });
    return nested == 32 && late.received == LastReply;
}

/// If this machine makes no handshake in the time, it proves nothing. So longer times are tried.
void tst_server_events::stopsTimeoutWhileClientIsHeld()
{
    bool isServed = false;
    for (auto timeout = 500ms; !isServed && timeout < 10s; timeout *= 2)
        isServed = isServedAfterHold(timeout);
    QVERIFY(isServed);
}

void tst_server_events::carriesOutReceivedCommandsIfLogLineRunsEvents()
{
    if (isWine())
        QSKIP(WineMissesEnds);
    constexpr int commands = 700; // more than a turn, and more than Qt reads ahead
    for (const bool endsTls : {true, false}) { // without, the first reply resets the connection
        Session session;
        const auto client = session.orvaneClient();
        QVERIFY(client && runRounds(*client)); // it has read everything
        session.host.calls.clear();
        const LogCapture log([](const QString&) { QCoreApplication::processEvents(); });
        for (int command = 0; command < commands; ++command) {
            client->send("<setPreset/>");
            client->flush();
        }
        waitForDelivery(*client);
        endsTls ? client->disconnectFromHost() : client->abort();
        QTRY_COMPARE(session.acceptedCount(), 0);
        QCOMPARE(session.host.calls.size(), commands);
    }
}

void tst_server_events::carriesOutCommandsOfClientThatResets_data()
{
    QTest::addColumn<bool>("isLoggedIn");
    QTest::addColumn<int>("answerSize");
    QTest::newRow("logged in") << true << 1;
    QTest::newRow("login among the messages") << false << 1;
    QTest::newRow("replies wait for the client") << true << 20'000'000;
}

/// More commands than the server reads in three turns, than Qt reads ahead, and than share a TLS record.
void tst_server_events::carriesOutCommandsOfClientThatResets()
{
#ifndef Q_OS_UNIX
    QSKIP("Windows discards what a client has sent before it resets.");
#endif
    QFETCH(const bool, isLoggedIn);
    QFETCH(const int, answerSize);
    constexpr int commands = 1500;
    Session session;
    session.host.answer = std::string(static_cast<size_t>(answerSize), 'x');
    const auto client = isLoggedIn ? session.orvaneClient() : session.connectedClient();
    QVERIFY(client);
    client->setReadBufferSize(1);
    client->send("<getPertinentInfo/>");
    QTRY_COMPARE(session.host.calls.size(), isLoggedIn ? 1 : 0);
    QCOMPARE(session.server->findChild<QSslSocket*>()->encryptedBytesToWrite() > 0, answerSize > 1);

    session.host.calls.clear();
    session.host.answer = "x";
    client->loginAsOrvane();
    for (int command = 0; command < commands; ++command) {
        client->send("<getPertinentInfo/>");
        client->flush();
    }
    QCOMPARE(client->encryptedBytesToWrite(), 0);
    waitForDelivery(*client);
    reset(*client);
    QTRY_COMPARE(session.acceptedCount(), 0);
    QCOMPARE(session.host.calls.size(), commands);
}

ORVANE_TEST(tst_server_events)
#include "tst_server_events.moc"
