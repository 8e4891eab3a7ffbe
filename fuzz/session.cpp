#include "ClientModel.h"
#include "MemorySocket.h"
#include "OrvaneServer.h"
#include "RecordingHost.h"
#include "Target.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QLoggingCategory>

#include <array>
#include <string_view>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

// Clients and a host that do anything in any order: each client receives exactly the replies that its messages ask for,
// in order, nothing after its release, and its messages are in the host one at a time. All that was made is deleted in
// the end, and nothing is done that Qt warns of.
//
// The input is a script of one-letter steps; a byte that is no step is skipped:
//   n    another client comes, and is the one that the next steps are about
//   N    two clients come at once; the next steps are about the second
//   c0   the steps are about the first client, c1 about the second, ...
//   ma   the client sends the known message a, mb message b, ...
//   ha   the client sends the first half of message a; ta: the second half
//   wa   message a has arrived, but the socket does not report it yet; r: it does
//   x.~  the client sends the bytes between the x and the ~
//   d    the client leaves, if the server has begun with it
//   E    the socket reports an error, and the client stays
//   e    the event loop runs, deferred deletes included
//   f    the host says that the refresh has finished
//   D    the host destroys the server
//   l    the host limits those who come from now on: messages of 120 characters, one invalid login
//   y    the host changes between yes and no as its result
//   ( )  what is between them happens inside the host's next call, if it is made right now
//   [ ]  what is between them happens inside the next log line, if it is written right now

namespace {

constexpr size_t MaxClients = 6;
/// How deep calls on the host may be inside each other, so that no input exhausts the stack.
constexpr int MaxDepth = 8;

/// A server whose clients come from the script instead of the network.
class MemoryServer final : public OrvaneInterface::OrvaneServer {
public:
    explicit MemoryServer(OrvaneInterface::OrvaneInterface* host)
        : OrvaneServer(host, 1, u"operator"_s, u"secret"_s, nullptr)
    {
    }

    void addWaiting(MemorySocket* socket) { waiting += socket; }
    void acceptWaiting() { QMetaObject::invokeMethod(this, "newConnection", Qt::DirectConnection); }

    bool hasPendingConnections() const override { return !waiting.isEmpty(); }
    QTcpSocket* nextPendingConnection() override { return waiting.takeFirst(); }

private:
    QList<MemorySocket*> waiting;
};

void runEventLoop()
{
    QEventLoop().processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

class Script {
    Q_DISABLE_COPY_MOVE(Script)

public:
    explicit Script(std::string_view steps)
        : rest(steps)
        , server(std::make_unique<MemoryServer>(&host))
    {
        host.recorders.resize(1);
        // A whole string: in the assignment of characters GCC 12 sees an overlap at -O3 that is none.
        host.recorders.front().name = std::string("R");
        host.usedSplit = 7;
        host.duringCall = [this] { carryOutHostCall(); };
        hostSays(true);
    }

    void run()
    {
        while (!rest.empty())
            runSteps();
        for (const auto& each : clients)
            each->check();
        destroyServer();
        runEventLoop();
        for (const auto& each : clients) {
            each->check();
            require(each->socket.isNull(), u"a socket is left"_s);
        }
    }

    /// Debug lines are made and dropped, after whatever the host's handler does inside them; a warning is a finding.
    void handleLogLine(const QString& line)
    {
        const bool isFirst = line.startsWith("New OrvaneConnection"_L1);
        if (isFirst)
            dispatching.push_back(coming.takeFirst());
        if (dispatching.empty())
            return;
        ClientModel& subject = *dispatching.back();
        if (line.startsWith("OrvaneConnection exceeded a limit"_L1)) {
            require(subject.hasLimits, u"ended for a limit that it has not"_s);
            subject.release();
        }
        ++subject.lines;
        // Inside a line Qt gives no other one to the handler, but writes it to the standard error.
        QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, false);
        runNestedSteps('[');
        QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, true);
        --subject.lines;
        subject.comes = subject.comes && !isFirst;
    }

private:
    char take()
    {
        if (rest.empty())
            return '\0';
        const char next = rest.front();
        rest.remove_prefix(1);
        return next;
    }

    QByteArray takeDocument()
    {
        const size_t count = KnownMessages.size();
        return KnownMessages.at((static_cast<unsigned char>(take()) + count - 'a' % count) % count).text + "\r\n\r\n";
    }

    /// Until the end of the script or a closing parenthesis or bracket.
    void runSteps()
    {
        while (!rest.empty()) {
            const char step = take();
            if (step == ')' || step == ']')
                return;
            runStep(step);
        }
    }

    void runStep(char step)
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
        case 'h':
        case 't': {
            const QByteArray document = takeDocument();
            const qsizetype half = document.size() / 2;
            return send(step == 'h' ? document.first(half) : document.sliced(half));
        }
        case 'w':
            return put(takeDocument());
        case 'r':
            return reportReadyRead();
        case 'x': {
            const std::string_view bytes = rest.substr(0, rest.find('~'));
            rest.remove_prefix(std::min(bytes.size() + 1, rest.size()));
            return send(QByteArray(bytes.data(), static_cast<qsizetype>(bytes.size())));
        }
        case 'E':
            return reportError();
        case 'd':
            return leave();
        case 'e':
            return runEventLoop();
        case 'f':
            return endRefresh();
        case 'D':
            return destroyServer();
        case 'l':
            return setLimits();
        case 'y':
            return hostSays(!host.refreshStarts);
        default:
            return;
        }
    }

    void carryOutHostCall()
    {
        require(!dispatching.empty(), u"the host is called although no client sends anything"_s);
        ClientModel& caller = *dispatching.back();
        caller.beginHostCall(host.calls.takeLast());
        runNestedSteps('(');
        caller.endHostCall(host.refreshStarts);
    }

    void runNestedSteps(char opening)
    {
        if (rest.empty() || rest.front() != opening || depth == MaxDepth)
            return;
        take();
        ++depth;
        runSteps();
        --depth;
    }

    void hostSays(bool yes)
    {
        host.refreshStarts = yes;
        host.answer = yes ? std::optional<std::string>("<answer/>") : std::nullopt;
    }

    void addClients(int count)
    {
        if (!server)
            return;
        const bool isAlone = count == 1 && depth == 0;
        ClientModel* added = nullptr;
        for (; count > 0 && clients.size() < MaxClients; --count) {
            auto* socket = new MemorySocket(server.get());
            added = clients.emplace_back(std::make_unique<ClientModel>(socket, hasLimits)).get();
            client = added;
            coming += added;
            server->addWaiting(socket);
        }
        const size_t before = dispatching.size();
        server->acceptWaiting();
        dispatching.resize(before);
        for (ClientModel* each : std::exchange(coming, {})) // without a line of their own
            each->comes = false;
        for (const auto& each : clients) // some may have sent something before the server listened to them
            each->check();
        if (isAlone && added)
            added->checkAllIsRead();
    }

    void setLimits()
    {
        if (!server)
            return;
        OrvaneInterface::OrvaneLimits limits;
        limits.maxMessageLength = 120;
        limits.maxInvalidLogins = 1;
        server->setLimits(limits);
        hasLimits = true;
    }

    void chooseClient(char digit)
    {
        if (!clients.empty())
            client = clients[static_cast<unsigned char>(digit - '0') % clients.size()].get();
    }

    /// Of those with whom the server has not begun, only the one whose first line is being written sends anything.
    void put(const QByteArray& bytes)
    {
        if (client && client->socket && (!client->comes || (!dispatching.empty() && client == dispatching.back())))
            client->socket->put(bytes);
    }

    void send(const QByteArray& bytes)
    {
        put(bytes);
        reportReadyRead();
    }

    void reportReadyRead()
    {
        ClientModel* const sender = client;
        if (!sender || !sender->socket)
            return;
        dispatching.push_back(sender);
        Q_EMIT sender->socket->readyRead();
        dispatching.pop_back();
        require(sender->socket != nullptr, u"the socket is deleted inside its own signal"_s);
        sender->checkAllIsRead();
        sender->check();
    }

    void reportError()
    {
        ClientModel* const subject = client;
        if (!subject || !subject->socket || subject->socket->state() != QTcpSocket::ConnectedState)
            return;
        dispatching.push_back(subject);
        Q_EMIT subject->socket->errorOccurred(QTcpSocket::RemoteHostClosedError);
        dispatching.pop_back();
        require(subject->socket != nullptr, u"the socket is deleted inside its own signal"_s);
    }

    void leave()
    {
        ClientModel* const leaving = client;
        if (!leaving || !leaving->socket || leaving->comes || leaving->socket->state() != QTcpSocket::ConnectedState)
            return;
        reportError();
        leaving->release();
        leaving->socket->disconnectFromHost();
    }

    void endRefresh()
    {
        if (!server)
            return;
        for (const auto& each : clients)
            each->endRefresh();
        server->handleUpdateAllTreeDevicesFinished();
    }

    void destroyServer()
    {
        if (!server)
            return;
        for (const auto& each : clients)
            each->release();
        server.reset();
    }

    std::string_view rest;
    RecordingHost host;
    std::unique_ptr<MemoryServer> server;
    std::vector<std::unique_ptr<ClientModel>> clients;
    ClientModel* client = nullptr; ///< that the steps are about
    std::vector<ClientModel*> dispatching; ///< those that the server is at, the innermost last
    QList<ClientModel*> coming; ///< whom the server has not begun with
    int depth = 0;
    bool hasLimits = false; ///< whoever comes now
};

Script* running = nullptr;

void handleLogLine(QtMsgType type, const QMessageLogContext&, const QString& line)
{
    require(type == QtDebugMsg || type == QtInfoMsg, line);
    if (running)
        running->handleLogLine(line);
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

    Script script(std::string_view(reinterpret_cast<const char*>(data), size));
    running = &script;
    script.run();
    running = nullptr;
    return 0;
}
