#include "LogCapture.h"
#include "Session.h"
#include "TestClass.h"

#include <QLoggingCategory>
#include <QTest>

#include <algorithm>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;
using OrvaneInterface::OrvaneClient;
using OrvaneInterface::OrvaneClientEvent;
using Account = OrvaneClient::Account;
using Outcome = OrvaneClientEvent::Outcome;
using Type = OrvaneClientEvent::Type;

/// Connected clients, the current client, and events. orvane-world checks that the three agree.
class tst_client_events : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { events.clear(); }

    void listsConnectedClients();
    void reportsClientCertificate();
    void knowsCurrentClientOfEachServer();
    void reportsEvents();
    void reportsFailedHandshakeBeforeItsLine();
    void truncatesLongTexts();
    void reportsNoPossiblePassword();
    void reportsNothingDuringDestruction();
    void survivesAnyObserver();

private:
    OrvaneInterface::OrvaneClientObserver keepEvents()
    {
        return [this](const OrvaneClientEvent& event) { events.push_back(event); };
    }
    std::vector<Type> types() const
    {
        std::vector<Type> types;
        std::transform(
            events.begin(), events.end(), std::back_inserter(types), [](const auto& each) { return each.type; });
        return types;
    }

    std::vector<OrvaneClientEvent> events;
};

void tst_client_events::listsConnectedClients()
{
    const OrvaneClient nobody;
    QVERIFY(nobody.isNull() && nobody.address().isNull() && nobody.connectedSince().isNull());
    QVERIFY(nobody.certificate().isNull() && nobody.accountName().isNull());
    QVERIFY(nobody.id() == 0 && nobody.port() == 0 && !nobody.isEncrypted());
    QCOMPARE(nobody.account(), OrvaneClient::Account::None);
    QList<OrvaneClient> kept;
    {
        const Session session;
        QVERIFY(session.server->clients().isEmpty());
        const QDateTime before = QDateTime::currentDateTimeUtc();
        const auto stranger = session.tcpClient();
        QTRY_COMPARE(session.server->clients().size(), 1);
        const auto both = session.orvaneClient();
        both->login("operator", "secret");
        const auto operating = session.connectedClient();
        operating->login("operator", "secret");
        QTRY_VERIFY(isServed(*operating));
        kept = session.server->clients();
        QCOMPARE(kept.size(), 3);
        QVERIFY(kept.at(0).id() < kept.at(1).id() && kept.at(1).id() < kept.at(2).id());
        QCOMPARE(kept.at(0).port(), stranger->localPort());
        QCOMPARE(kept.at(0).address(), QHostAddress(QHostAddress::LocalHost));
        QVERIFY(!kept.at(0).isEncrypted() && kept.at(1).isEncrypted());
        QVERIFY(kept.at(0).account() == Account::None && kept.at(0).accountName().isEmpty());
        QVERIFY(kept.at(1).account() == Account::System && kept.at(1).accountName() == "Orvane"_L1);
        QVERIFY(kept.at(2).account() == Account::Host && kept.at(2).accountName() == "operator"_L1);
        QCOMPARE(kept.at(0).connectedSince().timeSpec(), Qt::UTC);
        QVERIFY(kept.at(0).connectedSince() >= before && kept.at(2).connectedSince() >= kept.at(0).connectedSince());
        QVERIFY(kept.at(2).certificate().isNull());

        both->abort();
        QTRY_COMPARE(session.server->clients().size(), 2);
        const Session other;
        const auto theirs = other.orvaneClient();
        QCOMPARE(other.server->clients().size(), 1);
        QVERIFY(other.server->clients().at(0).id() > kept.at(2).id());
    }
    QCOMPARE(kept.at(2).accountName(), u"operator"_s); // it outlives the server
}

void tst_client_events::reportsClientCertificate()
{
    const Session session;
    QSslConfiguration asking = session.server->sslConfiguration();
    asking.setPeerVerifyMode(QSslSocket::QueryPeer);
    session.server->setSslConfiguration(asking);
    TlsClient client;
    client.setLocalCertificate(asking.localCertificate());
    client.setPrivateKey(asking.privateKey());
    client.connectToPort(session.server->serverPort());
    QTRY_VERIFY(!session.server->clients().isEmpty() && session.server->clients().at(0).isEncrypted());
    QCOMPARE(session.server->clients().at(0).certificate(), asking.localCertificate());
}

void tst_client_events::knowsCurrentClientOfEachServer()
{
    Session session;
    Session other;
    auto first = session.orvaneClient();
    auto second = session.orvaneClient();
    auto third = other.orvaneClient();
    const quint16 firstPort = first->localPort();
    const QList<quint16> expected {firstPort, second->localPort(), firstPort, 0, third->localPort(), firstPort};
    QList<quint16> asking;
    const auto ask = [&](const Session& which) { asking.append(which.server->currentClient().port()); };
    other.host.duringCall = [&] { ask(other); };
    session.host.duringCall = [&] {
        const bool isInner = !asking.isEmpty();
        ask(session);
        if (isInner)
            return;
        second->send("<getPresetsList/>");
        QTRY_VERIFY(!second->received.isEmpty());
        ask(session);
        ask(other);
        third->send("<getPresetsList/>");
        QTRY_VERIFY(!third->received.isEmpty());
        first.reset();
        QTRY_COMPARE(session.server->clients().size(), 1);
        ask(session); // it has left, but this is still its command
    };
    first->send("<getPresetsList/>");
    QTRY_COMPARE(asking, expected);
    QVERIFY(session.server->currentClient().isNull());
}

void tst_client_events::reportsEvents()
{
    Session session;
    session.server->setClientObserver(keepEvents());
    session.server->setLimits({.maxClients = 1, .maxInvalidLogins = 1});
    session.host.usedSplit = 2;
    auto client = session.connectedClient();
    client->send("<showLive/>");
    client->login("operator", "wrong");
    client->login("operator", "secret");
    client->send("<showLive><camera>7</camera><splitid>-1</splitid></showLive>");
    client->send(QByteArray("<x>").repeated(1030));
    TlsClient refused;
    quint16 refusedPort = 0;
    connect(&refused, &QTcpSocket::connected, this, [&] { refusedPort = refused.localPort(); });
    refused.connectToPort(session.server->serverPort());
    QTRY_COMPARE(refused.state(), QAbstractSocket::UnconnectedState);
    client->login("operator", "wrong");
    QTRY_VERIFY(!events.empty() && events.back().type == Type::Disconnected);
    client->send("<showLive/>");
    const std::vector<Type> expected {Type::Connected, Type::Encrypted, Type::Command, Type::InvalidLogin,
        Type::LoggedIn, Type::Command, Type::RefusedDocument, Type::ExceededLimit, Type::InvalidLogin,
        Type::ExceededLimit, Type::Disconnected};
    QCOMPARE(types(), expected);
    QVERIFY(events.at(2).outcome == Outcome::NotLoggedIn && !events.at(2).split);
    QCOMPARE(events.at(3).user, u"operator"_s);
    QVERIFY(events.at(3).client.account() == Account::None && events.at(4).client.account() == Account::Host);
    const OrvaneClientEvent& shown = events.at(5);
    QVERIFY(shown.outcome == Outcome::Accepted && shown.duration > std::chrono::nanoseconds(0));
    QCOMPARE(shown.command, u"showLive"_s);
    QCOMPARE(shown.split, 2);
    const QMap<QString, QString> sent {{u"camera"_s, u"7"_s}, {u"splitid"_s, u"-1"_s}};
    QCOMPARE(shown.parameters, sent); // not the split of the reply
    QCOMPARE(events.at(6).reason, u"Its elements are nested too deep"_s);
    QCOMPARE(events.at(7).reason, u"maxClients"_s);
    QVERIFY(events.at(7).client.id() > events.at(0).client.id() && events.at(7).client.port() == refusedPort);
    QCOMPARE(events.at(9).reason, u"maxInvalidLogins"_s);
    QVERIFY(session.server->clients().isEmpty());

    events.clear();
    auto context = std::make_unique<QObject>();
    session.server->setClientObserver(keepEvents(), context.get());
    session.server->setLimits({});
    const auto silent = session.connectedClient();
    QTRY_COMPARE(types(), std::vector({Type::Connected, Type::Encrypted})); // though it says nothing
    context.reset();
    QVERIFY(session.orvaneClient());
    session.server->setClientObserver(keepEvents());
    session.server->setClientObserver(nullptr, this);
    QVERIFY(session.orvaneClient());
    QCOMPARE(events.size(), 2U);
}

/// In the line, the host runs events until the client is released.
void tst_client_events::reportsFailedHandshakeBeforeItsLine()
{
    const Session session;
    session.server->setClientObserver(keepEvents());
    const auto client = session.tcpClient();
    QTRY_COMPARE(session.server->clients().size(), 1);
    const LogCapture log(
        [&](const QString& /*line*/) { waitFor([&] { return session.server->clients().isEmpty(); }); });
    client->write("GET / HTTP/1.1\r\n\r\n");
    QTRY_VERIFY(!events.empty() && events.back().type == Type::Disconnected);
    QCOMPARE(types(), std::vector({Type::Connected, Type::HandshakeFailed, Type::Disconnected}));
}

void tst_client_events::truncatesLongTexts()
{
    const Session session;
    session.server->setClientObserver(keepEvents());
    const auto client = session.orvaneClient();
    QByteArray document = "<showLive>" + QByteArray("<e/>").repeated(20) + "<" + QByteArray(300, 'k') + ">"
        + QByteArray(100'000, 'v') + "</" + QByteArray(300, 'k') + ">";
    for (int number = 0; number < 1'000; ++number)
        document += "<p" + QByteArray::number(number) + ">1</p" + QByteArray::number(number) + ">";
    client->send(document + "</showLive>");
    QTRY_VERIFY(!client->received.isEmpty());
    const QMap<QString, QString> parameters = events.back().parameters;
    QCOMPARE(parameters.size(), 16);
    QCOMPARE(parameters.first(), QString(200, u'v') + u"..."_s);
    QCOMPARE(parameters.firstKey(), QString(200, u'k') + u"..."_s);
    QVERIFY(parameters.contains(u"p14"_s)); // in the order of the document
}

void tst_client_events::reportsNoPossiblePassword()
{
    const Session session;
    session.server->setClientObserver(keepEvents());
    const auto client = session.connectedClient();
    const QByteArray hidden = "<password>hidden</password>";
    client->send("<showLive>" + hidden + "</showLive>"); // before the login
    client->login("operator", "secret");
    client->send("<LoginClient>" + hidden + "</LoginClient>");
    QTRY_COMPARE(client->received, rejection("LoginClient", "Unknown command"));
    QVERIFY(events.size() > 3);
    for (const OrvaneClientEvent& event : events)
        QVERIFY(event.parameters.isEmpty());
}

void tst_client_events::reportsNothingDuringDestruction()
{
    Session session;
    const auto client = session.orvaneClient();
    QVERIFY(client);
    auto* server = session.server.get();
    std::shared_ptr<void> setsAnother(nullptr, [&](void*) { server->setClientObserver(keepEvents()); });
    server->setClientObserver([held = std::move(setsAnother)](const OrvaneClientEvent& /*event*/) {});
    session.server.reset();
    QVERIFY(events.empty());
}

/// In each event of a session in turn, the observer destroys the server, or sets another observer and runs events.
void tst_client_events::survivesAnyObserver()
{
    constexpr int eventsOfSession = 12;
    for (int last = 1; last <= 2 * eventsOfSession; ++last) {
        const bool destroys = last <= eventsOfSession;
        const int number = destroys ? last : last - eventsOfSession;
        events.clear();
        Session session;
        session.server->setLimits({.maxClients = 1, .maxInvalidLogins = 1});
        session.server->setClientObserver([&](const OrvaneClientEvent& event) {
            events.push_back(event);
            QVERIFY(session.server->clients().size() <= 1);
            if (int(events.size()) != number)
                return;
            if (destroys)
                return session.server.reset();
            session.server->setClientObserver(keepEvents());
            runEventsFor(std::chrono::milliseconds(20));
            QVERIFY(int(events.size()) >= number); // this function still has what it captured
        });
        TlsClient client;
        client.connectToPort(session.server->serverPort());
        client.send("<showLive/>");
        client.loginAsOrvane();
        client.send("<showLive/>");
        client.send("<getPresetsList/>");
        client.send(QByteArray("<x>").repeated(1030));
        QTRY_VERIFY(!session.server || client.isEncrypted());
        TlsClient refused;
        if (session.server)
            refused.connectToPort(session.server->serverPort());
        QTRY_COMPARE(refused.state(), QAbstractSocket::UnconnectedState);
        client.login("a", "b");
        client.login("a", "b");
        QTRY_COMPARE(client.state(), QAbstractSocket::UnconnectedState);
        QTRY_COMPARE(int(events.size()), destroys ? number : eventsOfSession);
        QCOMPARE(session.server == nullptr, destroys);
    }
}

ORVANE_TEST(tst_client_events)
#include "tst_client_events.moc"
