#include "PasswordPrompt.h"

#include <QByteArray>
#include <QFile>

#include <termios.h>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

/// The terminal hands over every key at once, without showing it and without making a signal of it: the state has to be
/// put back in every case.
class SilentTerminal {
public:
    explicit SilentTerminal(int descriptor)
        : descriptor(descriptor)
    {
        tcgetattr(descriptor, &before);
        termios silent = before;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO | ICANON | ISIG);
        tcsetattr(descriptor, TCSAFLUSH, &silent);
    }
    ~SilentTerminal() { tcsetattr(descriptor, TCSAFLUSH, &before); }
    Q_DISABLE_COPY_MOVE(SilentTerminal)

private:
    int descriptor;
    termios before = {};
};

void removeLastCharacter(QByteArray& text)
{
    QString characters = QString::fromUtf8(text);
    characters.chop(1);
    text = characters.toUtf8();
}

std::optional<QString> readSilently(QFile& terminal)
{
    constexpr char interrupt = '\x03';
    constexpr char endOfText = '\x04';
    constexpr char backspace = '\x08';
    constexpr char deleteKey = '\x7f';
    QByteArray password;
    char key = 0;
    while (terminal.getChar(&key)) {
        if (key == '\n' || key == '\r')
            return QString::fromUtf8(password);
        if (key == interrupt || key == endOfText)
            return std::nullopt;
        if (key == backspace || key == deleteKey)
            removeLastCharacter(password);
        else
            password.append(key);
    }
    return std::nullopt;
}

} // namespace

std::optional<QString> askForPassword(const QString& user)
{
    QFile terminal(u"/dev/tty"_s);
    if (!terminal.open(QIODevice::ReadWrite | QIODevice::Unbuffered))
        return std::nullopt;
    const SilentTerminal silent(terminal.handle()); // before it asks: what is typed at once is not shown or lost
    terminal.write(u"Password of %1: "_s.arg(user).toUtf8());
    std::optional<QString> password = readSilently(terminal);
    terminal.write("\n");
    return password;
}

} // namespace OrvaneClient
