#include "MessageCutter.h"

#include <algorithm>

namespace OrvaneClient {

QList<QByteArray> MessageCutter::add(const QByteArray& bytes)
{
    buffer += bytes;
    QList<QByteArray> messages;
    qsizetype start = 0;
    qsizetype end = buffer.indexOf(MessageTerminator, searchedLength);
    for (; end >= 0; end = buffer.indexOf(MessageTerminator, start)) {
        messages.append(buffer.mid(start, end - start));
        start = end + MessageTerminator.size();
    }
    buffer.remove(0, start);
    // The last three bytes may be the beginning of a terminator; those before them are never searched again.
    searchedLength = std::max<qsizetype>(0, buffer.size() - (MessageTerminator.size() - 1));
    return messages;
}

} // namespace OrvaneClient
