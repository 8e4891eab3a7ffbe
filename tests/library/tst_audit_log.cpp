#include "Session.h"
#include "TestClass.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QTest>

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <utility>

using namespace Qt::StringLiterals;

/// The audit trail, as a program reads it.
class tst_audit_log : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void isOffByDefault();
    void recordsWhoDidWhat();
    void recordsWhyHandshakeFailed();
    void writesOneLineWhateverClientSends();
    void keepsEventsInOrderIfLineRunsEvents();
    void nothingHappensInLineOfDestructor();
    void namesIpv6PeerIfServerIsDestroyedInLine();
};

namespace {

QByteArrayList lines;
std::function<void()> whenLogged;

void handleMessage(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (type != QtInfoMsg || std::strcmp(context.category, "orvane.audit") != 0)
        return;
    lines += message.toUtf8();
    if (const auto run = whenLogged) // copied: it may set another one
        run();
}

/// A line without what differs from run to run: the client's address, and how long it took.
QString brief(const QByteArray& line)
{
    QJsonObject entry = QJsonDocument::fromJson(line).object();
    const QString peer = entry.take("peer"_L1).toString();
    if (!peer.startsWith(u"127.0.0.1:"_s))
        return u"a wrong peer: "_s + peer;
    const bool hasTime = entry.take("microseconds"_L1).toInteger(-1) >= 0;
    if (hasTime != (entry["event"_L1] == "command"_L1 && entry["outcome"_L1] != "not logged in"_L1))
        return u"a wrong time: "_s + QString::fromUtf8(line);
    return QString::fromUtf8(QJsonDocument(entry).toJson(QJsonDocument::Compact));
}

QStringList briefLines()
{
    QStringList all;
    for (const QByteArray& line : std::as_const(lines))
        all += brief(line);
    return all;
}

} // namespace

void tst_audit_log::init()
{
    lines.clear();
    whenLogged = nullptr;
    QLoggingCategory::setFilterRules(u"orvane.audit.info=true"_s);
    qInstallMessageHandler(&handleMessage);
}

void tst_audit_log::cleanup()
{
    qInstallMessageHandler(nullptr);
}

void tst_audit_log::isOffByDefault()
{
    QLoggingCategory::setFilterRules(QString());
    const Session session;
    auto client = session.orvaneClient();
    client->send("<showLive/>");
    QTRY_VERIFY(!client->received.isEmpty());
    QCOMPARE(lines, QByteArrayList());
}

void tst_audit_log::recordsWhoDidWhat()
{
    Session session;
    session.host.refreshStarts = true;
    session.server->setLimits({.maxClients = 1, .maxMessageLength = 5000});
    auto client = session.connectedClient();
    QVERIFY(client);
    QElapsedTimer sinceLogin;
    sinceLogin.start();
    session.host.duringCall = [] { QThread::msleep(2); };
    client->login("operator", "secret");
    client->send("<showLive><camera>7</camera></showLive>");
    client->send("<getPresetsList/>");
    client->send("<updateRecorderContents/>");
    client->send("<showTrack/>");
    client->login("Orvane", "157b25b09a99c70fc75a6e79412a00b2");
    client->send("<unknown/>");
    client->send('<' + QByteArray(300, 'x') + '>' + QByteArray("<y>").repeated(1030));
    client->send(QByteArray(6000, ' '));
    QTRY_COMPARE(client->state(), QAbstractSocket::UnconnectedState);
    const qint64 microseconds = QJsonDocument::fromJson(lines.at(2)).object()["microseconds"_L1].toInteger();
    QVERIFY(microseconds >= 2000 && microseconds <= sinceLogin.nsecsElapsed() / 1000);

    auto other = session.orvaneClient();
    std::unique_ptr<TlsClient> third;
    session.host.duringCall = [&] {
        other->abort(); // without the end of TLS, after which it would still be answered
        QTRY_VERIFY(lines.last().contains("disconnected"));
        third = session.connectedClient(); // the place is free before the call is over
    };
    other->send("<getPresetsList/>");
    QTRY_COMPARE(lines.size(), 16);
    TlsClient refused;
    refused.connectToPort(session.server->serverPort());
    QTRY_COMPARE(lines.size(), 17);
    session.server.reset();

    const QStringList expected {
        uR"({"event":"connected"})"_s,
        uR"({"account":"operator","event":"login","user":"operator"})"_s,
        uR"({"account":"operator","command":"showLive","event":"command","outcome":"accepted","parameters":{"camera":"7"},"split":-1})"_s,
        uR"({"account":"operator","command":"getPresetsList","event":"command","outcome":"answered"})"_s,
        uR"({"account":"operator","command":"updateRecorderContents","event":"command","outcome":"no reply"})"_s,
        uR"({"account":"operator","command":"showTrack","event":"command","outcome":"rejected"})"_s,
        uR"({"account":"Orvane","event":"login","user":"Orvane"})"_s,
        uR"({"account":"Orvane","command":"unknown","event":"command","outcome":"rejected"})"_s,
        uR"({"account":"Orvane","command":")"_s + QString(200, u'x')
            + uR"(...","event":"refusedDocument","reason":"Its elements are nested too deep"})"_s,
        uR"({"account":"Orvane","event":"exceededLimit","limit":"maxMessageLength"})"_s,
        uR"({"account":"Orvane","event":"disconnected","reason":"maxMessageLength"})"_s,
        uR"({"event":"connected"})"_s,
        uR"({"account":"Orvane","event":"login","user":"Orvane"})"_s,
        uR"({"account":"Orvane","event":"disconnected","reason":"The remote host closed the connection"})"_s,
        uR"({"event":"connected"})"_s,
        uR"({"account":"Orvane","command":"getPresetsList","event":"command","outcome":"answered"})"_s,
        uR"({"event":"exceededLimit","limit":"maxClients"})"_s,
        uR"({"event":"disconnected","reason":"the server was destroyed"})"_s,
    };
    QCOMPARE(briefLines(), expected);
}

void tst_audit_log::recordsWhyHandshakeFailed()
{
    const Session session;
    const auto client = session.tcpClient();
    client->write("GET / HTTP/1.1\r\n\r\n");
    QTRY_VERIFY(lines.size() >= 2);
    QVERIFY(lines.at(1).contains("\"event\":\"handshakeFailed\""));
    QVERIFY(lines.at(1).contains("http request"));
}

void tst_audit_log::writesOneLineWhateverClientSends()
{
    const Session session;
    auto client = session.connectedClient();
    const QString odd = u"\n\"}"_s + QChar(0x7F) + QChar(0x85) + QChar(0x2028) + QChar(0x202E);
    client->login(odd.toUtf8() + QByteArray(1000, 'x'), "y");
    QTRY_COMPARE(lines.size(), 2);
    const QByteArray line = lines.last();
    QVERIFY(line.size() < 500);
    QVERIFY(std::all_of(line.begin(), line.end(), [](char character) { return character >= ' ' && character <= '~'; }));
    const QString user = QJsonDocument::fromJson(line).object()["user"_L1].toString();
    QVERIFY(user.startsWith(odd + u"xxx"_s));

    const QString cutHere(199, u'y');
    client->login((cutHere + u"\U0001F600 and more"_s).toUtf8(), "y");
    QTRY_COMPARE(lines.size(), 3);
    QCOMPARE(QJsonDocument::fromJson(lines.last()).object()["user"_L1].toString(), cutHere + u"..."_s);
}

/// What happens inside the line of an event is reported after that event.
void tst_audit_log::keepsEventsInOrderIfLineRunsEvents()
{
    using Type = OrvaneInterface::OrvaneClientEvent::Type;
    const Session session;
    QList<Type> types;
    session.server->setClientObserver([&](const auto& event) { types.append(event.type); });
    const auto runEventsInNextLine = [](const std::function<bool()>& isOver) {
        whenLogged = [isOver] {
            whenLogged = nullptr;
            QTRY_VERIFY(isOver());
            QCoreApplication::processEvents(); // what was posted meanwhile
        };
    };
    const auto countClients = [&] { return session.server->clients().size(); };

    runEventsInNextLine([&] { return session.server->clients().constFirst().isEncrypted(); });
    auto client = session.connectedClient();
    QTRY_COMPARE(types, QList({Type::Connected, Type::Encrypted}));
    client.reset();
    QTRY_COMPARE(countClients(), 0);

    types.clear();
    const auto stranger = session.tcpClient();
    QTRY_COMPARE(types, QList({Type::Connected}));
    runEventsInNextLine([&] { return countClients() == 0; });
    stranger->write("no TLS");
    QTRY_COMPARE(types, QList({Type::Connected, Type::HandshakeFailed, Type::Disconnected}));

    QList<quint64> ids;
    session.server->setClientObserver([&](const auto& event) { ids.append(event.client.id()); });
    runEventsInNextLine([&] { return countClients() == 2; });
    const auto first = session.tcpClient();
    const auto second = session.tcpClient();
    QTRY_COMPARE(ids.size(), 2);
    QVERIFY(ids.at(0) < ids.at(1));

    // Its observer is told inside the next event, and waits until that client has left.
    types.clear();
    session.server->setClientObserver([&](const auto& event) {
        types.append(event.type);
        if (types.size() == 1)
            QTRY_COMPARE(countClients(), 2);
    });
    runEventsInNextLine([&] {
        first->write("no TLS");
        first->flush();
        return types.size() == 3;
    });
    const auto third = session.tcpClient();
    QTRY_COMPARE(types, QList({Type::Connected, Type::HandshakeFailed, Type::Disconnected}));
}

void tst_audit_log::nothingHappensInLineOfDestructor()
{
    Session session;
    session.server->setLimits({.maxClients = 2});
    const auto first = session.orvaneClient();
    const auto second = session.orvaneClient();
    QVERIFY(second && isServed(*second));
    const auto waiting = session.tcpClient();
    QTRY_COMPARE(session.acceptedCount(), 3);
    session.host.calls.clear();
    lines.clear();
    const auto* socket = session.server->findChildren<QSslSocket*>().at(1);
    auto parent = std::make_unique<QObject>();
    session.server->setParent(parent.get());
    session.server->deleteLater();
    whenLogged = [&, going = session.server.get()] { // the first client is released, so there would be a place
        whenLogged = nullptr;
        QVERIFY(!going->isListening());
        second->send("<setPreset/>");
        QTRY_VERIFY(socket->bytesAvailable() > 0 || !session.host.calls.isEmpty());
        QEventLoop loop;
        QTimer::singleShot(20, &loop, &QEventLoop::quit); // longer than a waiting step
        loop.exec(); // unlike processEvents(), with the deletions that were asked for outside of it
        parent.reset();
    };
    session.server.reset();
    QVERIFY(!whenLogged);
    QCOMPARE(session.host.calls, QStringList());
    for (const QByteArray& line : std::as_const(lines))
        QVERIFY2(line.contains("disconnected"), line.constData());
}

void tst_audit_log::namesIpv6PeerIfServerIsDestroyedInLine()
{
    Session session;
    session.server->setLimits({.handshakeTimeout = std::chrono::milliseconds(50)});
    session.server->close();
    if (!session.server->listen(QHostAddress::LocalHostIPv6))
        QSKIP("the machine has no such address");
    whenLogged = [&] {
        if (lines.last().contains("exceededLimit"))
            session.server.reset();
    };
    QTcpSocket silent;
    silent.connectToHost(u"::1"_s, session.server->serverPort());
    QTRY_COMPARE(lines.size(), 3);
    QVERIFY(lines.at(1).contains("exceededLimit") && lines.at(2).contains("disconnected"));
    const QString peer = QJsonDocument::fromJson(lines.last()).object()["peer"_L1].toString();
    QVERIFY2(peer.startsWith(u"[::1]:"_s), qPrintable(peer));
    QTRY_COMPARE(silent.state(), QAbstractSocket::UnconnectedState);
}

ORVANE_TEST(tst_audit_log)
#include "tst_audit_log.moc"
