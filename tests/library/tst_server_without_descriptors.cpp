#include "LogCapture.h"
#include "Session.h"

#include <QAbstractEventDispatcher>
#include <QEventLoop>
#include <QSignalSpy>
#include <QTimer>
#include <QtTest>

#include <algorithm>
#include <array>
#include <memory>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

using namespace Qt::StringLiterals;

/// A host that runs out of descriptors, with the server in it, in every order of exhausting and freeing them.
class tst_server_without_descriptors : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void waitsWithoutSpinningAndAcceptsAgain_data();
    void waitsWithoutSpinningAndAcceptsAgain();
    void staysPausedWhenTheHostPausesIt();
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

/// A client that the system has accepted, and the server not yet. Its TLS waits: it opens files.
std::unique_ptr<TlsClient> comer(const Session& session)
{
    auto client = std::make_unique<TlsClient>();
    client->connectToHost(QHostAddress(QHostAddress::LocalHost), session.server->serverPort());
    return client->waitForConnected() ? std::move(client) : nullptr;
}

enum class Shortage {
    FindsFirstOfAll,
    FindsSecondOfTwo,
    ComesLater,
    ComesWhenAllHaveLeft,
    ComesAtAnAddressOfTheHost,
    ComesAfterTheHostListenedAnewInALogLine
};
enum class Relief { HostFreesOne, ClientLeaves, SilentClientTakesTheFirst };

struct Row {
    const char* name;
    Shortage shortage;
};
constexpr std::array Shortages {
    Row {"the first client of all finds none", Shortage::FindsFirstOfAll},
    Row {"the second of the two that come first finds none", Shortage::FindsSecondOfTwo},
    Row {"others were accepted before", Shortage::ComesLater},
    Row {"others were accepted before, and all have left", Shortage::ComesWhenAllHaveLeft},
    Row {"the server listens at an address that the host has chosen", Shortage::ComesAtAnAddressOfTheHost},
    Row {"the host has run events and listened anew inside the log line of the client before",
        Shortage::ComesAfterTheHostListenedAnewInALogLine},
};

bool leavesAClient(Shortage shortage)
{
    return shortage != Shortage::FindsFirstOfAll && shortage != Shortage::ComesWhenAllHaveLeft;
}

/// A server for whose next client there is no descriptor.
struct ShortOfDescriptors {
    explicit ShortOfDescriptors(Shortage shortage, bool withSilentClient = false);

    bool isAccepted(const TlsClient& client) const;
    /// How often the shortage was logged.
    qsizetype errors();
    void listenAnew() const;

    LogCapture log;
    QStringList lines;
    Session session;
    std::unique_ptr<TlsClient> leaving; ///< accepted; null when there is none
    std::unique_ptr<TlsClient> silent; ///< in front of the one that waits; may be null
    std::unique_ptr<TlsClient> waiting;
    DescriptorLimit limit;
};

ShortOfDescriptors::ShortOfDescriptors(Shortage shortage, bool withSilentClient)
    : log([this, shortage](const QString& line) {
        if (shortage == Shortage::ComesAfterTheHostListenedAnewInALogLine && line.startsWith(u"New OrvaneConnection"_s)
            && !waiting) {
            QCoreApplication::processEvents();
            listenAnew();
        }
    })
{
    if (shortage == Shortage::ComesAtAnAddressOfTheHost)
        listenAnew();
    if (shortage != Shortage::FindsFirstOfAll)
        leaving = comer(session);
    if (shortage != Shortage::FindsFirstOfAll && shortage != Shortage::FindsSecondOfTwo)
        static_cast<void>(QTest::qWaitFor([&] { return isAccepted(*leaving); }));
    if (shortage == Shortage::ComesWhenAllHaveLeft) {
        leaving.reset();
        static_cast<void>(QTest::qWaitFor([&] { return session.server->findChild<QSslSocket*>() == nullptr; }));
    }
    if (withSilentClient)
        silent = comer(session);
    waiting = comer(session);
    limit.allow(shortage == Shortage::FindsSecondOfTwo ? 1 : 0);
}

void ShortOfDescriptors::listenAnew() const
{
    session.server->close();
    session.server->listen(QHostAddress::LocalHost);
}

bool ShortOfDescriptors::isAccepted(const TlsClient& client) const
{
    const auto sockets = session.server->findChildren<QSslSocket*>();
    return std::any_of(sockets.cbegin(), sockets.cend(),
        [&](const QSslSocket* socket) { return socket->peerPort() == client.localPort(); });
}

qsizetype ShortOfDescriptors::errors()
{
    lines += LogCapture::take();
    return lines.filter(u"OrvaneConnection server error: QAbstractSocket::SocketResourceError"_s).size();
}

/// How often the event loop of this thread turns meanwhile.
qsizetype turnsDuring(int milliseconds)
{
    const QSignalSpy turns(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake);
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
    return turns.count();
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

    for (const auto& [name, shortage] : Shortages) {
        QTest::addRow("%s; the host frees one", name) << shortage << Relief::HostFreesOne;
        QTest::addRow("%s; a silent client takes the first that is freed", name)
            << shortage << Relief::SilentClientTakesTheFirst;
        if (leavesAClient(shortage))
            QTest::addRow("%s; a client leaves", name) << shortage << Relief::ClientLeaves;
    }
}

void tst_server_without_descriptors::waitsWithoutSpinningAndAcceptsAgain()
{
    QFETCH(const Shortage, shortage);
    QFETCH(const Relief, relief);
    constexpr int longEnoughForARetryMs = 1500;
    constexpr int mostTurns = 100; // a loop that spins makes tens of thousands
    constexpr int longEnoughToSettleMs = 300;

    ShortOfDescriptors host(shortage, relief == Relief::SilentClientTakesTheFirst);
    QTRY_COMPARE(host.errors(), 1);
    QCOMPARE(host.leaving && host.isAccepted(*host.leaving), leavesAClient(shortage));
    QVERIFY(relief != Relief::HostFreesOne || turnsDuring(longEnoughForARetryMs) < mostTurns);
    QVERIFY(!host.isAccepted(*host.waiting));

    if (relief == Relief::ClientLeaves)
        host.leaving.reset();
    else
        host.limit.allow(1);
    if (relief == Relief::SilentClientTakesTheFirst) {
        QTRY_VERIFY(host.isAccepted(*host.silent));
        QVERIFY(!host.isAccepted(*host.waiting));
        host.limit.allow(1);
    }
    QTRY_VERIFY(host.isAccepted(*host.waiting));
    QCOMPARE(host.errors(), 1);

    host.limit.lift(); // TLS opens files
    host.waiting->startClientEncryption();
    host.waiting->loginAsOrvane();
    host.waiting->send("<setPreset/>");
    QTRY_COMPARE(host.waiting->received, shortAcceptance("setPreset"));

    QTest::qWait(longEnoughToSettleMs); // whoever comes from here on meets no trace of the shortage
    const auto next = host.session.connectedClient();
    QVERIFY(next);
    const auto nextButOne = host.session.connectedClient();
    QVERIFY(nextButOne);
    QCOMPARE(host.errors(), 1);
}

void tst_server_without_descriptors::staysPausedWhenTheHostPausesIt()
{
    constexpr int longEnoughForARetryMs = 2500;
    ShortOfDescriptors host(Shortage::ComesLater);
    QTRY_COMPARE(host.errors(), 1);
    host.session.server->pauseAccepting();
    host.limit.lift();
    QTest::qWait(longEnoughForARetryMs);
    QVERIFY(!host.isAccepted(*host.waiting));
    host.session.server->resumeAccepting();
    QTRY_VERIFY(host.isAccepted(*host.waiting));
}

QTEST_GUILESS_MAIN(tst_server_without_descriptors)
#include "tst_server_without_descriptors.moc"
