#include "Terminal.h"

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

#include <sys/ioctl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

/// \return whether standard input can be read, or has ended; no at a signal
bool awaitInput(Host& host)
{
    bool isReadable = false;
    QSocketNotifier notifier(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, &notifier, [&] {
        isReadable = true;
        notifier.setEnabled(false);
    });
    return host.idleUntil([&] { return isReadable; }, QDeadlineTimer(QDeadlineTimer::Forever));
}

} // namespace

std::optional<QByteArray> nextLine(QFile& file, Host& host)
{
    if (!file.isOpen() && !file.open(STDIN_FILENO, QIODevice::ReadOnly))
        return std::nullopt;
    const bool canRead = file.bytesAvailable() > 0 || awaitInput(host);
    QByteArray line = canRead ? file.readLine() : QByteArray();
    if (line.isEmpty())
        return std::nullopt;
    if (line.endsWith('\n'))
        line.chop(1);
    return line;
}

void openInput(QFile& file, const QString& what, QIODevice::OpenMode mode)
{
    if (!(file.fileName() == "-"_L1 ? file.open(STDIN_FILENO, mode) : file.open(mode)))
        refuse(u"cannot read %1\"%2\": %3"_s.arg(what, file.fileName(), file.errorString()));
}

namespace {

std::array<char, 9> promptText = {"orvane> "};

char* promptOf(EditLine* /*editor*/)
{
    return promptText.data();
}

} // namespace

Prompt::Prompt(Host& host, ValuesOfKey valuesOf)
    : host(host)
    , console(host.console)
    , valuesOf(std::move(valuesOf))
    , editor(el_init("orvane-client", stdin, stdout, stderr), &el_end)
    , history(history_winit(), &history_wend)
    , historyFile(QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + "/history"_L1)
{
    el_set(editor.get(), EL_CLIENTDATA, this);
    el_set(editor.get(), EL_PROMPT, &promptOf);
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
    el_set(editor.get(), EL_PREP_TERM, 1); // before the prompt is shown: what is typed early is not cut or shown twice
}

Prompt::~Prompt()
{
    el_set(editor.get(), EL_PREP_TERM, 0);
}

Prompt& Prompt::of(EditLine* editor)
{
    void* data = nullptr;
    el_get(editor, EL_CLIENTDATA, &data);
    return *static_cast<Prompt*>(data);
}

/// The editor's own function knows neither the host nor signals.
int Prompt::readKey(EditLine* editor, wchar_t* key)
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

std::optional<QByteArray> Prompt::next()
{
    while (true) {
        show();
        int length = 0;
        const wchar_t* const line = el_wgets(editor.get(), &length);
        console.setPrompt([] {}, [] {});
        el_set(editor.get(), EL_PREP_TERM, 1);
        if (line)
            return QString::fromWCharArray(line, length).remove(u'\n').toUtf8();
        const bool isInterrupted = std::exchange(caughtSignal(), 0) == SIGINT;
        console.text(isInterrupted ? u"^C\n"_s : u"\n"_s);
        if (!isInterrupted)
            return std::nullopt;
        el_reset(editor.get());
    }
}

void Prompt::show()
{
    console.setPrompt([this] { hide(); }, [this] { el_set(editor.get(), EL_REFRESH); });
}

QString Prompt::typedText() const
{
    const LineInfoW* const line = el_wline(editor.get());
    return QString::fromWCharArray(line->buffer, line->cursor - line->buffer);
}

/// Takes the prompt and what is typed off the screen.
void Prompt::hide()
{
    winsize size = {};
    const std::wstring text = (QLatin1String(promptText.data()) + typedText()).toStdWString();
    const int width = std::max(wcswidth(text.c_str(), text.size()), 0);
    const bool isKnown = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    const int row = isKnown ? width / size.ws_col : 0;
    static_cast<void>(std::fputs(row > 0 ? qPrintable(u"\x1b[%1A\r\x1b[J"_s.arg(row)) : "\r\x1b[J", stdout));
    static_cast<void>(std::fflush(stdout));
}

unsigned char Prompt::complete(EditLine* editor, int /*key*/)
{
    Prompt& prompt = of(editor);
    const QString typed = prompt.typedText();
    const auto [start, words] = completionOf(typed, prompt.valuesOf);
    caughtSignal() = 0; // in the wait for names
    if (words.isEmpty())
        return CC_REFRESH_BEEP;
    QString common = words.first();
    for (const QString& word : words)
        common.truncate(std::mismatch(common.begin(), common.end(), word.begin(), word.end()).first - common.begin());
    if (words.size() == 1 && !common.endsWith(u'='))
        common += u' ';
    if (common.size() > typed.size() - start) {
        el_winsertstr(editor, common.mid(typed.size() - start).toStdWString().c_str());
        return CC_REFRESH;
    }
    constexpr qsizetype most = 100;
    const QString rest = words.size() > most ? u"  and %1 more"_s.arg(words.size() - most) : QString();
    prompt.console.setPrompt([] {}, [] {}); // it stays where it is, and comes again below
    prompt.console.text(u'\n' + words.mid(0, most).join("  "_L1) + rest + u'\n');
    el_set(editor, EL_REFRESH);
    prompt.show();
    return CC_NORM;
}

void Prompt::readHistory()
{
    QDir().mkpath(QFileInfo(historyFile).path());
    QFile file(historyFile);
    if (!file.open(QIODevice::ReadWrite, QFile::ReadOwner | QFile::WriteOwner)) // only the user's, from the start
        return;
    while (!file.atEnd())
        enter(file.readLine());
}

void Prompt::enter(const QByteArray& line)
{
    HistEventW event = {};
    history_w(history.get(), &event, H_ENTER, QString::fromUtf8(line).remove(u'\n').toStdWString().c_str());
}

/// Added to what other prompts have written meanwhile.
void Prompt::remember(const QByteArray& line)
{
    enter(line);
    QFile file(historyFile);
    if (file.open(QIODevice::Append | QIODevice::Unbuffered))
        file.write(line + '\n');
}

QStringList wordsOfLine(const QByteArray& line)
{
    const std::unique_ptr<Tokenizer, decltype(&tok_end)> tokenizer(tok_init(nullptr), &tok_end);
    int count = 0;
    const char** words = nullptr;
    if (!tokenizer || tok_str(tokenizer.get(), line.constData(), &count, &words) != 0)
        refuse(u"a quote or a backslash at the end of the line is left open"_s);
    QStringList texts;
    for (int i = 0; i < count; ++i)
        texts.append(QString::fromUtf8(words[i]));
    return texts;
}

} // namespace OrvaneClient
