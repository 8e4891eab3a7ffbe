#include "LogCapture.h"
#include "Session.h"
#include "TestClass.h"

#include <QAbstractEventDispatcher>
#include <QTest>
#include <QThread>

#include <algorithm>
#include <array>
#include <chrono>
#include <thread>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using OrvaneInterface::OrvaneLimits;

/// A client that exceeds a limit is disconnected, with a log line. Clients at the limit, and earlier ones, are served.
class tst_server_limits : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void acceptsUpToMaxClients();
    void acceptsWaitingClientIfLimitIsRaised();
    void givesPlacesInOrderOfArrival_data();
    void givesPlacesInOrderOfArrival();
    void turnsEachClientAwayInTime();
    void turnsClientsAwayDuringLogLine();
    void limitsMessageLength_data();
    void limitsMessageLength();
    void limitsInputDuringCall();
    void disconnectsClientThatDoesNotReadReplies();
    void servesClientThatAsksForMuchAtOnce();
    void disconnectsClientWithoutHandshake();
    void timesOutInTenSteps();
    void disconnectsClientWithoutLogin();
    void stopsTimeoutsWhileHostIsBlocked_data();
    void stopsTimeoutsWhileHostIsBlocked();
};

namespace {

/// A host with limits, and a client that keeps to them and is served throughout.
class LimitedSession : public Session {
public:
    explicit LimitedSession(const OrvaneLimits& limits)
    {
        server->setLimits(limits);
        witness = orvaneClient();
        QVERIFY(isServed());
    }

    bool isServed() const
    {
        const QByteArray expected = rejection("stillThere", "Unknown command");
        witness->received.clear();
        witness->send("<stillThere/>");
        return waitFor([&] { return witness->received == expected; });
    }

    std::unique_ptr<TlsClient> witness;
};

/// Whether the client was disconnected, with one log line: the limit, and where the client came from.
bool isEnded(const QAbstractSocket& client, const QString& limit, quint16 clientPort)
{
    if (!waitFor([&] { return client.state() == QAbstractSocket::UnconnectedState; }))
        return false;
    const QStringList lines = LogCapture::take().filter(u"exceeded"_s);
    const QString expected = u"OrvaneConnection exceeded a limit: %1 127.0.0.1:%2"_s.arg(limit).arg(clientPort);
    if (lines != QStringList {expected})
        qWarning() << "In the log:" << lines << "instead of" << expected;
    return lines == QStringList {expected};
}

QByteArray showLive(qsizetype length)
{
    const QByteArray start = "<showLive><camera>1</camera><x>";
    const QByteArray end = "</x></showLive>";
    return start + QByteArray(length - start.size() - end.size(), 'x') + end;
}

QByteArray showLiveReply()
{
    return reply("commandAccepted", "<command>showLive</command><splitid>-1</splitid>");
}

} // namespace

void tst_server_limits::acceptsUpToMaxClients()
{
    const LogCapture log;
    LimitedSession session({.maxClients = 2});
    auto second = session.connectedClient();
    QVERIFY(second);
    session.server->setLimits({.maxClients = 1}); // fewer than there are

    // The last hundred wait for a place in vain.
    std::array<std::unique_ptr<TlsClient>, 103> further;
    QStringList expected;
    QElapsedTimer sinceTheFirst;
    sinceTheFirst.start();
    for (auto& client : further) {
        client = session.tcpClient();
        QCoreApplication::processEvents(); // the system's own queue is shorter
        expected += u"OrvaneConnection exceeded a limit: maxClients 127.0.0.1:%1"_s.arg(client->localPort());
    }
    QStringList lines;
    const auto countExceeded = [&] { return (lines += LogCapture::take().filter(u"exceeded"_s)).size(); };
    QVERIFY(waitFor([&] { return countExceeded() + session.acceptedCount() == 105; })); // the server has seen them all
    QVERIFY(session.acceptedCount() <= 102);
    QVERIFY(sinceTheFirst.hasExpired(99) || countExceeded() == 3); // some may have waited long enough
    for (const auto& client : further)
        QTRY_COMPARE(client->state(), QAbstractSocket::UnconnectedState);
    countExceeded();
    QCOMPARE(lines, expected);
    QVERIFY(session.isServed());
}

void tst_server_limits::acceptsWaitingClientIfLimitIsRaised()
{
    const LimitedSession session({.maxClients = 1});
    TlsClient second;
    second.connectToPort(session.server->serverPort());
    QTRY_COMPARE(session.acceptedCount(), 2);
    int steps = 0; // of the ten that it waits
    QTimer timer;
    timer.callOnTimeout([&] { ++steps; });
    timer.start(10ms);
    QTRY_COMPARE(steps, 5);
    session.server->pauseAccepting();
    session.server->setLimits({});
    QTRY_VERIFY(second.isEncrypted());

    TlsClient third;
    third.connectToPort(session.server->serverPort());
    QVERIFY(third.waitForConnected() && session.isServed());
    QVERIFY(session.isServed()); // the event loop has gone round
    QVERIFY(!third.isEncrypted()); // the pause goes on
    QVERIFY(session.server->waitForNewConnection(PatienceMs));
    QTRY_VERIFY(third.isEncrypted());
    const auto fourth = session.tcpClient();
    QVERIFY(session.isServed() && session.isServed());
    QCOMPARE(session.acceptedCount(), 3); // it still goes on
    session.server->resumeAccepting();
    QTRY_COMPARE(session.acceptedCount(), 4);

    runEventsFor(20ms); // longer than a waiting step, but no client waits
    const auto children = session.server->findChildren<QObject*>();
    for (QObject* child : children)
        QVERIFY(QAbstractEventDispatcher::instance()->registeredTimers(child).isEmpty());
}

void tst_server_limits::givesPlacesInOrderOfArrival_data()
{
    QTest::addColumn<bool>("anotherComes");
    QTest::newRow("another comes at that moment") << true;
    QTest::newRow("the time of the others is over") << false;
}

/// While the first one is turned away, the host allows two more. The third has left.
void tst_server_limits::givesPlacesInOrderOfArrival()
{
    QFETCH(const bool, anotherComes);
    using Type = OrvaneInterface::OrvaneClientEvent::Type;
    const LimitedSession session({.maxClients = 1});
    std::vector<std::unique_ptr<TlsClient>> clients;
    QList<quint16> ports;
    const auto connectClient = [&] {
        clients.push_back(session.tcpClient());
        ports += clients.back()->localPort();
    };
    QStringList outcomes;
    session.server->setClientObserver([&](const OrvaneInterface::OrvaneClientEvent& event) {
        if (event.type != Type::Connected && event.type != Type::ExceededLimit)
            return;
        outcomes +=
            u"%1 %2"_s.arg(ports.indexOf(event.client.port())).arg(event.type == Type::Connected ? u"+"_s : u"-"_s);
        if (outcomes.size() == 1) {
            session.server->setLimits({.maxClients = 3});
            if (anotherComes)
                connectClient();
        }
        if (anotherComes || outcomes.size() > 1)
            runEventsFor(20ms); // longer than a waiting step: another place would be given now
    });
    for (int number = 0; number < (anotherComes ? 4 : 3); ++number)
        connectClient();
    clients[2]->abort();
    QStringList expected {u"0 -"_s, u"1 +"_s, u"2 -"_s};
    if (anotherComes)
        expected += {u"3 +"_s, u"4 -"_s};
    QTRY_COMPARE(outcomes.size(), expected.size());
    QCOMPARE(outcomes, expected);
}

/// Each waits for ten steps, and those that come later prolong nothing.
void tst_server_limits::turnsEachClientAwayInTime()
{
    const LimitedSession session({.maxClients = 1});
    int step = 0;
    QTimer timer;
    timer.callOnTimeout([&] { ++step; });
    timer.start(10ms);
    QMap<QString, int> since; // by port
    std::vector<int> waited;
    const LogCapture log([&](const QString& line) {
        if (line.contains(u"exceeded"_s))
            waited.push_back(step - since.value(line.section(u':', -1)));
    });
    std::vector<std::unique_ptr<TlsClient>> clients;
    while (waited.size() < 20) {
        QVERIFY(clients.size() < 200);
        clients.push_back(session.tcpClient());
        since[QString::number(clients.back()->localPort())] = step;
        runEventsFor(3ms); // less than a step
    }
    const auto [least, most] = std::minmax_element(waited.begin(), waited.end());
    QVERIFY2(*least >= 5 && *most <= 25, qPrintable(u"%1 to %2 steps"_s.arg(*least).arg(*most)));
}

/// Qt would not deliver the timer in whose function the line is logged.
void tst_server_limits::turnsClientsAwayDuringLogLine()
{
    const LimitedSession session({.maxClients = 1});
    TlsClient first;
    TlsClient second;
    const auto isRefused = [&] { return second.state() == QAbstractSocket::UnconnectedState; };
    bool isInTime = true;
    const LogCapture log([&](const QString& line) {
        if (line.contains(u"exceeded"_s) && !isRefused())
            isInTime = waitFor(isRefused) && isInTime;
    });
    first.connectToPort(session.server->serverPort());
    QVERIFY(first.waitForConnected());
    second.connectToPort(session.server->serverPort());
    QTRY_VERIFY(isRefused());
    QVERIFY(isInTime);
}

void tst_server_limits::limitsMessageLength_data()
{
    QTest::addColumn<int>("maxLength");
    QTest::addColumn<int>("maxLengthBeforeLogin");
    QTest::addColumn<bool>("logsIn");
    QTest::addColumn<QByteArray>("sent");
    QTest::addColumn<int>("replies"); // to showLive
    QTest::addColumn<QString>("exceeded"); // empty: none

    constexpr int length = 20000; // several reads
    constexpr int beforeLogin = 200;
    const QByteArray end = "\r\n\r\n";
    const QByteArray fits = showLive(length) + end;
    const QByteArray isTooLong = showLive(length + 1) + end;
    const QString limit = u"maxMessageLength"_s;
    const QString limitBeforeLogin = u"maxMessageLengthBeforeLogin"_s;

    QTest::newRow("without a terminator") << length << 0 << true << fits + QByteArray(length + 100, 'x') << 1 << limit;
    QTest::newRow("before the login, without a terminator")
        << 0 << beforeLogin << false << QByteArray(beforeLogin, 'x') + QByteArray(100, ' ') << 0 << limitBeforeLogin;
    QTest::newRow("after the login, in the same write") << length << beforeLogin << true << fits << 1 << QString();
    QTest::newRow("one too long after the login") << length << beforeLogin << true << isTooLong << 0 << limit;
}

void tst_server_limits::limitsMessageLength()
{
    QFETCH(const int, maxLength);
    QFETCH(const int, maxLengthBeforeLogin);
    QFETCH(const bool, logsIn);
    QFETCH(const QByteArray, sent);
    QFETCH(const int, replies);
    QFETCH(const QString, exceeded);

    const LogCapture log;
    LimitedSession session({.maxMessageLength = maxLength, .maxMessageLengthBeforeLogin = maxLengthBeforeLogin});
    auto client = session.connectedClient();
    const quint16 port = client->localPort(); // which the socket forgets
    QByteArray login;
    if (logsIn)
        login = "<loginClient><username>operator</username><password>secret</password></loginClient>\r\n\r\n";
    client->write(login + sent);

    if (exceeded.isEmpty())
        QTRY_COMPARE(client->received, showLiveReply().repeated(replies));
    else
        QVERIFY(isEnded(*client, exceeded, port));
    QCOMPARE(client->received, showLiveReply().repeated(replies));
    QCOMPARE(session.host.calls.size(), replies);
    QVERIFY(session.isServed());
}

/// The client could send endlessly while the host runs an event loop in its call.
void tst_server_limits::limitsInputDuringCall()
{
    LimitedSession session({});
    const auto client = session.orvaneClient();
    const auto* socket = session.server->findChildren<QSslSocket*>().last();
    qint64 taken = 0;
    session.host.duringCall = [&] {
        client->write(QByteArray(4'000'000, 'x'));
        QVERIFY(waitFor([&] { return socket->bytesAvailable() + socket->encryptedBytesAvailable() > 0; }));
        for (int round = 0; round < 20; ++round)
            QVERIFY(session.isServed());
        taken = socket->bytesAvailable() + socket->encryptedBytesAvailable();
    };
    client->send("<setPreset/>");
    QTRY_COMPARE(client->received, shortAcceptance("setPreset"));
    QVERIFY2(taken > 0 && taken < 500'000, qPrintable(QString::number(taken)));
}

void tst_server_limits::disconnectsClientThatDoesNotReadReplies()
{
    int exceeded = 0;
    const LogCapture log([&](const QString& line) { exceeded += line.contains(u"maxUnsentBytes"_s) ? 1 : 0; });
    LimitedSession session({.maxUnsentBytes = 1'000'000});
    constexpr int size = 10'000'000; // with the limit, more than the system takes
    session.host.presets.resize(1);
    session.host.presets.front().name = std::string(size, 'x');

    auto patient = session.orvaneClient();
    const qsizetype listSize = reply("getPresetsListResponse", "<preset name=\"\" />").size() + size;
    for (int list = 1; list <= 2; ++list) {
        patient->send("<getPresetsList/>");
        QTRY_COMPARE(patient->received.size(), list * listSize); // each larger than the limit
    }

    auto deaf = session.orvaneClient();
    deaf->setReadBufferSize(1000);
    QObject::disconnect(deaf.get(), &QIODevice::readyRead, nullptr, nullptr);
    session.host.presets.front().name = std::string(200'000, 'x');
    qint64 unsent = 0;
    session.host.duringCall = [&] {
        const auto sockets = session.server->findChildren<QSslSocket*>();
        for (const QSslSocket* socket : sockets)
            unsent = std::max(unsent, socket->bytesToWrite() + socket->encryptedBytesToWrite());
    };
    for (int list = 0; list < 100 && deaf->state() == QAbstractSocket::ConnectedState; ++list) {
        const qsizetype calls = session.host.calls.size();
        deaf->send("<getPresetsList/>");
        QTRY_VERIFY(session.host.calls.size() > calls || exceeded > 0);
    }
    QTRY_COMPARE(exceeded, 1);
    QVERIFY2(unsent > 700'000 && unsent <= 1'000'000, qPrintable(QString::number(unsent)));
    QVERIFY(session.isServed());
}

/// Replies that the system takes at once do not count.
void tst_server_limits::servesClientThatAsksForMuchAtOnce()
{
    const LogCapture log;
    LimitedSession session({.maxUnsentBytes = 30'000});
    session.host.presets.resize(1);
    session.host.presets.front().name = std::string(20'000, 'x');
    auto client = session.orvaneClient();
    client->write(QByteArray("<getPresetsList/>\r\n\r\n").repeated(5));
    const QByteArray list = reply("getPresetsListResponse", "<preset name=\"" + QByteArray(20'000, 'x') + "\" />");
    QTRY_COMPARE(client->received, list.repeated(5));
}

/// Although the host is always busy, each time for longer than a step of the time-out.
void tst_server_limits::disconnectsClientWithoutHandshake()
{
    const LogCapture log;
    const LimitedSession session({});
    session.server->setLimits({.maxMessageLength = 1, .handshakeTimeout = 100ms});
    QTimer busy;
    busy.callOnTimeout([] { QThread::msleep(20); });
    busy.start(0ms);
    const auto silent = session.tcpClient();
    const quint16 port = silent->localPort();
    QVERIFY(isEnded(*silent, u"handshakeTimeout"_s, port));
    busy.stop();
    QVERIFY(session.isServed()); // it was there before the limits
}

/// A time-out has ten steps, or twice as many if they are late. A machine on which they always are proves nothing.
void tst_server_limits::timesOutInTenSteps()
{
    const LogCapture log;
    const LimitedSession session({});
    session.server->setLimits({.handshakeTimeout = 200ms});
    bool isLate = true;
    for (int attempt = 0; attempt < 10 && isLate; ++attempt) {
        const auto silent = session.tcpClient();
        QTRY_COMPARE(session.acceptedCount(), 2);
        int steps = 0;
        isLate = false;
        QElapsedTimer step;
        QTimer timer;
        timer.callOnTimeout([&] {
            ++steps;
            isLate |= step.restart() > 25;
        });
        timer.start(20ms);
        step.start();
        QTRY_COMPARE(silent->state(), QAbstractSocket::UnconnectedState);
        QVERIFY(isLate || (steps > 7 && steps < 13));
        QTRY_COMPARE(session.acceptedCount(), 1);
    }
}

void tst_server_limits::disconnectsClientWithoutLogin()
{
    const LogCapture log;
    const LimitedSession session({});
    session.server->setLimits({.loginTimeout = 100ms});
    const auto client = session.tcpClient();
    const quint16 port = client->localPort(); // which the socket forgets
    client->startClientEncryption();
    client->login("operator", "wrong");
    QVERIFY(isEnded(*client, u"loginTimeout"_s, port));
    QVERIFY(session.isServed());
}

/// \return whether a client is served whose host is blocked for longer than a time-out, after \a silent; and still
/// served when the time-out of a later client is over
static bool isServedAfterHostWasBlocked(std::chrono::milliseconds silent, const OrvaneLimits& limits)
{
    const Session session;
    session.server->setLimits(limits);
    const auto longerThanAllowed = limits.handshakeTimeout + limits.handshakeTimeout / 4;
    const bool isLoginLate = limits.loginTimeout > 0ms;
    bool isKnown = false;
    const LogCapture log([&](const QString& line) {
        if (line == "OrvaneConnection received command:"_L1 && isLoginLate && !std::exchange(isKnown, true))
            runEventsFor(longerThanAllowed); // before the login is carried out
    });
    const auto client = session.tcpClient();
    if (!waitFor([&] { return session.acceptedCount() == 1; }))
        return false;
    runEventsFor(silent);
    client->startClientEncryption();
    std::this_thread::sleep_for(longerThanAllowed);
    const auto isEnded = [&] { return client->state() == QAbstractSocket::UnconnectedState; };
    if (!waitFor([&] { return client->isEncrypted() || isEnded(); }) || isEnded())
        return false;
    std::this_thread::sleep_for(isLoginLate ? longerThanAllowed : 0ms);
    client->login("operator", "secret");
    client->send(LastCommand);
    if (!waitFor([&] { return client->received == LastReply || isEnded(); }) || isEnded())
        return false;
    const auto later = session.tcpClient(); // when its time is over, so is that of the other
    waitFor([&] { return later->state() == QAbstractSocket::UnconnectedState; });
    client->send(LastCommand);
    return waitFor([&] { return client->received == LastReply.repeated(2) || isEnded(); }) && !isEnded();
}

void tst_server_limits::stopsTimeoutsWhileHostIsBlocked_data()
{
    QTest::addColumn<int>("silentPercent"); // of the time-out, before the host is blocked
    QTest::addColumn<bool>("isLoginLimited");
    QTest::newRow("at once") << 0 << true;
    QTest::newRow("in the last tenth") << 95 << false;
}

/// If this machine makes no handshake in the time, it proves nothing. So longer times are tried.
void tst_server_limits::stopsTimeoutsWhileHostIsBlocked()
{
    QFETCH(const int, silentPercent);
    QFETCH(const bool, isLoginLimited);
    bool isServed = false;
    for (auto time = 500ms; !isServed && time < 20s; time *= 2) {
        const OrvaneLimits limits {.handshakeTimeout = time, .loginTimeout = isLoginLimited ? time : 0ms};
        isServed = isServedAfterHostWasBlocked(time * silentPercent / 100, limits);
    }
    QVERIFY(isServed);
}

ORVANE_TEST(tst_server_limits)
#include "tst_server_limits.moc"
