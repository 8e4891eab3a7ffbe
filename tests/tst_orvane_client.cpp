// The command-line client: its parts, and the program itself against a real host and against servers that misbehave.
#include "CommandCompletion.h"
#include "CommandRequest.h"
#include "Expectation.h"
#include "MessageCutter.h"
#include "Reply.h"
#include "ServerTrust.h"
#include "Session.h"
#include "Trace.h"

#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QSslKey>
#include <QSslServer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QTimer>

#include <optional>
#include <utility>

#include <unistd.h>

using namespace OrvaneClient;
using RecorderEntry = OrvaneInterface::OrvaneInterface::RecorderEntry;

namespace {

constexpr auto CertificateFile = ":/Halden/Resources/hxcert.pem";
constexpr auto KeyFile = ":/Halden/Resources/hxkey.pem";

/// Answers the first command after the login with fixed bytes, over TLS.
class ScriptedServer : public QSslServer {
public:
    ScriptedServer(QByteArray answer, bool closes)
        : answer(std::move(answer))
        , closes(closes)
    {
        QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
        QFile key(QString::fromLatin1(KeyFile));
        QFile certificate(QString::fromLatin1(CertificateFile));
        if (!key.open(QIODevice::ReadOnly) || !certificate.open(QIODevice::ReadOnly))
            qFatal("no TLS pair");
        configuration.setPrivateKey(QSslKey(&key, QSsl::Rsa));
        configuration.setLocalCertificate(QSslCertificate(&certificate));
        setSslConfiguration(configuration);
        connect(this, &QTcpServer::pendingConnectionAvailable, this, &ScriptedServer::handleConnection);
    }

private:
    void handleConnection()
    {
        QTcpSocket* const socket = nextPendingConnection();
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { handleBytes(*socket); });
    }

    void handleBytes(QTcpSocket& socket)
    {
        received += socket.readAll();
        if (received.count("\r\n\r\n") < 2)
            return;
        received.clear();
        socket.write(answer);
        if (closes)
            socket.disconnectFromHost();
    }

    QByteArray answer;
    QByteArray received;
    bool closes;
};

struct Outcome {
    int status = -1;
    QByteArray out;
    QByteArray err;
};

/// Runs the program while this process serves it.
Outcome runProgram(
    const QStringList& arguments, const QByteArray& input = {}, const QByteArray& password = QByteArray())
{
    QProcess program;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("ORVANE_USER"));
    environment.remove(QStringLiteral("ORVANE_PASSWORD"));
    if (!password.isNull())
        environment.insert(QStringLiteral("ORVANE_PASSWORD"), QString::fromUtf8(password));
    program.setProcessEnvironment(environment);
    program.setChildProcessModifier([] { setsid(); }); // no terminal to ask for a password
    QSignalSpy finished(&program, &QProcess::finished);
    program.start(QStringLiteral(ORVANE_CLIENT_PROGRAM), arguments);
    program.write(input);
    program.closeWriteChannel();
    if (!finished.wait(20000))
        return {};
    return {program.exitCode(), program.readAllStandardOutput(), program.readAllStandardError()};
}

QString printable(const Result<CommandRequest>& request)
{
    return request ? QString::fromUtf8(request->document) : QLatin1String("error: ") + request.error();
}

} // namespace

class tst_orvane_client : public QObject { // NOLINT(readability-identifier-naming): named after its file
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void documentFromWords_data();
    void documentFromWords();
    void lineIsSplitAsInAShell();
    void messagesAreCutWhereverTheReadsEnd();
    void replyIsJudged_data();
    void replyIsJudged();
    void indentedReplyKeepsItsPrefixes();
    void traceHidesTheLoginsPassword();
    void wordIsCompleted_data();
    void wordIsCompleted();

    void commandToTheHost_data();
    void commandToTheHost();
    void refreshIsOverWhenItsNoticeComes();
    void refusedRefreshEndsTheWait();
    void namedAccountSeesNoCredentials();
    void linesOfAPipe();
    void trust_data();
    void trust();
    void wrongUsage_data();
    void wrongUsage();
    void misbehavingServer_data();
    void misbehavingServer();
    void noServer();
    void misbehavingTlsServer_data();
    void misbehavingTlsServer();

private:
    Outcome client(const QStringList& arguments, const QByteArray& input = {}, const QByteArray& password = {}) const;

    void finishRefreshes();

    std::optional<Session> session;
    quint16 port = 0;
};

void tst_orvane_client::init()
{
    session.emplace();
    QVERIFY(session->server->isListening());
    port = session->server->serverPort();
    RecorderEntry& recorder = session->host.recorders.emplace_back();
    recorder.name = "Gate";
    recorder.userName = "admin";
    session->host.presets.emplace_back().name = "A & B";
    session->host.usedSplit = 7;
}

void tst_orvane_client::cleanup()
{
    session.reset();
}

Outcome tst_orvane_client::client(
    const QStringList& arguments, const QByteArray& input, const QByteArray& password) const
{
    return runProgram(QStringList {QStringLiteral("--port"), QString::number(port)} + arguments, input, password);
}

/// The end of a refresh comes right after its start.
void tst_orvane_client::finishRefreshes()
{
    session->host.duringCall = [this] {
        OrvaneInterface::OrvaneServer* const server = session->server.get();
        QTimer::singleShot(0, server, [server] { server->handleUpdateAllTreeDevicesFinished(); });
    };
}

void tst_orvane_client::documentFromWords_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<QString>("document");
    const auto row = [](const char* name, const QString& words, const QString& document) {
        QTest::newRow(name) << words.split(u'|') << document;
    };
    row("without parameters", QStringLiteral("getRecorderList"), QStringLiteral("<getRecorderList></getRecorderList>"));
    row("keys in their order", QStringLiteral("c|b=1|a=x=y:z"), QStringLiteral("<c><b>1</b><a>x=y:z</a></c>"));
    row("reserved characters", QStringLiteral("c|a=<&>\""), QStringLiteral("<c><a>&lt;&amp;&gt;&quot;</a></c>"));
    row("line ends, which would end the message", QStringLiteral("c|a=\r\n\r\n"),
        QStringLiteral("<c><a>&#13;&#10;&#13;&#10;</a></c>"));
    row("groups are collected where the first one stands", QStringLiteral("c|s:id=0,x=0.5|b=1|s:id=1"),
        QStringLiteral("<c><ss><s id=\"0\" x=\"0.5\"/><s id=\"1\"/></ss><b>1</b></c>"));
    row("comma and backslash in a group", QStringLiteral("c|s:n=a\\,b\\\\,m=\\n"),
        QStringLiteral("<c><ss><s n=\"a,b\\\" m=\"\\n\"/></ss></c>"));
    row("command that is no name", QStringLiteral("a b"),
        QStringLiteral("error: \"a b\" is no XML name and so no command"));
    row("command that brings its own markup", QStringLiteral("a x='1'"),
        QStringLiteral("error: \"a x='1'\" is no XML name and so no command"));
    row("key that is no name", QStringLiteral("c|1a=x"), QStringLiteral("error: \"1a\" is no XML name and so no key"));
    row("word without a value", QStringLiteral("c|a"), QStringLiteral("error: \"a\" is no parameter: write key=value"));
    row("field twice", QStringLiteral("c|s:a=1,a=2"),
        QStringLiteral("error: the field \"a\" stands twice in one group \"s\""));
    row("empty group", QStringLiteral("c|s:"),
        QStringLiteral("error: \"\" in the group \"s\" is no field: write field=value"));
    row("control character", QStringLiteral("c|a=\x01"),
        QStringLiteral("error: the value of \"a\" holds U+0001, which no XML document can hold"));
}

void tst_orvane_client::documentFromWords()
{
    QFETCH(QStringList, words);
    QTEST(printable(requestFromWords(words)), "document");
}

void tst_orvane_client::lineIsSplitAsInAShell()
{
    QCOMPARE(printable(requestFromLine("setPreset  presetname=\"Nörd gate\" a='b c'")),
        QStringLiteral("<setPreset><presetname>Nörd gate</presetname><a>b c</a></setPreset>"));
    QVERIFY(!requestFromLine("setPreset presetname=\"open"));
    QVERIFY(!requestFromLine("setPreset presetname=\xff"));
}

void tst_orvane_client::messagesAreCutWhereverTheReadsEnd()
{
    const QByteArray stream = "\r\n\r\na\r\nb\r\r\n\r\n\r\n\r\nc\r\n\r";
    const QList<QByteArray> expected = {"", "a\r\nb\r", ""};
    for (qsizetype first = 0; first <= stream.size(); ++first) {
        for (qsizetype second = first; second <= stream.size(); ++second) {
            MessageCutter cutter;
            QList<QByteArray> messages = cutter.add(stream.left(first));
            messages += cutter.add(stream.mid(first, second - first));
            messages += cutter.add(stream.mid(second));
            QCOMPARE(messages, expected);
            QCOMPARE(cutter.incompleteLength(), 4);
        }
    }
}

void tst_orvane_client::replyIsJudged_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QByteArray>("message");
    QTest::addColumn<int>("status"); // -1: the wait goes on
    const auto row = [](const char* name, const char* command, const char* message, int status) {
        QTest::newRow(name) << QString::fromLatin1(command) << QByteArray(message) << status;
    };
    row("short acceptance", "setPreset",
        "<p:commandAccepted xmlns:p='u'><commandname>setPreset</commandname></p:commandAccepted>", 0);
    row("long acceptance", "showLive",
        "<p:commandAccepted xmlns:p='u'><command>showLive</command><splitid>1</splitid></p:commandAccepted>", 0);
    row("late acceptance of another command", "showLive",
        "<commandAccepted><commandname>setPreset</commandname></commandAccepted>", -1);
    row("acceptance instead of a list", "getPresetsList",
        "<commandAccepted><commandname>getPresetsList</commandname></commandAccepted>", -1);
    row("rejection", "nope", "<commandRejected><commandname>nope</commandname><reason>r</reason></commandRejected>", 2);
    row("list", "getPresetsList", "<p:getPresetsListResponse xmlns:p='u'/>", 0);
    row("notice for an earlier command", "getPertinentInfo", "<updateRecorderContentsFinished/>", -1);
    row("notice for this command", "updateRecorderContents", "<updateRecorderContentsFinished/>", 0);
    row("answer that the host wrote", "getPertinentInfo", "<anything/>", 0);
    row("unbound prefix", "getPresetsList", "<p:getPresetsListResponse/>", 5);
    row("broken XML after the name", "setPreset",
        "<commandAccepted><commandname>setPreset</commandname></commandAccept>", 5);
    row("empty message", "getPertinentInfo", "", 5);
    row("text that is not UTF-8", "getPertinentInfo", "<a>\xff</a>", 5);
}

void tst_orvane_client::replyIsJudged()
{
    QFETCH(QString, command);
    QFETCH(QByteArray, message);
    const std::optional<ExitStatus> status = Expectation::answerOf(command).judge(Reply(message));
    QTEST(status ? static_cast<int>(*status) : -1, "status");
}

void tst_orvane_client::indentedReplyKeepsItsPrefixes()
{
    QCOMPARE(Reply("<p:list xmlns:p=\"u\"> <r n=\"&lt;&quot;\">a &amp; b</r><e></e></p:list>").indented(),
        QByteArray("<p:list xmlns:p=\"u\">\n  <r n=\"&lt;&quot;\">a &amp; b</r>\n  <e/>\n</p:list>"));
    QCOMPARE(Reply("no <xml").indented(), QByteArray("no <xml"));
}

void tst_orvane_client::traceHidesTheLoginsPassword()
{
    const Result<CommandRequest> login = loginRequest(QStringLiteral("me"), QStringLiteral("</password>geheim\n"));
    QVERIFY(login);
    QCOMPARE(traceOfSent(login->document + "\r\n\r\n"),
        QStringLiteral("> <loginClient><username>me</username><password>***</password></loginClient>\\r\\n\n> \\r\\n"));
    QCOMPARE(traceOfSent("<loginClient><p:password\n>geheim"), QStringLiteral("> <loginClient><p:password\\n\n> >***"));
    QCOMPARE(traceOfReceived("\x1b[2J\xff"), QStringLiteral("< \\x1b[2J\u00ff"));
}

void tst_orvane_client::wordIsCompleted_data()
{
    QTest::addColumn<QString>("lineBefore");
    QTest::addColumn<QString>("word");
    QTest::addColumn<QString>("completions");
    const auto row = [](const char* name, const char* lineBefore, const char* word, const char* completions) {
        QTest::newRow(name) << QString::fromLatin1(lineBefore) << QString::fromLatin1(word)
                            << QString::fromLatin1(completions);
    };
    row("command", "", "showL", "showLive showLiveAtSubsplit");
    row("topic of help", "help ", "setP", "setPreset");
    row("key that is not there yet", "showTrack track=a ", "track", "trackid=");
    row("group", "setDetailViews ", "", "splitid= subsplit:id=");
    row("field of a group", "setDetailViews ", "subsplit:id=0,rb", "subsplit:id=0,rbx= subsplit:id=0,rby=");
    row("key of an unknown command", "nope ", "", "");
}

void tst_orvane_client::wordIsCompleted()
{
    QFETCH(QString, lineBefore);
    QFETCH(QString, word);
    QTEST(completionsOf(lineBefore, word).join(u' '), "completions");
}

void tst_orvane_client::commandToTheHost_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("outPart");
    QTest::addColumn<QByteArray>("err");
    QTest::addColumn<QString>("call");
    const auto row = [](const char* name, const char* arguments, const char* input, int status, const char* outPart,
                         const char* err, const char* call) {
        QTest::newRow(name) << QString::fromUtf8(arguments) << QByteArray(input) << status << QByteArray(outPart)
                            << QByteArray(err) << QString::fromUtf8(call);
    };
    row("command with a tag", "showLive|recorder=Nörd & gate|camera=3|commandtag=x", "", 0,
        "<splitid>7</splitid><commandtag>x</commandtag></p:commandAccepted>\n", "",
        R"(showLive("Nörd & gate", 3, false, -1))");
    row("value with an empty line", "setPreset|presetname=a\r\n\r\nb", "", 0, "setPreset", "",
        "setPreset(\"a\r\n\r\nb\")");
    row("detail views", "setDetailViews|splitid=2|subsplit:id=0,rbx=0.5,rby=0.25|subsplit:id=1,objectid=77", "", 0,
        "commandAccepted", "", "setDetailViews(2, {0:[0 0 0.5 0.25]}, {1:77})");
    row("indented answer", "--pretty|getRecorderList", "", 0, "\n  <recorder name=\"Gate\" ip=\"\" usename=\"admin\"",
        "", "getRecorderList(0 entries)");
    row("document from standard input", "--file|-", "<setPreset><presetname>N</presetname></setPreset>\r\n", 0,
        "commandAccepted", "", R"(setPreset("N"))");
    row("rejection", "showTrack|recorder=R", "", 2, "<reason>",
        "orvane-client: showTrack was rejected: showTrack command without valid track ID or track name\n", "");
    row("answer that is no XML", "getPresetsList", "", 5, "<preset name=\"A & B\" />",
        "orvane-client: the answer is no well-formed XML: ", "getPresetsList(0 entries)");
    row("command that the host does not answer", "--timeout|0.3|getPertinentInfo", "", 3, "",
        "orvane-client: no answer to getPertinentInfo within 0.3 s\n",
        R"(getPertinentInfo("<getPertinentInfo></getPertinentInfo>"))");
    row("no login", "--no-login|--timeout|0.3|setPreset", "", 3, "",
        "orvane-client: no answer to setPreset within 0.3 s\n", "");
    row("no reply wanted", "--no-reply|setPreset|presetname=P", "", 0, "", "", R"(setPreset("P"))");
    row("login, which is never answered", "loginClient|username=x", "", 0, "", "", "");
}

void tst_orvane_client::commandToTheHost()
{
    QFETCH(QString, arguments);
    QFETCH(QByteArray, input);
    QFETCH(QByteArray, outPart);
    QFETCH(QByteArray, err);
    QFETCH(QString, call);
    const Outcome outcome = client(QStringList(QStringLiteral("--insecure")) + arguments.split(u'|'), input);
    QVERIFY2(
        outcome.err.startsWith(err) && outcome.err.count('\n') == (err.isEmpty() ? 0 : 1), outcome.err.constData());
    QVERIFY2(outcome.out.contains(outPart), outcome.out.constData());
    QTEST(outcome.status, "status");
    QCOMPARE(session->host.calls, call.isEmpty() ? QStringList() : QStringList(call));
}

void tst_orvane_client::refreshIsOverWhenItsNoticeComes()
{
    finishRefreshes();
    const QStringList command = {QStringLiteral("--insecure"), QStringLiteral("updateRecorderContents")};
    const QStringList wait = {QStringLiteral("--wait"), QStringLiteral("updateRecorderContentsFinished")};
    for (const QStringList& arguments : {command, wait + command}) {
        const Outcome outcome = client(arguments);
        QVERIFY(outcome.out.startsWith("<p:updateRecorderContentsFinished"));
        QCOMPARE(outcome.status, 0);
    }
}

void tst_orvane_client::refusedRefreshEndsTheWait()
{
    session->host.refreshStarts = false;
    const Outcome outcome = client({QStringLiteral("--insecure"), QStringLiteral("--wait"),
        QStringLiteral("updateRecorderContentsFinished"), QStringLiteral("updateRecorderContents")});
    QCOMPARE(outcome.err,
        QByteArray("orvane-client: updateRecorderContents was rejected: Recorder list update already running\n"));
    QCOMPARE(outcome.status, 2);
}

void tst_orvane_client::namedAccountSeesNoCredentials()
{
    const QStringList arguments = {QStringLiteral("--insecure"), QStringLiteral("--trace"), QStringLiteral("--user"),
        QStringLiteral("operator"), QStringLiteral("getRecorderList")};
    const Outcome outcome = client(arguments, {}, "secret");
    QVERIFY2(outcome.out.contains("<recorder name=\"Gate\" ip=\"\">"), outcome.out.constData());
    QVERIFY(outcome.err.contains("<password>***</password>"));
    QVERIFY(!outcome.err.contains("secret"));
    QCOMPARE(outcome.status, 0);

    const Outcome withoutPassword = client(arguments);
    QVERIFY2(
        withoutPassword.err.startsWith("orvane-client: no password for \"operator\""), withoutPassword.err.constData());
    QCOMPARE(withoutPassword.status, 1);
}

void tst_orvane_client::linesOfAPipe()
{
    finishRefreshes();
    const Outcome outcome = client({QStringLiteral("--insecure")},
        "# first\n\nsetPreset presetname='A b'\r\nsetPreset oops\nnope\nupdateRecorderContents\nsetPreset "
        "presetname=C");
    QCOMPARE(session->host.calls,
        QStringList({QStringLiteral("setPreset(\"A b\")"), QStringLiteral("updateRecorderContents()"),
            QStringLiteral("setPreset(\"C\")")}));
    QCOMPARE(outcome.out.count('\n'), 4);
    QCOMPARE(outcome.err,
        QByteArray("orvane-client: \"oops\" is no parameter: write key=value\n"
                   "orvane-client: nope was rejected: Unknown command\n"));
    QCOMPARE(outcome.status, 1);
}

void tst_orvane_client::trust_data()
{
    QFile file(QString::fromLatin1(CertificateFile));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QString fingerprint = fingerprintOf(QSslCertificate(&file));
    const QByteArray refused = "orvane-client: the certificate of 127.0.0.1:";

    QTest::addColumn<QStringList>("trustArguments");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("err");
    QTest::addColumn<QString>("advice");
    const QString pin = QStringLiteral("--fingerprint");
    QTest::newRow("self-signed certificate") << QStringList() << 4 << refused << pin + u' ' + fingerprint;
    QTest::newRow("pinned certificate") << QStringList {pin, fingerprint} << 0 << QByteArray() << QString();
    QTest::newRow("pinned without colons")
        << QStringList {pin, QString(fingerprint).remove(u':').toLower()} << 0 << QByteArray() << QString();
    QTest::newRow("another one pinned") << QStringList {pin, QString(64, u'a')} << 4 << refused << fingerprint;
    QTest::newRow("certificate file") << QStringList {QStringLiteral("--ca"), QStringLiteral(ORVANE_TEST_CERTIFICATE)}
                                      << 0 << QByteArray() << QString();
    QTest::newRow("file without certificates")
        << QStringList {QStringLiteral("--ca"), QStringLiteral("/dev/null")} << 1
        << QByteArray("orvane-client: \"/dev/null\" holds no PEM certificate") << QString();
}

void tst_orvane_client::trust()
{
    QFETCH(QStringList, trustArguments);
    QFETCH(QByteArray, err);
    QFETCH(QString, advice);
    const Outcome outcome = client(trustArguments + QStringList(QStringLiteral("setPreset")));
    QVERIFY2(outcome.err.startsWith(err) && outcome.err.contains(advice.toUtf8()), outcome.err.constData());
    QTEST(outcome.status, "status");
    QCOMPARE(session->host.calls.size(), outcome.status == 0 ? 1 : 0);

    const Outcome shown = client({QStringLiteral("--show-certificate")});
    QVERIFY2(shown.out.startsWith("Subject: localhost\n") && shown.out.contains(advice.toUtf8().right(95)),
        shown.out.constData());
    QCOMPARE(shown.status, 0);
}

void tst_orvane_client::wrongUsage_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QByteArray>("named");
    QTest::newRow("unknown option") << QStringLiteral("--bogus") << QByteArray("bogus");
    QTest::newRow("port out of range") << QStringLiteral("--port 65536 setPreset") << QByteArray("\"65536\"");
    QTest::newRow("timeout that is no number") << QStringLiteral("--timeout nan setPreset") << QByteArray("\"nan\"");
    QTest::newRow("fingerprint too short")
        << QStringLiteral("--fingerprint AB:CD setPreset") << QByteArray("\"AB:CD\"");
    QTest::newRow("two kinds of trust") << QStringLiteral("--insecure --ca x y") << QByteArray("--ca and --insecure");
    QTest::newRow("file that is not there") << QStringLiteral("--file nowhere.xml") << QByteArray("\"nowhere.xml\"");
    QTest::newRow("file and command") << QStringLiteral("--file - setPreset") << QByteArray("\"setPreset\"");
    QTest::newRow("wait without a command") << QStringLiteral("--wait notice") << QByteArray("--wait");
}

void tst_orvane_client::wrongUsage()
{
    QFETCH(QString, arguments);
    QFETCH(QByteArray, named);
    const Outcome outcome = runProgram(arguments.split(u' '));
    QVERIFY2(outcome.err.contains(named) && outcome.err.count('\n') == 1, outcome.err.constData());
    QCOMPARE(outcome.status, 1);
}

void tst_orvane_client::misbehavingServer_data()
{
    QTest::addColumn<QByteArray>("greeting");
    QTest::addColumn<bool>("closes");
    QTest::addColumn<QByteArray>("err");
    QTest::newRow("speaks no TLS") << QByteArray("HTTP/1.0 400 Bad Request\r\n\r\n") << false
                                   << QByteArray("no TLS with");
    QTest::newRow("closes at once") << QByteArray() << true << QByteArray("no TLS with");
    QTest::newRow("never says a word") << QByteArray() << false << QByteArray("no TLS with");
}

void tst_orvane_client::misbehavingServer()
{
    QFETCH(QByteArray, greeting);
    QFETCH(bool, closes);
    QFETCH(QByteArray, err);
    QTcpServer plain;
    QVERIFY(plain.listen(QHostAddress::LocalHost));
    connect(&plain, &QTcpServer::newConnection, &plain, [&] {
        QTcpSocket* const socket = plain.nextPendingConnection();
        socket->write(greeting);
        if (closes)
            socket->disconnectFromHost();
    });
    port = plain.serverPort();
    const Outcome outcome =
        client({QStringLiteral("--timeout"), QStringLiteral("0.5"), QStringLiteral("getRecorderList")});
    QVERIFY2(outcome.err.startsWith("orvane-client: " + err) && outcome.err.count('\n') == 1, outcome.err.constData());
    QCOMPARE(outcome.status, 4);
}

void tst_orvane_client::noServer()
{
    session->server.reset();
    const Outcome outcome = client({QStringLiteral("getRecorderList")});
    QCOMPARE(outcome.err,
        QStringLiteral("orvane-client: cannot connect to 127.0.0.1:%1: Connection refused\n").arg(port).toUtf8());
    QCOMPARE(outcome.status, 4);
}

void tst_orvane_client::misbehavingTlsServer_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<bool>("closes");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("err");
    const QByteArray accepted = "<commandAccepted><commandname>setPreset</commandname></commandAccepted>\r\n\r\n";
    const QByteArray another = "<commandAccepted><commandname>showLive</commandname></commandAccepted>\r\n\r\n";
    QTest::newRow("closes without an answer")
        << QByteArray() << true << 3 << QByteArray("closed the connection, no answer to setPreset\n");
    QTest::newRow("closes in the middle of its answer") << accepted.left(
        20) << true << 3 << QByteArray("closed the connection in the middle of a message, after 20 bytes\n");
    QTest::newRow("answers and closes") << accepted << true << 0 << QByteArray();
    QTest::newRow("answers something else first") << another + accepted << false << 0 << QByteArray();
    QTest::newRow("answers something else only")
        << another << false << 3 << QByteArray("no answer to setPreset within 0.5 s\n");
    QTest::newRow("answers no XML") << QByteArray("\xff\xfe\r\n\r\n") << false << 5
                                    << QByteArray("the answer is no well-formed XML");
}

void tst_orvane_client::misbehavingTlsServer()
{
    QFETCH(QByteArray, answer);
    QFETCH(bool, closes);
    QFETCH(QByteArray, err);
    ScriptedServer scripted(answer, closes);
    QVERIFY(scripted.listen(QHostAddress::LocalHost));
    port = scripted.serverPort();
    const Outcome outcome = client({QStringLiteral("--insecure"), QStringLiteral("--timeout"), QStringLiteral("0.5"),
        QStringLiteral("setPreset")});
    QVERIFY2(outcome.err.contains(err) && outcome.err.count('\n') == (err.isEmpty() ? 0 : 1), outcome.err.constData());
    QTEST(outcome.status, "status");
}

QTEST_GUILESS_MAIN(tst_orvane_client)

#include "tst_orvane_client.moc"
