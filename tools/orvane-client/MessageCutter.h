#pragma once

#include <QByteArray>
#include <QList>

namespace OrvaneClient {

/// What ends every message, in both directions.
constexpr QByteArrayView MessageTerminator("\r\n\r\n");

/// Cuts a byte stream into messages, whatever the pieces are in which it arrives. Knows no text encoding.
class MessageCutter {
public:
    /// The messages that these bytes complete, without their ends.
    QList<QByteArray> add(const QByteArray& bytes);

    /// How many bytes wait for the end of their message.
    qsizetype incompleteLength() const { return buffer.size(); }

private:
    QByteArray buffer;
    qsizetype searchedLength = 0;
};

} // namespace OrvaneClient
