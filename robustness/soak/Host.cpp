#include "Host.h"

#include "QuietHost.h"
#include "ServerProcess.h"

#include <OrvaneServer.h>

#include <QCoreApplication>

#include <cstdio>

namespace soak {

namespace {

/// The library's lines are made, but of them only those about a lack of descriptors are of interest.
void handleLogLine(QtMsgType type, const QMessageLogContext&, const QString& line)
{
    if (type != QtDebugMsg || line.startsWith(QLatin1String("OrvaneConnection server error:")))
        static_cast<void>(std::fprintf(stderr, "%s\n", qPrintable(line)));
}

/// As a log window that keeps itself painted. What comes in its event loop Qt writes to the standard error.
void handleLogLineInEventLoop(QtMsgType type, const QMessageLogContext& context, const QString& line)
{
    handleLogLine(type, context, line);
    QCoreApplication::processEvents();
}

} // namespace

int serve(quint16 port, LogWindow logWindow)
{
    qInstallMessageHandler(logWindow == LogWindow::DropsLines ? &handleLogLine : &handleLogLineInEventLoop);
    QuietHost host(RecorderCount);
    OrvaneInterface::OrvaneServer server(&host, port, QString(), QString(), nullptr);
    server.startListeningForConnection();
    return serveUntilInputEnds(server);
}

} // namespace soak
