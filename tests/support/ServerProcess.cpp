#include "ServerProcess.h"

#include "PeakMemory.h"
#include "TlsClient.h"
#include "WaitFor.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSocketNotifier>
#include <QTcpServer>
#include <QThread>

#include <cstdio>
#include <sys/resource.h>
#include <unistd.h>
#include <utility>

using namespace Qt::StringLiterals;

bool allowOpenFiles(int count)
{
    const auto needed = static_cast<rlim_t>(count);
    rlimit limit {};
    getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_cur >= needed)
        return true;
    limit.rlim_cur = needed;
    if (needed <= limit.rlim_max && setrlimit(RLIMIT_NOFILE, &limit) == 0)
        return true;
    static_cast<void>(std::fprintf(stderr,
        "%d open files are needed, but only %llu are allowed: raise the limit (ulimit -Hn %d, as root).\n", count,
        static_cast<unsigned long long>(limit.rlim_max), count));
    return false;
}

qint64 processorNs(clockid_t clock)
{
    timespec time {};
    clock_gettime(clock, &time);
    return qint64(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

int serveUntilInputEnds(QTcpServer& server, const std::function<void(const QByteArray& line)>& handleLine)
{
    if (!server.isListening()) {
        static_cast<void>(std::fprintf(stderr, "Cannot listen: %s\n", qPrintable(server.errorString())));
        return 1;
    }
    QFile input;
    if (!input.open(stdin, QIODevice::ReadOnly | QIODevice::Unbuffered))
        return 1;
    const QSocketNotifier notifier(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, &server, [&] {
        const QByteArray line = input.readLine().trimmed();
        if (line.isEmpty())
            QCoreApplication::quit();
        else if (handleLine)
            handleLine(line);
    });
    static_cast<void>(std::puts("listening"));
    static_cast<void>(std::fflush(stdout));
    return QCoreApplication::exec();
}

ServerProcess::ServerProcess(QString option)
    : option(std::move(option))
{
}

ServerProcess::~ServerProcess()
{
    if (isRunning())
        stop();
}

bool ServerProcess::start()
{
    for (int attempt = 0; attempt < 3 && !isRunning(); ++attempt) { // another program may take the port
        serverPort = freePort();
        process.start(QCoreApplication::applicationFilePath(), {option, QString::number(serverPort)});
        if (process.waitForReadyRead(PatienceMs) && process.readAllStandardOutput().startsWith("listening"))
            return true;
    }
    static_cast<void>(
        std::fprintf(stderr, "The server did not start: %s\n", process.readAllStandardError().constData()));
    return false;
}

bool ServerProcess::stop()
{
    process.closeWriteChannel();
    return process.waitForFinished(PatienceMs) && process.exitStatus() == QProcess::NormalExit
        && process.exitCode() == 0;
}

int ServerProcess::openDescriptors() const
{
    const QDir directory(u"/proc/%1/fd"_s.arg(processId()));
    return static_cast<int>(directory.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size());
}

qint64 ServerProcess::residentBytes() const
{
    return statusOfProcess("VmRSS:", QString::number(processId()));
}

qint64 ServerProcess::peakResidentBytes() const
{
    return statusOfProcess("VmHWM:", QString::number(processId()));
}

qint64 ServerProcess::processorNs() const
{
    clockid_t clock {};
    if (clock_getcpuclockid(processId(), &clock) != 0)
        return 0;
    return ::processorNs(clock);
}

void ServerProcess::waitUntilIdle() const
{
    constexpr unsigned long observationMs = 50;
    qint64 before = -1;
    for (qint64 now = processorNs(); now != before; now = processorNs()) {
        before = now;
        QThread::msleep(observationMs);
    }
}

QByteArray ServerProcess::ask(const QByteArray& line)
{
    process.write(line + '\n');
    while (!process.canReadLine()) {
        if (!process.waitForReadyRead(PatienceMs))
            return {};
    }
    return process.readLine().trimmed();
}

QStringList ServerProcess::errorLines()
{
    errors += process.readAllStandardError();
    return QString::fromUtf8(errors).split(u'\n', Qt::SkipEmptyParts);
}
