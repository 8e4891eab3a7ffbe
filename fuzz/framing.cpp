#include "MemorySocket.h"
#include "MessageModel.h"
#include "Require.h"
#include "Target.h"
#include "XMLSocket.h"

#include <utility>

using namespace Qt::StringLiterals;

// Any bytes, in any cuts, are framed into the messages that the definition of a message gives; and a message that is
// written ends with exactly one terminator. In the input a '|' ends a read, and "||" is the character itself.

namespace {

QList<QByteArray> readsOf(const QByteArray& input)
{
    QList<QByteArray> reads(1);
    for (qsizetype i = 0; i < input.size(); ++i) {
        if (input[i] != '|')
            reads.last() += input[i];
        else if (i + 1 < input.size() && input[i + 1] == '|')
            reads.last() += input[i++];
        else
            reads.emplaceBack();
    }
    return reads;
}

void requireOneTerminator(XMLSocket& framing, MemorySocket& socket, const QString& message)
{
    framing.writeMessage(message);
    const QByteArray terminator = "\r\n\r\n";
    QByteArray expected = message.toUtf8();
    if (!expected.endsWith(terminator))
        expected += terminator;
    require(socket.traffic->writes == QList<QByteArray> {expected},
        u"the message is not written in one write, with one terminator"_s);
    socket.traffic->writes.clear();
}

void requireFraming(const QList<QByteArray>& reads)
{
    MemorySocket socket;
    XMLSocket framing(&socket);
    MessageModel model;
    for (const QByteArray& read : reads) {
        socket.put(read);
        framing.readMessages();
        const QStringList messages = std::exchange(framing.messages, {});
        require(messages == model.take(read), u"other messages than the definition gives"_s);
        for (const QString& message : messages) {
            requireOneTerminator(framing, socket, message);
            requireOneTerminator(framing, socket, message + OrvaneInterface::MessageTerminator);
            requireOneTerminator(framing, socket, message + u"\r\n\r"_s);
            requireOneTerminator(framing, socket, message + u"\n\r\n"_s);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    constexpr qsizetype shortEnough = 64; // to be cut everywhere
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    requireFraming(readsOf(input));
    for (qsizetype cut = 1; cut < input.size() && input.size() <= shortEnough; ++cut)
        requireFraming({input.first(cut), input.sliced(cut)});
    return 0;
}
