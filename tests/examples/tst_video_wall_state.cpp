#include "SplitLayout.h"
#include "TilePainter.h"
#include "WallColors.h"
#include "WallReport.h"
#include "WallState.h"

#include <QImage>
#include <QPainter>
#include <QSignalSpy>
#include <QTest>
#include <QXmlStreamReader>

using namespace Qt::StringLiterals;

namespace {

const QString NorthGate = u"North gate"_s;

QImage painted(const Split& split, qint64 now = 0)
{
    QImage image(320, 180, QImage::Format_RGB32);
    image.fill(Qt::black);
    QPainter painter(&image);
    paintTile(painter, image.rect(), 0, split, now);
    return image;
}

Inset cutOut(qreal left, qreal top, qreal right, qreal bottom)
{
    Inset inset;
    inset.cutOut = QRectF(QPointF(left, top), QPointF(right, bottom));
    return inset;
}

Inset object(qint64 objectId)
{
    Inset inset;
    inset.objectId = objectId;
    return inset;
}

} // namespace

class TestVideoWallState : public QObject {
    Q_OBJECT

public:
    /// The painted text needs fonts, and so a platform, also where there is no display.
    static void initMain() { qputenv("QT_QPA_PLATFORM", "offscreen"); }

private Q_SLOTS:
    void init();
    void cleanup();

    void usesTheWantedSplit();
    void choosesTheFirstFreeSplit();
    void replacesTheOldestPictureOfAFullWallButNoAlarm();
    void clearsAnAlarmWithTheNextPicture();
    void completesWhatTheClientLeftOut();
    void showsWhyThereIsNoPicture_data();
    void showsWhyThereIsNoPicture();
    void switchesTheSplitMode_data();
    void switchesTheSplitMode();
    void readsTheLayoutNameOfADocument_data();
    void readsTheLayoutNameOfADocument();
    void leavesTheLayoutToADocumentOfNoUse();
    void dropsWhatTheNewLayoutHasNoSplitFor();
    void fillsTheWallWithAPreset();
    void leavesTheWallToAnUnknownPreset();
    void replacesTheDetailViewsOfASplit();
    void putsCutOutsInOrderAndIntoThePicture();
    void dropsViewsOfThePictureWithThePicture();
    void playsWithinTheLimits_data();
    void playsWithinTheLimits();
    void findsTracksByNameAndById();
    void refusesASecondRefresh();
    void findsARecorderAndThenTracksByRefreshing();
    void reportsWhatEachSplitShows();
    void reportsAwkwardNamesWellFormed();
    void paintsAnAlarmRed();
    void paintsAnotherPictureForAnotherCameraAndTime();
    void laysOutSplitsOfOneShapeWithoutOverlap();

private:
    int showLive(int camera, int wantedSplit, bool alarm = false)
    {
        return state->showLive({NorthGate, camera}, alarm, wantedSplit);
    }

    std::unique_ptr<WallState> state;
    std::unique_ptr<QSignalSpy> notes;
};

void TestVideoWallState::init()
{
    state = std::make_unique<WallState>();
    state->setRefreshDuration(std::chrono::milliseconds(0));
    notes = std::make_unique<QSignalSpy>(state.get(), &WallState::noted);
}

void TestVideoWallState::cleanup()
{
    notes.reset();
    state.reset();
}

void TestVideoWallState::usesTheWantedSplit()
{
    QCOMPARE(showLive(2, 3), 3);
    QCOMPARE(state->split(3).source, (CameraSource {NorthGate, 2}));
    QVERIFY(state->split(0).isFree());
    QCOMPARE(notes->size(), 0);
}

void TestVideoWallState::choosesTheFirstFreeSplit()
{
    showLive(1, 0);
    QCOMPARE(showLive(2, -1), 1);
    QCOMPARE(showLive(3, 4), 2); // the four splits end at 3
    QCOMPARE(showLive(4, -7), 3);
    QCOMPARE(notes->size(), 3);
}

void TestVideoWallState::replacesTheOldestPictureOfAFullWallButNoAlarm()
{
    showLive(1, 2, true);
    for (const int splitId : {3, 0, 1})
        showLive(1, splitId);
    QCOMPARE(showLive(5, -1), 3);
    QCOMPARE(showLive(6, -1), 0);
    QCOMPARE(state->split(2).alarm, true);
}

void TestVideoWallState::clearsAnAlarmWithTheNextPicture()
{
    showLive(1, 0, true);
    showLive(1, 0);
    QVERIFY(!state->split(0).alarm);
}

void TestVideoWallState::completesWhatTheClientLeftOut()
{
    state->showLive({QString(), -1}, false, 0);
    QCOMPARE(state->split(0).source, (CameraSource {state->recorders().first().name, 1}));
    QCOMPARE(state->split(0).fault, QString());
}

void TestVideoWallState::showsWhyThereIsNoPicture_data()
{
    QTest::addColumn<QString>("recorder");
    QTest::addColumn<int>("camera");
    QTest::addColumn<QString>("fault");

    QTest::newRow("unknown recorder") << u"Tower"_s << 1 << u"Unknown recorder"_s;
    QTest::newRow("camera 0") << NorthGate << 0 << u"Cameras are 1 to 16"_s;
    QTest::newRow("the last camera is there") << NorthGate << 16 << QString();
    QTest::newRow("one camera too far") << NorthGate << 17 << u"Cameras are 1 to 16"_s;
}

void TestVideoWallState::showsWhyThereIsNoPicture()
{
    QFETCH(QString, recorder);
    QFETCH(int, camera);

    state->showLive({recorder, camera}, false, 0);
    QTEST(state->split(0).fault, "fault");
}

void TestVideoWallState::switchesTheSplitMode_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("splits");

    QTest::newRow("one split") << 1 << 1;
    QTest::newRow("nine splits") << 9 << 9;
    QTest::newRow("sixteen splits") << 16 << 16;
    QTest::newRow("no mode 0 leaves the four splits") << 0 << 4;
    QTest::newRow("no mode 5 leaves the four splits") << 5 << 4;
}

void TestVideoWallState::switchesTheSplitMode()
{
    QFETCH(int, mode);
    QFETCH(int, splits);

    state->setSplitMode(mode);
    QCOMPARE(state->layout().splitCount(), splits);
    QCOMPARE(notes->size(), mode == splits ? 0 : 1);
}

void TestVideoWallState::readsTheLayoutNameOfADocument_data()
{
    QTest::addColumn<QString>("document");
    QTest::addColumn<QString>("name");

    QTest::newRow("child element") << "<c><windowid>1</windowid><layoutname> six </layoutname></c>"
                                   << "six";
    QTest::newRow("with a namespace") << "<p:c xmlns:p='u'><p:layoutname>six</p:layoutname></p:c>"
                                      << "six";
    QTest::newRow("the first of two") << "<c><layoutname>a</layoutname><layoutname>b</layoutname></c>"
                                      << "a";
    QTest::newRow("too deep") << "<c><d><layoutname>six</layoutname></d></c>"
                              << "";
    QTest::newRow("the root itself") << "<layoutname>six</layoutname>"
                                     << "";
    QTest::newRow("never closed") << "<c><layoutname>six</layoutname>"
                                  << "";
    QTest::newRow("rubbish after the end") << "<c><layoutname>six</layoutname></c><"
                                           << "";
    QTest::newRow("no XML") << "layoutname six"
                            << "";
    QTest::newRow("nothing") << ""
                             << "";
}

void TestVideoWallState::readsTheLayoutNameOfADocument()
{
    QFETCH(QString, document);
    QFETCH(QString, name);

    const LayoutDocument layoutDocument(document);
    QCOMPARE(layoutDocument.layoutName, name);
    QCOMPARE(layoutDocument.problem.isEmpty(), !name.isEmpty());
}

void TestVideoWallState::leavesTheLayoutToADocumentOfNoUse()
{
    state->setLayoutByDocument(u"<c><layoutname>One-Large-Five-Small</layoutname></c>"_s);
    QCOMPARE(state->layout().splitCount(), 6);
    state->setLayoutByDocument(u"<c><layoutname>seven</layoutname></c>"_s);
    state->setLayoutByDocument(u"<c"_s);
    QCOMPARE(state->layout().splitCount(), 6);
    QCOMPARE(notes->size(), 2);
}

void TestVideoWallState::dropsWhatTheNewLayoutHasNoSplitFor()
{
    showLive(1, 0);
    showLive(4, 3);
    state->showLiveAtSubsplit(0, 5, 2);
    state->showLiveAtSubsplit(3, 5, 2);
    state->setSplitMode(1);
    QCOMPARE(state->split(0).insets.value(2).live, (CameraSource {NorthGate, 5}));
    state->setSplitMode(4);
    QCOMPARE(state->split(0).insets.size(), 1);
    QVERIFY(state->split(3).isFree());
    QVERIFY(state->split(3).insets.isEmpty());
}

void TestVideoWallState::fillsTheWallWithAPreset()
{
    showLive(1, 3, true);
    for (const Preset& preset : state->presets()) {
        state->setPreset(preset.name);
        QCOMPARE(state->layout().name(), preset.layout.name());
        for (int splitId = 0; splitId < state->layout().splitCount(); ++splitId) {
            QCOMPARE(state->split(splitId).isFree(), splitId >= preset.sources.size());
            QVERIFY(!state->split(splitId).alarm);
        }
    }
    QCOMPARE(notes->size(), 0); // no preset asks for a camera that is not there
}

void TestVideoWallState::leavesTheWallToAnUnknownPreset()
{
    showLive(1, 3);
    state->setPreset(u"Nowhere"_s);
    QVERIFY(!state->split(3).isFree());
    QCOMPARE(notes->size(), 1);
}

void TestVideoWallState::replacesTheDetailViewsOfASplit()
{
    showLive(1, 0);
    state->setDetailViews(0, {{0, cutOut(0, 0, 0.5, 0.5)}, {1, object(7)}});
    state->setDetailViews(0, {{2, object(8)}});
    QCOMPARE(state->split(0).insets.keys(), QList<int> {2});
    state->setDetailViews(0, {});
    QVERIFY(state->split(0).insets.isEmpty());
    state->setDetailViews(9, {{2, object(8)}});
    QCOMPARE(notes->size(), 1);
}

void TestVideoWallState::putsCutOutsInOrderAndIntoThePicture()
{
    state->setDetailViews(
        0, {{0, cutOut(0.75, 1.5, 0.25, 0.5)}, {1, cutOut(2, 2, 3, 3)}, {2, cutOut(qInf(), 1, -qInf(), 0)}});
    QCOMPARE(state->split(0).insets.value(0).cutOut, QRectF(0.25, 0.5, 0.5, 0.5));
    QVERIFY(!state->split(0).insets.contains(1));
    QCOMPARE(state->split(0).insets.value(2).cutOut, QRectF(0, 0, 1, 1));
}

void TestVideoWallState::dropsViewsOfThePictureWithThePicture()
{
    showLive(1, 0);
    state->setDetailViews(0, {{0, object(7)}});
    state->showLiveAtSubsplit(0, 4, 1);
    showLive(1, 0, true);
    QCOMPARE(state->split(0).insets.size(), 2); // still the same camera
    showLive(2, 0);
    QCOMPARE(state->split(0).insets.keys(), QList<int> {1});
}

void TestVideoWallState::playsWithinTheLimits_data()
{
    QTest::addColumn<qint64>("time");
    QTest::addColumn<qint64>("limitStart");
    QTest::addColumn<qint64>("limitEnd");
    QTest::addColumn<qint64>("begin");
    QTest::addColumn<qint64>("afterAMinute");

    const qint64 track = 1'794'787'200'000; // Monday, 2026-11-16, 00:00 UTC
    const qint64 minute = 60'000;
    const qint64 largest = std::numeric_limits<qint64>::max();
    const qint64 latest = 253'402'300'799'999;
    QTest::newRow("from the start of the track") << qint64 {-1} << qint64 {0} << qint64 {0} << track << track + minute;
    QTest::newRow("from the start of the limits")
        << qint64 {-1} << track + 5 << track + minute << track + 5 << track + minute;
    QTest::newRow("from a time") << track + 9 << qint64 {0} << qint64 {0} << track + 9 << track + 9 + minute;
    QTest::newRow("a time before the track") << qint64 {9} << qint64 {0} << qint64 {0} << qint64 {9} << 9 + minute;
    QTest::newRow("a time before the limits") << qint64 {9} << track << qint64 {0} << track << track + minute;
    QTest::newRow("limits the wrong way round") << track << track + minute << track + 5 << track + 5 << track + minute;
    QTest::newRow("a time beyond all calendars") << largest << qint64 {0} << largest << latest << latest;
}

void TestVideoWallState::playsWithinTheLimits()
{
    QFETCH(qint64, time);
    QFETCH(qint64, limitStart);
    QFETCH(qint64, limitEnd);

    state->showPlayback({{NorthGate, 1}, u"Monday"_s, time, limitStart, limitEnd}, false, 0);
    const Playback playback = state->split(0).playback.value();
    QTEST(playback.positionAt(playback.startedAt), "begin");
    QTEST(playback.positionAt(playback.startedAt + 60'000), "afterAMinute");
}

void TestVideoWallState::findsTracksByNameAndById()
{
    state->showPlayback({{NorthGate, 1}, 2}, false, 0);
    QCOMPARE(state->split(0).playback->track, u"Tuesday (track 2)"_s);
    QCOMPARE(state->split(0).fault, QString());
    state->showPlayback({{NorthGate, 1}, 0}, false, 1);
    state->showPlayback({{NorthGate, 1}, u"Sunday"_s}, false, 2);
    QCOMPARE(state->split(1).fault, u"No track \"Track 0\""_s);
    QCOMPARE(state->split(2).fault, u"No track \"Sunday\""_s);
    showLive(1, 0);
    QVERIFY(!state->split(0).playback);
}

void TestVideoWallState::refusesASecondRefresh()
{
    QSignalSpy finished(state.get(), &WallState::refreshFinished);
    QVERIFY(state->startRefresh());
    QVERIFY(!state->startRefresh());
    QTRY_COMPARE(finished.size(), 1);
    QVERIFY(!state->isRefreshing());
    QVERIFY(state->startRefresh());
}

void TestVideoWallState::findsARecorderAndThenTracksByRefreshing()
{
    QSignalSpy finished(state.get(), &WallState::refreshFinished);
    const auto recorders = state->recorders().size();
    state->startRefresh();
    QTRY_COMPARE(finished.size(), 1);
    QCOMPARE(state->recorders().size(), recorders + 1);
    const auto tracks = state->recorders().last().tracks.size();
    state->startRefresh();
    QTRY_COMPARE(finished.size(), 2);
    QCOMPARE(state->recorders().size(), recorders + 1);
    QCOMPARE(state->recorders().last().tracks.size(), tracks + 1);
}

void TestVideoWallState::reportsWhatEachSplitShows()
{
    state->setSplitMode(1);
    showLive(2, 0, true);
    state->setDetailViews(0, {{0, cutOut(0, 0, 0.5, 0.25)}, {3, object(7)}});
    QCOMPARE(wallReport(*state, 0),
        u"<wall layout=\"one\" splits=\"1\" time=\"1970-01-01T00:00:00.000Z\">"
        "<split id=\"0\" state=\"live\" recorder=\"North gate\" camera=\"2\" alarm=\"1\">"
        "<subsplit id=\"0\" ltx=\"0\" lty=\"0\" rbx=\"0.5\" rby=\"0.25\"/>"
        "<subsplit id=\"3\" objectid=\"7\"/></split></wall>"_s);
}

void TestVideoWallState::reportsAwkwardNamesWellFormed()
{
    const QString name = u"<&>\"'\u00e9 "_s + QChar(0) + QChar(7) + QChar(0xd800) + QChar(0xffff);
    state->showLive({name, 1}, false, 0);
    state->showPlayback({{NorthGate, 1}, name}, false, 1);

    QXmlStreamReader reader(wallReport(*state, 0));
    QStringList recorders;
    while (!reader.atEnd()) {
        if (reader.readNext() == QXmlStreamReader::StartElement && reader.name() == "split"_L1)
            recorders.append(reader.attributes().value("recorder"_L1).toString());
    }
    QCOMPARE(reader.errorString(), QString());
    QCOMPARE(recorders.first(), u"<&>\"'\u00e9 \ufffd\ufffd\ufffd\ufffd"_s);
}

void TestVideoWallState::paintsAnAlarmRed()
{
    const auto frameRed = [](const QImage& image) {
        const QColor color = image.pixelColor(1, image.height() / 2);
        return color.red() - qMax(color.green(), color.blue());
    };
    showLive(1, 0);
    QVERIFY(frameRed(painted(state->split(0))) < 60);
    showLive(1, 0, true);
    for (const qint64 now : {0, 500}) // the brightest and the darkest moment of its pulse
        QVERIFY(frameRed(painted(state->split(0), now)) > 120);
}

void TestVideoWallState::paintsAnotherPictureForAnotherCameraAndTime()
{
    showLive(1, 0);
    const QImage first = painted(state->split(0));
    QVERIFY(first != painted(state->split(0), 1000));
    showLive(2, 0);
    QVERIFY(first != painted(state->split(0)));
}

void TestVideoWallState::laysOutSplitsOfOneShapeWithoutOverlap()
{
    const QRectF area(0, 0, 1600, 900);
    for (const QString& name : SplitLayout::names()) {
        const SplitLayout layout = SplitLayout::named(name).value();
        qreal covered = 0;
        for (int splitId = 0; splitId < layout.splitCount(); ++splitId) {
            const QRectF split = layout.splitRect(splitId, area, 0);
            covered += split.width() * split.height();
            QVERIFY(area.contains(split));
            QCOMPARE(split.width() / split.height(), 16.0 / 9.0);
            for (int other = 0; other < splitId; ++other)
                QVERIFY(!split.intersects(layout.splitRect(other, area, 0)));
        }
        QCOMPARE(covered, area.width() * area.height());
    }
}

QTEST_MAIN(TestVideoWallState)
#include "tst_video_wall_state.moc"
