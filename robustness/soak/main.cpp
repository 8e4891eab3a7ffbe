#include "Clients.h"
#include "Host.h"
#include "Stages.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <cstdio>
#include <optional>

namespace {

constexpr int UsageStatus = 2;

/// The value of a number option, at least 1; nothing, with a message, when it is none.
std::optional<int> number(const QCommandLineParser& parser, const QString& option)
{
    bool isNumber = false;
    const int value = parser.value(option).toInt(&isNumber);
    if (isNumber && value > 0)
        return value;
    static_cast<void>(std::fprintf(
        stderr, "--%s: not a number above 0: \"%s\"\n", qPrintable(option), qPrintable(parser.value(option))));
    return {};
}

/// Server and clients both need one descriptor for each client.
bool allowClients(int clients)
{
    constexpr int others = 64;
    if (allowOpenFiles(clients + others))
        return true;
    static_cast<void>(std::fputs("Or take fewer clients (--clients).\n", stderr));
    return false;
}

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    const soak::Options defaults;
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Puts the server under load over TLS on the loopback address: many clients at once, many that come and go,\n"
        "clients that misbehave, and a lack of descriptors. Ends with status 0 when every check passed, else with 1."));
    parser.addHelpOption();
    parser.addOptions({
        {QStringLiteral("clients"), QStringLiteral("Clients at once."), QStringLiteral("number"),
            QString::number(defaults.clients)},
        {QStringLiteral("cycles"), QStringLiteral("Clients that come and go."), QStringLiteral("number"),
            QString::number(defaults.cycles)},
        {QStringLiteral("connections"), QStringLiteral("Connections that come and go without a word."),
            QStringLiteral("number"), QString::number(defaults.connections)},
        {QStringLiteral("round-trips"), QStringLiteral("Commands that are timed while clients misbehave."),
            QStringLiteral("number"), QString::number(defaults.roundTrips)},
        {QStringLiteral("longest-round-trip"), QStringLiteral("How long such a command may take."),
            QStringLiteral("seconds"), QString::number(defaults.longestRoundTrip)},
    });
    QCommandLineOption serve(QStringLiteral("serve"), QString(), QStringLiteral("port"));
    serve.setFlags(QCommandLineOption::HiddenFromHelp);
    QCommandLineOption serveWithLogWindow(QStringLiteral("serve-with-log-window"), QString(), QStringLiteral("port"));
    serveWithLogWindow.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOptions({serve, serveWithLogWindow});
    parser.process(application);
    if (!parser.positionalArguments().isEmpty()) {
        static_cast<void>(
            std::fprintf(stderr, "Unexpected argument: %s\n", qPrintable(parser.positionalArguments().constFirst())));
        return UsageStatus;
    }
    if (parser.isSet(serve))
        return soak::serve(parser.value(serve).toUShort(), soak::LogWindow::DropsLines);
    if (parser.isSet(serveWithLogWindow))
        return soak::serve(parser.value(serveWithLogWindow).toUShort(), soak::LogWindow::RunsAnEventLoop);

    const auto clients = number(parser, QStringLiteral("clients"));
    const auto cycles = number(parser, QStringLiteral("cycles"));
    const auto connections = number(parser, QStringLiteral("connections"));
    const auto roundTrips = number(parser, QStringLiteral("round-trips"));
    const auto longestRoundTrip = number(parser, QStringLiteral("longest-round-trip"));
    if (!clients || !cycles || !connections || !roundTrips || !longestRoundTrip || !allowClients(*clients))
        return UsageStatus;

    const soak::Options options {*clients, *cycles, *connections, *roundTrips, *longestRoundTrip};
    soak::Report report;
    soak::runCycles(options, report);
    soak::runConnections(options, report);
    soak::runLogWindow(options, report);
    soak::runManyClients(options, report);
    soak::runMisbehaviour(options, report);
    soak::runWithoutDescriptors(options, report);
    soak::runRandomShortages(options, report);
    report.end();
    return report.passed() ? 0 : 1;
}
