#include "Command.h"
#include "Console.h"
#include "Host.h"
#include "Loops.h"
#include "Protocol.h"
#include "Settings.h"

#include <QDateTime>

#include <vector>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

/// A host call of this length holds up every client.
constexpr qint64 SlowMs = 500;

constexpr QLatin1String Ok("ok");
constexpr QLatin1String Doubtful("doubtful");
constexpr QLatin1String Wrong("wrong");
constexpr QLatin1String Skipped("skipped");

struct Finding {
    QLatin1String verdict;
    QString what; ///< came
    QString meaning = {};
};

struct Step {
    QStringList words; ///< the command
    QString answer; ///< how it has to begin, or all of it; empty: it may be anything
    Finding good; ///< when it came so
};

/// How the library begins a message.
QString start(const QString& root)
{
    return u"<p:%1 xmlns:p=\"%2\""_s.arg(root, OrvaneInterface::XmlNamespaceUri);
}

Step rejectedStep(const QString& command, const QString& reason, const QString& meaning)
{
    const QString answer = start(u"commandRejected"_s)
        + u"><commandname>%1</commandname><reason>%2</reason></p:commandRejected>"_s.arg(command, reason);
    return {{command}, answer, {Ok, u"rejected"_s, meaning}};
}

Step acceptedStep(const QStringList& words)
{
    const QString answer =
        start(u"commandAccepted"_s) + u"><commandname>%1</commandname></p:commandAccepted>"_s.arg(words.first());
    return {words, answer, {Ok, u"accepted"_s, u"look whether the display shows it"_s}};
}

Step splitStep(const QStringList& words)
{
    const QString answer = start(u"commandAccepted"_s) + u"><command>%1</command><splitid>"_s.arg(words.first());
    return {words + QStringList {u"camera=1"_s, u"commandtag=check"_s}, answer,
        {Ok, u"accepted"_s, u"look whether the display shows it"_s}};
}

class HostCheck {
public:
    HostCheck(Host& host, Console& console, const Settings& settings);

    ExitStatus run();

private:
    void greet();
    std::vector<Step> stepsThatChangeTheDisplay() const;
    /// \return whether the check can go on
    bool play(const Step& step);
    void tell(const QString& name, const Finding& finding, std::optional<qint64> milliseconds = std::nullopt);

    Finding findingOf(const Step& step, const Outcome& outcome) const;
    Finding listFinding() const;
    Finding splitFinding(const Finding& good) const;

    Host& host;
    Console& console;
    const Settings& settings;
    QMap<QString, QStringList> names; ///< of the host, by the keys that take them
    std::optional<Reply> reply; ///< the last one to the present command
    int replies = 0; ///< to it
    bool isAllRight = true;
    bool isDoubtful = false;
};

HostCheck::HostCheck(Host& host, Console& console, const Settings& settings)
    : host(host)
    , console(console)
    , settings(settings)
{
    host.setListener([this](const Reply& received, bool isLate) {
        if (isLate)
            return;
        names.insert(received.names());
        reply = received;
        ++replies;
    });
}

ExitStatus HostCheck::run()
{
    greet();
    const std::vector<Step> harmless = {
        rejectedStep(u"no-such-command"_s, OrvaneInterface::UnknownCommand,
            u"the login is valid, and unknown commands are told"_s),
        rejectedStep(u"showTrack"_s, OrvaneInterface::NoTrack, u"without a track the host is not asked"_s),
        {{u"getPresetsList"_s}, start(PresetsList), {}},
        {{u"getRecorderList"_s}, start(RecorderList), {}},
        {{u"getPertinentInfo"_s, u"about=orvane-client check"_s}, {}, {Ok, {}, u"an answer of the host's own"_s}},
    };
    for (const Step& step : harmless) {
        if (!play(step))
            return ExitStatus::NotAsItShouldBe;
    }
    for (const Step& step : stepsThatChangeTheDisplay()) {
        if (settings.has("apply"))
            play(step);
        else
            tell(step.words.first(), {Skipped, u"not played"_s, u"changes the display: --apply"_s});
    }
    host.close();
    if (console.format() != ReplyFormat::Json)
        console.text(!isAllRight ? u"Something is not as it should be.\n"_s
                : isDoubtful     ? u"All is as the protocol has it, but look at what is doubtful.\n"_s
                                 : u"All is as the protocol has it.\n"_s);
    return isAllRight ? ExitStatus::Success : ExitStatus::NotAsItShouldBe;
}

/// What shows before a login, on a connection of its own.
void HostCheck::greet()
{
    constexpr int soon = 30;
    Host stranger(settings, console, std::nullopt);
    stranger.connect();
    const QSslCertificate certificate = stranger.certificate();
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QString until = u"valid until %1"_s.arg(certificate.expiryDate().toUTC().toString(u"yyyy-MM-dd"_s));
    Finding finding {Ok, certificate.subjectDisplayName(), until};
    if (now < certificate.effectiveDate() || now > certificate.expiryDate())
        finding = {Wrong, finding.what, until + u": clients that look refuse it"_s};
    else if (now.daysTo(certificate.expiryDate()) < soon)
        finding = {Doubtful, finding.what, until + u": renew it"_s};
    tell(u"certificate"_s, finding);

    finding = {Wrong, u"an answer"_s, u"everybody is let in"_s};
    try {
        stranger.logIn();
    } catch (const Outcome&) {
        finding = {Ok, u"no answer"_s, u"strangers are not served"_s};
    }
    tell(u"without a login"_s, finding);
}

/// With names that the host has given, so that it can do what it is asked.
std::vector<Step> HostCheck::stepsThatChangeTheDisplay() const
{
    const auto first = [this](const QString& key) { return key + u'=' + names.value(key).value(0); };
    std::vector<Step> steps = {splitStep({u"showLive"_s, first(u"recorder"_s)})};
    if (!names.value(u"track"_s).isEmpty())
        steps.push_back(splitStep({u"showTrack"_s, first(u"recorder"_s), first(u"track"_s)}));
    steps.push_back(acceptedStep({u"showLiveAtSubsplit"_s, u"splitid=0"_s, u"subsplit=0"_s, u"camera=1"_s}));
    steps.push_back(
        acceptedStep({u"setDetailViews"_s, u"splitid=0"_s, u"subsplit:id=0,ltx=0.25,lty=0.25,rbx=0.75,rby=0.75"_s}));
    steps.push_back(acceptedStep({u"setSplitMode"_s, u"splitmode=0"_s}));
    if (!names.value(u"presetname"_s).isEmpty())
        steps.push_back(acceptedStep({u"setPreset"_s, first(u"presetname"_s)}));
    steps.push_back({{u"updateRecorderContents"_s}, start(RefreshFinishedNotice), {Ok, u"finished"_s}});
    return steps;
}

bool HostCheck::play(const Step& step)
{
    reply.reset();
    replies = 0;
    Outcome outcome;
    const CommandRequest request = requestFromWords(step.words);
    QElapsedTimer sinceSent;
    sinceSent.start();
    try {
        host.exchange(request, Expectation::answerOf(request.command));
    } catch (const Outcome& failure) {
        outcome = failure;
    }
    const bool isStranger = outcome.status == ExitStatus::NotLoggedIn;
    if (outcome.status == ExitStatus::NoConnection || (outcome.status == ExitStatus::NoAnswer && !host.isConnected()))
        throw Outcome(outcome);

    const bool hasAnswer = outcome.status != ExitStatus::NoAnswer && !isStranger;
    const qint64 elapsed = hasAnswer ? host.millisecondsToAnswer() : sinceSent.elapsed();
    const bool isSlow = hasAnswer && elapsed > SlowMs && request.command != "updateRecorderContents"_L1;
    Finding finding = findingOf(step, outcome);
    if (replies > 1)
        finding = {Wrong, u"%1 answers"_s.arg(replies), u"each command has one"_s};
    if (finding.verdict == Ok && isSlow)
        finding = {Doubtful, finding.what, u"slow: all clients wait for it; start the work and return"_s};
    tell(request.command, finding, elapsed);
    return !isStranger;
}

void HostCheck::tell(const QString& name, const Finding& finding, std::optional<qint64> milliseconds)
{
    isAllRight = isAllRight && finding.verdict != Wrong;
    isDoubtful = isDoubtful || finding.verdict == Doubtful;
    if (console.format() == ReplyFormat::Json) {
        QJsonObject object {{"check"_L1, name}, {"verdict"_L1, finding.verdict}, {"what"_L1, finding.what},
            {"meaning"_L1, finding.meaning}};
        if (milliseconds)
            object["ms"_L1] = *milliseconds;
        console.object(object);
        return;
    }
    const bool isLoud = finding.verdict == Wrong || finding.verdict == Doubtful;
    const QString verdict = isLoud ? QString(finding.verdict).toUpper() : QString(finding.verdict);
    const QString time = milliseconds ? u"%1 ms"_s.arg(*milliseconds) : QString();
    QString line = verdict.leftJustified(9) + name.leftJustified(24) + finding.what.leftJustified(28)
        + time.rightJustified(10) + u"  "_s + finding.meaning;
    console.text(visibleText(line.replace(u'\n', u' ').trimmed()) + u'\n'); // some of it is the host's
}

Finding HostCheck::findingOf(const Step& step, const Outcome& outcome) const
{
    const bool isRefresh = step.words.first() == "updateRecorderContents"_L1;
    if (outcome.status == ExitStatus::NotLoggedIn)
        return {Wrong, u"no answer"_s, outcome.problem};
    if (outcome.status == ExitStatus::NoAnswer && isRefresh)
        return {Doubtful, u"not finished"_s,
            u"call handleUpdateAllTreeDevicesFinished() when it has (or give it more --timeout)"_s};
    if (outcome.status == ExitStatus::NoAnswer && step.answer.isEmpty())
        return {Ok, u"no answer"_s, u"a host may keep silent"_s};
    if (reply && (reply->kind == Reply::Kind::NotXml || reply->isTextList))
        return {Wrong, u"no well-formed XML"_s,
            reply->reason + u": keep \", & and < out of names, and escape your answers"_s};
    const bool isRefused = outcome.status == ExitStatus::Rejected && isRefresh;
    const QString rejection = isRefused ? rejectedStep(step.words.first(), reply->reason, {}).answer : step.answer;
    if (!reply || !QString::fromUtf8(reply->raw).startsWith(rejection))
        return {Wrong, u"not the answer"_s,
            outcome.problem.isEmpty() && reply
                ? u"not byte for byte what the protocol has: "_s + textOfBytes(reply->raw)
                : outcome.problem};
    if (isRefused)
        return {Ok, u"rejected"_s, u"a refresh is running already, or none can be started"_s};
    if (reply->root == PresetsList || reply->root == RecorderList)
        return listFinding();
    if (step.answer.isEmpty())
        return {Ok, u"<%1>"_s.arg(reply->root), step.good.meaning};
    return step.words.contains(u"commandtag=check"_s) ? splitFinding(step.good) : step.good;
}

Finding HostCheck::listFinding() const
{
    const QStringList given = names.value(reply->root == PresetsList ? u"presetname"_s : u"recorder"_s);
    const QString what = given.size() == 1 ? u"1 name"_s : u"%1 names"_s.arg(given.size());
    if (given.isEmpty())
        return {Doubtful, what, u"there is nothing that clients could choose"_s};
    if (given.contains(QString()))
        return {Doubtful, what, u"one has no name: no client can ask for it"_s};
    return {Ok, what, given.first()};
}

Finding HostCheck::splitFinding(const Finding& good) const
{
    const QJsonObject members = reply->json();
    const int split = members["split"_L1].toInt(-1);
    if (members["tag"_L1] != "check"_L1)
        return {Wrong, good.what, u"the tag did not come back"_s};
    if (split < 0)
        return {Doubtful, u"accepted, split %1"_s.arg(split),
            u"leave the split that you use in splitId, or clients cannot name it"_s};
    return {Ok, u"accepted, split %1"_s.arg(split), good.meaning};
}

} // namespace

ExitStatus runCheck(Host& host, Console& console, const Settings& settings)
{
    return HostCheck(host, console, settings).run();
}

} // namespace OrvaneClient
