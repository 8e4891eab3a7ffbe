#include "LogCapture.h"
#include "Session.h"

#include <QtTest>

using namespace Qt::StringLiterals;

/// The commands as a client sees them over TLS, and as the host and the log see them.
class tst_commands : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void callTheHostAndReply_data();
    void callTheHostAndReply();
    void reportTheSplitThatTheHostUsed_data();
    void reportTheSplitThatTheHostUsed();
    void handTheWholeDocumentToTheHost();
    void listRecordersForEachAccount();
    void listPresets();
    void answerQueriesAsTheHostWishes_data();
    void answerQueriesAsTheHostWishes();
    void logInWithEitherAccount_data();
    void logInWithEitherAccount();
    void acceptAnEmptyAccount();
    void neverTryTheSystemAccountsNameElsewhere();
    void keepALogin();
    void areLogged();
    void areRefusedWhole_data();
    void areRefusedWhole();
    void areIgnoredWithoutHost();
};

namespace {

QByteArray longAcceptance(const QByteArray& content)
{
    return reply("commandAccepted", content);
}

RecordingHost::RecorderEntry recorderEntry(
    const char* name, const char* password, int channels, const std::vector<std::string>& tracks)
{
    RecordingHost::RecorderEntry entry;
    entry.name = name;
    entry.ip = "10.0.0.5";
    entry.userName = "admin";
    entry.password = password;
    entry.maxNumChannels = channels;
    entry.tracks = tracks;
    return entry;
}

} // namespace

/// What the exchanges of the protocol document do not show.
void tst_commands::callTheHostAndReply_data()
{
    QTest::addColumn<QByteArray>("document");
    QTest::addColumn<QString>("call"); // empty: the host is not asked
    QTest::addColumn<QByteArray>("expected");

    const auto row = [](const char* name, const QByteArray& document, const char* call, const QByteArray& expected) {
        QTest::newRow(name) << document << QString::fromUtf8(call) << expected;
    };

    row("showLive with everything",
        "<p:showLive xmlns:p='urn:x'><commandtag>a&lt;b</commandtag><alarm>-2</alarm><splitid>0x0A</splitid>"
        "<camera>0x10</camera><recorder>T\u00fcr \u2603</recorder></p:showLive>",
        "showLive(\"T\u00fcr \u2603\", 16, true, 10)",
        longAcceptance("<command>showLive</command><splitid>10</splitid><commandtag>a&lt;b</commandtag>"));
    row("showLive with texts that are no numbers",
        "<showLive><splitid>x</splitid><camera></camera><alarm>on</alarm></showLive>", R"(showLive("", -1, false, 0))",
        longAcceptance("<command>showLive</command><splitid>0</splitid>"));

    row("showTrack by id",
        "<showTrack><recorder>R</recorder><trackid>0x10</trackid><track>T</track><limitstart>5</limitstart>"
        "<limitend>6</limitend><alarm>-2</alarm></showTrack>",
        R"(showTrackById("R", 16, -1, -1, true, -1, 5, 6))",
        longAcceptance("<command>showTrack</command><splitid>-1</splitid>"));
    row("showTrack by name with 64-bit times",
        "<showTrack><track>T 1</track><time>9007199254740993</time><limitstart>-9223372036854775808</limitstart>"
        "<limitend>9223372036854775807</limitend><camera>3</camera><alarm>1</alarm><splitid>2</splitid>"
        "<commandtag>t</commandtag></showTrack>",
        R"(showTrackByName("", "T 1", 3, 9007199254740993, true, 2, -9223372036854775808, 9223372036854775807))",
        longAcceptance("<command>showTrack</command><splitid>2</splitid><commandtag>t</commandtag>"));
    row("showTrack takes times as decimal only",
        "<showTrack><track> </track><time>0x10</time><limitstart>0x1</limitstart><limitend>1e3</limitend></showTrack>",
        R"(showTrackByName("", " ", -1, 0, false, -1, 0, 0))",
        longAcceptance("<command>showTrack</command><splitid>-1</splitid>"));

    row("setPreset", "<setPreset><presetname>N\u00e4ht</presetname></setPreset>", "setPreset(\"N\u00e4ht\")",
        shortAcceptance("setPreset"));
    row("setPreset without name", "<setPreset><commandtag>t</commandtag></setPreset>", R"(setPreset(""))",
        shortAcceptance("setPreset"));

    row("setSplitMode has no hexadecimal form", "<setSplitMode><splitmode>0x3</splitmode></setSplitMode>",
        "setSplitMode(0)", shortAcceptance("setSplitMode"));
    row("setSplitMode below zero goes by the document", "<setSplitMode><splitmode>-2</splitmode></setSplitMode>",
        R"(setSplitModeByName(-1, "<setSplitMode><splitmode>-2</splitmode></setSplitMode>"))",
        shortAcceptance("setSplitMode"));

    row("setDetailViews with both kinds, ordered by id",
        "<setDetailViews><splitid>0x10</splitid><subsplits>\r\n<subsplit id='5' ltx='0.25' lty='0' rbx='1' rby='.5'/>"
        "<subsplit id='1' objectid='-9007199254740993' ltx='0' lty='0' rbx='1' rby='1'/>"
        "<subsplit id='0' ltx='0.5' lty='0.5' rbx='0.25' rby='0.125'/></subsplits></setDetailViews>",
        "setDetailViews(16, {0:[0.5 0.5 0.25 0.125] 5:[0.25 0 1 0.5]}, {1:-9007199254740993})",
        shortAcceptance("setDetailViews"));
    row("setDetailViews leaves out rectangles without extent",
        "<setDetailViews><subsplits><subsplit id='0' rbx='0.5'/><subsplit id='1'/>"
        "<subsplit id='2' ltx='1' rby='1'/><subsplit id='3' ltx='nan' rbx='1' rby='1'/>"
        "<subsplit id='4' objectid='0' rbx='1' rby='1'/><subsplit id='5' rbx='1e-30' rby='1e-30'/></subsplits>"
        "</setDetailViews>",
        "setDetailViews(-1, {4:[0 0 1 1]}, {})", shortAcceptance("setDetailViews"));
    row("setDetailViews takes malformed numbers as zero",
        "<setDetailViews><subsplits><subsplit id='0x10' objectid='x' ltx='a' rbx='1' rby='1'/></subsplits>"
        "</setDetailViews>",
        "setDetailViews(-1, {0:[0 0 1 1]}, {})", shortAcceptance("setDetailViews"));
    row("setDetailViews with one id twice",
        "<setDetailViews><subsplits><subsplit id='1' objectid='5'/><subsplit id='1' objectid='6'/>"
        "<subsplit id='1' rbx='1' rby='1'/><subsplit id='1' rbx='2' rby='0'/></subsplits></setDetailViews>",
        "setDetailViews(-1, {1:[0 0 1 1]}, {1:6})", shortAcceptance("setDetailViews"));

    row("showLiveAtSubsplit",
        "<showLiveAtSubsplit><subsplit>2</subsplit><splitid>5</splitid><camera>0x10</camera></showLiveAtSubsplit>",
        "showLiveAtSubsplit(5, 16, 2)", shortAcceptance("showLiveAtSubsplit"));
    row("showLiveAtSubsplit with nothing", "<showLiveAtSubsplit/>", "showLiveAtSubsplit(-1, -1, -1)",
        shortAcceptance("showLiveAtSubsplit"));

    row("a command in other capitals", "<getrecorderlist/>", "", rejection("getrecorderlist", "Unknown command"));
    row("bytes that are no UTF-8", "<\xff\xfe/>", "", rejection("", "Unknown command"));
}

void tst_commands::callTheHostAndReply()
{
    QFETCH(const QByteArray, document);
    QFETCH(const QString, call);
    QFETCH(const QByteArray, expected);

    Session session;
    const auto client = session.orvaneClient();
    QVERIFY(client);
    client->send(document);
    client->send(LastCommand);
    QTRY_COMPARE(client->received, expected + LastReply);
    QCOMPARE(session.host.calls, call.isEmpty() ? QStringList() : QStringList(call));
}

void tst_commands::reportTheSplitThatTheHostUsed_data()
{
    QTest::addColumn<QByteArray>("document");
    QTest::addColumn<QByteArray>("command");

    QTest::newRow("showLive, no split given") << QByteArray("<showLive/>") << QByteArray("showLive");
    QTest::newRow("showLive, another split given")
        << QByteArray("<showLive><splitid>0x7</splitid></showLive>") << QByteArray("showLive");
    QTest::newRow("showTrack by id") << QByteArray("<showTrack><trackid>1</trackid></showTrack>")
                                     << QByteArray("showTrack");
    QTest::newRow("showTrack by name") << QByteArray("<showTrack><splitid>7</splitid><track>1</track></showTrack>")
                                       << QByteArray("showTrack");
}

void tst_commands::reportTheSplitThatTheHostUsed()
{
    QFETCH(const QByteArray, document);
    QFETCH(const QByteArray, command);

    Session session;
    session.host.usedSplit = 3;
    const auto client = session.orvaneClient();
    QVERIFY(client);
    client->send(document);
    QTRY_COMPARE(client->received, longAcceptance("<command>" + command + "</command><splitid>3</splitid>"));
}

void tst_commands::handTheWholeDocumentToTheHost()
{
    // Character for character: white space, comments, quotes and all, even the line break left from the message before.
    const QByteArray byName = "\r\n<setSplitMode note='1'>\n <!-- \u00e9 --><windowid>0x10</windowid></setSplitMode>\n";
    const QByteArray query = "\n<getPertinentInfo> <paramvalue>\t<q/></paramvalue>  broken";

    Session session;
    const auto client = session.orvaneClient();
    QVERIFY(client);
    client->send(byName);
    client->send(query);
    QTRY_COMPARE(session.host.calls.size(), 2);
    QCOMPARE(session.host.calls.first(), u"setSplitModeByName(16, \"%1\")"_s.arg(QString::fromUtf8(byName)));
    QCOMPARE(session.host.calls.last(), u"getPertinentInfo(\"%1\")"_s.arg(QString::fromUtf8(query)));
}

void tst_commands::listRecordersForEachAccount()
{
    Session session;
    session.host.recorders = {recorderEntry("R1", "pw1", 16, {"T1", "T\u00fcr 2"}), recorderEntry("R&<2", "", -1, {})};
    const auto orvane = session.orvaneClient();
    const auto thirdParty = session.connectedClient();
    QVERIFY(orvane && thirdParty);
    thirdParty->login("operator", "secret");
    orvane->send("<getRecorderList/>");
    thirdParty->send("<getRecorderList/>");

    QTRY_COMPARE(orvane->received,
        reply("getRecorderListResponse",
            "<recorder name=\"R1\" ip=\"10.0.0.5\" usename=\"admin\" password=\"pw1\" maxnumchannels=\"16\">"
            "<track name=\"T1\" /><track name=\"T\u00fcr 2\" /></recorder>"
            "<recorder name=\"R&<2\" ip=\"10.0.0.5\" usename=\"admin\" password=\"\" "
            "maxnumchannels=\"-1\"></recorder>"));
    QTRY_COMPARE(thirdParty->received,
        reply("getRecorderListResponse",
            "<recorder name=\"R1\" ip=\"10.0.0.5\"><track name=\"T1\" /><track name=\"T\u00fcr 2\" /></recorder>"
            "<recorder name=\"R&<2\" ip=\"10.0.0.5\"></recorder>"));

    session.host.recorders.clear();
    orvane->received.clear();
    orvane->send("<getRecorderList/>");
    QTRY_COMPARE(orvane->received, reply("getRecorderListResponse", ""));
    QCOMPARE(session.host.calls.last(), u"getRecorderList(0 entries)"_s);
}

void tst_commands::listPresets()
{
    Session session;
    const auto client = session.orvaneClient();
    QVERIFY(client);
    client->send("<getPresetsList/>");
    QTRY_COMPARE(client->received, reply("getPresetsListResponse", ""));

    session.host.presets.resize(2);
    session.host.presets[0].name = "Day";
    session.host.presets[1].name = "N\u00e4cht";
    client->received.clear();
    client->send("<getPresetsList>"); // breaks off, and is carried out all the same
    QTRY_COMPARE(
        client->received, reply("getPresetsListResponse", "<preset name=\"Day\" /><preset name=\"N\u00e4cht\" />"));
}

void tst_commands::answerQueriesAsTheHostWishes_data()
{
    QTest::addColumn<bool>("answered");
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QByteArray>("expected");

    QTest::newRow("as it is") << true << QByteArray("<a>&\u00e9") << QByteArray("<a>&\u00e9\r\n\r\n");
    QTest::newRow("with its own terminator") << true << QByteArray("<a/>\r\n\r\n") << QByteArray("<a/>\r\n\r\n");
    QTest::newRow("up to the first NUL") << true << QByteArrayLiteral("<a/>\0<b/>") << QByteArray("<a/>\r\n\r\n");
    QTest::newRow("empty") << true << QByteArray() << QByteArray("\r\n\r\n");
    QTest::newRow("not at all") << false << QByteArray() << QByteArray();
}

void tst_commands::answerQueriesAsTheHostWishes()
{
    QFETCH(const bool, answered);
    QFETCH(const QByteArray, answer);
    QFETCH(const QByteArray, expected);

    Session session;
    if (answered)
        session.host.answer = answer.toStdString();
    const auto client = session.orvaneClient();
    QVERIFY(client);
    client->send("<getPertinentInfo/>");
    client->send(LastCommand);
    QTRY_COMPARE(client->received, expected + LastReply);
}

void tst_commands::logInWithEitherAccount_data()
{
    QTest::addColumn<QByteArray>("login");
    QTest::addColumn<bool>("loggedIn");
    QTest::addColumn<QString>("logged"); // after the command's name

    const QString invalid = u"3rd Party connection over Orvane interface: login invalid"_s;
    const auto row = [](const char* name, const QByteArray& user, const QByteArray& password, bool loggedIn,
                         const QString& logged) {
        QTest::newRow(name) << "<loginClient><username>" + user + "</username><password>" + password
                + "</password></loginClient>"
                            << loggedIn << logged;
    };
    row("system account", "Orvane", "157b25b09a99c70fc75a6e79412a00b2", true, u"This is Orvane"_s);
    row("system account, password in capitals", "Orvane", "157B25B09A99C70FC75A6E79412A00B2", false, invalid);
    row("system account, the other account's password", "Orvane", "secret", false, invalid);
    row("system account, name in small letters", "orvane", "157b25b09a99c70fc75a6e79412a00b2", false, invalid);
    row("the host's account", "operator", "secret", true, QString());
    row("the host's account, other capitals", "Operator", "secret", false, invalid);
    row("the host's account, more than the password", "operator", "secret ", false, invalid);
    QTest::newRow("nothing given") << QByteArray("<loginClient/>") << false << invalid;
}

void tst_commands::logInWithEitherAccount()
{
    QFETCH(const QByteArray, login);
    QFETCH(const bool, loggedIn);
    QFETCH(const QString, logged);

    Session session;
    const auto client = session.connectedClient();
    QVERIFY(client);
    QTRY_COMPARE(session.server->findChildren<QSslSocket*>().size(), 1);

    const LogCapture log;
    client->send("<foo/>"); // before the login: logged, and no word about it
    client->send(login);
    client->send("<setPreset/>");
    QStringList expected {u"OrvaneConnection received command:"_s, u"\"<foo/>\""_s,
        u"OrvaneConnection received command:"_s, u"\"loginClient\""_s};
    if (!logged.isEmpty())
        expected += logged;
    expected += {u"OrvaneConnection received command:"_s, u"\"<setPreset/>\""_s};
    QStringList lines;
    QTRY_COMPARE((lines += LogCapture::take()), expected);

    QCOMPARE(session.host.calls.size(), loggedIn ? 1 : 0);
    QTRY_COMPARE(client->received, loggedIn ? shortAcceptance("setPreset") : QByteArray());
}

void tst_commands::acceptAnEmptyAccount()
{
    RecordingHost host;
    OrvaneInterface::OrvaneServer server(&host, freePort(), QString(), QString(), nullptr);
    server.startListeningForConnection();
    TlsClient client;
    client.connectToPort(server.serverPort());
    client.send("<loginClient/>");
    client.send("<setPreset/>");
    QTRY_COMPARE(client.received, shortAcceptance("setPreset"));
}

void tst_commands::neverTryTheSystemAccountsNameElsewhere()
{
    RecordingHost host;
    OrvaneInterface::OrvaneServer server(&host, freePort(), u"Orvane"_s, u"secret"_s, nullptr);
    server.startListeningForConnection();
    TlsClient client;
    client.connectToPort(server.serverPort());
    client.login("Orvane", "secret");
    client.send("<setPreset/>");
    client.loginAsOrvane();
    client.send(LastCommand);
    QTRY_COMPARE(client.received, LastReply);
}

void tst_commands::keepALogin()
{
    Session session;
    const auto client = session.orvaneClient();
    QVERIFY(client);
    const LogCapture log;
    client->login("Orvane", "wrong");
    client->login("operator", "wrong");
    client->send("<setPreset/>");
    QTRY_COMPARE(client->received, shortAcceptance("setPreset"));
    QCOMPARE(LogCapture::take().filter(u"This is Orvane"_s).size(), 3);
}

void tst_commands::areLogged()
{
    const QString received = u"OrvaneConnection received command:"_s;
    Session session;
    const auto client = session.orvaneClient();
    QVERIFY(client);
    client->send(LastCommand);
    QTRY_COMPARE(client->received, LastReply);

    const LogCapture log;
    client->send("");
    client->send("<foo a=\"1\">\n\u00e9</foo>");
    client->send("<showTrack/>");
    client->send(LastCommand);
    QTRY_VERIFY(client->received.endsWith(LastReply) && client->received.size() > LastReply.size());
    const QStringList expected {received, // and nothing more for an empty message
        received, uR"("<foo a=\"1\">\n)"_s + QChar(0xe9) + uR"(</foo>")"_s,
        u"Received unknown Orvane command:"_s, //
        received, u"\"<showTrack/>\""_s,
        u"OrvaneInterface: received showTrack command without valid track ID or track name!"_s, //
        received, u"\"<theLast/>\""_s, u"Received unknown Orvane command:"_s};
    QCOMPARE(LogCapture::take(), expected);
}

void tst_commands::areRefusedWhole_data()
{
    QTest::addColumn<QByteArray>("document");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("reason");

    QByteArray attributes;
    for (int number = 0; number < 1025; ++number)
        attributes += " a" + QByteArray::number(number) + "='1'";
    const QByteArray tooMany = "One of its elements has too many attributes";
    QTest::newRow("a split mode behind too many attributes")
        << "<setSplitMode><layout" + attributes + "/><splitmode>4</splitmode></setSplitMode>"
        << QByteArray("setSplitMode") << tooMany;
    QTest::newRow("the third of five subsplits has too many attributes")
        << "<setDetailViews><subsplits><subsplit id='0' objectid='1'/><subsplit id='1' objectid='1'/><subsplit id='2'"
            + attributes
            + "/><subsplit id='3' objectid='1'/><subsplit id='4' objectid='1'/></subsplits></setDetailViews>"
        << QByteArray("setDetailViews") << tooMany;
    QTest::newRow("a query with too much depth")
        << "<getPertinentInfo>" + QByteArray("<a>").repeated(2000) + QByteArray("</a>").repeated(2000)
            + "</getPertinentInfo>"
        << QByteArray("getPertinentInfo") << QByteArray("Its elements are nested too deep");
    QTest::newRow("a login with a password and too many attributes")
        << "<loginClient><username>operator</username><password>secret</password><a" + attributes + "/></loginClient>"
        << QByteArray("loginClient") << tooMany;
    QTest::newRow("a login whose root element has too many attributes")
        << "<loginClient" + attributes + "><username>operator</username><password>secret</password></loginClient>"
        << QByteArray() << tooMany;
    QTest::newRow("a document type with entities made of entities")
        << QByteArray("<!DOCTYPE a [<!ENTITY e 'secret'><!ENTITY f '&e;&e;&e;'>]><getPresetsList>&f;</getPresetsList>")
        << QByteArray() << QByteArray("A reference or markup in its document type declaration");
}

void tst_commands::areRefusedWhole()
{
    QFETCH(const QByteArray, document);
    QFETCH(const QByteArray, name);
    QFETCH(const QByteArray, reason);

    Session session;
    const auto client = session.connectedClient();
    QVERIFY(client);
    QTRY_COMPARE(session.server->findChildren<QSslSocket*>().size(), 1);

    const LogCapture log;
    client->send(document); // before the login: no word about it, and no login
    client->send(LastCommand);
    client->loginAsOrvane();
    client->send(document);
    client->send(LastCommand);
    QTRY_COMPARE(client->received, rejection(name, reason) + LastReply);

    QCOMPARE(session.host.calls, QStringList());
    const QStringList lines = LogCapture::take();
    QCOMPARE(lines.count("OrvaneConnection refused a document: "_L1 + QLatin1String(reason)), 2);
    QVERIFY(lines.filter(u"secret"_s).isEmpty());
}

void tst_commands::areIgnoredWithoutHost()
{
    const LogCapture log;
    OrvaneInterface::OrvaneServer server(nullptr, freePort(), QString(), QString(), nullptr);
    server.startListeningForConnection();
    TlsClient client;
    client.connectToPort(server.serverPort());
    client.loginAsOrvane();
    client.send("<foo/>");
    QStringList lines;
    QTRY_COMPARE((lines += LogCapture::take()).filter(u"received command"_s).size(), 2);
    QCOMPARE(lines.size(), 3); // the first one tells of the connection
    QCOMPARE(client.received, QByteArray());
}

QTEST_GUILESS_MAIN(tst_commands)
#include "tst_commands.moc"
