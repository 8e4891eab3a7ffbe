#pragma once

#include <QtGlobal>

// What the processes that the load program starts do. Each serves until its standard input ends.

/// The library's server, with debug output off. A line "notice" on the standard input has it send the notice of the end
/// of a refresh, "writes" has the same bytes written to the same sockets without it; the answer is a line with two
/// figures, the processor time in nanoseconds of the call, and up to when all is encrypted and sent.
/// \return the exit status
int serveCommands(quint16 port);

/// A server that answers each message with the reply to showLive. \return the exit status
int serveFixedReplies(quint16 port);
