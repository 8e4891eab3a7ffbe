#include <OrvaneInterface.h>

#include <QtTest>

#include <type_traits>
#include <utility>

using RecorderEntry = OrvaneInterface::OrvaneInterface::RecorderEntry;
using PresetEntry = OrvaneInterface::OrvaneInterface::PresetEntry;

static_assert(std::is_same_v<OrvaneInterface::SubsplitRect, OrvaneInterface::OrvaneInterface::SubsplitRect>);
static_assert(!std::has_virtual_destructor_v<OrvaneInterface::OrvaneInterface>);

namespace {

// Long enough not to fit into the string object itself: a move then hands over memory.
const std::string LongText = "a text that does not fit into the string object itself";

RecorderEntry fullRecorder()
{
    RecorderEntry recorder;
    recorder.name = "name: " + LongText;
    recorder.ip = "10.0.0.5";
    recorder.userName = "user: " + LongText;
    recorder.password = "pw1";
    recorder.tracks = {"T1", LongText};
    recorder.maxNumChannels = 16;
    return recorder;
}

bool isFull(const RecorderEntry& recorder)
{
    const RecorderEntry full = fullRecorder();
    return recorder.name == full.name && recorder.ip == full.ip && recorder.userName == full.userName
        && recorder.password == full.password && recorder.tracks == full.tracks && recorder.maxNumChannels == 16;
}

bool isEmpty(const RecorderEntry& recorder)
{
    return recorder.name.empty() && recorder.ip.empty() && recorder.userName.empty() && recorder.password.empty()
        && recorder.tracks.empty();
}

} // namespace

class tst_records : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void newRecorderIsEmpty();
    void copyHasAllFields();
    void moveLeavesNothingBehind();
    void assigningToItselfChangesNothing();
    void presetsCopyAndMove();
};

void tst_records::newRecorderIsEmpty()
{
    const RecorderEntry recorder;
    QVERIFY(isEmpty(recorder));
    QCOMPARE(recorder.maxNumChannels, 0);
}

void tst_records::copyHasAllFields()
{
    const RecorderEntry original = fullRecorder();
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): the copy is the point
    const RecorderEntry constructed(original);
    RecorderEntry assigned;
    assigned = original;
    QVERIFY(isFull(constructed));
    QVERIFY(isFull(assigned));
    QVERIFY(isFull(original));
}

void tst_records::moveLeavesNothingBehind()
{
    RecorderEntry source = fullRecorder();
    RecorderEntry constructed(std::move(source));
    QVERIFY(isFull(constructed));
    QVERIFY(isEmpty(source)); // NOLINT(bugprone-use-after-move): what is left behind is the point

    RecorderEntry assigned;
    assigned.tracks = {"old"};
    assigned = std::move(constructed);
    QVERIFY(isFull(assigned));
    QVERIFY(isEmpty(constructed)); // NOLINT(bugprone-use-after-move)
}

void tst_records::assigningToItselfChangesNothing()
{
    RecorderEntry recorder = fullRecorder();
    RecorderEntry& same = recorder;
    recorder = same;
    QVERIFY(isFull(recorder));
    recorder = std::move(same);
    QVERIFY(isFull(recorder)); // NOLINT(bugprone-use-after-move)
}

void tst_records::presetsCopyAndMove()
{
    PresetEntry preset;
    QVERIFY(preset.name.empty());
    preset.name = LongText;
    PresetEntry& same = preset;
    preset = std::move(same);
    QCOMPARE(preset.name, LongText); // NOLINT(bugprone-use-after-move)

    const PresetEntry copy(preset);
    const PresetEntry moved(std::move(preset));
    QCOMPARE(copy.name, LongText);
    QCOMPARE(moved.name, LongText);
    QVERIFY(preset.name.empty()); // NOLINT(bugprone-use-after-move)

    PresetEntry assigned;
    assigned = copy;
    QCOMPARE(assigned.name, LongText);
    preset = std::move(assigned);
    QCOMPARE(preset.name, LongText);
    QVERIFY(assigned.name.empty()); // NOLINT(bugprone-use-after-move)
}

QTEST_APPLESS_MAIN(tst_records)
#include "tst_records.moc"
