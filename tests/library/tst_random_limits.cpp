#include "Session.h"
#include "TestClass.h"
#include "Wine.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QRandomGenerator>
#include <QTest>

#include <algorithm>
#include <cstring>

using namespace Qt::StringLiterals;
using OrvaneInterface::OrvaneLimits;

/// Compares clients at the edge of random limits with a model that predicts each log line, audit entry and reply. The
/// audit trail is switched on and off at random.
class tst_random_limits : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { qInstallMessageHandler(nullptr); }

    void servesAndDisconnectsClientsByRandomLimits();
};

namespace {

QStringList lines;

QString printed(const QJsonObject& entry)
{
    return QString::fromUtf8(QJsonDocument(entry).toJson(QJsonDocument::Compact));
}

/// Drops what differs from run to run.
void keepMessage(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (type == QtDebugMsg && !message.contains(u"socket error"_s)) // Qt reports one or two of these
        lines += message.section(u" 127.0.0.1:"_s, 0, 0);
    if (std::strcmp(context.category, "orvane.audit") != 0)
        return;
    QJsonObject entry = QJsonDocument::fromJson(message.toUtf8()).object();
    entry.remove("peer"_L1);
    if (entry.contains("microseconds"_L1))
        entry["microseconds"_L1] = 0;
    const QString reason = entry.value("reason"_L1).toString();
    if (entry["event"_L1] == "disconnected"_L1 && !reason.startsWith(u"max"_s) && reason != u"Unknown error"_s)
        entry["reason"_L1] = u"by the client"_s; // replaces Qt's text
    lines += printed(entry);
}

/// Client text as the audit trail shows it.
QString shortened(const QString& text)
{
    return text.size() > 200 ? text.first(200) + u"..."_s : text;
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
    QByteArray replies;
    int calls = 0;
    bool isEnded = false;
    bool isAudited = true;

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
            auditOfStranger(
                {{"event"_L1, "command"_L1}, {"command"_L1, shortened(command)}, {"outcome"_L1, "not logged in"_L1}});
            return;
        }
        const bool isKnown = command == u"setPreset";
        calls += isKnown ? 1 : 0;
        if (!isKnown)
            lines += u"Received unknown Orvane command:"_s;
        audit({{"event"_L1, "command"_L1}, {"command"_L1, shortened(command)}, {"microseconds"_L1, 0},
            {"outcome"_L1, isKnown ? "accepted"_L1 : "rejected"_L1}});
        replies += isKnown ? shortAcceptance("setPreset") : rejection(command.toUtf8(), "Unknown command");
    }

    void takeRefusedDocument(const QString& message, const QString& command, const QString& reason)
    {
        takeLength(message.size());
        if (isEnded)
            return;
        lines += {u"OrvaneConnection received command:"_s, u"OrvaneConnection refused a document: "_s + reason};
        auditOfStranger({{"event"_L1, "refusedDocument"_L1}, {"command"_L1, command}, {"reason"_L1, reason}});
        if (!account.isNull())
            replies += rejection(command.toUtf8(), reason.toUtf8());
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
            auditOfStranger({{"event"_L1, "invalidLogin"_L1}, {"user"_L1, shortened(user)}});
        lines += u"\"loginClient\""_s;
        if (account == u"Orvane")
            lines += u"This is Orvane"_s;
        else if (account.isNull())
            lines += u"3rd Party connection over Orvane interface: login invalid"_s;
        if (!isValid && limits.maxInvalidLogins > 0 && ++invalidLogins > limits.maxInvalidLogins)
            end(u"maxInvalidLogins"_s);
    }

    void leave() { disconnect(u"by the client"_s); }

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
        if (!isAudited)
            return;
        if (!account.isNull())
            entry["account"_L1] = account;
        lines += printed(entry);
    }

    void auditOfStranger(const QJsonObject& entry)
    {
        if (!account.isNull() || (isAudited && ++ofStranger <= 10))
            audit(entry);
    }

    OrvaneLimits limits;
    QString account; ///< null before the login
    int invalidLogins = 0;
    int ofStranger = 0;
};

/// One client that sends random messages, with its model.
class RandomClient {
public:
    RandomClient(const OrvaneLimits& limits, QRandomGenerator& random)
        : model(limits)
        , limits(limits)
        , random(random)
    {
    }

    /// \return false if it took too long
    bool play(const Session& session)
    {
        lines.clear();
        const auto client = session.connectedClient();
        if (!client)
            return false;
        client->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        for (int step = random.bounded(25); step > 0 && !model.isEnded; --step) {
            setAudited(random.bounded(4) > 0);
            const QString message = nextMessage() + u"\r\n\r\n"_s;
            const bool isUncut =
                limits.maxMessageLength > 0 && limits.maxMessageLengthBeforeLogin > 0; // a part may exceed the other
            const qsizetype cut = isUncut ? 0 : random.bounded(message.size());
            client->write(message.first(cut).toUtf8());
            client->flush();
            for (int round = random.bounded(3); round > 0; --round) // the server may read the first part now
                runEventsFor(std::chrono::milliseconds(0));
            client->write(message.sliced(cut).toUtf8());
            if (!waitFor([&] { return lines.size() >= model.lines.size() && hasReplies(*client); }))
                return false;
        }
        setAudited(true);
        if (!model.isEnded)
            model.leave();
        client->disconnectFromHost();
        return waitFor([&] { return session.acceptedCount() == 0 && lines.size() >= model.lines.size(); });
    }

    Model model;

private:
    void setAudited(bool isOn)
    {
        model.isAudited = isOn;
        QLoggingCategory::setFilterRules(isOn ? u"orvane.audit.info=true"_s : QString());
    }

    /// The replies to a disconnected client may be lost.
    bool hasReplies(const TlsClient& client) const { return model.isEnded || client.received == model.replies; }

    QString nextMessage()
    {
        const int kind = random.bounded(isStranger ? 4 : 0, 15);
        if (kind == 13)
            return refusedDocument(
                u"<loginClient>"_s + u"<a>"_s.repeated(1025), u"loginClient"_s, u"Its elements are nested too deep"_s);
        if (kind == 14)
            return refusedDocument(u"<!DOCTYPE a [<!ENTITY b '&lt;'>]><setPreset/>"_s, QString(),
                u"A reference or markup in its document type declaration"_s);
        if (kind == 0)
            return login(u"Orvane"_s, u"157b25b09a99c70fc75a6e79412a00b2"_s, true);
        if (kind == 1)
            return login(u"operator"_s, u"secret"_s, true);
        if (kind < 4)
            return login(kind == 2 ? u"Orvane"_s : u"operator"_s, u"wrong"_s, false);
        if (kind == 12)
            return login(QString(random.bounded(199, 202), u'u'), u"wrong"_s, false);
        const QString command =
            kind < 9 ? u"setPreset"_s : QString(random.bounded(2) == 0 ? 5 : random.bounded(199, 202), u'o');
        QString message = kind == 11 ? QString() : ofLength(command, length());
        model.takeMessage(message, command);
        return message;
    }

    QString refusedDocument(const QString& message, const QString& command, const QString& reason)
    {
        model.takeRefusedDocument(message, command, reason);
        return message;
    }

    QString login(const QString& user, const QString& password, bool isValid)
    {
        QString message =
            u"<loginClient><username>%1</username><password>%2</password></loginClient>"_s.arg(user, password);
        model.takeLogin(message, user, isValid);
        return message;
    }

    /// At the edge of a limit, or short.
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
    const bool isStranger = random.bounded(3) == 0; ///< never logs in
};

} // namespace

void tst_random_limits::init()
{
    QLoggingCategory::setFilterRules(u"orvane.audit.info=true"_s);
    qInstallMessageHandler(&keepMessage);
}

void tst_random_limits::servesAndDisconnectsClientsByRandomLimits()
{
    if (isWine())
        QSKIP(WineMissesEnds);
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

ORVANE_TEST(tst_random_limits)
#include "tst_random_limits.moc"
