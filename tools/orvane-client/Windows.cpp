#include "System.h"

#include "Console.h"
#include "Host.h"

#include <QCoreApplication>

#include <array>
#include <csignal>
#include <cstdlib>
#include <thread>
#include <utility>

#include <winsock2.h> // before windows.h

#include <conio.h>
#include <fcntl.h>
#include <io.h>
#include <windows.h>

using namespace Qt::StringLiterals;

namespace OrvaneClient {

namespace {

/// A piece of what is typed or comes from a pipe or a file, as UTF-8; empty at the end.
QByteArray readPiece()
{
    void* const input = GetStdHandle(STD_INPUT_HANDLE);
    std::array<wchar_t, 4096> typed = {};
    std::array<char, 4096> bytes = {};
    DWORD length = 0;
    if (!isTerminal(stdin)) {
        const bool isRead = ReadFile(input, bytes.data(), DWORD {bytes.size()}, &length, nullptr) != 0;
        return {bytes.data(), isRead ? qsizetype {length} : 0};
    }
    constexpr wchar_t endOfInput = L'\x1a'; // Ctrl-Z
    do { // nothing comes of Ctrl-C, which catchSignals() has told
        SetLastError(ERROR_SUCCESS);
        if (ReadConsoleW(input, typed.data(), DWORD {typed.size()}, &length, nullptr) == 0)
            return {};
    } while (length == 0 && GetLastError() == ERROR_OPERATION_ABORTED);
    return typed[0] == endOfInput ? QByteArray() : QString::fromWCharArray(typed.data(), qsizetype {length}).toUtf8();
}

/// No event of Windows tells that there is something to read, so another thread reads. The end of the program ends it.
class Input : public LineReader {
public:
    explicit Input(Host& host)
        : host(host)
    {
    }

    std::optional<QByteArray> next() override
    {
        while (!received.contains('\n') && !isAtEnd) {
            if (!std::exchange(isReading, true))
                startReading();
            if (!host.waitUntil([this] { return !isReading; }, QDeadlineTimer(QDeadlineTimer::Forever)))
                return std::nullopt;
        }
        if (received.isEmpty())
            return std::nullopt;
        const qsizetype end = received.indexOf('\n');
        const QByteArray line = received.first(end < 0 ? received.size() : end);
        received.remove(0, line.size() + 1);
        return line;
    }

protected:
    Host& host;

private:
    void startReading()
    {
        std::thread([this] {
            const QByteArray piece = readPiece();
            QMetaObject::invokeMethod(QCoreApplication::instance(), [this, piece] {
                received += piece;
                isAtEnd = piece.isEmpty();
                isReading = false;
            });
        }).detach();
    }

    QByteArray received;
    bool isReading = false;
    bool isAtEnd = false;
};

/// The console edits the lines, and keeps their history.
class Prompt final : public Input {
public:
    using Input::Input;

    std::optional<QByteArray> next() override
    {
        while (true) {
            show();
            host.console.setPrompt([] { static_cast<void>(std::fputs("\n", stdout)); }, [] { show(); });
            std::optional<QByteArray> line = Input::next();
            host.console.setPrompt([] {}, [] {});
            if (line && line->endsWith('\r'))
                line->chop(1);
            const bool isInterrupted = std::exchange(caughtSignal, 0) == SIGINT;
            if (line || !isInterrupted)
                return line;
            host.console.text(u"^C\n"_s);
        }
    }

private:
    static void show()
    {
        static_cast<void>(std::fputs("orvane> ", stdout));
        static_cast<void>(std::fflush(stdout));
    }
};

/// Called in a thread of its own.
BOOL WINAPI handleEnd(DWORD event)
{
    const int signal = event == CTRL_C_EVENT ? SIGINT : SIGTERM;
    QMetaObject::invokeMethod(QCoreApplication::instance(), [signal] { caughtSignal = signal; });
    return TRUE;
}

} // namespace

void prepareProcess()
{
    for (std::FILE* const stream : {stdin, stdout, stderr})
        static_cast<void>(_setmode(_fileno(stream), _O_BINARY)); // what a host sends stays as it is
    static const UINT before = GetConsoleOutputCP();
    if (SetConsoleOutputCP(CP_UTF8) != 0)
        static_cast<void>(std::atexit([] { SetConsoleOutputCP(before); }));
}

bool isTerminal(std::FILE* stream)
{
    return _isatty(_fileno(stream)) != 0;
}

void catchSignals()
{
    SetConsoleCtrlHandler(&handleEnd, TRUE);
}

std::optional<QString> typedPassword(const QString& question)
{
    constexpr wint_t interrupt = L'\x03'; // Ctrl-C
    static_cast<void>(_cputws(question.toStdWString().c_str()));
    QString typed;
    wint_t key = 0;
    while ((key = _getwch()) != L'\r' && key != WEOF && key != interrupt) {
        if (key == L'\b')
            typed.chop(1);
        else
            typed += QChar(key);
    }
    static_cast<void>(_cputws(L"\r\n"));
    return key == L'\r' ? std::optional(typed) : std::nullopt;
}

void endSending(qintptr socket)
{
    ::shutdown(static_cast<SOCKET>(socket), SD_SEND);
}

std::unique_ptr<LineReader> makeInput(Host& host)
{
    return std::make_unique<Input>(host);
}

std::unique_ptr<LineReader> makePrompt(Host& host, const ValuesOfKey& /*valuesOf*/)
{
    return std::make_unique<Prompt>(host);
}

} // namespace OrvaneClient
