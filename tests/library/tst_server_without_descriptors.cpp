#include "LogCapture.h"
#include "Session.h"

#include <QAbstractEventDispatcher>
#include <QSignalSpy>
#include <QTimerEvent>
#include <QtTest>

#include <algorithm>
#include <chrono>
#include <memory>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

/// A host that runs out of descriptors, with the server in it, in every order of exhausting and freeing them.
class tst_server_without_descriptors : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void waitsWithoutSpinningAndAcceptsAgain_data();
    void waitsWithoutSpinningAndAcceptsAgain();
    void acceptsAgainThoughTheHostAcceptsByHand();
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
        std::vector<int> free; // the limit is on the number of a new descriptor, which is the lowest that is free
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
    FindsFirstOfAll,
    FindsSecondOfTwo,
    ComesLater,
    ComesWhenAllHaveLeft,
    ComesAtAnAddressOfTheHost,
    ComesAfterTheHostListenedAnewInALogLine
};
enum class Relief {
    HostFreesOne,
    ClientLeaves,
    SilentClientTakesTheFirst,
    HostPausesFreesAllAndResumes,
    HostPausesInTheLineOfTheClient
};

bool leavesAClient(Shortage shortage)
{
    return shortage != Shortage::FindsFirstOfAll && shortage != Shortage::ComesWhenAllHaveLeft;
}

/// How often the event loop of this thread turns meanwhile.
qsizetype turnsDuring(std::chrono::milliseconds time)
{
    const QSignalSpy turns(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake);
    runEventsFor(time);
    return turns.count();
}

/// The timers that the server has set fire now instead of after a second.
void retry(const QTcpServer& server)
{
    const auto children = server.findChildren<QObject*>(); // those from now on are not meant
    for (QObject* child : children) {
        for (const auto& timer : QAbstractEventDispatcher::instance()->registeredTimers(child)) {
            QTimerEvent event(timer.timerId);
            QCoreApplication::sendEvent(child, &event);
        }
    }
}

} // namespace

Q_DECLARE_METATYPE(Shortage)
Q_DECLARE_METATYPE(Relief)

void tst_server_without_descriptors::initTestCase()
{
    if (qEnvironmentVariable("LD_PRELOAD").contains("vgpreload"_L1))
        QSKIP("valgrind has the system accept the client all the same, and closes the descriptor");
}

void tst_server_without_descriptors::waitsWithoutSpinningAndAcceptsAgain_data()
{
    QTest::addColumn<Shortage>("shortage");
    QTest::addColumn<Relief>("relief");

    const auto rows = [](const char* name, Shortage shortage) {
        QTest::addRow("%s; the host frees one", name) << shortage << Relief::HostFreesOne;
        QTest::addRow("%s; a silent client takes the first that is freed", name)
            << shortage << Relief::SilentClientTakesTheFirst;
        if (leavesAClient(shortage))
            QTest::addRow("%s; a client leaves", name) << shortage << Relief::ClientLeaves;
    };
    rows("the first client of all finds none", Shortage::FindsFirstOfAll);
    rows("the second of the two that come first finds none", Shortage::FindsSecondOfTwo);
    rows("others were accepted before", Shortage::ComesLater);
    rows("others were accepted before, and all have left", Shortage::ComesWhenAllHaveLeft);
    rows("the server listens at an address that the host has chosen", Shortage::ComesAtAnAddressOfTheHost);
    rows("the host has run events and listened anew inside the log line of the client before",
        Shortage::ComesAfterTheHostListenedAnewInALogLine);
    QTest::newRow("the host pauses the server, frees all, and resumes it")
        << Shortage::ComesLater << Relief::HostPausesFreesAllAndResumes;
    QTest::newRow("the host frees one, and pauses the server in the line of who takes it")
        << Shortage::ComesLater << Relief::HostPausesInTheLineOfTheClient;
}

void tst_server_without_descriptors::waitsWithoutSpinningAndAcceptsAgain()
{
    QFETCH(const Shortage, shortage);
    QFETCH(Relief, relief);
    const auto time = shortage == Shortage::ComesLater ? 1500ms : 100ms; // in which it tries again, once
    constexpr int mostTurns = 100; // a loop that spins makes tens of thousands

    const Session session;
    std::unique_ptr<TlsClient> leaving; // accepted; null when there is none
    std::unique_ptr<TlsClient> silent; // in front of the one that waits
    std::unique_ptr<TlsClient> waiting;
    const auto listenAnew = [&] {
        session.server->close();
        session.server->listen(QHostAddress::LocalHost);
    };
    const auto isAccepted = [&](const TlsClient& client) {
        return std::ranges::any_of(session.server->findChildren<QSslSocket*>(),
            [&](const QSslSocket* socket) { return socket->peerPort() == client.localPort(); });
    };
    const LogCapture log([&](const QString& line) {
        if (shortage == Shortage::ComesAfterTheHostListenedAnewInALogLine && line.startsWith(u"New OrvaneConnection"_s)
            && !waiting) {
            QCoreApplication::processEvents();
            listenAnew();
        }
        if (relief == Relief::HostPausesInTheLineOfTheClient && waiting && line.startsWith(u"New OrvaneConnection"_s))
            session.server->pauseAccepting();
    });
    QStringList lines;
    const auto timesLogged = [&] {
        lines += LogCapture::take();
        return lines.filter(u"OrvaneConnection server error: QAbstractSocket::SocketResourceError"_s).size();
    };

    if (shortage == Shortage::ComesAtAnAddressOfTheHost)
        listenAnew();
    if (shortage != Shortage::FindsFirstOfAll)
        leaving = session.comer();
    if (shortage != Shortage::FindsFirstOfAll && shortage != Shortage::FindsSecondOfTwo)
        QTRY_VERIFY(isAccepted(*leaving));
    if (shortage == Shortage::ComesWhenAllHaveLeft) {
        leaving.reset();
        QTRY_VERIFY(session.server->findChild<QSslSocket*>() == nullptr);
    }
    if (relief == Relief::SilentClientTakesTheFirst)
        silent = session.comer();
    waiting = session.comer();
    DescriptorLimit limit;
    limit.allow(shortage == Shortage::FindsSecondOfTwo ? 1 : 0);
    QTRY_COMPARE(timesLogged(), 1);
    QCOMPARE(leaving && isAccepted(*leaving), leavesAClient(shortage));
    QVERIFY(relief != Relief::HostFreesOne || turnsDuring(time) < mostTurns);
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
    if (relief == Relief::SilentClientTakesTheFirst) {
        QTRY_VERIFY(isAccepted(*silent));
        QVERIFY(turnsDuring(time) < mostTurns);
        QVERIFY(!isAccepted(*waiting));
        limit.allow(1);
        retry(*session.server);
    }
    QTRY_VERIFY(isAccepted(*waiting));
    QCOMPARE(timesLogged(), 1);
    if (relief == Relief::HostPausesInTheLineOfTheClient) {
        QVERIFY(turnsDuring(time) < mostTurns);
        relief = Relief::HostFreesOne;
        session.server->resumeAccepting();
    }

    limit.lift(); // TLS opens files
    waiting->startClientEncryption();
    waiting->loginAsOrvane();
    QVERIFY(isServed(*waiting));

    // Whoever comes from here on meets no trace of the shortage.
    const auto next = session.connectedClient();
    const auto nextButOne = session.connectedClient();
    QVERIFY(next && nextButOne);
    QCOMPARE(timesLogged(), 1);

    // Another shortage is told of as well, and when it is over nobody waits for those before.
    std::vector<std::unique_ptr<TlsClient>> many;
    while (many.size() < 5)
        many.push_back(session.comer());
    limit.allow(0);
    QTRY_COMPARE(timesLogged(), 2);
    limit.lift();
    QElapsedTimer sinceRelief;
    sinceRelief.start();
    retry(*session.server);
    for (const auto& each : many)
        QTRY_VERIFY(isAccepted(*each));
    QVERIFY(sinceRelief.elapsed() < qint64(many.size() - 1) * 1000 / 2);
}

void tst_server_without_descriptors::acceptsAgainThoughTheHostAcceptsByHand()
{
    const Session session;
    const auto client = session.comer();
    QVERIFY(client);
    const LogCapture log;
    DescriptorLimit limit;
    limit.allow(0);
    session.server->waitForNewConnection(); // by which Qt pauses the server
    const QString line = u"OrvaneConnection server error: QAbstractSocket::SocketResourceError"_s;
    QCOMPARE(LogCapture::take(), QStringList {line});
    QVERIFY(turnsDuring(100ms) < 100);
    retry(*session.server);
    QCOMPARE(LogCapture::take(), QStringList()); // it is the same shortage
    limit.lift();
    retry(*session.server);
    QTRY_VERIFY(session.server->findChild<QSslSocket*>() != nullptr);
    QCOMPARE(LogCapture::take().filter(line), QStringList());
}

QTEST_GUILESS_MAIN(tst_server_without_descriptors)
#include "tst_server_without_descriptors.moc"
