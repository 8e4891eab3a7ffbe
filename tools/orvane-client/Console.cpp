#include "Console.h"

#include "Outcome.h"
#include "TerminalText.h"

#include <QDateTime>
#include <QJsonDocument>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

QString timeNow()
{
    return QDateTime::currentDateTimeUtc().toString(Qt::ISODate);
}

} // namespace

Console::Console(ReplyFormat format)
    : replyFormat(format)
    , onTerminal(isatty(STDOUT_FILENO) != 0)
{
}

void Console::setPrompt(const std::function<void()>& hide, const std::function<void()>& restore)
{
    hidePrompt = hide;
    restorePrompt = restore;
}

void Console::reply(const Reply& reply)
{
    const QByteArray lines = reply.formatted(replyFormat);
    if (showsTimes && replyFormat == ReplyFormat::Json)
        object(reply.json());
    else if (!lines.isEmpty())
        print(showsTimes ? timeNow().toLatin1() + ' ' + lines : lines);
}

void Console::object(const QJsonObject& object)
{
    QJsonObject timed = object;
    if (showsTimes)
        timed["time"_L1] = timeNow();
    print(QJsonDocument(timed).toJson(QJsonDocument::Compact) + '\n');
}

void Console::text(const QString& text)
{
    print(text.toUtf8());
}

void Console::problem(const QString& reason)
{
    const QString time = showsTimes ? timeNow() + u' ' : QString();
    write(stderr, "orvane-client: " + (time + visibleText(reason.simplified())).toUtf8() + '\n');
}

void Console::trace(const QString& lines)
{
    write(stderr, lines.toUtf8() + '\n');
}

void Console::print(const QByteArray& bytes)
{
    if (write(stdout, onTerminal ? visibleText(textOfBytes(bytes)).toUtf8() : bytes))
        return;
    if (errno != EPIPE) // a reader that has enough is no problem
        problem(u"cannot write to standard output: %1"_s.arg(QString::fromLocal8Bit(std::strerror(errno))));
    std::_Exit(static_cast<int>(ExitStatus::OutputFailed));
}

bool Console::write(std::FILE* stream, const QByteArray& bytes)
{
    hidePrompt();
    const auto length = static_cast<size_t>(bytes.size());
    const bool isWritten = std::fwrite(bytes.constData(), 1, length, stream) == length && std::fflush(stream) == 0;
    const int error = errno;
    restorePrompt();
    errno = error;
    return isWritten;
}

} // namespace OrvaneClient
