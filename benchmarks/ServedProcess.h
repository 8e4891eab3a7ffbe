#pragma once

#include <QtGlobal>

// The processes that the load program starts. Each serves until its standard input ends.

/// The library's server, with debug output off. A line "notice" on standard input makes it send the notice that a
/// refresh has finished; "writes" writes the same bytes to the same sockets directly. The answer is a line with two
/// figures, processor time in nanoseconds: for the call, and until everything is encrypted and sent.
/// \return the exit status
int serveCommands(quint16 port);

/// A server that answers each message with the reply to showLive. \return the exit status
int serveFixedReplies(quint16 port);
