#pragma once

#include <QByteArray>
#include <QFile>

#include <malloc.h>

/// A line of the kernel's account of a process, in bytes; 0 when there is none.
inline qsizetype statusOfProcess(const QByteArray& line, const QString& process = QStringLiteral("self"))
{
    QFile file(QStringLiteral("/proc/%1/status").arg(process));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray status = file.readAll();
    return status.mid(status.indexOf(line) + line.size()).trimmed().split(' ').first().toLongLong() * 1024;
}

/// The most memory that was held while something was done, in bytes. The sanitizers keep what was freed.
template <typename Function> qsizetype peakMemoryDuring(const Function& function)
{
    malloc_trim(0);
    const qsizetype before = statusOfProcess("VmRSS:");
    QFile reset(QStringLiteral("/proc/self/clear_refs"));
    if (reset.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        reset.write("5"); // the peak begins anew
    function();
    return statusOfProcess("VmHWM:") - before;
}
