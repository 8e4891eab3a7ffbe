#include "Console.h"

#include "Outcome.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QStringDecoder>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

QString textOfBytes(const QByteArray& bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder(bytes);
    return decoder.hasError() ? QString::fromLatin1(bytes) : text;
}

/// Direction: the marks, embeddings, overrides and isolates of Unicode's bidirectional algorithm.
bool isHarmful(QChar character)
{
    static const QString changesDirection =
        u"\u061C\u200E\u200F\u202A\u202B\u202C\u202D\u202E\u2066\u2067\u2068\u2069"_s;
    const QChar::Category category = character.category();
    return category == QChar::Other_Control || category == QChar::Separator_Line
        || category == QChar::Separator_Paragraph || changesDirection.contains(character);
}

QString visibleText(const QString& text, QStringView kept)
{
    QString shown;
    shown.reserve(text.size());
    for (const QChar character : text) {
        if (kept.contains(character) || !isHarmful(character))
            shown += character;
        else if (character == u'\r' || character == u'\n')
            shown += character == u'\r' ? "\\r"_L1 : "\\n"_L1;
        else if (character.unicode() <= UCHAR_MAX)
            shown += u"\\x%1"_s.arg(int {character.unicode()}, 2, 16, QChar(u'0'));
        else
            shown += u"\\u%1"_s.arg(int {character.unicode()}, 4, 16, QChar(u'0'));
    }
    return shown;
}

void Console::reply(const Reply& reply)
{
    if (replyFormat == ReplyFormat::Json)
        object(reply.json());
    else if (replyFormat != ReplyFormat::Nothing)
        print(time().toLatin1() + reply.lines(replyFormat == ReplyFormat::Indented));
}

void Console::object(QJsonObject object)
{
    if (showsTimes)
        object["time"_L1] = time().trimmed();
    print(QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n');
}

void Console::problem(const QString& reason)
{
    write(stderr, "orvane-client: " + (time() + visibleText(reason.simplified())).toUtf8() + '\n');
}

QString Console::time() const
{
    return showsTimes ? QDateTime::currentDateTimeUtc().toString(Qt::ISODate) + u' ' : QString();
}

void Console::print(const QByteArray& bytes)
{
    const int error = write(stdout, isTerminal ? visibleText(textOfBytes(bytes)).toUtf8() : bytes);
    if (error == 0)
        return;
    if (error != EPIPE) // it is not an error that the reader has closed the pipe
        problem(u"cannot write to standard output: %1"_s.arg(QString::fromLocal8Bit(std::strerror(error))));
    std::_Exit(static_cast<int>(ExitStatus::OutputFailed));
}

int Console::write(std::FILE* stream, const QByteArray& bytes)
{
    hidePrompt();
    const auto length = static_cast<size_t>(bytes.size());
    const bool isWritten = std::fwrite(bytes.constData(), 1, length, stream) == length && std::fflush(stream) == 0;
    const int error = isWritten ? 0 : errno;
    restorePrompt();
    return error;
}

} // namespace OrvaneClient
