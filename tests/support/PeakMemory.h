#pragma once

#include <QByteArray>
#include <QFile>

#ifdef Q_OS_LINUX
#include <malloc.h>
#endif

/// The value of a line in /proc/PROCESS/status, in bytes; 0 if there is none.
inline qsizetype statusOfProcess(const QByteArray& line, const QString& process = QStringLiteral("self"))
{
    QFile file(QStringLiteral("/proc/%1/status").arg(process));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray status = file.readAll();
    return status.mid(status.indexOf(line) + line.size()).trimmed().split(' ').first().toLongLong() * 1024;
}

/// How much the memory grows at most while \a function runs, in bytes. The sanitizers keep freed memory.
template <typename Function> qsizetype peakMemoryDuring(const Function& function)
{
#ifdef Q_OS_LINUX
    malloc_trim(0);
#endif
    const qsizetype before = statusOfProcess("VmRSS:");
    QFile reset(QStringLiteral("/proc/self/clear_refs"));
    if (reset.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        reset.write("5"); // resets the peak
    function();
    return statusOfProcess("VmHWM:") - before;
}
