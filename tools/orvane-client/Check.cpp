#include "Console.h"
#include "Host.h"
#include "Loops.h"
#include "Settings.h"

#include <QDateTime>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

constexpr QLatin1String Ok("ok");
constexpr QLatin1String Doubtful("doubtful");
constexpr QLatin1String Wrong("wrong");
constexpr QLatin1String Skipped("skipped");

struct Finding {
    QLatin1String verdict;
    QString what; ///< was found
    QString meaning = {};
};

struct Step {
    QString command; ///< "?" stands for the first name in the host's list
    QString answer; ///< regular expression; its capture is the split
    QString meaning = {}; ///< of that answer
};

/// Matches an acknowledgement exactly as the library writes it or, without \a content, any message with this root.
QString message(const QString& root, const QString& content = {})
{
    const QString start = u"<p:%1 xmlns:p=\"%2\""_s.arg(root, OrvaneInterface::XmlNamespaceUri);
    return content.isNull() ? start + ".*"_L1 : u"%1>%2</p:%3>"_s.arg(start, content, root);
}

Step rejected(const QString& command, const QString& reason, const QString& meaning)
{
    return {command,
        message(u"commandRejected"_s, u"<commandname>%1</commandname><reason>%2</reason>"_s.arg(command, reason)),
        meaning};
}

/// \a content: of the answer; %1 is the command's name.
Step accepted(const QString& command, const QString& content = u"<commandname>%1</commandname>"_s)
{
    return {command, message(u"commandAccepted"_s, content.arg(command.section(u' ', 0, 0))),
        u"check that the display shows it"_s};
}

QList<Step> allSteps()
{
    const QString split = u"<command>%1</command><splitid>(-?\\d+)</splitid><commandtag>check</commandtag>"_s;
    const Step refused = rejected(u"updateRecorderContents"_s, u".*"_s, {});
    return {rejected(u"no-such-command"_s, OrvaneInterface::UnknownCommand,
                u"the login is valid, and unknown commands are rejected"_s),
        rejected(u"showTrack"_s, OrvaneInterface::NoTrack, u"without a track the host is not called"_s),
        {u"getPresetsList"_s, message(PresetsList)}, {u"getRecorderList"_s, message(RecorderList)},
        {u"getPertinentInfo about=orvane-client"_s, u".*"_s, u"the host's own answer"_s},
        accepted(u"showLive recorder=? camera=1 commandtag=check"_s, split),
        accepted(u"showTrack recorder=? track=? camera=1 commandtag=check"_s, split),
        accepted(u"showLiveAtSubsplit splitid=0 subsplit=0 camera=1"_s),
        accepted(u"setDetailViews splitid=0 subsplit:id=0,ltx=0.25,lty=0.25,rbx=0.75,rby=0.75"_s),
        accepted(u"setSplitMode splitmode=0"_s), accepted(u"setPreset presetname=?"_s),
        {refused.command, message(RefreshFinishedNotice) + u'|' + refused.answer}};
}

/// The first steps, this many, do not change the display.
constexpr qsizetype HarmlessSteps = 5;

class HostCheck {
public:
    explicit HostCheck(Host& host)
        : host(host)
        , console(host.console)
    {
        host.listener = [this](const Reply& received) { replies.append(received); };
    }

    ExitStatus run()
    {
        greet();
        const QList<Step> steps = allSteps();
        for (qsizetype i = 0; i < steps.size(); ++i) {
            if (i >= HarmlessSteps && !host.settings.has("apply"))
                tell(steps[i].command.section(u' ', 0, 0), {Skipped, u"not sent"_s, u"sent only with --apply"_s});
            else if (!play(steps[i]))
                return ExitStatus::NotAsItShouldBe;
        }
        const bool isAllRight = !verdicts.contains(Wrong);
        if (console.format() != ReplyFormat::Json)
            console.text(!isAllRight              ? u"Some results are wrong.\n"_s
                    : verdicts.contains(Doubtful) ? u"No results are wrong, but look at the doubtful ones.\n"_s
                                                  : u"All results are right.\n"_s);
        return isAllRight ? ExitStatus::Success : ExitStatus::NotAsItShouldBe;
    }

private:
    /// Checks what a client sees before a login, on a separate connection.
    void greet()
    {
        constexpr int soon = 30;
        Host stranger(host.settings, console, std::nullopt);
        const QSslCertificate certificate = stranger.connect();
        const QDateTime now = QDateTime::currentDateTimeUtc();
        const QDateTime expiry = certificate.expiryDate().toUTC();
        Finding finding {Ok, certificate.subjectDisplayName(), u"valid until "_s + expiry.toString(u"yyyy-MM-dd"_s)};
        if (now < certificate.effectiveDate() || now > expiry)
            finding = {Wrong, finding.what, finding.meaning + u": clients that check the date refuse it"_s};
        else if (now.daysTo(expiry) < soon)
            finding = {Doubtful, finding.what, finding.meaning + u": renew it"_s};
        tell(u"certificate"_s, finding);
        const bool isServed = attempt([&] { stranger.logIn(); }).status == ExitStatus::Success;
        tell(u"without a login"_s,
            isServed ? Finding {Wrong, u"an answer"_s, u"clients are served without a login"_s}
                     : Finding {Ok, u"no answer"_s, u"clients are not served without a login"_s});
    }

    /// \return whether the check can go on
    bool play(const Step& step)
    {
        constexpr qint64 longest = 500; // ms; a longer host call delays every client
        replies.clear();
        QStringList words = step.command.split(u' ');
        for (QString& word : words)
            word.replace("=?"_L1, u'=' + host.names().value(word.chopped(2)).value(0));
        if (words.contains(u"track="_s) || words.contains(u"presetname="_s)) {
            tell(words.first(), {Skipped, u"not sent"_s, u"the host lists no such name"_s});
            return true;
        }
        const CommandRequest request = requestFromWords(words);
        const Outcome outcome = attempt([&] { host.exchange(request); });
        const bool hasAnswer = outcome.status != ExitStatus::NoAnswer;
        if (outcome.status == ExitStatus::NoConnection)
            throw Outcome(outcome);
        Finding finding = findingOf(step, outcome);
        if (finding.verdict == Ok && hasAnswer && !request.awaitsNotice && host.millisecondsToAnswer() > longest)
            finding = {Doubtful, finding.what, u"slow: all clients wait for it; start the work and return at once"_s};
        tell(request.command, finding, host.millisecondsToAnswer());
        return outcome.status != ExitStatus::NotLoggedIn;
    }

    void tell(const QString& name, const Finding& finding, qint64 milliseconds = -1)
    {
        verdicts.append(finding.verdict);
        if (console.format() == ReplyFormat::Json) {
            QJsonObject object {{"check"_L1, name}, {"verdict"_L1, finding.verdict}, {"what"_L1, finding.what},
                {"meaning"_L1, finding.meaning}};
            if (milliseconds >= 0)
                object["ms"_L1] = milliseconds;
            console.object(object);
            return;
        }
        const bool isLoud = finding.verdict == Wrong || finding.verdict == Doubtful;
        const QString verdict = isLoud ? QString(finding.verdict).toUpper() : finding.verdict;
        const QString time = milliseconds >= 0 ? u"%1 ms"_s.arg(milliseconds) : QString();
        QString line = verdict.leftJustified(9) + name.leftJustified(24) + finding.what.leftJustified(28)
            + time.rightJustified(10) + u"  "_s + finding.meaning;
        console.text(visibleText(line.replace(u'\n', u' ').trimmed()) + u'\n'); // part of it comes from the host
    }

    Finding findingOf(const Step& step, const Outcome& outcome) const
    {
        const bool isRefresh = step.command == "updateRecorderContents"_L1;
        if (outcome.status == ExitStatus::NotLoggedIn)
            return {Wrong, u"no answer"_s, outcome.problem};
        if (replies.size() > 1)
            return {Wrong, u"%1 answers"_s.arg(replies.size()), u"each command has exactly one"_s};
        if (outcome.status == ExitStatus::NoAnswer && isRefresh)
            return {Doubtful, u"not finished"_s,
                u"call handleUpdateAllTreeDevicesFinished() when it has (or use a longer --timeout)"_s};
        if (outcome.status == ExitStatus::NoAnswer && step.answer == ".*"_L1)
            return {Ok, u"no answer"_s, u"a host need not answer"_s};
        if (replies.isEmpty())
            return {Wrong, u"no answer"_s, outcome.problem};
        const Reply& answer = replies.first();
        if (answer.kind == Reply::Kind::NotXml || answer.isTextList)
            return {Wrong, u"not well-formed XML"_s,
                answer.reason + u": do not use \", & or < in names, and escape your answers"_s};
        const QRegularExpression pattern(u"(?s)^(?:%1)\\z"_s.arg(step.answer));
        const QRegularExpressionMatch match = pattern.match(QString::fromUtf8(answer.raw));
        const int split = match.captured(1).toInt();
        if (!match.hasMatch())
            return {Wrong, u"wrong answer"_s,
                outcome.problem.isEmpty() ? u"not byte for byte as in the protocol: "_s + textOfBytes(answer.raw)
                                          : outcome.problem};
        if (answer.root == PresetsList || answer.root == RecorderList)
            return listFinding(host.names().value(answer.root == PresetsList ? u"presetname"_s : u"recorder"_s));
        if (split < 0)
            return {Doubtful, u"accepted, split %1"_s.arg(split),
                u"set splitId to the split that you use, or clients cannot refer to it"_s};
        if (match.hasCaptured(1))
            return {Ok, u"accepted, split %1"_s.arg(split), step.meaning};
        static const QMap<QString, QString> words = {{u"commandAccepted"_s, u"accepted"_s},
            {u"commandRejected"_s, u"rejected"_s}, {RefreshFinishedNotice, u"finished"_s}};
        const bool isRefused = answer.kind == Reply::Kind::Rejected && step.meaning.isEmpty();
        return {Ok, words.value(answer.root, u'<' + answer.root + u'>'),
            isRefused ? u"a refresh is already running, or cannot be started"_s : step.meaning};
    }

    static Finding listFinding(const QStringList& given)
    {
        const QString what = given.size() == 1 ? u"1 name"_s : u"%1 names"_s.arg(given.size());
        if (given.isEmpty())
            return {Doubtful, what, u"clients have nothing to choose from"_s};
        if (given.contains(QString()))
            return {Doubtful, what, u"one is empty: clients cannot ask for it"_s};
        return {Ok, what, given.first()};
    }

    Host& host;
    Console& console;
    QList<Reply> replies; ///< to the current command
    QList<QLatin1String> verdicts;
};

} // namespace

ExitStatus runCheck(Host& host)
{
    return HostCheck(host).run();
}

} // namespace OrvaneClient
