#include "RandomHost.h"

#include "Log.h"
#include "Messages.h"

#include <QEventLoop>
#include <QFile>
#include <QLoggingCategory>

#include <limits>
#include <regex>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

using namespace Qt::StringLiterals;

namespace world {

namespace {

constexpr int CareMs = 40;
constexpr int MostPending = 7;
constexpr int64_t TroubleMs = 250; // for which it leaves a server that accepts no clients
constexpr int AcceptMs = 20;
constexpr int SendBuffer = 32'768;
/// The system gives these to nobody else while the server does not listen.
constexpr int FirstHostPort = 10'000;
constexpr int HostPorts = 10'000;
constexpr int MostLoops = 12; // nested, without a crowd

QByteArray contentOf(const char* file)
{
    QFile in(QString::fromLatin1(file));
    return in.open(QIODevice::ReadOnly) ? in.readAll() : QByteArray();
}

/// The id in a call; the operation if it has none.
std::string nameOf(const std::string& call)
{
    static const std::regex Id("c[0-9]+-m[0-9]+");
    static const std::regex Numbers("[(] *(-1, )?([0-9]+)([0-9]{3})[,)]");
    std::smatch found;
    if (std::regex_search(call, found, Id))
        return found.str();
    if (std::regex_search(call, found, Numbers))
        return messageId(std::stoi(found.str(2)), std::stoi(found.str(3)));
    return call.substr(0, call.find('('));
}

} // namespace

OrvaneInterface::OrvaneLimits limitsOf(const std::string& name)
{
    if (name == "room")
        return OrvaneInterface::OrvaneLimits::controlRoom();
    if (name == "tiny")
        return {6, 1, 20'000, 300, 50'000, std::chrono::milliseconds(700), std::chrono::milliseconds(1'000)};
    if (name == "huge") { // practically none
        constexpr int most = std::numeric_limits<int>::max();
        constexpr std::chrono::milliseconds asNoneInAnInt(429'496'729'600);
        return {most, most, most, most, most, std::chrono::milliseconds::max(), asNoneInAnInt};
    }
    return {};
}

RandomHost::RandomHost(const std::vector<std::string>& worldActs, Shared& shared)
    : shared(shared)
    , observes(valueOf(worldActs.at(0), "observer") == "on")
{
    const QString lines = valueOf(worldActs.at(0), "lines") == "on" ? u"true"_s : u"false"_s;
    const QString audit = valueOf(worldActs.at(0), "audit") == "on" ? u"true"_s : u"false"_s;
    QLoggingCategory::setFilterRules(u"default.debug="_s + lines + u"\norvane.audit.info="_s + audit);
    for (const std::string& each : worldActs) {
        const std::vector<std::string> words = split(each, ' ');
        storms = storms || each.find(" storm:") != std::string::npos;
        if (words.at(0) != "host")
            continue;
        const std::string& place = words.at(1);
        acts.emplace(place, words.at(2));
        if (place.starts_with("at:"))
            QTimer::singleShot(std::stoi(place.substr(3)), this, [this, place] { reach(place); });
    }
    host.duringCall = [this] { handleCall(host.calls.takeLast().toStdString()); };
    host.presets.emplace_back().name = "Night";
    OrvaneInterface::OrvaneInterface::RecorderEntry& recorder = host.recorders.emplace_back();
    recorder.name = "North";
    recorder.ip = "192.0.2.10";
    recorder.userName = "viewer";
    recorder.password = "apple";
    recorder.maxNumChannels = 16;
    recorder.tracks.emplace_back("Monday");
    create();
    reach("begin");
    connect(&care, &QTimer::timeout, this, &RandomHost::lookAfter);
    care.start(CareMs);
}

void RandomHost::end()
{
    care.stop();
    acts.clear();
    endShortage();
    delete std::exchange(server, nullptr);
}

void RandomHost::create()
{
    server = new OrvaneInterface::OrvaneServer(&host, 1, u"operator"_s, u"secret"_s, nullptr);
    ++servers;
    watch = {};
    if (observes)
        server->setClientObserver([this](const auto& event) { handleEvent(event); });
    server->setMaxPendingConnections(MostPending);
    configure();
    server->setLimits(limitsOf(limits));
    listen();
}

void RandomHost::listen()
{
    paused = false;
    if (server->isListening())
        return;
    const int first = shared.port > 0 ? int {shared.port} : FirstHostPort + getpid() % HostPorts;
    for (int port = first; !server->listen(QHostAddress::LocalHost, static_cast<quint16>(port)); ++port)
        if (shared.port > 0)
            return;
    shared.port = server->serverPort();
    const int size = SendBuffer; // its clients' sockets take it over, so that replies wait in the library
    setsockopt(static_cast<int>(server->socketDescriptor()), SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
}

void RandomHost::configure()
{
    // Read once, at the start: later there may be no descriptor for it.
    static const QSslKey EllipticKey(contentOf(STRANGE_PAIR "key.pem"), QSsl::Ec);
    static const QSslCertificate EllipticCertificate(contentOf(STRANGE_PAIR "cert.pem"));
    static const QList<QSslCertificate> Issuers = QSslCertificate::fromData(contentOf(GOOD_PAIR "cert.pem"));
    QSslConfiguration configuration = server->sslConfiguration();
    if (tls == "elliptic") {
        configuration.setPrivateKey(EllipticKey);
        configuration.setLocalCertificate(EllipticCertificate);
    }
    if (tls == "useless")
        configuration.setPrivateKey(QSslKey());
    configuration.setPeerVerifyMode(tls == "query" ? QSslSocket::QueryPeer
            : tls == "verify"                      ? QSslSocket::VerifyPeer
                                                   : QSslSocket::VerifyNone);
    configuration.setCaCertificates(Issuers);
    server->setSslConfiguration(configuration);
}

void RandomHost::lookAfter()
{
    const bool trouble = server == nullptr || paused || !server->isListening();
    if (!trouble || troubleSince == 0)
        troubleSince = trouble ? nowMs() : 0;
    if (trouble && nowMs() - troubleSince > TroubleMs)
        carryOut(server == nullptr ? "renew" : paused ? "resume" : "listen", "care");
    if (server == nullptr)
        return;
    checkCurrent();
    endRefresh();
    if (server->maxPendingConnections() != MostPending)
        note("broken", "host: maxPendingConnections() is " + std::to_string(server->maxPendingConnections()));
}

void RandomHost::endRefresh()
{
    ++endedRefreshes;
    server->handleUpdateAllTreeDevicesFinished();
}

void RandomHost::reach(const std::string& place)
{
    const auto [begin, end] = acts.equal_range(place);
    for (auto each = begin; each != end; ++each)
        for (const std::string& what : split(each->second, '+'))
            carryOut(what, place);
}

void RandomHost::carryOut(const std::string& what, const std::string& place)
{
    const std::string verb = what.substr(0, what.find(':'));
    const std::string argument = what.substr(std::min(what.size(), verb.size() + 1));
    if (verb == "loop" && loops >= MostLoops && !hasCrowd())
        return;
    note("act", what + " in " + place);
    if (verb == "loop")
        return runLoop(std::stoi(argument));
    if (verb == "slow")
        return static_cast<void>(usleep(static_cast<useconds_t>(std::stoi(argument)) * 1'000));
    if (verb == "shortage")
        return startShortage(std::stoi(argument));
    if (verb == "limits")
        limits = argument;
    if (verb == "tls")
        tls = argument;
    if (verb == "destroy" || verb == "renew")
        delete std::exchange(server, nullptr);
    if (verb == "renew" && server == nullptr)
        create();
    if (server != nullptr)
        carryOutOnServer(verb);
}

void RandomHost::carryOutOnServer(const std::string& verb)
{
    if (verb == "limits")
        server->setLimits(limitsOf(limits));
    if (verb == "tls")
        configure();
    if (verb == "finished")
        endRefresh();
    if (verb == "close" || verb == "relisten")
        server->close();
    if (verb == "listen" || verb == "relisten")
        listen();
    if (server == nullptr || !server->isListening()) // then a pause crashes Qt
        return;
    // In a shortage this would end the pause, in a storm Qt would accept a thousand at once.
    if (verb == "accept" && taken.empty() && !storms) {
        note("act", "accepting in accept");
        server->waitForNewConnection(AcceptMs);
        note("act", "accepted in accept");
    }
    if (verb == "pause") {
        server->pauseAccepting();
        paused = true;
        note("act", "paused");
    }
    if (verb == "resume" && std::exchange(paused, false))
        server->resumeAccepting();
}

void RandomHost::runLoop(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    ++loops;
    loop.exec();
    --loops;
}

/// Takes all descriptors; World limits their number.
void RandomHost::startShortage(int ms)
{
    for (int last = 0; (last = dup(STDERR_FILENO)) >= 0;)
        taken.push_back(last);
    QTimer::singleShot(ms, this, &RandomHost::endShortage);
}

void RandomHost::endShortage()
{
    for (const int each : std::exchange(taken, {}))
        close(each);
}

void RandomHost::handleLine(const std::string& category, const std::string& line)
{
    std::string kind = "line:" + kindOfLine(line);
    if (category == "orvane.audit") {
        const size_t begin = line.find("\"event\":\"") + 9;
        kind = "audit:" + line.substr(begin, line.find('"', begin) - begin);
    }
    const bool isAudit = category == "orvane.audit";
    auditLines += isAudit ? 1 : 0;
    checkCurrent();
    reach(kind + "#" + std::to_string(++counts[kind]));
    auditLines -= isAudit ? 1 : 0;
}

void RandomHost::handleEvent(const OrvaneInterface::OrvaneClientEvent& event)
{
    if (server == nullptr)
        return note("broken", "clients: an event of a server that is being destroyed");
    const std::string kind = "event:" + watch.take(event);
    checkCurrent();
    reach(kind + "#" + std::to_string(++counts[kind]));
}

void RandomHost::checkCurrent()
{
    if (server == nullptr)
        return;
    quint64 asker = 0;
    for (const auto& [id, ofServer] : askers)
        asker = ofServer == servers ? id : asker;
    ClientWatch::checkCurrent(*server, asker);
    if (observes && auditLines == 0)
        watch.checkClients(*server);
}

void RandomHost::handleCall(const std::string& call)
{
    if (server == nullptr)
        return note("broken", "a call of a server that is being destroyed: " + call);
    std::string name = nameOf(call);
    const int count = ++counts[name];
    if (name.find('-') == std::string::npos)
        name += "#" + std::to_string(count);
    note("call", name);
    const OrvaneInterface::OrvaneClient asker = server->currentClient();
    note("asker", name + " " + addressOf(asker));
    askers.emplace_back(asker.id(), servers);
    checkCurrent();
    const int endedBefore = endedRefreshes;
    reach("call:" + name);
    reach("each");
    checkCurrent();
    askers.pop_back();
    host.refreshStarts = endedRefreshes != endedBefore || count % 4 != 0; // then the client already has its notice
    host.answer.reset();
    if (call.find("<silent/>") == std::string::npos)
        host.answer = answerTo(call);
}

} // namespace world
