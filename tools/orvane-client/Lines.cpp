#include "Command.h"
#include "Console.h"
#include "Host.h"
#include "Loops.h"
#include "Settings.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSocketNotifier>
#include <QStandardPaths>
#include <QStringDecoder>

#include <algorithm>
#include <array>
#include <csignal>
#include <cwchar>
#include <memory>
#include <utility>

#include <histedit.h>
#include <sys/ioctl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

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

std::array<char, 9> promptText = {"orvane> "};

/// Line editing at a prompt, with completion and a history shared by all prompts.
class Prompt {
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

    ~Prompt() { el_set(editor.get(), EL_PREP_TERM, 0); }
    Q_DISABLE_COPY_MOVE(Prompt)

    /// The next line; nullopt at the end.
    std::optional<QByteArray> next()
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

    /// Adds a line to the history, and keeps what other prompts have added meanwhile.
    void remember(const QByteArray& line)
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

/// The words of a line, with quotes and backslashes as in a shell.
QStringList wordsOfLine(const QByteArray& line)
{
    const std::unique_ptr<Tokenizer, decltype(&tok_end)> tokenizer(tok_init(nullptr), &tok_end);
    int count = 0;
    const char** words = nullptr;
    if (!tokenizer || tok_str(tokenizer.get(), line.constData(), &count, &words) != 0)
        refuse(u"unclosed quote, or backslash at the end of the line"_s);
    QStringList texts;
    for (int i = 0; i < count; ++i)
        texts.append(QString::fromUtf8(words[i]));
    return texts;
}

/// Runs lines: commands for the host, and the client's own.
class Shell {
public:
    explicit Shell(Host& host)
        : host(host)
    {
        host.listener = [this](const Reply& reply) {
            if (!isCompleting || reply.names().isEmpty())
                this->host.console.reply(reply);
        };
        if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0)
            return;
        catchSignals();
        prompt = std::make_unique<Prompt>(host, [this](const QString& key) { return valuesOf(key); });
    }

    ExitStatus run()
    {
        host.connect();
        if (prompt && !host.settings.has("no-login"))
            host.logIn(); // reports a wrong password before anything is typed
        if (prompt)
            host.console.text(u"Connected. \"help\" lists the commands, \"quit\" ends.\n"_s);
        for (int number = 1; const std::optional<QByteArray> line = prompt ? prompt->next() : nextLine(); ++number) {
            if (line->trimmed() == "quit" || !runLine(*line, number))
                break;
        }
        return status;
    }

private:
    /// Without a prompt; nullopt at the end.
    std::optional<QByteArray> nextLine()
    {
        if (!input.isOpen() && !input.open(STDIN_FILENO, QIODevice::ReadOnly))
            return std::nullopt;
        const QByteArray line = input.bytesAvailable() > 0 || awaitInput(host) ? input.readLine() : QByteArray();
        return line.isEmpty() ? std::nullopt : std::optional(line.endsWith('\n') ? line.chopped(1) : line);
    }

    /// Asks the host for a list that it has not sent yet.
    QStringList valuesOf(const QString& key)
    {
        static const QMap<QString, QString> lists = {{u"presetname"_s, u"getPresetsList"_s},
            {u"recorder"_s, u"getRecorderList"_s}, {u"track"_s, u"getRecorderList"_s}};
        if (lists.contains(key) && !host.names().contains(key)) {
            isCompleting = true;
            // On failure there are no names.
            static_cast<void>(attempt([&] { host.exchange(requestFromWords({lists[key]})); }));
            isCompleting = false;
        }
        return host.names().value(key);
    }

    /// \return whether to continue
    bool runLine(const QByteArray& line, int number)
    {
        const Outcome outcome = attempt([&] { execute(line); });
        const int signal = std::exchange(caughtSignal, 0);
        if (outcome.status == ExitStatus::Success || prompt) {
            if (outcome.status != ExitStatus::Success)
                host.console.problem(signal != 0 ? u"interrupted: the connection is closed"_s : outcome.problem);
            return signal == 0 || signal == SIGINT;
        }
        host.console.problem(u"line %1: %2"_s.arg(number).arg(outcome.problem));
        status = status == ExitStatus::Success ? outcome.status : status;
        // After these two, all further lines would fail.
        return outcome.status != ExitStatus::NotLoggedIn && outcome.status != ExitStatus::NoConnection;
    }

    void execute(const QByteArray& line)
    {
        static const QRegularExpression secret(u"(?i)password|login"_s);
        const QByteArray trimmed = line.trimmed();
        if (trimmed.isEmpty() || trimmed.startsWith('#'))
            return;
        if (prompt && !QString::fromUtf8(trimmed).contains(secret)) // even if the command is misspelt
            prompt->remember(line);
        // Not trimmed: the line may end in an escaped blank.
        const QStringList words = wordsOfLine(line.endsWith('\r') ? line.chopped(1) : line);
        if (words.value(0) == "help"_L1) {
            host.console.text(helpOn(words.mid(1).join(u' ')));
            return;
        }
        CommandRequest request = checkedRequest(words, host.settings.has("force"));
        request.awaitsNotice = request.awaitsNotice && !prompt; // a prompt shows it when it comes
        host.exchange(request);
    }

    Host& host;
    QFile input;
    std::unique_ptr<Prompt> prompt; ///< null: not at a terminal
    ExitStatus status = ExitStatus::Success; ///< of the first line that failed; Success at a prompt
    bool isCompleting = false;
};

} // namespace

ExitStatus runLines(Host& host)
{
    return Shell(host).run();
}

} // namespace OrvaneClient
