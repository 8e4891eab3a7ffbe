#include "RandomHost.h"

#include "Certificates.h"
#include "Log.h"
#include "Messages.h"

#include <QEventLoop>
#include <QLoggingCategory>

#include <algorithm>
#include <filesystem>
#include <sys/resource.h>
#include <unistd.h>
#include <utility>

using namespace Qt::StringLiterals;

namespace world {

namespace {

constexpr int CareMs = 40;
constexpr int64_t TroubleMs = 250; // for which it leaves a server without clients
constexpr int MostLoops = 12; // inside one another, where there is no crowd

rlim_t mostDescriptors()
{
    static const rlim_t most = [] {
        rlimit limit {};
        getrlimit(RLIMIT_NOFILE, &limit);
        return limit.rlim_cur;
    }();
    return most;
}

void setDescriptors(rlim_t count)
{
    rlimit limit {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = std::min(count, limit.rlim_max);
    setrlimit(RLIMIT_NOFILE, &limit);
}

} // namespace

OrvaneInterface::OrvaneLimits limitsOf(const std::string& name)
{
    OrvaneInterface::OrvaneLimits limits;
    if (name == "room")
        limits = OrvaneInterface::OrvaneLimits::controlRoom();
    if (name == "tiny") {
        limits.maxClients = 6;
        limits.maxInvalidLogins = 1;
        limits.maxMessageLength = 20'000;
        limits.maxMessageLengthBeforeLogin = 300;
        limits.maxUnsentBytes = 50'000;
        limits.handshakeTimeout = std::chrono::milliseconds(700);
        limits.loginTimeout = std::chrono::milliseconds(1'000);
    }
    return limits;
}

RandomHost::RandomHost(const std::vector<std::string>& worldActs, Shared& shared)
    : shared(shared)
{
    mostDescriptors();
    for (const std::string& each : worldActs) {
        const std::vector<std::string> words = split(each, " ");
        if (words.at(0) == "world") {
            writesLines = valueOf(each, "lines") == "on";
            writesAudit = valueOf(each, "audit") == "on";
            applyFilterRules();
        }
        if (words.at(0) != "host")
            continue;
        const std::string& place = words.at(1);
        const std::string& what = words.at(2);
        isCrowd = isCrowd || place == "each";
        acts.emplace(place, what);
        if (place.rfind("at:", 0) == 0)
            QTimer::singleShot(std::stoi(place.substr(3)), this, [this, place] { reach(place); });
    }
    connect(&care, &QTimer::timeout, this, [this] { lookAfter(); });
}

RandomHost::~RandomHost() = default;

void RandomHost::begin(int servers)
{
    for (size_t index = 0; index < static_cast<size_t>(servers); ++index) {
        slots_[index].wanted = true;
        create(index);
    }
    reach("begin");
    care.start(CareMs);
}

void RandomHost::end()
{
    care.stop();
    acts.clear();
    endShortage();
    for (Slot& each : slots_)
        delete std::exchange(each.server, nullptr);
}

void RandomHost::create(size_t index)
{
    Slot& slot = slots_.at(index);
    slot.paused = false;
    slot.server = new ::OrvaneInterface::OrvaneServer(this, 1, u"operator"_s, u"secret"_s, nullptr);
    configure(slot);
    if (slot.server == nullptr)
        return;
    slot.server->setLimits(slot.limits);
    listen(index);
}

void RandomHost::listen(size_t index)
{
    Slot& slot = slots_.at(index);
    slot.paused = false;
    if (slot.server == nullptr || slot.server->isListening())
        return;
    if (slot.server->listen(QHostAddress::LocalHost, shared.ports.at(index)))
        shared.ports.at(index) = slot.server->serverPort();
}

void RandomHost::configure(Slot& slot)
{
    QSslConfiguration tls = slot.server->sslConfiguration();
    if (slot.tls == "elliptic") {
        const Pair& pair = certificates().ellipticServer;
        tls.setPrivateKey(QSslKey(QByteArray::fromStdString(pair.key), QSsl::Ec));
        tls.setLocalCertificate(QSslCertificate(QByteArray::fromStdString(pair.certificate)));
    } else if (slot.tls == "useless") {
        tls.setPrivateKey(QSslKey());
    }
    const bool asks = slot.tls == "query" || slot.tls == "verify";
    tls.setPeerVerifyMode(
        !asks ? QSslSocket::VerifyNone : (slot.tls == "query" ? QSslSocket::QueryPeer : QSslSocket::VerifyPeer));
    if (asks)
        tls.setCaCertificates(
            QSslCertificate::fromData(QByteArray::fromStdString(certificates().authority.certificate)));
    slot.server->setSslConfiguration(tls);
}

void RandomHost::lookAfter()
{
    const int64_t now = nowMs();
    for (size_t index = 0; index < slots_.size(); ++index) {
        Slot& slot = slots_.at(index);
        const bool trouble = slot.server == nullptr || slot.paused || !slot.server->isListening();
        slot.troubleSince = !trouble ? 0 : (slot.troubleSince != 0 ? slot.troubleSince : now);
        if (slot.wanted && trouble && now - slot.troubleSince > TroubleMs)
            carryOut((slot.server == nullptr ? "renew:"
                             : slot.paused   ? "resume:"
                                             : "listen:")
                    + std::to_string(index),
                "care");
        if (slot.server != nullptr)
            slot.server->handleUpdateAllTreeDevicesFinished();
    }
}

void RandomHost::reach(const std::string& place)
{
    const auto [begin, end] = acts.equal_range(place);
    std::vector<std::string> whats;
    for (auto each = begin; each != end; ++each)
        whats.push_back(each->second);
    if (isCrowd && place.rfind("call:", 0) == 0)
        whats.push_back(acts.find("each")->second);
    if (whats.empty())
        return;
    for (const std::string& what : whats)
        carryOut(what, place);
}

void RandomHost::applyFilterRules() const
{
    QLoggingCategory::setFilterRules(u"default.debug=%1\norvane.audit.info=%2"_s.arg(
        writesLines ? u"true"_s : u"false"_s, writesAudit ? u"true"_s : u"false"_s));
}

void RandomHost::carryOut(const std::string& what, const std::string& place)
{
    if (depth++ == 0)
        shared.hostSinceUs = nowUs();
    carryOut(split(what, ":"), what + " in " + place);
    if (--depth == 0)
        shared.hostTimeUs += nowUs() - shared.hostSinceUs.exchange(0);
}

void RandomHost::carryOut(const std::vector<std::string>& words, const std::string& noted)
{
    const std::string& verb = words.at(0);
    const std::string& argument = words.at(1);
    if (verb == "loop" && !isCrowd && loops >= MostLoops)
        return;
    note("act", noted);
    if (verb == "loop")
        return runLoop(std::stoi(argument));
    if (verb == "slow")
        return static_cast<void>(usleep(static_cast<useconds_t>(std::stoi(argument)) * 1000));
    if (verb == "shortage")
        return beShort(std::stoi(argument));
    if (verb == "lines" || verb == "audit") {
        (verb == "lines" ? writesLines : writesAudit) = argument == "on";
        return applyFilterRules();
    }
    const size_t index = std::stoul(argument);
    carryOutOn(slots_.at(index), index, words);
}

void RandomHost::carryOutOn(Slot& slot, size_t index, const std::vector<std::string>& words)
{
    const std::string& verb = words.at(0);
    if (verb == "limits") {
        slot.limits = limitsOf(words.at(2));
        return slot.server != nullptr ? slot.server->setLimits(slot.limits) : void();
    }
    if (verb == "tls") {
        slot.tls = words.at(2);
        return slot.server != nullptr ? configure(slot) : void();
    }
    if (verb == "destroy" || verb == "renew")
        delete std::exchange(slot.server, nullptr);
    if (verb == "renew" && slot.wanted && slot.server == nullptr)
        create(index);
    if (slot.server == nullptr)
        return;
    const bool listens = slot.server->isListening();
    if (verb == "finished")
        slot.server->handleUpdateAllTreeDevicesFinished();
    if (verb == "close" || verb == "relisten")
        slot.server->close();
    if (verb == "listen" || verb == "relisten")
        listen(index);
    if (verb == "pause" && listens) { // Qt's crash where it does not listen
        slot.server->pauseAccepting();
        slot.paused = true;
        note("act", "paused:" + std::to_string(index));
    }
    if (verb == "resume" && listens && slot.paused) {
        slot.paused = false;
        slot.server->resumeAccepting();
    }
}

void RandomHost::runLoop(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    ++loops;
    loop.exec();
    --loops;
}

/// Takes all descriptors below the highest one, since poll() wants a limit above what it is given.
void RandomHost::beShort(int ms)
{
    if (!taken.empty())
        return;
    int highest = 0;
    for (const auto& each : std::filesystem::directory_iterator("/proc/self/fd"))
        highest = std::max(highest, std::stoi(each.path().filename()));
    int last = -1;
    while ((last = dup(STDERR_FILENO)) >= 0) {
        taken.push_back(last);
        if (last > highest)
            break;
    }
    setDescriptors(static_cast<rlim_t>(std::max(last, highest)) + 1);
    QTimer::singleShot(ms, this, [this] { endShortage(); });
}

void RandomHost::endShortage()
{
    setDescriptors(mostDescriptors());
    for (const int each : taken)
        close(each);
    taken.clear();
}

void RandomHost::handleLine(const std::string& category, const std::string& line)
{
    std::string kind = "line:" + kindOfLine(line);
    if (category == "orvane.audit") {
        const size_t begin = line.find("\"event\":\"") + 9;
        kind = "audit:" + line.substr(begin, line.find('"', begin) - begin);
    }
    reach(kind + "#" + std::to_string(++counts[kind]));
}

void RandomHost::handleCall(const std::string& id)
{
    note("call", id);
    reach("call:" + id);
}

void RandomHost::handleNamelessCall(const char* kind)
{
    handleCall(kind + ("#" + std::to_string(++counts[kind])));
}

bool RandomHost::updateRecorderContents()
{
    const bool accepts = ++updates % 4 != 0;
    handleNamelessCall("U");
    return accepts;
}

void RandomHost::getRecorderList(std::vector<RecorderEntry>& recorders)
{
    handleNamelessCall("R");
    RecorderEntry entry;
    entry.name = "North";
    entry.ip = "192.0.2.10";
    entry.userName = "viewer";
    entry.password = "apple";
    entry.maxNumChannels = 16;
    entry.tracks.emplace_back("Monday");
    recorders.push_back(entry);
}

void RandomHost::getPresetsList(std::vector<PresetEntry>& presets)
{
    handleNamelessCall("P");
    presets.emplace_back();
    presets.back().name = "Night";
}

void RandomHost::showLive(std::string recorder, int /*camera*/, bool /*alarm*/, int& /*splitId*/)
{
    handleCall(recorder);
}

void RandomHost::showLiveAtSubsplit(int /*splitId*/, int camera, int subsplitIndex)
{
    handleCall(messageId(camera, subsplitIndex));
}

void RandomHost::showTrackByName(std::string recorder, std::string /*trackName*/, int /*camera*/, qint64 /*time*/,
    bool /*alarm*/, int& /*splitId*/, qint64 /*limitStart*/, qint64 /*limitEnd*/)
{
    handleCall(recorder);
}

void RandomHost::showTrackById(std::string recorder, int /*trackId*/, int /*camera*/, qint64 /*time*/, bool /*alarm*/,
    int& /*splitId*/, qint64 /*limitStart*/, qint64 /*limitEnd*/)
{
    handleCall(recorder);
}

void RandomHost::setPreset(std::string presetName)
{
    handleCall(presetName);
}

void RandomHost::setSplitMode(int splitMode)
{
    handleCall(messageId(splitMode / 1000, splitMode % 1000));
}

void RandomHost::setSplitModeByName(int /*windowId*/, const std::string& commandDocument)
{
    handleCall(idInside(commandDocument));
}

void RandomHost::setDetailViews(int splitId, std::map<int, SubsplitRect> /*rects*/, std::map<int, qint64> objectIds)
{
    handleCall(messageId(splitId, objectIds.empty() ? -1 : objectIds.begin()->first));
}

bool RandomHost::getPertinentInfo(const std::string& commandDocument, std::string& answer)
{
    handleCall(idInside(commandDocument));
    answer = answerTo(commandDocument);
    return commandDocument.find("<silent/>") == std::string::npos;
}

} // namespace world
