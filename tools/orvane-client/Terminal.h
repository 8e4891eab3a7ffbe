#pragma once

#include "CommandCatalogue.h"
#include "Console.h"
#include "Host.h"

#include <QByteArray>
#include <QString>

#include <memory>
#include <optional>

#include <histedit.h>

namespace OrvaneClient {

/// Where commands come from, one line at a time. Messages of the host are received while it waits.
class LineSource {
public:
    LineSource() = default;
    virtual ~LineSource() = default;
    Q_DISABLE_COPY_MOVE(LineSource)

    /// Nothing at the end.
    virtual std::optional<QByteArray> next() = 0;
    /// Keeps a line for the user to come back to.
    virtual void remember(const QByteArray& /*line*/) { }
};

/// Lines of standard input, without a prompt.
class PlainLines : public LineSource {
public:
    explicit PlainLines(Host& host)
        : host(host)
    {
    }

    std::optional<QByteArray> next() override;

private:
    Host& host;
    QByteArray buffer;
};

/// Lines that a user edits at a prompt, with completion, and a history that all prompts share.
class Prompt : public LineSource {
public:
    /// Host and console live longer.
    Prompt(Host& host, Console& console, ValuesOfKey valuesOf);
    ~Prompt() override;
    Q_DISABLE_COPY_MOVE(Prompt)

    std::optional<QByteArray> next() override;
    void remember(const QByteArray& line) override;

private:
    static Prompt& of(EditLine* editor);
    static int readKey(EditLine* editor, wchar_t* key);
    static unsigned char complete(EditLine* editor, int key);
    unsigned char completeLine();
    QString typedText() const;
    void readHistory();
    void showsPrompt();
    void hide();

    Host& host;
    Console& console;
    ValuesOfKey valuesOf;
    std::unique_ptr<EditLine, decltype(&el_end)> editor;
    std::unique_ptr<HistoryW, decltype(&history_wend)> history;
    QString historyFile;
};

/// Asks for a password at the terminal of the process, without showing it. Nothing if there is no terminal, or the user
/// breaks off.
std::optional<QString> askForPassword(const QString& user);

/// The first line of a file, from which no more is read.
QString firstLineOf(int descriptor);

} // namespace OrvaneClient
