#include "LogCapture.h"
#include "Session.h"
#include "TestClass.h"

#include <QAbstractEventDispatcher>
#include <QSignalSpy>
#include <QTest>
#include <QTimerEvent>

#include <algorithm>
#include <chrono>
#include <memory>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

/// A host process that runs out of descriptors, in every order of exhausting and freeing them.
class tst_server_without_descriptors : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void waitsWithoutSpinningAndAcceptsAgain_data();
    void waitsWithoutSpinningAndAcceptsAgain();
    void acceptsAgainAfterWaitForNewConnection();
};

namespace {

/// Limits how many descriptors this process can open, while it lives.
class DescriptorLimit {
    Q_DISABLE_COPY_MOVE(DescriptorLimit)

public:
    DescriptorLimit() { getrlimit(RLIMIT_NOFILE, &before); }
    ~DescriptorLimit() { lift(); }

    void lift() { setrlimit(RLIMIT_NOFILE, &before); }
    void allow(int count)
    {
        lift();
        std::vector<int> free; // the limit is on the number of a new descriptor, the lowest free one
        for (int number = 0; number <= count; ++number)
            free.push_back(dup(0));
        rlimit limit = before;
        limit.rlim_cur = static_cast<rlim_t>(free.back());
        for (const int descriptor : free)
            close(descriptor);
        setrlimit(RLIMIT_NOFILE, &limit);
    }

private:
    rlimit before {};
};

enum class Shortage {
    HitsFirstClient,
    HitsSecondOfTwo,
    ComesLater,
    ComesWhenAllHaveLeft,
    ComesAtChosenAddress,
    ComesAfterListeningAnewInLogLine
};
enum class Relief {
    HostFreesOne,
    ClientLeaves,
    SilentClientTakesFirst,
    HostPausesFreesAllAndResumes,
    HostPausesInLogLine
};

bool leavesClientAccepted(Shortage shortage)
{
    return shortage != Shortage::HitsFirstClient && shortage != Shortage::ComesWhenAllHaveLeft;
}

/// How many rounds the event loop of this thread makes in \a time.
qsizetype roundsDuring(std::chrono::milliseconds time)
{
    const QSignalSpy rounds(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake);
    runEventsFor(time);
    return rounds.count();
}

/// Lets the server's timers fire now instead of after a second.
void retry(const QTcpServer& server)
{
    const auto children = server.findChildren<QObject*>(); // not those added meanwhile
    for (QObject* child : children) {
        for (const auto& timer : QAbstractEventDispatcher::instance()->registeredTimers(child)) {
            QTimerEvent event(timer.timerId);
            QCoreApplication::sendEvent(child, &event);
        }
    }
}

/// Whether the server waits a second for its next attempt.
bool retriesLater(const QTcpServer& server)
{
    const auto children = server.findChildren<QObject*>();
    return std::any_of(children.begin(), children.end(), [](QObject* child) {
        const auto timers = QAbstractEventDispatcher::instance()->registeredTimers(child);
        return std::any_of(timers.begin(), timers.end(), [](const auto& timer) { return timer.interval == 1000; });
    });
}

} // namespace

Q_DECLARE_METATYPE(Shortage)
Q_DECLARE_METATYPE(Relief)

void tst_server_without_descriptors::initTestCase()
{
    if (qEnvironmentVariable("LD_PRELOAD").contains("vgpreload"_L1))
        QSKIP("under valgrind the system accepts the client anyway, and valgrind closes the descriptor");
}

void tst_server_without_descriptors::waitsWithoutSpinningAndAcceptsAgain_data()
{
    QTest::addColumn<Shortage>("shortage");
    QTest::addColumn<Relief>("relief");

    const auto rows = [](const char* name, Shortage shortage) {
        QTest::addRow("%s; the host frees one", name) << shortage << Relief::HostFreesOne;
        QTest::addRow("%s; a silent client takes the first freed one", name)
            << shortage << Relief::SilentClientTakesFirst;
        if (leavesClientAccepted(shortage))
            QTest::addRow("%s; a client leaves", name) << shortage << Relief::ClientLeaves;
    };
    rows("the very first client finds none", Shortage::HitsFirstClient);
    rows("the second of the first two clients finds none", Shortage::HitsSecondOfTwo);
    rows("others were accepted before", Shortage::ComesLater);
    rows("others were accepted before, and all have left", Shortage::ComesWhenAllHaveLeft);
    rows("the server listens on a chosen address", Shortage::ComesAtChosenAddress);
    rows("the host ran events and listened anew inside the log line of the client before",
        Shortage::ComesAfterListeningAnewInLogLine);
    QTest::newRow("the host pauses the server, frees all, and resumes it")
        << Shortage::ComesLater << Relief::HostPausesFreesAllAndResumes;
    QTest::newRow("the host frees one, and pauses the server in the log line of the client that takes it")
        << Shortage::ComesLater << Relief::HostPausesInLogLine;
}

void tst_server_without_descriptors::waitsWithoutSpinningAndAcceptsAgain()
{
    QFETCH(const Shortage, shortage);
    QFETCH(Relief, relief);
    const auto time = shortage == Shortage::ComesLater ? 1500ms : 100ms; // the server tries again once in it
    constexpr int mostRounds = 100; // a spinning loop makes tens of thousands

    const Session session;
    std::unique_ptr<TlsClient> leaving; // accepted; null if there is none
    std::unique_ptr<TlsClient> silent; // ahead of the waiting one
    std::unique_ptr<TlsClient> waiting;
    const auto listenAnew = [&] {
        session.server->close();
        session.server->listen(QHostAddress::LocalHost);
    };
    const auto isAccepted = [&](const TlsClient& client) {
        const QList<QSslSocket*> sockets = session.server->findChildren<QSslSocket*>();
        return std::any_of(sockets.begin(), sockets.end(),
            [&](const QSslSocket* socket) { return socket->peerPort() == client.localPort(); });
    };
    const LogCapture log([&](const QString& line) {
        if (shortage == Shortage::ComesAfterListeningAnewInLogLine && line.startsWith(u"New OrvaneConnection"_s)
            && !waiting) {
            QCoreApplication::processEvents();
            listenAnew();
        }
        if (relief == Relief::HostPausesInLogLine && waiting && line.startsWith(u"New OrvaneConnection"_s))
            session.server->pauseAccepting();
    });
    QStringList lines;
    const auto timesLogged = [&] {
        lines += LogCapture::take();
        return lines.filter(u"OrvaneConnection server error: QAbstractSocket::SocketResourceError"_s).size();
    };

    if (shortage == Shortage::ComesAtChosenAddress)
        listenAnew();
    if (shortage != Shortage::HitsFirstClient)
        leaving = session.tcpClient();
    if (shortage != Shortage::HitsFirstClient && shortage != Shortage::HitsSecondOfTwo)
        QTRY_VERIFY(isAccepted(*leaving));
    if (shortage == Shortage::ComesWhenAllHaveLeft) {
        leaving.reset();
        QTRY_VERIFY(session.server->findChild<QSslSocket*>() == nullptr);
    }
    if (relief == Relief::SilentClientTakesFirst)
        silent = session.tcpClient();
    waiting = session.tcpClient();
    DescriptorLimit limit;
    limit.allow(shortage == Shortage::HitsSecondOfTwo ? 1 : 0);
    QTRY_COMPARE(timesLogged(), 1);
    QCOMPARE(leaving && isAccepted(*leaving), leavesClientAccepted(shortage));
    QVERIFY(relief != Relief::HostFreesOne || roundsDuring(time) < mostRounds);
    retry(*session.server);
    QVERIFY(!isAccepted(*waiting));

    if (relief == Relief::ClientLeaves) {
        leaving.reset();
        QTRY_VERIFY(session.acceptedCount() == 0 || isAccepted(*waiting));
    } else if (relief == Relief::HostPausesFreesAllAndResumes) {
        session.server->pauseAccepting();
        limit.lift();
        retry(*session.server);
        QVERIFY(!isAccepted(*waiting));
        session.server->resumeAccepting();
    } else {
        limit.allow(1);
    }
    retry(*session.server);
    if (relief == Relief::SilentClientTakesFirst) {
        QTRY_VERIFY(isAccepted(*silent));
        QVERIFY(roundsDuring(time) < mostRounds);
        QVERIFY(!isAccepted(*waiting));
        limit.allow(1);
        retry(*session.server);
    }
    QTRY_VERIFY(isAccepted(*waiting));
    QCOMPARE(timesLogged(), 1);
    if (relief == Relief::HostPausesInLogLine) {
        QVERIFY(roundsDuring(time) < mostRounds);
        relief = Relief::HostFreesOne;
        session.server->resumeAccepting();
    }

    limit.lift(); // TLS opens files
    waiting->startClientEncryption();
    waiting->loginAsOrvane();
    QVERIFY(isServed(*waiting));

    // Later clients notice nothing of the shortage.
    const auto next = session.connectedClient();
    const auto nextButOne = session.connectedClient();
    QVERIFY(next && nextButOne);
    QCOMPARE(timesLogged(), 1);

    // Another shortage is logged as well. When it is over, no client waits for those before it.
    std::vector<std::unique_ptr<TlsClient>> many;
    while (many.size() < 5)
        many.push_back(session.tcpClient());
    limit.allow(0);
    QTRY_COMPARE(timesLogged(), 2);
    limit.lift();
    retry(*session.server);
    for (const auto& each : many) {
        QTRY_VERIFY(isAccepted(*each));
        QVERIFY(!retriesLater(*session.server));
    }
}

void tst_server_without_descriptors::acceptsAgainAfterWaitForNewConnection()
{
    const Session session;
    const auto client = session.tcpClient();
    QVERIFY(client);
    const LogCapture log;
    DescriptorLimit limit;
    limit.allow(0);
    session.server->waitForNewConnection(); // makes Qt pause the server
    const QString line = u"OrvaneConnection server error: QAbstractSocket::SocketResourceError"_s;
    QCOMPARE(LogCapture::take(), QStringList {line});
    QVERIFY(roundsDuring(100ms) < 100);
    retry(*session.server);
    QCOMPARE(LogCapture::take(), QStringList()); // it is the same shortage
    limit.lift();
    retry(*session.server);
    QTRY_VERIFY(session.server->findChild<QSslSocket*>() != nullptr);
    QCOMPARE(LogCapture::take().filter(line), QStringList());
}

ORVANE_TEST(tst_server_without_descriptors)
#include "tst_server_without_descriptors.moc"
