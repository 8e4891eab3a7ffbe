#pragma once

#include "Command.h"
#include "Console.h"
#include "Host.h"

#include <QFile>

#include <memory>

#include <histedit.h>

namespace OrvaneClient {

/// Lines of standard input, without a prompt. Messages of the host are received while it waits.
class PlainLines {
public:
    explicit PlainLines(Host& host)
        : host(host)
    {
    }

    /// Nothing at the end.
    std::optional<QByteArray> next();

private:
    Host& host;
    QFile file;
};

/// Lines that a user edits at a prompt, with completion, and a history that all prompts share.
class Prompt {
public:
    /// Host and console live longer.
    Prompt(Host& host, Console& console, ValuesOfKey valuesOf);
    ~Prompt();
    Q_DISABLE_COPY_MOVE(Prompt)

    /// Nothing at the end.
    std::optional<QByteArray> next();
    /// Keeps a line for the user to come back to.
    void remember(const QByteArray& line);

private:
    static Prompt& of(EditLine* editor);
    static int readKey(EditLine* editor, wchar_t* key);
    static unsigned char complete(EditLine* editor, int key);
    QString typedText() const;
    void readHistory();
    void enter(const QByteArray& line);
    void show();
    void hide();

    Host& host;
    Console& console;
    ValuesOfKey valuesOf;
    std::unique_ptr<EditLine, decltype(&el_end)> editor;
    std::unique_ptr<HistoryW, decltype(&history_wend)> history;
    QString historyFile;
};

/// The words of a line, with quotes and backslashes as in a shell.
QStringList wordsOfLine(const QByteArray& line);

} // namespace OrvaneClient
