#include "ClientModel.h"
#include "TlsClient.h"
#include "WaitFor.h"
#include "WallHost.h"
#include "WallReport.h"
#include "WallState.h"

#include <OrvaneServer.h>

#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QXmlStreamReader>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 Day = 86'400'000; // in milliseconds

/// A wall, and what a client and a user see of it.
struct Wall {
    Wall() { state.setRefreshDuration(std::chrono::milliseconds(0)); }

    /// Makes host calls: verbs and their numbers, the split first, separated by "; ".
    void play(const QString& steps)
    {
        for (const QString& step : steps.split(u"; "_s)) {
            const QString verb = step.section(u' ', 0, 0);
            const std::string text = step.section(u' ', 1).toStdString();
            const QStringList words = step.split(u' ');
            const auto number = [&words](int word) { return words.value(word).toInt(); };
            const auto part = [&words](int word) { return words.value(word).toFloat(); };
            int splitId = number(1);
            if (verb == "from"_L1)
                recorder = text;
            else if (verb == "live"_L1 || verb == "alarm"_L1)
                host.showLive(recorder, number(2), verb == "alarm"_L1, splitId);
            else if (verb == "track"_L1)
                host.showTrackById(recorder, number(2), 1, -1, true, splitId, number(3) * Day, 0);
            else if (verb == "monday"_L1)
                host.showTrackByName(recorder, "Monday", 1, -1, false, splitId, 0, 0);
            else if (verb == "subsplit"_L1)
                host.showLiveAtSubsplit(splitId, number(2), number(3));
            else if (verb == "object"_L1)
                host.setDetailViews(splitId, {}, {{number(2), number(3)}});
            else if (verb == "cut"_L1)
                host.setDetailViews(splitId, {{1, {part(2), part(3), part(4), part(5)}}}, {});
            else if (verb == "mode"_L1)
                host.setSplitMode(number(1));
            else if (verb == "document"_L1)
                host.setSplitModeByName(0, text);
            else
                host.setPreset(text);
            if (splitId != number(1))
                chosen.append(splitId);
        }
    }

    /// The answer of getPertinentInfo, without punctuation, current times, free splits, and the recorder of most
    /// pictures.
    QString report()
    {
        static const QRegularExpression left(
            uR"(<wall layout=| splits="\d+"|<split id="\d+" state="free"/>| time="[^"]*"| recorder="North gate")"
            R"(|T00:00:00\.000Z|\b(id|state|camera|recorder|track|objectid)=|</split>|</wall>|/?>|")"_s);
        std::string answer;
        if (!host.getPertinentInfo({}, answer))
            return u"no answer"_s;
        return QString::fromStdString(answer).remove(left).replace(u"<"_s, u" | "_s);
    }

    WallState state;
    WallHost host {state};
    QSignalSpy notes {&state, &WallState::noted};
    QSignalSpy calls {&host, &WallHost::called};
    QSignalSpy displayCalls {&host, &WallHost::displayCalled};
    QList<int> chosen; ///< the splits that clients are told instead of the wanted ones
    std::string recorder = "North gate";
};

/// The wall's list of clients: account, address, encrypted; separated by "; ".
QString listed(const ClientModel& clients)
{
    QStringList rows;
    for (int row = 0; row < clients.rowCount(); ++row) {
        const auto text = [&](int role) { return clients.index(row).data(role).toString(); };
        rows.append(u"%1 %2 %3"_s.arg(
            text(ClientModel::AccountRole), text(ClientModel::AddressRole), text(ClientModel::EncryptedRole)));
    }
    return rows.join(u"; "_s);
}

} // namespace

class TestVideoWallState : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void showsWhatClientsAskFor_data();
    void showsWhatClientsAskFor();
    void reportsUnusualNamesWellFormed();
    void listsClientsAndNamesAsker();
    void survivesDestructionOfClientModel();
};

void TestVideoWallState::showsWhatClientsAskFor_data()
{
    QTest::addColumn<QString>("steps");
    QTest::addColumn<QList<int>>("chosen");
    QTest::addColumn<int>("notes");
    QTest::addColumn<QString>("report");
    const auto row = [](const char* name, const char* steps, const QList<int>& chosen, int notes, const char* report) {
        QTest::newRow(name) << QString::fromLatin1(steps) << chosen << notes << QString::fromLatin1(report);
    };

    row("the wanted split", "live 3 2", {}, 0, "four | split 3 live 2");
    row("the first free one of four splits", "live 0 1; live -1 2; live 4 3; live -7 4", {1, 2, 3}, 3,
        "four | split 0 live 1 | split 1 live 2 | split 2 live 3 | split 3 live 4");
    row("the oldest picture of a full wall", "alarm 2 1; live 3 1; live 0 1; live 1 1; live -1 5; live -1 6; live -1 7",
        {3, 0, 1}, 3, "four | split 0 live 6 | split 1 live 7 | split 2 live 1 alarm=1 | split 3 live 5");
    row("the next picture ends alarm, fault and playback", "alarm 0 17; monday 0; live 0 1", {}, 1,
        "four | split 0 live 1");
    row("cameras that do not exist", "live 0 0; live 1 16; live 2 17; from Tower; live 3 1", {}, 3,
        "four | split 0 live 0 fault=Cameras are 1 to 16 | split 1 live 16 | split 2 live 17 fault=Cameras are 1 to 16 "
        "| split 3 live Tower 1 fault=Unknown recorder");

    row("sub-splits show the split's recorder", "from Car park; live 0 1; subsplit 0 8 2; subsplit 0 9 3", {}, 0,
        "four | split 0 live Car park 1 | subsplit 2 Car park 8 | subsplit 3 Car park 9 fault=Cameras are 1 to 8");
    row("detail views follow", "live 0 1; cut 0 0 0 1 1; object 0 2 8; object 9 2 8; object 1 2 8; cut 1", {}, 2,
        "four | split 0 live 1 | subsplit 2 8");
    row("cut-outs outside any picture", "cut 0 inf 1 -inf 0; cut 1 2 2 3 3; cut 2 nan 0 1 1", {}, 2,
        "four | split 0 free | subsplit 1 ltx=0 lty=0 rbx=1 rby=1");
    row("another camera ends the views of the picture", "live 0 1; object 0 0 7; subsplit 0 4 1; live 0 2", {}, 0,
        "four | split 0 live 2 | subsplit 1 4");

    row("the last track by its number, from a limit", "track 0 4 20775", {}, 0,
        "four | split 0 playback 1 alarm=1 | playback Thursday (track 4) start=2026-11-18 end=2026-11-20");
    row("tracks that do not exist", "track 0 -1; track 0 0; track 0 5", {}, 3,
        "four | split 0 playback 1 fault=No track &quot;Track 5&quot; alarm=1 | playback Track 5 start=1970-01-01 "
        "end=1970-01-01");

    row("modes that do not exist", "mode 0; mode 5", {}, 2, "four");
    row("layout in a child", "document <c><windowid>1</windowid><layoutname> Nine </layoutname></c>", {}, 0, "nine");
    row("too deep", "document <c><d><layoutname>nine</layoutname></d></c>", {}, 1, "four");
    row("not XML", "document layoutname nine", {}, 1, "four");

    row("a preset replaces everything", "preset Overview; alarm 3 1; object 0 0 7; preset Gates", {}, 0,
        "four | split 0 live 1 | split 1 live 2 | split 2 live Car park 1 | split 3 live Harbour basin 7");
}

void TestVideoWallState::showsWhatClientsAskFor()
{
    QFETCH(QString, steps);
    Wall wall;
    wall.play(steps);
    QCOMPARE(wall.calls.size(), wall.displayCalls.size());
    QTEST(static_cast<int>(wall.notes.size()), "notes");
    QTEST(wall.chosen, "chosen");
    QTEST(wall.report(), "report");
}

void TestVideoWallState::reportsUnusualNamesWellFormed()
{
    const QString name = u"<&>\"'\u00e9 "_s + QChar(0) + QChar(7) + QChar(0xffff);
    Wall wall;
    wall.play(u"from "_s + QString(300, u'x') + u"; live 1 1"_s);
    wall.state.showLive({name, 1}, false, 0);
    wall.state.showPlayback({{u"North gate"_s, 1}, name}, false, 2);
    QXmlStreamReader reader(wallReport(wall.state, 0));
    QStringList recorders;
    while (!reader.atEnd()) {
        if (reader.readNext() == QXmlStreamReader::StartElement && reader.name() == "split"_L1)
            recorders.append(reader.attributes().value("recorder"_L1).toString());
    }
    QCOMPARE(reader.errorString(), QString());
    QCOMPARE(recorders.first(), u"<&>\"'\u00e9 \ufffd\ufffd\ufffd"_s);
    QCOMPARE(recorders.at(1), QString(200, u'x')); // the wall cuts longer names
}

void TestVideoWallState::listsClientsAndNamesAsker()
{
    Wall wall;
    ClientModel clients;
    auto server = std::make_unique<OrvaneInterface::OrvaneServer>(&wall.host, 0, u"<b>A\nB"_s, u"secret"_s, nullptr);
    clients.follow(*server);
    server->listen();
    QString asker;
    connect(&wall.host, &WallHost::called, &clients, [&] { asker = clients.asker(); });
    const auto becomes = [&clients](const QString& list) { return waitFor([&] { return listed(clients) == list; }); };

    TlsClient client;
    client.connectToPort(server->serverPort());
    QVERIFY(waitFor([&clients] { return listed(clients).startsWith("Not logged in 127.0.0.1 "_L1); }));
    client.login("&lt;b&gt;A\nB", "secret");
    QVERIFY2(becomes(u"<b>A B 127.0.0.1 true"_s), qPrintable(listed(clients)));
    {
        TlsClient orvane;
        orvane.connectToPort(server->serverPort());
        orvane.loginAsOrvane();
        QVERIFY2(becomes(u"<b>A B 127.0.0.1 true; Orvane 127.0.0.1 true"_s), qPrintable(listed(clients)));
        orvane.send("<setPreset/>");
        QVERIFY(waitFor([&] { return !asker.isEmpty(); }));
        QCOMPARE(asker, u"127.0.0.1 \u00b7 Orvane"_s);
        wall.host.setPreset({}); // by the wall itself
        QCOMPARE(asker, QString());
    }
    QVERIFY2(becomes(u"<b>A B 127.0.0.1 true"_s), qPrintable(listed(clients)));
    server.reset();
    QCOMPARE(listed(clients), QString());
    QCOMPARE(clients.asker(), QString());
}

void TestVideoWallState::survivesDestructionOfClientModel()
{
    Wall wall;
    OrvaneInterface::OrvaneServer server(&wall.host, 0, u"operator"_s, u"secret"_s, nullptr);
    std::make_unique<ClientModel>()->follow(server);
    server.listen();
    TlsClient client;
    client.connectToPort(server.serverPort());
    client.loginAsOrvane();
    client.send("<setPreset/>");
    QVERIFY(waitFor([&] { return wall.calls.size() == 1; }));
}

QTEST_GUILESS_MAIN(TestVideoWallState)
#include "tst_video_wall_state.moc"
