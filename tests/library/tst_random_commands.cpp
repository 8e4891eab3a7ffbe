#include "CommandModel.h"
#include "LogCapture.h"
#include "RandomText.h"
#include "Session.h"
#include "TestClass.h"

#include <QTest>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

/// Compares random commands of three clients, to a host with random answers, with a model written from
/// docs/protocol.md. The commands are always the same, unless ORVANE_RANDOM_SEED is set to a number.
class tst_random_commands : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void carriesOutAndAnswersRandomCommands();
};

namespace {

using Client = CommandModel::Client;
using Step = CommandModel::Step;

const QByteArray End = "\r\n\r\n";

/// A server with its host and clients, and the model of them.
class Play {
public:
    explicit Play(RandomText& random)
        : random(random)
        , account(random.made(u"account"_s).split(u'/'))
        , session(account.first(), account.last())
        , model(session.host, account)
    {
        random.setRule(u"user"_s, account.first().toHtmlEscaped());
        random.setRule(u"password"_s, account.last().toHtmlEscaped());
        const auto leaving = session.connectedClient(); // the notices skip it
        for (Client& client : model.clients)
            client.socket = session.connectedClient();
    }

    bool isConnected() const
    {
        return std::all_of(
            model.clients.begin(), model.clients.end(), [](const Client& each) { return each.socket != nullptr; });
    }

    /// \return the first difference from the model; empty if there is none
    QString difference()
    {
        constexpr int batches = 30;
        QString found;
        for (int batch = 0; batch < batches && found.isEmpty(); ++batch) {
            if (random.isOneIn(3))
                changeHost();
            if (random.isOneIn(6)) {
                model.endRefresh();
                session.server->handleUpdateAllTreeDevicesFinished();
            }
            found = differenceAfter(model.clients.at(static_cast<size_t>(random.upTo(2))), madeMessages());
        }
        for (Client& client : model.clients) // a client may still wait for a reply, or have received too much
            found = found.isEmpty() ? differenceAfter(client, {loginMessage().chopped(End.size())}) : found;
        return found;
    }

    qsizetype sent = 0; ///< messages

private:
    void changeHost()
    {
        RecordingHost& host = session.host;
        host.refreshStarts = !random.isOneIn(3);
        host.duringCall = nullptr;
        if (random.isOneIn(8))
            host.duringCall = [this] { session.server->handleUpdateAllTreeDevicesFinished(); };
        host.usedSplit = random.isOneIn(2) ? std::optional(random.made(u"split"_s).toInt()) : std::nullopt;
        host.answer = random.isOneIn(3) ? std::nullopt : std::optional(random.made(u"answer"_s).toStdString());
        if (host.answer && random.isOneIn(8))
            host.answer->append("\xc3");
        host.presets.resize(static_cast<size_t>(random.upTo(5)));
        for (auto& preset : host.presets)
            preset.name = name();
        host.recorders.resize(static_cast<size_t>(random.upTo(5)));
        for (auto& recorder : host.recorders) {
            for (std::string* text : {&recorder.name, &recorder.ip, &recorder.userName, &recorder.password})
                *text = name();
            recorder.maxNumChannels = random.made(u"split"_s).toInt();
            recorder.tracks.resize(static_cast<size_t>(random.upTo(3)));
            for (std::string& track : recorder.tracks)
                track = name();
        }
    }

    /// Perhaps with an incomplete last character.
    std::string name()
    {
        std::string text = random.made(u"name"_s).toStdString();
        if (random.isOneIn(4) && !text.empty())
            text.pop_back();
        return text;
    }

    /// No more than arrive in one read, so that no character is split.
    QByteArrayList madeMessages()
    {
        QByteArrayList messages;
        for (int count = random.upTo(9); count >= 0; --count) {
            QString text = random.made(u"message"_s);
            if (random.isOneIn(12)) // incomplete
                text.truncate(random.upTo(static_cast<int>(text.size())));
            text.replace(u"\r\n\r\n"_s, u"\n"_s); // would end the message
            messages += text.toUtf8() + (text.endsWith(u"\r\n"_s) ? " " : "");
            if (messages.join(End).size() > 4000)
                messages.removeLast();
        }
        return messages;
    }

    QString differenceAfter(Client& client, const QByteArrayList& messages)
    {
        QByteArray bytes;
        const auto send = [&](const QByteArray& message) {
            model.receive(client, message);
            bytes += message + End;
            ++sent;
        };
        std::for_each(messages.begin(), messages.end(), send);
        if (client.isLoggedIn)
            send(LastCommand);
        client.socket->write(bytes);
        QByteArray& received = client.socket->received;
        waitFor([&] { return arrived == sent && (!client.isLoggedIn || received.endsWith(LastReply)); });
        return firstDifference(std::exchange(client.steps, std::vector(1, Step())),
            std::exchange(session.host.calls, {}), std::exchange(received, {}));
    }

    static QString firstDifference(const std::vector<Step>& steps, QStringList calls, QByteArray replies)
    {
        for (const Step& step : steps) {
            const bool isLast = &step == &steps.back(); // nothing may be left after it
            if (calls.first(std::min(calls.size(), step.calls.size())) != step.calls || !replies.startsWith(step.reply)
                || (isLast && (calls.size() > step.calls.size() || replies.size() > step.reply.size())))
                return u"%1\n--- expected:\n%2\n%3\n--- received, including the rest:\n%4\n%5"_s.arg(step.document,
                    step.calls.join(u'\n'), QString::fromUtf8(step.reply), calls.join(u'\n'),
                    QString::fromUtf8(replies));
            calls.remove(0, step.calls.size());
            replies.remove(0, step.reply.size());
        }
        return {};
    }

    RandomText& random;
    qsizetype arrived = 0; ///< messages
    const LogCapture log {
        [this](const QString& line) { arrived += line == u"OrvaneConnection received command:" ? 1 : 0; }};
    const QStringList account; ///< name and password
    Session session;
    CommandModel model;
};

} // namespace

void tst_random_commands::carriesOutAndAnswersRandomCommands()
{
    constexpr int leastMessages = 4000;
    bool isSet = false;
    const int seed = qEnvironmentVariableIntValue("ORVANE_RANDOM_SEED", &isSet);
    RandomText random(QStringLiteral(ORVANE_RANDOM_COMMANDS), isSet ? static_cast<quint32>(seed) : 1);
    random.setRule(u"long"_s, QString(500, u'x'));
    random.setRule(u"mark"_s, QString(QChar::ByteOrderMark));
    for (qsizetype sent = 0; sent < leastMessages;) {
        Play play(random);
        QVERIFY(play.isConnected());
        if (const QString difference = play.difference(); !difference.isEmpty())
            QFAIL(qPrintable(difference));
        sent += play.sent;
    }
}

ORVANE_TEST(tst_random_commands)
#include "tst_random_commands.moc"
