#include "Console.h"

#include "LineSource.h"
#include "Outcome.h"
#include "Reply.h"
#include "TerminalText.h"

#include <QCoreApplication>

#include <cerrno>
#include <cstring>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

Console::Console(ReplyFormat format)
    : format(format)
    , onTerminal(isatty(STDOUT_FILENO) != 0)
{
}

void Console::reply(const Reply& reply)
{
    const QByteArray lines = formatted(reply, format);
    if (!lines.isEmpty())
        answer(onTerminal ? visibleText(textOfBytes(lines)).toUtf8() : lines);
}

void Console::text(const QString& text)
{
    answer(text.toUtf8());
}

void Console::line(const QString& line)
{
    answer(visibleText(QString(line).replace(u'\n', u' ').trimmed()).toUtf8() + '\n');
}

void Console::progress(const QString& text)
{
    if (isatty(STDERR_FILENO) != 0)
        write(stderr, "\r\x1b[K" + text.toUtf8());
}

void Console::problem(const QString& reason)
{
    write(stderr, "orvane-client: " + visibleText(reason.simplified()).toUtf8() + '\n');
}

void Console::trace(const QString& lines)
{
    write(stderr, lines.toUtf8() + '\n');
}

void Console::answer(const QByteArray& bytes)
{
    if (failed || write(stdout, bytes))
        return;
    failed = true;
    problem(u"cannot write to standard output: %1"_s.arg(QString::fromLocal8Bit(std::strerror(errno))));
    QCoreApplication::exit(static_cast<int>(ExitStatus::OutputFailed));
}

bool Console::write(std::FILE* stream, const QByteArray& bytes)
{
    if (prompt)
        prompt->hide();
    const auto length = static_cast<size_t>(bytes.size());
    const bool isWritten = std::fwrite(bytes.constData(), 1, length, stream) == length && std::fflush(stream) == 0;
    const int error = errno;
    if (prompt)
        prompt->restore();
    errno = error;
    return isWritten;
}

} // namespace OrvaneClient
