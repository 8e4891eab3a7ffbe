// The command-line client: its parts, and the program itself against a real host and against servers that misbehave.
#include "CommandCatalogue.h"
#include "CommandRequest.h"
#include "DocumentBlocks.h"
#include "HostConnection.h"
#include "Reply.h"
#include "Session.h"

#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QSslKey>
#include <QSslServer>
#include <QTest>
#include <QTimer>

#include <initializer_list>
#include <optional>

#include <unistd.h>

using namespace Qt::StringLiterals;

using namespace OrvaneClient;
using RecorderEntry = OrvaneInterface::OrvaneInterface::RecorderEntry;

namespace {

/// A run of the program, and what must come of it. In each text PORT and the like are filled in, see filledIn().
struct Run {
    const char* name;
    const char* arguments; ///< with bars between them
    int status;
    const char* err = ""; ///< how the only line begins behind the program's name; empty: there is none
    const char* call = ""; ///< the host's only one; empty: there is none
    const char* out = ""; ///< how the output begins; three dots stand for any text, here and in the line
    const char* input = ""; ///< of the program, or what the server sends
};

struct Outcome {
    int status = -1;
    QByteArray out;
    QByteArray err;
};

bool beginsAs(const QByteArray& text, const QByteArray& pattern)
{
    const qsizetype dots = pattern.indexOf("...");
    return dots < 0 ? text.startsWith(pattern)
                    : text.startsWith(pattern.left(dots)) && text.indexOf(pattern.mid(dots + 3), dots) >= 0;
}

QByteArray resource(const char* name)
{
    QFile file(u":/Halden/Resources/"_s + QString::fromLatin1(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

Q_DECLARE_METATYPE(Run)

class tst_orvane_client : public QObject { // NOLINT(readability-identifier-naming): named after its file
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void knowsTheCommandsOfTheProtocol();
    void messagesAreCutWhereverTheReadsEnd();
    void indentedReplyKeepsItsPrefixes();
    void traceHidesTheLoginsPassword();

    void commandToTheHost_data();
    void commandToTheHost();
    void namedAccountSeesNoCredentials();
    void linesOfAPipe();
    void trust_data();
    void trust();
    void wordIsCompleted_data();
    void wordIsCompleted();
    void serverWithoutTls_data();
    void serverWithoutTls();
    void serverThatMisbehaves_data();
    void serverThatMisbehaves();

private:
    static void addRows(std::initializer_list<Run> runs);
    Outcome client(const QByteArray& arguments, const QByteArray& input = {}, const QByteArray& password = {}) const;
    void check(const Run& run, const QByteArray& moreArguments = {}) const;
    QByteArray filledIn(QByteArray text) const;

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
    session->host.duringCall = [this] { // the end of a refresh comes right after its start
        OrvaneInterface::OrvaneServer* const server = session->server.get();
        QTimer::singleShot(0, server, [server] { server->handleUpdateAllTreeDevicesFinished(); });
    };
}

void tst_orvane_client::cleanup()
{
    session.reset();
}

void tst_orvane_client::addRows(std::initializer_list<Run> runs)
{
    QTest::addColumn<Run>("run");
    for (const Run& run : runs)
        QTest::newRow(run.name) << run;
}

/// Runs the program while this process serves it.
Outcome tst_orvane_client::client(
    const QByteArray& arguments, const QByteArray& input, const QByteArray& password) const
{
    QProcess program;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(u"ORVANE_USER"_s);
    environment.remove(u"ORVANE_PASSWORD"_s);
    if (!password.isEmpty())
        environment.insert(u"ORVANE_PASSWORD"_s, QString::fromUtf8(password));
    program.setProcessEnvironment(environment);
    program.setChildProcessModifier([] { setsid(); }); // no terminal to ask for a password
    QSignalSpy finished(&program, &QProcess::finished);
    program.start(QStringLiteral(ORVANE_CLIENT_PROGRAM),
        QString::fromUtf8("--port|" + QByteArray::number(port) + '|' + arguments).split(u'|'));
    program.write(input);
    program.closeWriteChannel();
    if (!finished.wait(20000))
        return {};
    return {program.exitCode(), program.readAllStandardOutput(), program.readAllStandardError()};
}

void tst_orvane_client::check(const Run& run, const QByteArray& moreArguments) const
{
    const Outcome outcome = client(moreArguments + filledIn(run.arguments), run.input);
    const QByteArray err = *run.err != '\0' ? "orvane-client: " + filledIn(run.err) : QByteArray();
    QVERIFY2(beginsAs(outcome.err, err) && outcome.err.count('\n') == (err.isEmpty() ? 0 : 1), outcome.err.constData());
    QVERIFY2(beginsAs(outcome.out, filledIn(run.out)), outcome.out.constData());
    QCOMPARE(outcome.status, run.status);
    QCOMPARE(session->host.calls.join(u'\n'), QString::fromUtf8(run.call));
}

QByteArray tst_orvane_client::filledIn(QByteArray text) const
{
    const QSslCertificate certificate(resource("hxcert.pem"));
    const QByteArray digest = certificate.digest(QCryptographicHash::Sha256);
    return text.replace("PORT", QByteArray::number(port))
        .replace("CERTIFICATE", ORVANE_TEST_CERTIFICATE)
        .replace("FINGERPRINT", digest.toHex(':').toUpper())
        .replace("DIGITS", digest.toHex());
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

/// The document has been held against the library already.
void tst_orvane_client::knowsTheCommandsOfTheProtocol()
{
    QStringList known;
    for (const KnownCommand& command : knownCommands())
        known += command.name;
    QStringList described;
    for (const QString& heading : documentLines(u"" ORVANE_SOURCE_DIRECTORY "/docs/protocol.md"_s).filter(u"## `"_s))
        described += heading.section(u'`', 1, 1);
    QCOMPARE(known, described);
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

void tst_orvane_client::indentedReplyKeepsItsPrefixes()
{
    QCOMPARE(Reply("<p:list xmlns:p=\"u\"> <r n=\"&lt;&quot;\">a &amp; b</r><e></e></p:list>").indented(),
        QByteArray("<p:list xmlns:p=\"u\">\n  <r n=\"&lt;&quot;\">a &amp; b</r>\n  <e/>\n</p:list>"));
    QCOMPARE(Reply("no <xml").indented(), QByteArray("no <xml"));
}

void tst_orvane_client::traceHidesTheLoginsPassword()
{
    const Result<CommandRequest> login = loginRequest(u"me"_s, u"</password>geheim\n"_s);
    QVERIFY(login);
    QCOMPARE(traceOfSent(login->document + "\r\n\r\n"),
        u"> <loginClient><username>me</username><password>***</password></loginClient>\\r\\n\n> \\r\\n"_s);
    QCOMPARE(traceOfSent("<loginClient><p:password\n>geheim"), u"> <loginClient><p:password\\n\n> >***"_s);
    QCOMPARE(traceOfReceived("\x1b[2J\xff"), u"< \\x1b[2J\u00ff"_s);
}

void tst_orvane_client::commandToTheHost_data()
{
    addRows({
        {"command with a tag", "showLive|recorder=Nörd & gate|camera=3|commandtag=x", 0, "",
            R"(showLive("Nörd & gate", 3, false, -1))",
            "...<splitid>7</splitid><commandtag>x</commandtag></p:commandAccepted>\n"},
        {"value with an empty line", "setPreset|presetname=a\r\n\r\nb", 0, "", "setPreset(\"a\r\n\r\nb\")"},
        {"detail views", "setDetailViews|subsplit:id=0,rbx=0.5,rby=0.25|splitid=2|subsplit:id=1,objectid=77", 0, "",
            "setDetailViews(2, {0:[0 0 0.5 0.25]}, {1:77})"},
        {"keys in their order", "--no-reply|getPertinentInfo|b=1|a=x=y:z|s:n=a\\,b\\\\,m=\\n|c=|s:n=<\">", 0, "",
            R"(getPertinentInfo("<getPertinentInfo><b>1</b><a>x=y:z</a><ss><s n="a,b\" m="\n"/>)"
            R"(<s n="&lt;&quot;&gt;"/></ss><c></c></getPertinentInfo>"))"},
        {"indented answer", "--pretty|getRecorderList", 0, "", "getRecorderList(0 entries)",
            "...\n  <recorder name=\"Gate\" ip=\"\" usename=\"admin\""},
        {"document from standard input", "--file|-", 0, "", R"(setPreset("N"))", "...commandAccepted",
            "<setPreset><presetname>N</presetname></setPreset>\r\n"},
        {"rejection", "showTrack|recorder=R", 2,
            "showTrack was rejected: showTrack command without valid track ID or track name\n", "", "...<reason>"},
        {"answer that is no XML", "getPresetsList", 5,
            "the answer is no well-formed XML: ", "getPresetsList(0 entries)", "...<preset name=\"A & B\" />"},
        {"command that the host does not answer", "--timeout|0.3|getPertinentInfo", 3,
            "no answer to getPertinentInfo within 0.3 s\n",
            R"(getPertinentInfo("<getPertinentInfo></getPertinentInfo>"))"},
        {"no login", "--no-login|--timeout|0.3|setPreset", 3, "no answer to setPreset within 0.3 s\n"},
        {"login, which is never answered", "loginClient|username=x", 0},
        {"refresh", "updateRecorderContents", 0, "", "updateRecorderContents()", "<p:updateRecorderContentsFinished"},
        {"rejection instead of what it waits for", "--wait|news|nope", 2, "nope was rejected: Unknown command\n"},

        {"unknown option", "--bogus", 1, "...bogus"},
        {"port out of range", "--port|65536|setPreset", 1, "\"65536\""},
        {"timeout that is no number", "--timeout|nan|setPreset", 1, "\"nan\""},
        {"two kinds of trust", "--ca|x|y", 1, "--ca and --insecure"},
        {"file that is not there", "--file|nowhere.xml", 1, "...\"nowhere.xml\""},
        {"file and command", "--file|-|setPreset", 1, "\"setPreset\""},
        {"file that the host would cut in two", "--file|-", 1, "...holds an empty line", "", "", "<a>\r\n\r\n</a>"},
        {"wait without a command", "--wait|notice", 1, "--wait"},
        {"account without a password", "--user|operator|setPreset", 1, "no password for \"operator\""},
        {"command with markup of its own", "a x='1'", 1, "\"a x='1'\" is no XML name and so no command"},
        {"key that is no name", "c|1a=x", 1, "\"1a\" is no XML name and so no key"},
        {"field twice", "c|s:a=1,a=2", 1, "the field \"a\" stands twice in one group \"s\""},
        {"empty group", "c|s:", 1, "\"\" in the group \"s\" is no field: write field=value"},
        {"control character", "c|a=\x01", 1, "the value of \"a\" holds U+0001, which no XML document can hold"},
    });
}

void tst_orvane_client::commandToTheHost()
{
    QFETCH(const Run, run);
    check(run, "--insecure|");
}

void tst_orvane_client::namedAccountSeesNoCredentials()
{
    const Outcome outcome = client("--insecure|--trace|--user|operator|getRecorderList", {}, "secret");
    QVERIFY2(outcome.out.contains("<recorder name=\"Gate\" ip=\"\">"), outcome.out.constData());
    QVERIFY(outcome.err.contains("<password>***</password>"));
    QVERIFY(!outcome.err.contains("secret"));
    QCOMPARE(outcome.status, 0);
}

void tst_orvane_client::linesOfAPipe()
{
    const Outcome outcome = client("--insecure",
        "# first\n\nsetPreset presetname='A b'\r\nsetPreset oops\nsetPreset \"open\nsetPreset presetname=\xff\n"
        "nope\nupdateRecorderContents\nsetPreset presetname=C");
    QCOMPARE(session->host.calls,
        QStringList({u"setPreset(\"A b\")"_s, u"updateRecorderContents()"_s, u"setPreset(\"C\")"_s}));
    QCOMPARE(outcome.out.count('\n'), 4);
    QCOMPARE(outcome.err,
        QByteArray("orvane-client: \"oops\" is no parameter: write key=value\n"
                   "orvane-client: a quote or a backslash at the end of the line is left open\n"
                   "orvane-client: the value of \"presetname\" is not UTF-8\n"
                   "orvane-client: nope was rejected: Unknown command\n"));
    QCOMPARE(outcome.status, 1);
}

void tst_orvane_client::trust_data()
{
    addRows({
        {"self-signed certificate", "setPreset", 4,
            "the certificate of 127.0.0.1:PORT is refused: ...--fingerprint FINGERPRINT)"},
        {"shown certificate", "--show-certificate", 0, "", "", "Subject: localhost\n...fingerprint: FINGERPRINT\n"},
        {"pinned certificate", "--fingerprint|FINGERPRINT|setPreset", 0, "", "setPreset(\"\")"},
        {"pinned without colons", "--fingerprint|DIGITS|setPreset", 0, "", "setPreset(\"\")"},
        {"another one pinned",
            "--fingerprint|aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa|setPreset", 4,
            "the certificate of 127.0.0.1:PORT is refused: ...FINGERPRINT"},
        {"fingerprint too short", "--fingerprint|AB:CD|setPreset", 1, "\"AB:CD\""},
        {"certificate file", "--ca|CERTIFICATE|setPreset", 0, "", "setPreset(\"\")"},
        {"file without certificates", "--ca|/dev/null|setPreset", 1, "\"/dev/null\" holds no PEM certificate"},
    });
}

void tst_orvane_client::trust()
{
    QFETCH(const Run, run);
    check(run);
}

void tst_orvane_client::serverWithoutTls_data()
{
    addRows({
        {"is not there", "c", 4, "cannot connect to 127.0.0.1:PORT: Connection refused\n", "", "", "NOBODY"},
        {"speaks another protocol", "c", 4, "no TLS with", "", "", "HTTP/1.0 400 Bad Request\r\n\r\n"},
        {"closes at once", "c", 4, "no TLS with", "", "", "CLOSE"},
        {"never says a word", "--timeout|0.5|c", 4, "no TLS with"},
    });
}

void tst_orvane_client::serverWithoutTls()
{
    QFETCH(const Run, run);
    const QByteArray greeting = run.input;
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    port = server.serverPort();
    if (greeting == "NOBODY")
        server.close();
    connect(&server, &QTcpServer::newConnection, &server, [&] {
        QTcpSocket* const socket = server.nextPendingConnection();
        if (greeting == "CLOSE")
            socket->disconnectFromHost();
        else
            socket->write(greeting);
    });
    check(run);
}

void tst_orvane_client::serverThatMisbehaves_data()
{
    addRows({
        {"closes without an answer", "c", 3, "127.0.0.1:PORT closed the connection, no answer to c\n"},
        {"closes in the middle of its answer", "c", 3,
            "127.0.0.1:PORT closed the connection in the middle of a message, after 20 bytes\n", "", "",
            "<commandAccepted><co"},
        {"closes behind its answer", "c", 0, "", "", "<commandAccepted>",
            "<commandAccepted><commandname>c</commandname></commandAccepted>\r\n\r\n"},
        {"accepts another command first", "c", 2, "c was rejected: r\n", "", "<commandAccepted>",
            "<commandAccepted><commandname>b</commandname></commandAccepted>\r\n\r\n"
            "<commandRejected><commandname>c</commandname><reason>r</reason></commandRejected>\r\n\r\n"},
        {"accepts what asks for a list", "getPresetsList", 0, "", "", "<commandAccepted>...<getPresetsListResponse/>",
            "<commandAccepted><commandname>getPresetsList</commandname></commandAccepted>\r\n\r\n"
            "<getPresetsListResponse/>\r\n\r\n"},
        {"sends the notice of an earlier command first", "getPertinentInfo", 0, "", "", "<update...\n<anything/>\n",
            "<updateRecorderContentsFinished/>\r\n\r\n<anything/>\r\n\r\n"},
        {"accepts before what is waited for", "--wait|news|c", 0, "", "", "<commandAccepted>...<news/>",
            "<commandAccepted><commandname>c</commandname></commandAccepted>\r\n\r\n<news/>\r\n\r\n"},
        {"answers no UTF-8", "c", 5, "the answer is no well-formed XML", "", "\xff\xfe\n", "\xff\xfe\r\n\r\n"},
        {"answers nothing", "c", 5, "the answer is no well-formed XML", "", "\n", "\r\n\r\n"},
        {"binds no prefix", "getPresetsList", 5, "the answer is no well-formed XML", "", "",
            "<p:getPresetsListResponse/>\r\n\r\n"},
        {"breaks off after the name", "c", 5, "the answer is no well-formed XML", "", "",
            "<commandAccepted><commandname>c</commandname></commandAccept>\r\n\r\n"},
    });
}

/// It answers the first command behind the login, and closes.
void tst_orvane_client::serverThatMisbehaves()
{
    QFETCH(const Run, run);
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setPrivateKey(QSslKey(resource("hxkey.pem"), QSsl::Rsa));
    configuration.setLocalCertificate(QSslCertificate(resource("hxcert.pem")));
    QSslServer server;
    server.setSslConfiguration(configuration);
    QVERIFY(server.listen(QHostAddress::LocalHost));
    port = server.serverPort();
    QByteArray received;
    connect(&server, &QTcpServer::pendingConnectionAvailable, &server, [&] {
        QTcpSocket* const socket = server.nextPendingConnection();
        connect(socket, &QTcpSocket::readyRead, &server, [&, socket] {
            received += socket->readAll();
            if (received.count("\r\n\r\n") < 2)
                return;
            socket->write(run.input);
            socket->disconnectFromHost();
        });
    });
    check(run, "--insecure|");
}

QTEST_GUILESS_MAIN(tst_orvane_client)

#include "tst_orvane_client.moc"
