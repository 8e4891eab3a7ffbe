#include "Misuse.h"
#include "QuietHost.h"
#include "ServerProcess.h"
#include "Stages.h"

#include <OrvaneServer.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QLoggingCategory>

#include <csignal>
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

/// What strangers do, for --help.
QString listOfMisuses()
{
    QString list = u"Puts the server under load over TLS. ROW is one of:"_s;
    int number = 0;
    for (const soak::Misuse& misuse : soak::misuses())
        list += u"\n%1  %2"_s.arg(++number, 2).arg(QLatin1String(misuse.title));
    return list;
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
    const QCommandLineOption only(u"only"_s, u"Run this misuse alone."_s, u"ROW"_s, u"0"_s);
    const QCommandLineOption noWaitCheck(u"no-wait-check"_s, u"Print how long others waited, do not check it."_s);
    QCommandLineParser parser;
    parser.setApplicationDescription(listOfMisuses());
    parser.addHelpOption();
    parser.addOptions({only, noWaitCheck});
    parser.addPositionalArgument(u"CLIENTS"_s, u"that come and go; 10000 when not given"_s, u"[CLIENTS"_s);
    parser.addPositionalArgument(
        u"CONNECTIONS"_s, u"that come and go without a word; 100000 when not given"_s, u"[CONNECTIONS]]"_s);
    parser.process(application);
    bool isNumber = false;
    const soak::Choice choice {parser.positionalArguments().value(0, u"10000"_s).toInt(),
        parser.positionalArguments().value(1, u"100000"_s).toInt(), parser.value(only).toInt(&isNumber),
        !parser.isSet(noWaitCheck)};
    const bool isRow = isNumber && choice.only >= 0 && choice.only <= static_cast<int>(soak::misuses().size());
    if (choice.cycles > 0 && choice.connections > 0 && isRow) {
        allowDescriptors(0);
        static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
        return soak::runStages(choice) ? 0 : 1;
    }
    static_cast<void>(std::fputs(qPrintable(parser.helpText()), stderr));
    return UsageStatus;
}
