#pragma once

#include "Reply.h"

#include <QByteArray>
#include <QString>

#include <cstdio>
#include <functional>

namespace OrvaneClient {

/**
 * All that the program says: answers on standard output, everything else on standard error. It ends the program if
 * standard output takes no more.
 *
 * Answers go into a pipe or a file byte for byte. On a terminal, and on standard error wherever that leads, nothing
 * that a host sends is obeyed: see visibleText().
 */
class Console {
public:
    explicit Console(ReplyFormat format);

    ReplyFormat format() const { return replyFormat; }
    /// From now on replies and problems have the time with them.
    void showTimes() { showsTimes = true; }
    /// Called before and after the output, while a prompt is shown.
    void setPrompt(const std::function<void()>& hide, const std::function<void()>& restore);

    void reply(const Reply& reply);
    void text(const QString& text);
    /// One line of JSON.
    void object(const QJsonObject& object);
    /// One line.
    void problem(const QString& reason);
    void trace(const QString& lines);

private:
    void print(const QByteArray& bytes);
    bool write(std::FILE* stream, const QByteArray& bytes);

    std::function<void()> hidePrompt = [] {};
    std::function<void()> restorePrompt = [] {};
    ReplyFormat replyFormat;
    bool onTerminal;
    bool showsTimes = false;
};

} // namespace OrvaneClient
