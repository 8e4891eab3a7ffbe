#pragma once

#include <QtGlobal>

// The servers that one would build instead: commands and replies as JSON in WebSocket messages, over TLS with the same
// key, certificate and socket settings as the library. Each knows showLive, calls the same host, and serves until
// standard input ends.

/// QWebSocketServer and QJsonDocument. \return the exit status
int serveWithQtWebSockets(quint16 port);

/// websocketpp over Asio, and nlohmann/json. \return the exit status
int serveWithWebSocketpp(quint16 port);
