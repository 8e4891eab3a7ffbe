#include "QuietHost.h"
#include "ServerProcess.h"
#include "Stages.h"

#include <OrvaneServer.h>

#include <QCommandLineParser>
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
    const QCommandLineOption cycles(u"cycles"_s, u"Clients that come and go."_s, u"number"_s, u"10000"_s);
    const QCommandLineOption connections(
        u"connections"_s, u"Connections that come and go without a word."_s, u"number"_s, u"100000"_s);
    QCommandLineOption serveOption(u"serve"_s, QString(), u"port"_s);
    serveOption.setFlags(QCommandLineOption::HiddenFromHelp);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"Puts the server under load over TLS on the loopback address: many clients that come and go.\n"
        "Ends with status 0 when every check passed, else with 1."_s);
    parser.addHelpOption();
    parser.addOptions({cycles, connections, serveOption});
    parser.process(application);
    if (parser.isSet(serveOption)) {
        qInstallMessageHandler(&handleLogLine);
        return serve(parser.value(serveOption).toUShort());
    }

    const int cycleCount = parser.value(cycles).toInt();
    const int connectionCount = parser.value(connections).toInt();
    if (cycleCount <= 0 || connectionCount <= 0 || !parser.positionalArguments().isEmpty()) {
        static_cast<void>(std::fputs("Usage: two numbers above 0, see --help\n", stderr));
        return UsageStatus;
    }
    return soak::runStages(cycleCount, connectionCount) ? 0 : 1;
}
