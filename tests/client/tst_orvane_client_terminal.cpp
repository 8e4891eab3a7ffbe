// The command-line client as somebody at a terminal has it, against a real host.
#include "Session.h"

#include <QFileInfo>
#include <QProcess>
#include <QSocketNotifier>
#include <QTemporaryDir>
#include <QTest>

#include <array>
#include <optional>

#include <pty.h>
#include <termios.h>
#include <unistd.h>
#include <utmp.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int Patience = 60000; // milliseconds, for a machine that does much else
constexpr auto Prompt = "orvane> ";
constexpr auto ArrowUp = "\x1b[A";
constexpr auto CtrlC = "\x03";
constexpr auto CtrlD = "\x04";

/// A terminal with the client in it, and somebody who types and reads there.
class Terminal {
    Q_DISABLE_COPY_MOVE(Terminal)

public:
    Terminal(const QString& homeDirectory, const QStringList& arguments)
    {
        const winsize size = {24, 80, 0, 0};
        if (openpty(&ourSide, &programSide, nullptr, nullptr, &size) != 0)
            qFatal("no terminal");
        output.emplace(ourSide, QSocketNotifier::Read);
        QObject::connect(&*output, &QSocketNotifier::activated, &*output, [this] { read(); });

        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const char* name : {"ORVANE_USER", "ORVANE_PASSWORD", "EDITRC", "XDG_DATA_HOME"})
            environment.remove(QString::fromLatin1(name));
        environment.insert(u"HOME"_s, homeDirectory);
        environment.insert(u"TERM"_s, u"xterm"_s);
        program.setProcessEnvironment(environment);
        program.setChildProcessModifier([this] { login_tty(programSide); });
        program.start(QStringLiteral(ORVANE_CLIENT_PROGRAM), arguments);
    }

    ~Terminal()
    {
        program.kill();
        program.waitForFinished();
        output.reset();
        close(ourSide);
        close(programSide);
    }

    void type(const QByteArray& keys) const
    {
        if (write(ourSide, keys.constData(), static_cast<size_t>(keys.size())) != keys.size())
            qFatal("the terminal takes no keys");
    }

    /// Waits for a text beyond the one that was waited for last.
    bool shows(const QByteArray& text)
    {
        const bool found = QTest::qWaitFor([&] { return screen.indexOf(text, seen) >= 0; }, Patience);
        if (found)
            seen = screen.indexOf(text, seen) + text.size();
        else
            qWarning() << "not shown:" << text << "but:" << screen.mid(seen);
        return found;
    }

    bool showedEver(const QByteArray& text) const { return screen.contains(text); }

    /// The exit status, when the program has ended.
    int waitForEnd()
    {
        const bool ended = QTest::qWaitFor([&] { return program.state() == QProcess::NotRunning; }, Patience);
        return ended && program.exitStatus() == QProcess::NormalExit ? program.exitCode() : -1;
    }

    /// Whether the terminal itself edits lines, shows keys and makes signals of some, as other programs want it.
    bool isInItsUsualState() const
    {
        termios state = {};
        constexpr tcflag_t usual = ICANON | ECHO | ISIG;
        return tcgetattr(ourSide, &state) == 0 && (state.c_lflag & usual) == usual;
    }

private:
    void read()
    {
        std::array<char, 4096> bytes = {};
        const ssize_t length = ::read(ourSide, bytes.data(), bytes.size());
        if (length > 0)
            screen.append(bytes.data(), length);
    }

    int ourSide = -1;
    int programSide = -1;
    std::optional<QSocketNotifier> output;
    QByteArray screen; ///< all that was ever written to it
    qsizetype seen = 0;
    QProcess program;
};

} // namespace

class tst_orvane_client_terminal : public QObject { // NOLINT(readability-identifier-naming): named after its file
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void tabulatorCompletes_data();
    void tabulatorCompletes();
    void tabulatorTwiceListsWhatFits();
    void arrowUpBringsLinesBack();
    void noticeLeavesTheTypedTextStanding_data();
    void noticeLeavesTheTypedTextStanding();
    void leavesTheTerminalAsItWas_data();
    void leavesTheTerminalAsItWas();
    void passwordIsNotShown();

private:
    void open(const QStringList& arguments = {});
    bool openAtPrompt();
    bool hostGets(const QStringList& calls);

    std::optional<Session> session;
    std::optional<QTemporaryDir> home;
    std::optional<Terminal> terminal;
};

void tst_orvane_client_terminal::init()
{
    session.emplace();
    QVERIFY(session->server->isListening());
    home.emplace();
    QVERIFY(home->isValid());
}

void tst_orvane_client_terminal::cleanup()
{
    terminal.reset();
    home.reset();
    session.reset();
}

void tst_orvane_client_terminal::open(const QStringList& arguments)
{
    const QString port = QString::number(session->server->serverPort());
    terminal.emplace(home->path(), QStringList {u"--insecure"_s, u"--port"_s, port} + arguments);
}

bool tst_orvane_client_terminal::openAtPrompt()
{
    open();
    return terminal->shows(Prompt);
}

/// Waits until these are all the calls that the host has had.
bool tst_orvane_client_terminal::hostGets(const QStringList& calls)
{
    const bool same = QTest::qWaitFor([&] { return session->host.calls == calls; }, Patience);
    if (!same)
        qWarning() << "the host got" << session->host.calls;
    return same;
}

void tst_orvane_client_terminal::tabulatorCompletes_data()
{
    QTest::addColumn<QByteArray>("keys");
    QTest::addColumn<QString>("call");
    QTest::newRow("command and key") << QByteArray("setPr\tpre\tA\r") << u"setPreset(\"A\")"_s;
    QTest::newRow("as far as two commands are the same")
        << QByteArray("showL\tA\tsp\t3\r") << u"showLiveAtSubsplit(3, -1, -1)"_s;
    QTest::newRow("field of a group") << QByteArray("setD\tsu\t0,ob\t7\r") << u"setDetailViews(-1, {}, {0:7})"_s;
}

void tst_orvane_client_terminal::tabulatorCompletes()
{
    QFETCH(const QByteArray, keys);
    QFETCH(const QString, call);
    QVERIFY(openAtPrompt());
    terminal->type(keys);
    QVERIFY(hostGets({call}));
}

void tst_orvane_client_terminal::tabulatorTwiceListsWhatFits()
{
    QVERIFY(openAtPrompt());
    terminal->type("showLive\t\t");
    QVERIFY(terminal->shows("\nshowLive "));
    QVERIFY(terminal->shows("showLiveAtSubsplit"));
    QVERIFY(terminal->shows(Prompt + QByteArray("showLive")));
    terminal->type("\r");
    QVERIFY(hostGets({u"showLive(\"\", -1, false, -1)"_s}));
}

void tst_orvane_client_terminal::arrowUpBringsLinesBack()
{
    QStringList calls(u"setPreset(\"A\")"_s);
    QVERIFY(openAtPrompt());
    terminal->type("setPreset presetname=A\r");
    QVERIFY(terminal->shows(Prompt));
    terminal->type("loginClient username=operator password=secret\r"); // the one line that is not kept
    QVERIFY(terminal->shows(Prompt));
    terminal->type(ArrowUp);
    terminal->type("\r");
    calls += calls.first();
    QVERIFY(hostGets(calls));
    QVERIFY(terminal->shows(Prompt));
    terminal->type(CtrlD);
    QCOMPARE(terminal->waitForEnd(), 0);

    const QFileInfo history(home->filePath(u".local/share/orvane-client/history"_s));
    QVERIFY(history.exists());
    QVERIFY(!history.permission(QFileDevice::ReadGroup) && !history.permission(QFileDevice::ReadOther));

    QVERIFY(openAtPrompt());
    terminal->type(ArrowUp);
    terminal->type("\r");
    calls += calls.first();
    QVERIFY(hostGets(calls));
}

void tst_orvane_client_terminal::noticeLeavesTheTypedTextStanding_data()
{
    QTest::addColumn<QString>("preset");
    QTest::addColumn<QByteArray>("upToPrompt");
    QTest::newRow("line shorter than the screen is wide") << u"A-end"_s << QByteArray();
    QTest::newRow("line longer than the screen is wide") << QString(100, u'A') + u"-end"_s << QByteArray("\x1b[1A");
}

void tst_orvane_client_terminal::noticeLeavesTheTypedTextStanding()
{
    QFETCH(const QString, preset);
    QFETCH(const QByteArray, upToPrompt);
    QStringList calls(u"updateRecorderContents()"_s);
    QVERIFY(openAtPrompt());
    terminal->type("updateRecorderContents\r");
    QVERIFY(hostGets(calls));
    QVERIFY(terminal->shows(Prompt)); // although the refresh is not over
    terminal->type("setPreset presetname=" + preset.toLatin1());
    QVERIFY(terminal->shows("-end"));

    session->server->handleUpdateAllTreeDevicesFinished();
    QVERIFY(terminal->shows(upToPrompt + "\r\x1b[J<p:updateRecorderContentsFinished")); // where the prompt stood
    QVERIFY(terminal->shows("\n" + QByteArray(Prompt) + "setPreset presetname=A"));
    QVERIFY(terminal->shows("-end"));
    terminal->type("\r");
    calls += u"setPreset(\"%1\")"_s.arg(preset);
    QVERIFY(hostGets(calls));
}

void tst_orvane_client_terminal::leavesTheTerminalAsItWas_data()
{
    QTest::addColumn<QByteArray>("keys");
    QTest::newRow("quit") << QByteArray("quit\r");
    QTest::newRow("end of the input") << QByteArray(CtrlD);
    QTest::newRow("interrupt") << QByteArray(CtrlC);
    QTest::newRow("interrupt in a line") << QByteArray("setPreset") + CtrlC;
}

void tst_orvane_client_terminal::leavesTheTerminalAsItWas()
{
    QFETCH(const QByteArray, keys);
    QVERIFY(openAtPrompt());
    QVERIFY(!terminal->isInItsUsualState());
    terminal->type(keys);
    QCOMPARE(terminal->waitForEnd(), 0);
    QVERIFY(terminal->isInItsUsualState());
    QCOMPARE(session->host.calls, QStringList());
}

void tst_orvane_client_terminal::passwordIsNotShown()
{
    open({u"--user"_s, u"operator"_s});
    QVERIFY(terminal->shows("Password of operator: "));
    terminal->type("secret\r");
    QVERIFY(terminal->shows(Prompt));
    terminal->type("setPreset\r");
    QVERIFY(hostGets({u"setPreset(\"\")"_s}));
    QVERIFY(!terminal->showedEver("secret"));
}

QTEST_GUILESS_MAIN(tst_orvane_client_terminal)

#include "tst_orvane_client_terminal.moc"
