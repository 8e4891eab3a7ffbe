#include "Session.h"

#include <QEventLoop>
#include <QThread>
#include <QtTest>

#include <atomic>
#include <future>
#include <memory>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

using OrvaneInterface::OrvaneServer;

/// What a server can do because it is a QTcpServer and a QObject: other addresses, pauses, other threads, company.
class tst_server_inherited : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void closesAndListensAgain();
    void listensWhereTheHostWants();
    void staysPausedWhenTheHostHasPausedIt();
    void acceptsAllHoweverFewMayWait();
    void worksInAThreadOfItsOwn_data();
    void worksInAThreadOfItsOwn();
    void knowsNothingOfAnotherServer();
};

namespace {

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

} // namespace

void tst_server_inherited::closesAndListensAgain()
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

void tst_server_inherited::listensWhereTheHostWants()
{
    RecordingHost host;
    OrvaneServer server(&host, freePort(), u"operator"_s, u"secret"_s, nullptr);
    QVERIFY(server.listen(QHostAddress::LocalHost)); // at a port that the system chooses
    QCOMPARE(server.serverAddress(), QHostAddress(QHostAddress::LocalHost));
    TlsClient client;
    client.connectToPort(server.serverPort());
    QTRY_VERIFY(client.isEncrypted());
    client.loginAsOrvane();
    QVERIFY(isServed(client));
}

void tst_server_inherited::staysPausedWhenTheHostHasPausedIt()
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

void tst_server_inherited::acceptsAllHoweverFewMayWait()
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

void tst_server_inherited::worksInAThreadOfItsOwn_data()
{
    QTest::addColumn<bool>("listensBefore");

    QTest::newRow("moved before it listens") << false;
    QTest::newRow("moved while it listens") << true;
}

void tst_server_inherited::worksInAThreadOfItsOwn()
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

void tst_server_inherited::knowsNothingOfAnotherServer()
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

QTEST_GUILESS_MAIN(tst_server_inherited)
#include "tst_server_inherited.moc"
