#include "Console.h"

#include "Outcome.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QStringDecoder>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

/// The marks, embeddings, overrides and isolates of Unicode's algorithm for text in two directions.
bool changesDirection(char16_t character)
{
    return character == u'\u061C' || character == u'\u200E' || character == u'\u200F'
        || (character >= u'\u202A' && character <= u'\u202E') || (character >= u'\u2066' && character <= u'\u2069');
}

} // namespace

QString textOfBytes(const QByteArray& bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder(bytes);
    return decoder.hasError() ? QString::fromLatin1(bytes) : text;
}

bool isHarmful(QChar character)
{
    switch (character.category()) {
    case QChar::Other_Control:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        return changesDirection(character.unicode());
    }
}

QString visible(QChar character)
{
    if (character == u'\r')
        return u"\\r"_s;
    if (character == u'\n')
        return u"\\n"_s;
    if (!isHarmful(character))
        return character;
    constexpr char16_t lastShort = 0xFF;
    const bool isShort = character.unicode() <= lastShort;
    return (isShort ? u"\\x%1"_s : u"\\u%1"_s).arg(int {character.unicode()}, isShort ? 2 : 4, 16, QChar(u'0'));
}

QString visibleText(const QString& text)
{
    QString shown;
    shown.reserve(text.size());
    for (const QChar character : text) {
        if (character == u'\n' || character == u'\t')
            shown += character;
        else
            shown += visible(character);
    }
    return shown;
}

namespace {

QString timeNow()
{
    return QDateTime::currentDateTimeUtc().toString(Qt::ISODate);
}

} // namespace

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
    if (write(stdout, isatty(STDOUT_FILENO) != 0 ? visibleText(textOfBytes(bytes)).toUtf8() : bytes))
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
