#include "Misuse.h"
#include "QuietHost.h"
#include "ServerProcess.h"
#include "Stages.h"

#include <OrvaneServer.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QLoggingCategory>

#include <algorithm>
#include <cstdio>
#include <sys/resource.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int UsageStatus = 2;

qint64 logLines = 0;
qint64 logBytes = 0;

/// The lines are made as for any host, and only counted.
void handleLogLine(QtMsgType /*type*/, const QMessageLogContext& /*context*/, const QString& line)
{
    ++logLines;
    logBytes += line.toUtf8().size() + 1;
}

void allowDescriptors(rlim_t count)
{
    rlimit limit {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = count > 0 ? std::min(count, limit.rlim_max) : limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

QByteArray answer(const QByteArray& line, OrvaneInterface::OrvaneServer& server)
{
    const QByteArray value = line.mid(line.indexOf(' ') + 1);
    if (line == "lines")
        return QByteArray::number(logLines) + " lines, " + QByteArray::number(logBytes) + " bytes";
    if (line == "limits")
        server.setLimits(OrvaneInterface::OrvaneLimits::controlRoom());
    else if (line.startsWith("descriptors"))
        allowDescriptors(value.toULong());
    else if (line.startsWith("log "))
        QLoggingCategory::setFilterRules(QString::fromLatin1(value).replace(u';', u'\n'));
    return "done";
}

/// What ServerProcess starts.
int serve(quint16 port)
{
    QuietHost host;
    OrvaneInterface::OrvaneServer server(&host, port, QString(), QString(), nullptr);
    server.startListeningForConnection();
    return serveUntilInputEnds(server, [&server](const QByteArray& line) {
        static_cast<void>(std::puts(answer(line, server).constData()));
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
    QCommandLineParser parser;
    parser.addOptions({{u"only"_s, {}, u"ROW"_s, u"0"_s}, {u"no-wait-check"_s, {}}});
    const bool isParsed = parser.parse(arguments);
    bool isNumber = false;
    const QStringList sizes = parser.positionalArguments();
    soak::Choice choice;
    choice.cycles = sizes.value(0, u"10000"_s).toInt();
    choice.connections = sizes.value(1, u"100000"_s).toInt();
    choice.only = parser.value(u"only"_s).toInt(&isNumber);
    choice.checksWaits = !parser.isSet(u"no-wait-check"_s);
    if (!isParsed || !isNumber || choice.only < 0 || choice.only > static_cast<int>(soak::misuses().size())
        || choice.cycles <= 0 || choice.connections <= 0) {
        static_cast<void>(std::fputs("soak/run --help says how this is used.\n", stderr));
        return UsageStatus;
    }
    allowDescriptors(0);
    return soak::runStages(choice) ? 0 : 1;
}
