#include "HostCheck.h"

#include "CommandCatalogue.h"
#include "Console.h"
#include "Options.h"
#include "ReplyFormat.h"
#include "TerminalText.h"

#include <QDateTime>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

constexpr int LabelWidth = 24;
constexpr int WhatWidth = 28;
constexpr int TimeWidth = 10;

/// A host call of this length holds up every client.
constexpr qint64 SlowMs = 500;

constexpr QLatin1String UnknownCommand("no-such-command");

} // namespace

HostCheck::HostCheck(HostSession& session, Console& console, const Options& options)
    : session(session)
    , console(console)
    , options(options)
    , steps({
          {{UnknownCommand}, &HostCheck::rejectionFinding},
          {{u"showTrack"_s}, &HostCheck::missingTrackFinding},
          {{u"getPresetsList"_s}, &HostCheck::listFinding},
          {{u"getRecorderList"_s}, &HostCheck::listFinding},
          {{u"getPertinentInfo"_s, u"about=orvane-client check"_s}, &HostCheck::questionFinding},
      })
{
    connect(&session, &HostSession::ready, this, &HostCheck::begin);
    connect(&session, &HostSession::replyReceived, this, [this](const Reply& received) {
        names.learn(received);
        reply = received;
        ++replies;
    });
    connect(&session, &HostSession::exchangeFinished, this, &HostCheck::handleFinished);
    connect(&session, &HostSession::broken, this, &HostCheck::handleBroken);
    connect(&session, &HostSession::finished, this,
        [this] { Q_EMIT ended(isAllRight ? ExitStatus::Success : ExitStatus::NotAsItShouldBe); });
}

void HostCheck::begin()
{
    tell(u"certificate"_s, certificateFinding());
    auto* const stranger = new LoginProbe(options, session.certificate(), std::nullopt, this);
    connect(stranger, &LoginProbe::answered, this, &HostCheck::tellOfStrangers);
    connect(stranger, &LoginProbe::failed, this, [this] {
        tell(u"without a login"_s, {Verdict::Doubtful, u"no connection"_s, u"a second one at a time"_s});
        next();
    });
}

void HostCheck::tellOfStrangers(bool areAnswered)
{
    tell(u"without a login"_s,
        areAnswered ? Finding {Verdict::Wrong, u"an answer"_s, u"everybody is let in"_s}
                    : Finding {Verdict::AsItShouldBe, u"no answer"_s, u"strangers are not served"_s});
    next();
}

void HostCheck::next()
{
    if (step == steps.size() && !steps.back().changesDisplay)
        addStepsThatChangeTheDisplay();
    for (; step < steps.size() && steps[step].changesDisplay && !options.applies; ++step)
        tell(steps[step].words.first(), {Verdict::Skipped, u"not played"_s, u"changes the display: --apply"_s});
    if (step == steps.size()) {
        console.text(!isAllRight ? u"Something is not as it should be.\n"_s
                : isDoubtful     ? u"All is as the protocol has it, but look at what is doubtful.\n"_s
                                 : u"All is as the protocol has it.\n"_s);
        session.finish();
        return;
    }
    reply.reset();
    replies = 0;
    const Result<CommandRequest> request = requestFromWords(steps[step].words);
    sinceSent.start();
    session.exchange(*request, Expectation::answerOf(request->command));
}

/// With names that the host has given, so that it can do what it is asked.
void HostCheck::addStepsThatChangeTheDisplay()
{
    const auto first = [this](const QString& key) {
        return key + u'=' + names.valuesOf(key).value_or(QStringList()).value(0);
    };
    const QString camera = u"camera=1"_s;
    const QString tag = u"commandtag=check"_s;
    const auto add = [this](const QStringList& words, Judge judge) { steps.push_back({words, judge, true}); };

    add({u"showLive"_s, first(u"recorder"_s), camera, tag}, &HostCheck::splitFinding);
    if (!names.valuesOf(u"track"_s).value_or(QStringList()).isEmpty())
        add({u"showTrack"_s, first(u"recorder"_s), first(u"track"_s), camera, tag}, &HostCheck::splitFinding);
    add({u"showLiveAtSubsplit"_s, u"splitid=0"_s, u"subsplit=0"_s, camera}, &HostCheck::acceptanceFinding);
    add({u"setDetailViews"_s, u"splitid=0"_s, u"subsplit:id=0,ltx=0.25,lty=0.25,rbx=0.75,rby=0.75"_s},
        &HostCheck::acceptanceFinding);
    add({u"setSplitMode"_s, u"splitmode=0"_s}, &HostCheck::acceptanceFinding);
    if (!names.valuesOf(u"presetname"_s).value_or(QStringList()).isEmpty())
        add({u"setPreset"_s, first(u"presetname"_s)}, &HostCheck::acceptanceFinding);
    add({u"updateRecorderContents"_s}, &HostCheck::refreshFinding);
}

void HostCheck::handleFinished(ExitStatus result, const QString& reason)
{
    const qint64 elapsed = sinceSent.elapsed();
    problem = reason;
    const Step& played = steps[step];
    const bool isNotice = played.judge == &HostCheck::refreshFinding;
    Finding finding = (this->*played.judge)(result);
    if (finding.verdict != Verdict::Wrong && reply && !isAsTheLibraryWritesIt())
        finding = {
            Verdict::Wrong, finding.what, u"not byte for byte what the protocol has: "_s + textOfBytes(reply->raw())};
    if (replies > 1)
        finding = {Verdict::Wrong, u"%1 answers"_s.arg(replies), u"each command has one"_s};
    if (finding.verdict == Verdict::AsItShouldBe && elapsed > SlowMs && !isNotice && result != ExitStatus::NoAnswer)
        finding = {Verdict::Doubtful, finding.what, u"slow: all clients wait for it; start the work and return"_s};
    tell(played.words.first(), finding, u"%1 ms"_s.arg(elapsed));
    ++step;
    if (result == ExitStatus::NotLoggedIn)
        session.finish();
    else
        next();
}

void HostCheck::handleBroken(ExitStatus result, const QString& reason)
{
    console.problem(step < steps.size() && reply ? u"%1: %2"_s.arg(steps[step].words.first(), reason) : reason);
    Q_EMIT ended(result);
}

void HostCheck::tell(const QString& name, const Finding& finding, const QString& time)
{
    QString verdict;
    switch (finding.verdict) {
    case Verdict::AsItShouldBe:
        verdict = u"ok       "_s;
        break;
    case Verdict::Doubtful:
        verdict = u"DOUBTFUL "_s;
        isDoubtful = true;
        break;
    case Verdict::Wrong:
        verdict = u"WRONG    "_s;
        isAllRight = false;
        break;
    case Verdict::Skipped:
        verdict = u"skipped  "_s;
        break;
    }
    const QString line = verdict + name.leftJustified(LabelWidth) + finding.what.leftJustified(WhatWidth)
        + time.rightJustified(TimeWidth) + u"  "_s + finding.meaning;
    console.line(line);
}

/// What the answer begins with, or is; an answer of the host's own may be anything.
bool HostCheck::isAsTheLibraryWritesIt() const
{
    const QString command = steps[step].words.first();
    const QString start = u"<p:%1 xmlns:p=\"http://www.halden.example/ravo_1_0/\""_s.arg(reply->rootName());
    const QString text = QString::fromUtf8(reply->raw());
    const QString name = u"><commandname>%1</commandname>"_s.arg(command);
    if (reply->kind() == Reply::Kind::Rejected)
        return text == start + name + u"<reason>%1</reason></p:commandRejected>"_s.arg(reply->reason());
    if (reply->kind() == Reply::Kind::Accepted && steps[step].judge == &HostCheck::acceptanceFinding)
        return text == start + name + u"</p:commandAccepted>"_s;
    if (reply->kind() == Reply::Kind::Accepted)
        return text.startsWith(start + u"><command>%1</command><splitid>"_s.arg(command));
    return steps[step].judge == &HostCheck::questionFinding || text.startsWith(start);
}

HostCheck::Finding HostCheck::certificateFinding() const
{
    constexpr int soon = 30;
    const QSslCertificate certificate = session.certificate();
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QString what = certificate.subjectDisplayName();
    const QString until = u"valid until %1"_s.arg(certificate.expiryDate().toUTC().toString(u"yyyy-MM-dd"_s));
    if (now < certificate.effectiveDate() || now > certificate.expiryDate())
        return {Verdict::Wrong, what, until + u": clients that look refuse it"_s};
    if (now.daysTo(certificate.expiryDate()) < soon)
        return {Verdict::Doubtful, what, until + u": renew it"_s};
    return {Verdict::AsItShouldBe, what, until};
}

HostCheck::Finding HostCheck::failure() const
{
    if (reply && reply->kind() == Reply::Kind::NotXml)
        return {Verdict::Wrong, u"no well-formed XML"_s,
            reply->reason() + u": keep \", & and < out of names, and escape your answers"_s};
    return {Verdict::Wrong, u"not the answer"_s, problem.isEmpty() ? u"the protocol has another one"_s : problem};
}

HostCheck::Finding HostCheck::rejectionFinding(ExitStatus result) const
{
    if (result == ExitStatus::NotLoggedIn)
        return {Verdict::Wrong, u"no answer"_s, problem};
    if (result != ExitStatus::Rejected || reply->reason() != "Unknown command"_L1)
        return failure();
    return {Verdict::AsItShouldBe, u"rejected"_s, u"the login is valid, and unknown commands are told"_s};
}

HostCheck::Finding HostCheck::missingTrackFinding(ExitStatus result) const
{
    if (result != ExitStatus::Rejected
        || reply->reason() != "showTrack command without valid track ID or track name"_L1)
        return failure();
    return {Verdict::AsItShouldBe, u"rejected"_s, u"without a track the host is not asked"_s};
}

HostCheck::Finding HostCheck::listFinding(ExitStatus result) const
{
    if (result != ExitStatus::Success)
        return failure();
    const QString key = reply->rootName() == PresetsList ? u"presetname"_s : u"recorder"_s;
    const QStringList given = names.valuesOf(key).value_or(QStringList());
    const QString what = given.size() == 1 ? u"1 name"_s : u"%1 names"_s.arg(given.size());
    if (given.isEmpty())
        return {Verdict::Doubtful, what, u"there is nothing that clients could choose"_s};
    if (given.contains(QString()))
        return {Verdict::Doubtful, what, u"one has no name: no client can ask for it"_s};
    return {Verdict::AsItShouldBe, what, given.first()};
}

HostCheck::Finding HostCheck::questionFinding(ExitStatus result) const
{
    if (result == ExitStatus::NoAnswer)
        return {Verdict::AsItShouldBe, u"no answer"_s, u"a host may keep silent"_s};
    if (result != ExitStatus::Success)
        return failure();
    return {Verdict::AsItShouldBe, u"<%1>"_s.arg(reply->rootName()), u"an answer of the host's own"_s};
}

HostCheck::Finding HostCheck::acceptanceFinding(ExitStatus result) const
{
    if (result != ExitStatus::Success)
        return failure();
    return {Verdict::AsItShouldBe, u"accepted"_s, u"look whether the display shows it"_s};
}

HostCheck::Finding HostCheck::splitFinding(ExitStatus result) const
{
    if (result != ExitStatus::Success)
        return failure();
    const QJsonObject members = jsonObject(*reply);
    if (members["tag"_L1] != "check"_L1)
        return {Verdict::Wrong, u"accepted"_s, u"the tag did not come back"_s};
    const int split = members["split"_L1].toInt(-1);
    if (split < 0)
        return {Verdict::Doubtful, u"accepted, split %1"_s.arg(split),
            u"leave the split that you use in splitId, or clients cannot name it"_s};
    return {Verdict::AsItShouldBe, u"accepted, split %1"_s.arg(split), u"look whether the display shows it"_s};
}

HostCheck::Finding HostCheck::refreshFinding(ExitStatus result) const
{
    if (result == ExitStatus::Rejected)
        return {Verdict::AsItShouldBe, u"rejected"_s, u"a refresh is running already, or none can be started"_s};
    if (result == ExitStatus::NoAnswer)
        return {Verdict::Doubtful, u"not finished"_s,
            u"call handleUpdateAllTreeDevicesFinished() when it has (or give it more --timeout)"_s};
    if (result != ExitStatus::Success)
        return failure();
    return {Verdict::AsItShouldBe, u"finished"_s, {}};
}

} // namespace OrvaneClient
