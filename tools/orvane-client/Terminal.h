#pragma once

#include "Command.h"
#include "Console.h"
#include "Host.h"

#include <QFile>

#include <memory>

#include <histedit.h>

namespace OrvaneClient {

/// A line of standard input, without a prompt; nothing at the end. Messages of the host are received while it waits.
/// \a file: the same for all lines
std::optional<QByteArray> nextLine(QFile& file, Host& host);

/// Lines that a user edits at a prompt, with completion, and a history that all prompts share.
class Prompt {
public:
    /// The host lives longer.
    Prompt(Host& host, ValuesOfKey valuesOf);
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

/// Opens a file that the user has named; - is standard input.
void openInput(QFile& file, const QString& what, QIODevice::OpenMode mode = QIODevice::ReadOnly);

/// The words of a line, with quotes and backslashes as in a shell.
QStringList wordsOfLine(const QByteArray& line);

} // namespace OrvaneClient
