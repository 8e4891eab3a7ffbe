#pragma once

#include <QByteArray>
#include <QString>

#include <cstdio>

namespace OrvaneClient {

class LineSource;
class Reply;

/// All that the program says: answers on standard output, everything else on standard error.
class Console {
public:
    explicit Console(bool indented)
        : indented(indented)
    {
    }

    /// The prompt that may stand on the screen, and has to be out of the way while something is said. Not owned.
    void setPrompt(LineSource* source) { prompt = source; }

    void reply(const Reply& reply);
    void text(const QString& text);
    /// One line.
    void problem(const QString& reason);
    void trace(const QString& lines);

private:
    void write(std::FILE* stream, const QByteArray& bytes);

    LineSource* prompt = nullptr;
    bool indented;
};

} // namespace OrvaneClient
