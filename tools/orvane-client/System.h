#pragma once

#include "Command.h"

#include <QByteArray>
#include <QString>

#include <cstdio>
#include <memory>
#include <optional>

namespace OrvaneClient {

class Host;

// What each system does in its own way: Unix.cpp, Windows.cpp.

/// Before all else: makes ready the standard streams and what Qt takes from the environment.
void prepareProcess();

bool isTerminal(std::FILE* stream);

/// From now on Ctrl-C, and what else asks the program to end, does not end it, but the waits of hosts.
void catchSignals();

/// The number of the last signal; 0: there was none.
inline int caughtSignal = 0;

/// What is typed at the terminal, which does not show it; nothing without a terminal.
std::optional<QString> typedPassword(const QString& question);

/// Nothing more is sent on the connection, which can still receive.
void endSending(qintptr socket);

/// Commands of the user. Messages of the host are received while it waits for them.
class LineReader {
public:
    LineReader() = default;
    virtual ~LineReader() = default;
    Q_DISABLE_COPY_MOVE(LineReader)

    /// Without the end of line; nothing at the end of input.
    virtual std::optional<QByteArray> next() = 0;
    /// Keeps a line for the user to come back to.
    virtual void remember(const QByteArray& /*line*/) { }
};

/// Standard input; the host lives longer.
std::unique_ptr<LineReader> makeInput(Host& host);
/// The same with a prompt, at a terminal.
std::unique_ptr<LineReader> makePrompt(Host& host, const ValuesOfKey& valuesOf);

} // namespace OrvaneClient
