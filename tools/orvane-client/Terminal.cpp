#include "Terminal.h"

#include "CommandCatalogue.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <editline/readline.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

constexpr const char* Prompt = "orvane> ";
constexpr int HistoryLines = 1000;

TerminalLineSource* activeSource = nullptr;

/// Signals leave their number here: a handler itself may do next to nothing.
std::array<int, 2> signalPipe = {-1, -1};

void handleSignal(int signal)
{
    const int savedError = errno;
    const char number = static_cast<char>(signal);
    [[maybe_unused]] const ssize_t written = write(signalPipe[1], &number, 1);
    errno = savedError;
}

/// Bytes of a line. The editor writes past its buffer where one has more than 1,020.
constexpr int LongestLine = 1000;

bool isLineTooLong = false;

/// What the editor gets of the keys. A line that is full takes no more characters, and is not sent.
int readKey(FILE* /*stream*/)
{
    constexpr unsigned char firstPrintable = 0x20;
    constexpr unsigned char deleteKey = 0x7f;
    constexpr int toEndOfLine = 'E' - '@'; // a key that changes nothing
    unsigned char key = 0;
    if (read(STDIN_FILENO, &key, 1) != 1)
        return EOF;
    if (key < firstPrintable || key == deleteKey || rl_end < LongestLine)
        return key;
    isLineTooLong = true;
    return toEndOfLine;
}

QStringList completions;

/// Called with 0 first and then with growing numbers; the editor frees what it gets.
char* nextCompletion(const char* /*word*/, int index)
{
    return index < completions.size() ? strdup(completions[index].toUtf8().constData()) : nullptr;
}

/// Past the line editor, which writes to the same stream.
void writeToTerminal(const QByteArray& text)
{
    static_cast<void>(std::fputs(text.constData(), stdout));
    static_cast<void>(std::fflush(stdout));
}

/// On which line of the screen, counted from the prompt's, the cursor stands.
int cursorRow()
{
    winsize size = {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0)
        return 0;
    return (static_cast<int>(std::strlen(Prompt)) + rl_point) / size.ws_col;
}

} // namespace

TerminalLineSource::TerminalLineSource(QObject* parent)
    : LineSource(parent)
    , keys(STDIN_FILENO, QSocketNotifier::Read)
{
    activeSource = this;
    keys.setEnabled(false);
    connect(&keys, &QSocketNotifier::activated, this, [] { rl_callback_read_char(); });
    rl_readline_name = "orvane-client";
    rl_catch_signals = 0;
    rl_getc_function = readKey;
    rl_initialize();
    static std::array<char, 3> wordBreaks = {' ', '\t', '\0'};
    rl_basic_word_break_characters = wordBreaks.data();
    rl_completer_word_break_characters = wordBreaks.data();
    rl_attempted_completion_function = &TerminalLineSource::completeWord;
    openHistory();
    watchSignals();
}

TerminalLineSource::~TerminalLineSource()
{
    takePromptAway();
    activeSource = nullptr;
}

char** TerminalLineSource::completeWord(const char* word, int start, int /*end*/)
{
    rl_attempted_completion_over = 1; // or file names would be tried next
    const QByteArray lineBefore(rl_line_buffer, start);
    activeSource->keys.setEnabled(false); // no key is read inside another one
    activeSource->completes = true;
    completions = completionsOf(QString::fromUtf8(lineBefore), QString::fromUtf8(word), activeSource->valuesOf);
    completions.removeIf([](const QString& text) { return rl_end + text.toUtf8().size() > LongestLine; });
    activeSource->completes = false;
    activeSource->keys.setEnabled(true);
    const bool isKey = completions.size() == 1 && completions.first().endsWith(u'=');
    rl_completion_append_character = isKey ? 0 : int {u' '};
    return rl_completion_matches(word, nextCompletion);
}

void TerminalLineSource::askForLine()
{
    rl_callback_handler_install(Prompt, &TerminalLineSource::handleEditedLine);
    promptShown = true;
    keys.setEnabled(true);
}

/// Null at the end of the input.
void TerminalLineSource::handleEditedLine(char* line)
{
    if (!activeSource)
        return;
    activeSource->takePromptAway();
    if (!line) {
        writeToTerminal("\n");
        Q_EMIT activeSource->ended();
        return;
    }
    QByteArray text(line);
    std::free(line); // NOLINT(cppcoreguidelines-no-malloc): the editor allocated it
    if (std::exchange(isLineTooLong, false)) {
        writeToTerminal("A line has at most " + QByteArray::number(LongestLine) + " bytes; this one was not sent.\n");
        text.clear();
    }
    Q_EMIT activeSource->lineRead(text);
}

/// Also puts the terminal back into the state in which other programs want it.
void TerminalLineSource::takePromptAway()
{
    if (!promptShown)
        return;
    promptShown = false;
    keys.setEnabled(false);
    rl_callback_handler_remove();
}

void TerminalLineSource::hide()
{
    if (!promptShown)
        return;
    const int row = cursorRow();
    const QByteArray upToPrompt = row > 0 ? "\x1b[" + QByteArray::number(row) + 'A' : QByteArray();
    writeToTerminal(upToPrompt + "\r\x1b[J");
}

void TerminalLineSource::restore()
{
    if (promptShown)
        rl_forced_update_display();
}

void TerminalLineSource::openHistory()
{
    using_history();
    stifle_history(HistoryLines);
    historyFile = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + "/history"_L1;
    QDir().mkpath(QFileInfo(historyFile).path());
    // Made before the editor writes to it, so that others never can read it.
    QFile file(historyFile);
    if (file.open(QIODevice::ReadWrite))
        file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    read_history(QFile::encodeName(historyFile).constData());
}

void TerminalLineSource::remember(const QByteArray& line)
{
    add_history(line.constData());
    write_history(QFile::encodeName(historyFile).constData());
}

void TerminalLineSource::watchSignals()
{
    if (pipe2(signalPipe.data(), O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    auto* const notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &TerminalLineSource::handleSignals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        static_cast<void>(std::signal(signal, handleSignal));
}

void TerminalLineSource::handleSignals()
{
    char signal = 0;
    if (read(signalPipe[0], &signal, 1) != 1)
        return;
    if (signal == SIGINT && completes)
        return; // inside a key
    const bool isInterrupt = signal == SIGINT;
    if (isInterrupt && promptShown) {
        dropLine();
        return;
    }
    takePromptAway();
    writeToTerminal("\n");
    if (isInterrupt)
        Q_EMIT interrupted();
    else
        Q_EMIT ended();
}

/// The editor has no way to forget a line but to begin anew.
void TerminalLineSource::dropLine()
{
    takePromptAway();
    writeToTerminal("^C\n");
    rl_initialize();
    openHistory();
    askForLine();
}

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
