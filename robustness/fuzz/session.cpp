#include "ClientModel.h"
#include "MemorySocket.h"
#include "OrvaneInterface.h"
#include "OrvaneServer.h"
#include "Require.h"
#include "Target.h"

#include <QCoreApplication>
#include <QEventLoop>

#include <array>
#include <string_view>
#include <utility>
#include <vector>

// Clients and a host that do anything in any order: each client receives exactly the replies that its messages ask for,
// in order, nothing after its release, and its messages are in the host one at a time. All that was made is deleted in
// the end, and nothing is done that Qt warns of.
//
// The input is a script of one-letter steps; a byte that is no step is skipped:
//   n    another client comes, and is the one that the next steps are about
//   N    two clients come at once; the next steps are about the second
//   c0   the steps are about the first client, c1 about the second, ...
//   ma   the client sends document a (below), mb document b, ...
//   ha   the client sends the first half of document a; ta: the second half
//   wa   document a has arrived, but the socket does not report it yet; r: it does
//   x.~  the client sends the bytes between the x and the ~
//   d    the client leaves
//   e    the event loop runs, deferred deletes included
//   f    the host says that the refresh has finished
//   D    the host destroys the server
//   y    the host changes between yes and no as its result
//   ( )  what is between them happens inside the host's next call, if it is made right now

namespace {

constexpr std::array<std::string_view, 17> Documents {
    "<loginClient><username>Orvane</username><password>157b25b09a99c70fc75a6e79412a00b2</password></loginClient>",
    "<loginClient><username>operator</username><password>secret</password></loginClient>",
    "<loginClient><username>operator</username></loginClient>",
    "<updateRecorderContents/>",
    "<getRecorderList/>",
    "<getPresetsList/>",
    "<showLive><camera>1</camera><splitid>2</splitid><commandtag>%1&#13;&#10;&#13;&#10;</commandtag></showLive>",
    "<showTrack><track>T</track></showTrack>",
    "<showTrack><trackid>1</trackid></showTrack>",
    "<showTrack/>",
    "<setPreset><presetname>\xc3\xa9</presetname></setPreset>",
    "<setSplitMode><splitmode>1</splitmode></setSplitMode>",
    "<setSplitMode/>",
    "<setDetailViews><subsplits><subsplit id='0' objectid='7'/></subsplits></setDetailViews>",
    "<showLiveAtSubsplit/>",
    "<getPertinentInfo/>",
    "<unknown>",
};

constexpr size_t MaxClients = 6;
/// How deep calls on the host may be inside each other, so that no input exhausts the stack.
constexpr int MaxDepth = 8;

/// A server whose clients come from the script instead of the network.
class MemoryServer final : public OrvaneInterface::OrvaneServer {
public:
    explicit MemoryServer(OrvaneInterface::OrvaneInterface* host)
        : OrvaneServer(host, 1, QLatin1String(ClientModel::UserName), QLatin1String(ClientModel::Password), nullptr)
    {
    }

    void addWaiting(MemorySocket* socket) { waiting += socket; }
    void acceptWaiting() { QMetaObject::invokeMethod(this, "newConnection", Qt::DirectConnection); }

    bool hasPendingConnections() const override { return !waiting.isEmpty(); }
    QTcpSocket* nextPendingConnection() override { return waiting.takeFirst(); }

private:
    QList<MemorySocket*> waiting;
};

class Session final : public OrvaneInterface::OrvaneInterface {
    Q_DISABLE_COPY_MOVE(Session)

public:
    explicit Session(std::string_view script)
        : script(script)
        , server(std::make_unique<MemoryServer>(this))
    {
    }
    ~Session() = default;

    void run();

    bool updateRecorderContents() override { return call("updateRecorderContents"); }
    void getRecorderList(std::vector<RecorderEntry>& recorders) override;
    void getPresetsList(std::vector<PresetEntry>& presets) override;
    void showLive(std::string, int, bool, int& splitId) override { callWithSplit("showLive", splitId); }
    void showLiveAtSubsplit(int, int, int) override { callWithoutResult("showLiveAtSubsplit"); }
    void showTrackByName(std::string, std::string, int, qint64, bool, int& splitId, qint64, qint64) override
    {
        callWithSplit("showTrackByName", splitId);
    }
    void showTrackById(std::string, int, int, qint64, bool, int& splitId, qint64, qint64) override
    {
        callWithSplit("showTrackById", splitId);
    }
    void setPreset(std::string) override { callWithoutResult("setPreset"); }
    void setSplitMode(int) override { callWithoutResult("setSplitMode"); }
    void setSplitModeByName(int, const std::string&) override { callWithoutResult("setSplitModeByName"); }
    void setDetailViews(int, std::map<int, SubsplitRect>, std::map<int, qint64>) override
    {
        callWithoutResult("setDetailViews");
    }
    bool getPertinentInfo(const std::string& document, std::string& answer) override;

private:
    char take();
    QByteArray takeDocument();
    void runSteps();
    void runStep(char step);

    ClientModel& beginCall(const char* operation);
    void runNestedSteps();
    bool call(const char* operation);
    void callWithoutResult(const char* operation);
    void callWithSplit(const char* operation, int& splitId);

    void addClients(int count);
    void chooseClient(char digit);
    void send(const QByteArray& bytes);
    void reportReadyRead();
    void leave();
    void endRefresh();
    void destroyServer();

    std::string_view script;
    std::unique_ptr<MemoryServer> server;
    std::vector<std::unique_ptr<ClientModel>> clients;
    ClientModel* client = nullptr; ///< that the steps are about
    std::vector<ClientModel*> reading; ///< whose readyRead() is on the stack, the innermost last
    int depth = 0;
    int usedSplit = 0;
    bool hostSaysYes = true;
};

void runEventLoop()
{
    QEventLoop().processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void Session::run()
{
    while (!script.empty())
        runSteps();
    for (const auto& each : clients)
        each->check();
    destroyServer();
    runEventLoop();
    for (const auto& each : clients) {
        each->check();
        require(each->socket.isNull(), QStringLiteral("a socket is left"));
    }
}

char Session::take()
{
    if (script.empty())
        return '\0';
    const char next = script.front();
    script.remove_prefix(1);
    return next;
}

QByteArray Session::takeDocument()
{
    const auto letter = static_cast<unsigned char>(take());
    const std::string_view document =
        Documents.at((letter + Documents.size() - 'a' % Documents.size()) % Documents.size());
    return QByteArray(document.data(), static_cast<qsizetype>(document.size())) + "\r\n\r\n";
}

/// Until the end of the script or a closing parenthesis.
void Session::runSteps()
{
    while (!script.empty()) {
        const char step = take();
        if (step == ')')
            return;
        runStep(step);
    }
}

void Session::runStep(char step)
{
    switch (step) {
    case 'n':
        return addClients(1);
    case 'N':
        return addClients(2);
    case 'c':
        return chooseClient(take());
    case 'm':
        return send(takeDocument());
    case 'h': {
        const QByteArray document = takeDocument();
        return send(document.first(document.size() / 2));
    }
    case 't': {
        const QByteArray document = takeDocument();
        return send(document.sliced(document.size() / 2));
    }
    case 'w':
        if (const QByteArray document = takeDocument(); client && client->socket)
            client->socket->put(document);
        return;
    case 'r':
        return reportReadyRead();
    case 'x': {
        const std::string_view bytes = script.substr(0, script.find('~'));
        script.remove_prefix(std::min(bytes.size() + 1, script.size()));
        return send(QByteArray(bytes.data(), static_cast<qsizetype>(bytes.size())));
    }
    case 'd':
        return leave();
    case 'e':
        return runEventLoop();
    case 'f':
        return endRefresh();
    case 'D':
        return destroyServer();
    case 'y':
        hostSaysYes = !hostSaysYes;
        return;
    default:
        return;
    }
}

ClientModel& Session::beginCall(const char* operation)
{
    require(!reading.empty(), QStringLiteral("the host is called although no client sends anything"));
    ClientModel& caller = *reading.back();
    caller.beginHostCall(QLatin1String(operation));
    runNestedSteps();
    return caller;
}

void Session::runNestedSteps()
{
    if (script.empty() || script.front() != '(' || depth == MaxDepth)
        return;
    take();
    ++depth;
    runSteps();
    --depth;
}

bool Session::call(const char* operation)
{
    ClientModel& caller = beginCall(operation);
    const bool result = hostSaysYes;
    caller.endHostCall(0, result, {});
    return result;
}

void Session::callWithoutResult(const char* operation)
{
    beginCall(operation).endHostCall(0, true, {});
}

void Session::callWithSplit(const char* operation, int& splitId)
{
    ClientModel& caller = beginCall(operation);
    splitId = ++usedSplit;
    caller.endHostCall(splitId, true, {});
}

void Session::getRecorderList(std::vector<RecorderEntry>& recorders)
{
    // A whole string: in the assignment of characters GCC 12 sees an overlap at -O3 that is none.
    recorders.emplace_back().name = std::string(ClientModel::RecorderName);
    callWithoutResult("getRecorderList");
}

void Session::getPresetsList(std::vector<PresetEntry>& presets)
{
    presets.emplace_back().name = std::string(ClientModel::PresetName);
    callWithoutResult("getPresetsList");
}

bool Session::getPertinentInfo(const std::string& document, std::string& answer)
{
    ClientModel& caller = beginCall("getPertinentInfo");
    const bool result = hostSaysYes;
    answer = usedSplit % 2 == 0 ? "<answer/>" + document + "\r\n\r\n" : std::string();
    caller.endHostCall(0, result, answer.substr(0, answer.find('\0')));
    return result;
}

void Session::addClients(int count)
{
    if (!server)
        return;
    for (; count > 0 && clients.size() < MaxClients; --count) {
        auto* socket = new MemorySocket(server.get());
        client = clients.emplace_back(std::make_unique<ClientModel>(socket)).get();
        server->addWaiting(socket);
    }
    server->acceptWaiting();
}

void Session::chooseClient(char digit)
{
    if (!clients.empty())
        client = clients[static_cast<unsigned char>(digit - '0') % clients.size()].get();
}

void Session::send(const QByteArray& bytes)
{
    if (!client || !client->socket)
        return;
    client->socket->put(bytes);
    reportReadyRead();
}

void Session::reportReadyRead()
{
    ClientModel* const sender = client;
    if (!sender || !sender->socket)
        return;
    reading.push_back(sender);
    Q_EMIT sender->socket->readyRead();
    reading.pop_back();
    sender->checkAllIsRead();
    sender->check();
}

void Session::leave()
{
    if (!client || !client->socket)
        return;
    client->release();
    client->socket->disconnectPeer();
}

void Session::endRefresh()
{
    if (!server)
        return;
    for (const auto& each : clients)
        each->endRefresh();
    server->handleUpdateAllTreeDevicesFinished();
}

void Session::destroyServer()
{
    if (!server)
        return;
    for (const auto& each : clients)
        each->release();
    server.reset();
}

/// Debug lines are made and dropped; a warning is a finding.
void handleLogLine(QtMsgType type, const QMessageLogContext&, const QString& line)
{
    require(type == QtDebugMsg || type == QtInfoMsg, line);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static int argc = 1;
    static std::array argv {const_cast<char*>("fuzz-session"), static_cast<char*>(nullptr)};
    // Never deleted: at the end of the program it would outlive what Qt deletes first, and its destructor needs that.
    static const auto* const application = new QCoreApplication(argc, argv.data());
    Q_UNUSED(application);
    static const QtMessageHandler previousHandler = qInstallMessageHandler(&handleLogLine);
    Q_UNUSED(previousHandler);

    Session(std::string_view(reinterpret_cast<const char*>(data), size)).run();
    return 0;
}
