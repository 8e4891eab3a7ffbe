#include "Console.h"
#include "Reply.h"
#include "Target.h"
#include "XmlCommandReader.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace OrvaneClient;

// Whatever a host sends, the command-line client reads it as the library's reader does. It prints about as much as it
// received, and nothing that would control a terminal. Messages are the same wherever the reads end.

namespace {

void requireSameReading(const Reply& reply, const QString& document)
{
    XmlCommandReader reader;
    const bool isWellFormed = reader.parseCommand(document);
    const bool isTooMuch = !reader.refusalReason().isNull();
    require(
        (reply.kind == Reply::Kind::TooMuch) == isTooMuch || reply.isTextList, u"only one of the readers refuses it"_s);
    if (isTooMuch || reply.isTextList)
        return;
    require((reply.kind != Reply::Kind::NotXml) == isWellFormed, u"only one of the readers finds it well-formed"_s);
    require(!isWellFormed || reply.root == reader.commandName(), u"the readers find different roots"_s);
}

/// An entity may be longer than its reference; that has a limit of its own.
void requireAboutAsLong(const QByteArray& printed, const QByteArray& message)
{
    constexpr qsizetype most = 64;
    constexpr qsizetype some = 1024;
    require(message.contains("<!ENTITY") || printed.size() <= most * message.size() + some,
        u"far more is printed than was received"_s);
}

void requireHarmless(const QString& text)
{
    const QString shown = visibleText(text);
    require(std::none_of(shown.begin(), shown.end(),
                [](QChar character) { return character != u'\n' && character != u'\t' && isHarmful(character); }),
        u"the output would control a terminal"_s);
}

void requireSameWhenIndented(const Reply& reply)
{
    if (reply.kind == Reply::Kind::NotXml || reply.kind == Reply::Kind::TooMuch || reply.isTextList)
        return;
    const Reply again(reply.lines(true));
    require(again.kind == reply.kind && again.root == reply.root, u"the indented reply reads differently"_s);
}

void requireSameInPieces(const QByteArray& bytes)
{
    MessageCutter whole;
    const QList<QByteArray> messages = whole.add(bytes);
    MessageCutter cutter;
    QList<QByteArray> pieces;
    for (const char byte : bytes)
        pieces += cutter.add(QByteArray(1, byte));
    require(pieces == messages && cutter.incompleteLength() == whole.incompleteLength(),
        u"received byte by byte, the messages differ"_s);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray message(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    requireSameInPieces(message);
    const Reply reply(message);
    if (message.isValidUtf8())
        requireSameReading(reply, QString::fromUtf8(message));
    const QByteArray json = QJsonDocument(reply.json()).toJson(QJsonDocument::Compact);
    for (const QByteArray& printed : {reply.lines(false), reply.lines(true), json}) {
        requireAboutAsLong(printed, message);
        requireHarmless(textOfBytes(printed));
    }
    requireSameWhenIndented(reply);
    require(reply.json().contains("reply"_L1) && !json.contains('\n'), u"the JSON is not one line with a reply"_s);
    require(reply.names().isEmpty() || reply.kind == Reply::Kind::Other, u"a reply that is not a list has names"_s);
    return 0;
}
