#include "Session.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QRandomGenerator>
#include <QtTest>

#include <algorithm>
#include <cstring>
#include <utility>

using namespace Qt::StringLiterals;
using namespace OrvaneInterface;

/// Clients at the edge of random limits, against a model that says each line of the log and each entry of the audit
/// trail beforehand.
class tst_random_limits : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { qInstallMessageHandler(nullptr); }

    void clientsAreServedAndEndedAsTheLimitsSay();
};

namespace {

QStringList lines;

QString printed(const QJsonObject& entry)
{
    return QString::fromUtf8(QJsonDocument(entry).toJson(QJsonDocument::Compact));
}

/// Without what differs from run to run.
void handleMessage(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (type == QtDebugMsg && !message.contains(u"socket error"_s)) // of which Qt has one or two
        lines += message.section(u" 127.0.0.1:"_s, 0, 0);
    if (std::strcmp(context.category, "orvane.audit") != 0)
        return;
    QJsonObject entry = QJsonDocument::fromJson(message.toUtf8()).object();
    entry.remove("peer"_L1);
    if (entry.contains("microseconds"_L1))
        entry["microseconds"_L1] = 0;
    const QString reason = entry.value("reason"_L1).toString();
    if (entry["event"_L1] == "disconnected"_L1 && !reason.startsWith(u"max"_s) && reason != u"Unknown error"_s)
        entry["reason"_L1] = u"by itself"_s; // in Qt's words
    lines += printed(entry);
}

class Model {
public:
    explicit Model(const OrvaneLimits& limits)
        : limits(limits)
    {
        audit({{"event"_L1, "connected"_L1}});
        lines += u"New OrvaneConnection from QHostAddress(\"::ffff:127.0.0.1\")"_s;
    }

    QStringList lines;
    int calls = 0;
    bool isEnded = false;

    void takeMessage(const QString& message, const QString& command)
    {
        takeLength(message.size());
        if (isEnded)
            return;
        lines += u"OrvaneConnection received command:"_s;
        if (message.isEmpty())
            return;
        lines += u'"' + message + u'"';
        if (account.isNull()) {
            auditOfStranger({{"event"_L1, "command"_L1}, {"command"_L1, command}, {"outcome"_L1, "not logged in"_L1}});
            return;
        }
        const bool isKnown = command == u"setPreset";
        calls += isKnown ? 1 : 0;
        if (!isKnown)
            lines += u"Received unknown Orvane command:"_s;
        audit({{"event"_L1, "command"_L1}, {"command"_L1, command}, {"microseconds"_L1, 0},
            {"outcome"_L1, isKnown ? "accepted"_L1 : "rejected"_L1}});
    }

    void takeLogin(const QString& message, const QString& user, bool isValid)
    {
        takeLength(message.size());
        if (isEnded)
            return;
        lines += u"OrvaneConnection received command:"_s;
        if (isValid && account != u"Orvane")
            account = user;
        if (isValid)
            audit({{"event"_L1, "login"_L1}, {"user"_L1, user}});
        else
            auditOfStranger(
                {{"event"_L1, "invalidLogin"_L1}, {"user"_L1, user.size() > 200 ? user.first(200) + u"..."_s : user}});
        lines += u"\"loginClient\""_s;
        if (account == u"Orvane")
            lines += u"This is Orvane"_s;
        else if (account.isNull())
            lines += u"3rd Party connection over Orvane interface: login invalid"_s;
        if (!isValid && limits.maxInvalidLogins > 0 && ++invalidLogins > limits.maxInvalidLogins)
            end(u"maxInvalidLogins"_s);
    }

    void leave() { disconnect(u"by itself"_s); }

private:
    void takeLength(qsizetype length)
    {
        if (limits.maxMessageLength > 0 && length > limits.maxMessageLength)
            end(u"maxMessageLength"_s);
        else if (account.isNull() && limits.maxMessageLengthBeforeLogin > 0
            && length > limits.maxMessageLengthBeforeLogin)
            end(u"maxMessageLengthBeforeLogin"_s);
    }

    void end(const QString& limit)
    {
        audit({{"event"_L1, "exceededLimit"_L1}, {"limit"_L1, limit}});
        disconnect(limit);
        lines += u"OrvaneConnection exceeded a limit: "_s + limit;
        isEnded = true;
    }

    void disconnect(const QString& reason)
    {
        QJsonObject entry {{"event"_L1, "disconnected"_L1}, {"reason"_L1, reason}};
        if (ofStranger > 10)
            entry["notWritten"_L1] = ofStranger - 10;
        audit(entry);
    }

    void audit(QJsonObject entry)
    {
        if (!account.isNull())
            entry["account"_L1] = account;
        lines += printed(entry);
    }

    void auditOfStranger(const QJsonObject& entry)
    {
        if (!account.isNull() || ++ofStranger <= 10)
            audit(entry);
    }

    OrvaneLimits limits;
    QString account; ///< null before the login
    int invalidLogins = 0;
    int ofStranger = 0;
};

/// One client: what it sends, and what the model makes of it.
class RandomClient {
public:
    RandomClient(const OrvaneLimits& limits, QRandomGenerator& random)
        : model(limits)
        , limits(limits)
        , random(random)
    {
    }

    /// \return false when that took too long
    bool play(const Session& session)
    {
        lines.clear();
        const auto client = session.connectedClient();
        if (!client)
            return false;
        client->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        for (int step = random.bounded(20); step > 0 && !model.isEnded; --step) {
            const QString message = nextMessage() + u"\r\n\r\n"_s;
            const bool isInOne =
                limits.maxMessageLength > 0 && limits.maxMessageLengthBeforeLogin > 0; // a part may exceed the other
            const qsizetype cut = isInOne ? 0 : random.bounded(message.size());
            client->write(message.first(cut).toUtf8());
            client->flush();
            for (int round = random.bounded(3); round > 0; --round) // in which the server may read the first part
                runEventsFor(std::chrono::milliseconds(0));
            client->write(message.sliced(cut).toUtf8());
            if (!waitFor([&] { return lines.size() >= model.lines.size(); }))
                return false;
        }
        if (!model.isEnded)
            model.leave();
        client->disconnectFromHost();
        return waitFor([&] { return session.acceptedCount() == 0 && lines.size() >= model.lines.size(); });
    }

    Model model;

private:
    QString nextMessage()
    {
        const int kind = random.bounded(13);
        if (kind == 0)
            return login(u"Orvane"_s, u"157b25b09a99c70fc75a6e79412a00b2"_s, true);
        if (kind == 1)
            return login(u"operator"_s, u"secret"_s, true);
        if (kind < 4)
            return login(kind == 2 ? u"Orvane"_s : u"operator"_s, u"wrong"_s, false);
        if (kind == 12)
            return login(QString(random.bounded(199, 202), u'u'), u"wrong"_s, false);
        const QString command = kind < 9 ? u"setPreset"_s : u"other"_s;
        QString message = kind == 11 ? QString() : ofLength(command, length());
        model.takeMessage(message, command);
        return message;
    }

    QString login(const QString& user, const QString& password, bool isValid)
    {
        QString message =
            u"<loginClient><username>%1</username><password>%2</password></loginClient>"_s.arg(user, password);
        model.takeLogin(message, user, isValid);
        return message;
    }

    /// At the edge of one of the limits, or short.
    qsizetype length()
    {
        const qint64 limit = random.bounded(2) == 0 ? limits.maxMessageLength : limits.maxMessageLengthBeforeLogin;
        return limit == 0 || random.bounded(3) == 0 ? 30 : limit + random.bounded(-1, 2);
    }

    QString ofLength(const QString& command, qsizetype length)
    {
        static const QList<QChar> Characters {u'x', u'\u00fc', u'\u20ac', u' '};
        const QString start = u"<%1>"_s.arg(command);
        const QString end = u"</%1>"_s.arg(command);
        const qsizetype filling = std::max<qsizetype>(0, length - start.size() - end.size());
        return start + QString(filling, Characters.at(random.bounded(Characters.size()))) + end;
    }

    OrvaneLimits limits;
    QRandomGenerator& random;
};

} // namespace

void tst_random_limits::init()
{
    QLoggingCategory::setFilterRules(u"orvane.audit.info=true"_s);
    qInstallMessageHandler(&handleMessage);
}

void tst_random_limits::clientsAreServedAndEndedAsTheLimitsSay()
{
    Session session;
    QRandomGenerator random(1);
    for (int number = 0; number < 300; ++number) {
        OrvaneLimits limits;
        limits.maxInvalidLogins = random.bounded(4);
        limits.maxMessageLength = qint64(random.bounded(2)) * random.bounded(60, 400);
        limits.maxMessageLengthBeforeLogin = qint64(random.bounded(2)) * random.bounded(60, 400);
        session.server->setLimits(limits);
        session.host.calls.clear();
        RandomClient client(limits, random);
        const bool isInTime = client.play(session);
        for (qsizetype line = 0; line < std::max(lines.size(), client.model.lines.size()); ++line)
            QCOMPARE(lines.value(line), client.model.lines.value(line));
        QVERIFY2(isInTime, qPrintable(QString::number(number)));
        QCOMPARE(session.host.calls.size(), client.model.calls);
    }
}

QTEST_GUILESS_MAIN(tst_random_limits)
#include "tst_random_limits.moc"
