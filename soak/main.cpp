#include "QuietHost.h"
#include "ServerProcess.h"
#include "Stages.h"

#include <OrvaneServer.h>

#include <QCoreApplication>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

constexpr int UsageStatus = 2;

/// The library's lines are made, and dropped.
void handleLogLine(QtMsgType type, const QMessageLogContext& /*context*/, const QString& line)
{
    if (type != QtDebugMsg)
        static_cast<void>(std::fprintf(stderr, "%s\n", qPrintable(line)));
}

/// What ServerProcess starts.
int serve(quint16 port)
{
    QuietHost host;
    OrvaneInterface::OrvaneServer server(&host, port, QString(), QString(), nullptr);
    server.startListeningForConnection();
    return serveUntilInputEnds(server, [&server](const QByteArray& line) {
        if (line == "limits") {
            server.setLimits(OrvaneInterface::OrvaneLimits::controlRoom());
            static_cast<void>(std::puts("limited"));
        }
        static_cast<void>(std::fflush(stdout));
    });
}

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == "--serve"_L1) {
        qInstallMessageHandler(&handleLogLine);
        return serve(arguments.value(2).toUShort());
    }
    const int cycles = arguments.value(1, u"10000"_s).toInt();
    const int connections = arguments.value(2, u"100000"_s).toInt();
    if (cycles > 0 && connections > 0)
        return soak::runStages(cycles, connections) ? 0 : 1;
    static_cast<void>(std::fputs("Usage: soak/run [CLIENTS [CONNECTIONS]]\n", stderr));
    return UsageStatus;
}
