#pragma once

#include "Measurement.h"

// What a WebSocket client sends, as bytes prepared in advance.

inline void upgrade(TlsClient& client)
{
    client.write("GET / HTTP/1.1\r\nHost: localhost\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                 "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n\r\n");
    while (!client.received.endsWith("\r\n\r\n"))
        require(client.waitForReadyRead(), "a WebSocket server did not answer");
    require(client.received.startsWith("HTTP/1.1 101 "), "a WebSocket server did not let a client in");
}

/// A message from a server.
inline QByteArray plainFrame(const QByteArray& text)
{
    require(text.size() < 126, "a message is too long for a length of one byte");
    return QByteArray("\x81") + static_cast<char>(text.size()) + text;
}

/// A message from a client.
inline QByteArray maskedFrame(const QByteArray& text)
{
    constexpr int isMasked = 0x80;
    const QByteArray mask("\x37\x7a\x21\x3d");
    QByteArray frame = plainFrame(text).insert(2, mask);
    frame[1] = static_cast<char>(frame[1] | isMasked);
    for (qsizetype at = 0; at < text.size(); ++at)
        frame[2 + mask.size() + at] = static_cast<char>(text[at] ^ mask[at % mask.size()]);
    return frame;
}

/// With the content of showLiveDocument() and showLiveReply(). Both peers sort the members of a reply.
inline Exchange showLiveAsJson()
{
    return {maskedFrame(R"({"command":"showLive","recorder":"Recorder 1","camera":3,"splitid":2,"alarm":0,)"
                        R"("commandtag":4711})"),
        plainFrame(R"({"command":"showLive","commandtag":4711,"reply":"commandAccepted","splitid":2})")};
}
