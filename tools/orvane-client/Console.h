#pragma once

#include "Reply.h"

#include <cstdio>
#include <functional>

namespace OrvaneClient {

/// Decodes bytes from a host as UTF-8. If any are invalid, as when two reads split a character, decodes all of them as
/// Latin-1.
QString textOfBytes(const QByteArray& bytes);

/// Whether a terminal would act on the character instead of showing it, or reorder others because of it.
bool isHarmful(QChar character);

/// The text with harmful characters, except those in \a kept, written like \\x1b or \\u202e.
QString visibleText(const QString& text, QStringView kept = u"\n\t");

/**
 * All output of the program: answers on standard output, everything else on standard error. Ends the program if
 * standard output cannot be written.
 *
 * Answers go to a pipe or a file byte for byte. All output to a terminal or to standard error goes through
 * visibleText(), so that no terminal acts on what a host sends.
 */
class Console {
public:
    /// \a isTerminal: where standard output leads.
    explicit Console(bool isTerminal)
        : isTerminal(isTerminal)
    {
    }

    ReplyFormat format() const { return replyFormat; }
    void setFormat(ReplyFormat format) { replyFormat = format; }
    /// From now on replies and problems include the time.
    void showTimes() { showsTimes = true; }
    /// Sets what to call before and after each output, to hide and restore a prompt.
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
    /// One line, with all harmful characters made visible, line ends and tabs included.
    void trace(const QString& line) { write(stderr, visibleText(line, {}).toUtf8() + '\n'); }

private:
    /// Empty while no times are shown.
    QString time() const;
    void print(const QByteArray& bytes);
    /// \return the errno of the failure; 0 on success
    int write(std::FILE* stream, const QByteArray& bytes);

    const bool isTerminal;
    std::function<void()> hidePrompt = [] {};
    std::function<void()> restorePrompt = [] {};
    ReplyFormat replyFormat = ReplyFormat::Raw;
    bool showsTimes = false;
};

} // namespace OrvaneClient
