#include "Host.h"

#include "QuietHost.h"

#include <OrvaneServer.h>

#include <QCoreApplication>
#include <QSocketNotifier>

#include <cstdio>
#include <unistd.h>

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
    if (!server.isListening()) {
        static_cast<void>(
            std::fprintf(stderr, "Cannot listen on port %d: %s\n", port, qPrintable(server.errorString())));
        return 1;
    }
    const QSocketNotifier endOfInput(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&endOfInput, &QSocketNotifier::activated, qApp, &QCoreApplication::quit);
    static_cast<void>(std::puts("listening"));
    static_cast<void>(std::fflush(stdout));
    return QCoreApplication::exec();
}

} // namespace soak
