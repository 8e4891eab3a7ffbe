#pragma once

#include "Reply.h"

#include <cstdio>
#include <functional>

namespace OrvaneClient {

/// The text of bytes that a host has sent. Those that are no UTF-8, such as a character that two reads cut apart, are
/// taken one by one.
QString textOfBytes(const QByteArray& bytes);

/// Whether a terminal would obey the character instead of showing it, or show others in another order because of it.
bool isHarmful(QChar character);

/// The text with all that is harmful as \\x1b or \\u202e, but for the characters that are kept.
QString visibleText(const QString& text, QStringView kept = u"\n\t");

/**
 * All that the program says: answers on standard output, everything else on standard error. It ends the program if
 * standard output takes no more.
 *
 * Answers go into a pipe or a file byte for byte. On a terminal, and on standard error wherever that leads, nothing
 * that a host sends is obeyed: see visibleText().
 */
class Console {
public:
    ReplyFormat format() const { return replyFormat; }
    void setFormat(ReplyFormat format) { replyFormat = format; }
    /// From now on replies and problems have the time with them.
    void showTimes() { showsTimes = true; }
    /// Called before and after the output, while a prompt is shown.
    void setPrompt(const std::function<void()>& hide, const std::function<void()>& restore)
    {
        hidePrompt = hide;
        restorePrompt = restore;
    }

    void reply(const Reply& reply);
    void text(const QString& text) { print(text.toUtf8()); }
    /// One line of JSON.
    void object(QJsonObject object);
    /// One line.
    void problem(const QString& reason);
    /// One line, with nothing but what is harmful made visible.
    void trace(const QString& line) { write(stderr, visibleText(line, {}).toUtf8() + '\n'); }

private:
    /// Empty while no times are shown.
    QString time() const;
    void print(const QByteArray& bytes);
    /// \return why it failed; 0 if it did not
    int write(std::FILE* stream, const QByteArray& bytes);

    std::function<void()> hidePrompt = [] {};
    std::function<void()> restorePrompt = [] {};
    ReplyFormat replyFormat = ReplyFormat::Raw;
    bool showsTimes = false;
};

} // namespace OrvaneClient
