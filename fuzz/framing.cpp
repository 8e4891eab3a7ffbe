#include "MemorySocket.h"
#include "MessageModel.h"
#include "Target.h"
#include "XMLSocket.h"

#include <utility>

using namespace Qt::StringLiterals;

// Any bytes, however cut, are framed into messages as the definition says. A written message ends with exactly one
// terminator. In the input, a '|' ends a read.

namespace {

void requireFraming(const QList<QByteArray>& reads)
{
    const QByteArray terminator = "\r\n\r\n";
    MemorySocket socket;
    XMLSocket framing(&socket);
    MessageModel model;
    for (const QByteArray& read : reads) {
        socket.put(read);
        framing.readMessages(socket.bytesAvailable());
        const QStringList messages = std::exchange(framing.messages, {});
        require(messages == model.take(read), u"the messages differ from the definition"_s);
        for (const QString& message : messages) {
            for (const char* end : {"", "\r\n\r\n", "\r\n", "\n\r\n"}) {
                framing.writeMessage(message + QLatin1String(end));
                const QByteArray bytes = message.toUtf8() + end;
                require(
                    std::exchange(socket.writes, {}) == QList {bytes.endsWith(terminator) ? bytes : bytes + terminator},
                    u"the message is not one write with one terminator"_s);
            }
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    constexpr qsizetype shortEnough = 64; // to be cut at every offset
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    requireFraming(input.split('|'));
    for (qsizetype cut = 1; cut < input.size() && input.size() <= shortEnough; ++cut)
        requireFraming({input.first(cut), input.sliced(cut)});
    return 0;
}
