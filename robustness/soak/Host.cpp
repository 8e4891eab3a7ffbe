#include "Host.h"

#include "QuietHost.h"
#include "ServerProcess.h"

#include <OrvaneServer.h>

#include <cstdio>

namespace soak {

namespace {

/// The library's lines are made, but of them only those about a lack of descriptors are of interest.
void handleLogLine(QtMsgType type, const QMessageLogContext&, const QString& line)
{
    if (type != QtDebugMsg || line.startsWith(QLatin1String("OrvaneConnection server error:")))
        static_cast<void>(std::fprintf(stderr, "%s\n", qPrintable(line)));
}

} // namespace

int serve(quint16 port)
{
    qInstallMessageHandler(&handleLogLine);
    QuietHost host(RecorderCount);
    OrvaneInterface::OrvaneServer server(&host, port, QString(), QString(), nullptr);
    server.startListeningForConnection();
    return serveUntilInputEnds(server);
}

} // namespace soak
