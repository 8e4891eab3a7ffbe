#pragma once

#include "ReplyFormat.h"

#include <QByteArray>
#include <QString>

#include <cstdio>

namespace OrvaneClient {

class LineSource;
class Reply;

/**
 * All that the program says: answers on standard output, everything else on standard error.
 *
 * Answers go into a pipe or a file byte for byte. On a terminal, and on standard error wherever that leads, nothing
 * that a host sends is obeyed: see visibleText().
 */
class Console {
public:
    explicit Console(ReplyFormat format);

    /// The prompt that may stand on the screen, and has to be out of the way while something is said. Not owned.
    void setPrompt(LineSource* source) { prompt = source; }

    void reply(const Reply& reply);
    void text(const QString& text);
    /// The same for a line with texts of the host in it.
    void line(const QString& line);
    /// How far something has come, for a person at a terminal; empty: nothing any more.
    void progress(const QString& text);
    /// One line.
    void problem(const QString& reason);
    void trace(const QString& lines);

    /// Whether something could not be written to standard output. The program ends at once then: who wanted to read it
    /// is gone, or has no room for it.
    bool hasFailed() const { return failed; }

private:
    void answer(const QByteArray& bytes);
    bool write(std::FILE* stream, const QByteArray& bytes);

    LineSource* prompt = nullptr;
    ReplyFormat format;
    bool onTerminal;
    bool failed = false;
};

} // namespace OrvaneClient
