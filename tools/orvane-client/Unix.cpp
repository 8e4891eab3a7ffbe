#include "System.h"

#include "Console.h"
#include "Host.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSocketNotifier>
#include <QStandardPaths>
#include <QStringDecoder>

#include <algorithm>
#include <array>
#include <csignal>
#include <cwchar>
#include <utility>

#include <bsd/readpassphrase.h>
#include <fcntl.h>
#include <histedit.h>
#include <pwd.h>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

/// If the program starts with one of the first three descriptors closed, the next file that it opens would get that
/// number. Reads from the replacement get nothing, and writes to it fail.
void occupyClosedDescriptors()
{
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) == -1)
            static_cast<void>(open("/dev/null", O_RDONLY)); // gets this number, the lowest free one
    }
}

/// Makes text UTF-8 whatever the environment says, as in cron jobs and containers. Makes the program store its data in
/// the home directory, never in the root directory.
void completeEnvironment()
{
    qputenv("LC_ALL", "C.UTF-8");
    const passwd* const user = getpwuid(getuid());
    if (qEnvironmentVariableIsEmpty("HOME"))
        qputenv("HOME", user ? user->pw_dir : "/nonexistent");
}

/// Receives messages of the host meanwhile. \return whether standard input can be read or has ended; false at a signal
bool awaitInput(Host& host)
{
    bool isReadable = false;
    QSocketNotifier notifier(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, &notifier, [&] {
        isReadable = true;
        notifier.setEnabled(false);
    });
    // Text typed after Ctrl-C stays unread: it is not dropped with the line.
    return host.waitUntil([&] { return isReadable; }, QDeadlineTimer(QDeadlineTimer::Forever)) && caughtSignal == 0;
}

class Input final : public LineReader {
public:
    explicit Input(Host& host)
        : host(host)
    {
    }

    std::optional<QByteArray> next() override
    {
        if (!file.isOpen() && !file.open(STDIN_FILENO, QIODevice::ReadOnly))
            return std::nullopt;
        const QByteArray line = file.bytesAvailable() > 0 || awaitInput(host) ? file.readLine() : QByteArray();
        return line.isEmpty() ? std::nullopt : std::optional(line.endsWith('\n') ? line.chopped(1) : line);
    }

private:
    Host& host;
    QFile file;
};

std::array<char, 9> promptText = {"orvane> "};

/// Line editing at a prompt, with completion and a history shared by all prompts.
class Prompt final : public LineReader {
public:
    /// The host must outlive it.
    Prompt(Host& host, ValuesOfKey valuesOf)
        : host(host)
        , valuesOf(std::move(valuesOf))
    {
        el_set(editor.get(), EL_CLIENTDATA, this);
        el_set(
            editor.get(), EL_PROMPT, +[](EditLine*) { return promptText.data(); });
        el_set(editor.get(), EL_EDITOR, "emacs");
        el_wset(editor.get(), EL_GETCFN, &Prompt::readKey);
        el_wset(editor.get(), EL_HIST, &history_w, history.get());
        el_source(editor.get(), nullptr);
        el_wset(editor.get(), EL_ADDFN, L"orvane-complete", L"Complete a command, a key or a name", &Prompt::complete);
        el_wset(editor.get(), EL_BIND, L"^I", L"orvane-complete", nullptr);
        HistEventW event = {};
        history_w(history.get(), &event, H_SETSIZE, 1000);
        history_w(history.get(), &event, H_SETUNIQUE, 1);
        readHistory();
        // Before the prompt is shown, so that early typing is neither cut nor shown twice.
        el_set(editor.get(), EL_PREP_TERM, 1);
    }

    ~Prompt() override { el_set(editor.get(), EL_PREP_TERM, 0); }
    Q_DISABLE_COPY_MOVE(Prompt)

    std::optional<QByteArray> next() override
    {
        while (true) {
            show();
            int length = 0;
            const wchar_t* const line = el_wgets(editor.get(), &length);
            host.console.setPrompt([] {}, [] {});
            el_set(editor.get(), EL_PREP_TERM, 1);
            if (line)
                return QString::fromWCharArray(line, length).remove(u'\n').toUtf8();
            const bool isInterrupted = std::exchange(caughtSignal, 0) == SIGINT;
            host.console.text(isInterrupted ? u"^C\n"_s : u"\n"_s);
            if (!isInterrupted)
                return std::nullopt;
            el_reset(editor.get());
        }
    }

    /// Keeps what other prompts have added meanwhile.
    void remember(const QByteArray& line) override
    {
        enter(line);
        QFile file(historyFile);
        if (file.open(QIODevice::Append | QIODevice::Unbuffered))
            file.write(line + '\n');
    }

private:
    static Prompt& of(EditLine* editor)
    {
        void* data = nullptr;
        el_get(editor, EL_CLIENTDATA, &data);
        return *static_cast<Prompt*>(data);
    }

    /// Replaces the editor's own function, which handles neither the host nor signals.
    static int readKey(EditLine* editor, wchar_t* key)
    {
        QStringDecoder decoder(QStringDecoder::Utf8);
        while (awaitInput(of(editor).host)) {
            char byte = 0;
            if (::read(STDIN_FILENO, &byte, 1) != 1)
                return 0;
            const QString text = decoder(QByteArrayView(&byte, 1));
            if (text.isEmpty()) // more bytes to come
                continue;
            *key = static_cast<wchar_t>(text.toUcs4().constFirst());
            return 1;
        }
        return -1;
    }

    static unsigned char complete(EditLine* editor, int /*key*/)
    {
        Prompt& prompt = of(editor);
        const auto [word, words] = completionOf(prompt.typedText(), prompt.valuesOf);
        caughtSignal = 0; // it only ended the wait for names
        if (words.isEmpty())
            return CC_REFRESH_BEEP;
        QString common = words.first();
        for (const QString& each : words)
            common.truncate(
                std::mismatch(common.begin(), common.end(), each.begin(), each.end()).first - common.begin());
        if (words.size() == 1 && !common.endsWith(u'='))
            common += u' ';
        if (common.size() > word.size()) {
            el_winsertstr(editor, common.mid(word.size()).toStdWString().c_str());
            return CC_REFRESH;
        }
        constexpr qsizetype most = 100;
        const QString rest = words.size() > most ? u"  and %1 more"_s.arg(words.size() - most) : QString();
        prompt.host.console.setPrompt([] {}, [] {}); // the prompt stays, and is repeated below
        prompt.host.console.text(u'\n' + words.mid(0, most).join("  "_L1) + rest + u'\n');
        el_set(editor, EL_REFRESH);
        prompt.show();
        return CC_NORM;
    }

    QString typedText() const
    {
        const LineInfoW* const line = el_wline(editor.get());
        return QString::fromWCharArray(line->buffer, line->cursor - line->buffer);
    }

    void show()
    {
        host.console.setPrompt([this] { hide(); }, [this] { el_set(editor.get(), EL_REFRESH); });
    }

    /// Erases the prompt and the typed text from the screen.
    void hide() const
    {
        winsize size = {};
        const std::wstring text = (QLatin1String(promptText.data()) + typedText()).toStdWString();
        const int width = std::max(wcswidth(text.c_str(), text.size()), 0);
        const bool isKnown = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
        const int row = isKnown ? width / size.ws_col : 0;
        static_cast<void>(std::fputs(row > 0 ? qPrintable(u"\x1b[%1A\r\x1b[J"_s.arg(row)) : "\r\x1b[J", stdout));
        static_cast<void>(std::fflush(stdout)); // before anything goes to standard error
    }

    void readHistory()
    {
        QDir().mkpath(QFileInfo(historyFile).path());
        QFile file(historyFile);
        if (!file.open(QIODevice::ReadWrite, QFile::ReadOwner | QFile::WriteOwner)) // private from the start
            return;
        while (!file.atEnd())
            enter(file.readLine());
    }

    void enter(const QByteArray& line)
    {
        HistEventW event = {};
        history_w(history.get(), &event, H_ENTER, QString::fromUtf8(line).remove(u'\n').toStdWString().c_str());
    }

    Host& host;
    ValuesOfKey valuesOf;
    std::unique_ptr<EditLine, decltype(&el_end)> editor {el_init("orvane-client", stdin, stdout, stderr), &el_end};
    std::unique_ptr<HistoryW, decltype(&history_wend)> history {history_winit(), &history_wend};
    QString historyFile = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + "/history"_L1;
};

} // namespace

void prepareProcess()
{
    occupyClosedDescriptors();
    completeEnvironment();
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN)); // a closed pipe becomes a write error like any other
}

bool isTerminal(std::FILE* stream)
{
    return isatty(fileno(stream)) != 0;
}

void catchSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&signals, signal);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    const int descriptor = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    auto* const notifier = new QSocketNotifier(descriptor, QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [descriptor] {
        signalfd_siginfo signal = {};
        if (read(descriptor, &signal, sizeof signal) == sizeof signal)
            caughtSignal = static_cast<int>(signal.ssi_signo);
    });
}

std::optional<QString> typedPassword(const QString& question)
{
    std::array<char, 4096> typed = {};
    if (readpassphrase(question.toUtf8().constData(), typed.data(), typed.size(), RPP_REQUIRE_TTY) == nullptr)
        return std::nullopt;
    return QString::fromUtf8(typed.data());
}

void endSending(qintptr socket)
{
    ::shutdown(static_cast<int>(socket), SHUT_WR);
}

std::unique_ptr<LineReader> makeInput(Host& host)
{
    return std::make_unique<Input>(host);
}

std::unique_ptr<LineReader> makePrompt(Host& host, const ValuesOfKey& valuesOf)
{
    return std::make_unique<Prompt>(host, valuesOf);
}

} // namespace OrvaneClient
