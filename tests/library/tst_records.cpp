#include "TestClass.h"

#include <OrvaneInterface.h>

#include <QTest>

#include <array>
#include <cstddef>
#include <new>
#include <tuple>
#include <type_traits>
#include <utility>

using RecorderEntry = OrvaneInterface::OrvaneInterface::RecorderEntry;
using PresetEntry = OrvaneInterface::OrvaneInterface::PresetEntry;

static_assert(std::is_same_v<OrvaneInterface::SubsplitRect, OrvaneInterface::OrvaneInterface::SubsplitRect>);
static_assert(!std::has_virtual_destructor_v<OrvaneInterface::OrvaneInterface>);

namespace {

// Too long for the string object itself, so a move hands over memory.
const std::string LongText = "a text that does not fit into the string object itself";

/// What a move takes; the number of channels stays.
auto contentOf(RecorderEntry& recorder)
{
    return std::tie(recorder.name, recorder.ip, recorder.userName, recorder.password, recorder.tracks);
}

auto contentOf(PresetEntry& preset)
{
    return std::tie(preset.name);
}

template <typename Record> int channelsOf(const Record& record)
{
    if constexpr (requires { record.maxNumChannels; })
        return record.maxNumChannels;
    return 0;
}

template <typename Record> void checkCopyAndMove(Record full)
{
    const Record original(full);
    const auto isFull = [&](Record record) {
        return contentOf(record) == contentOf(full) && channelsOf(record) == channelsOf(original);
    };
    alignas(Record) std::array<std::byte, sizeof(Record)> memory {};
    memory.fill(std::byte {0xFF}); // nothing in a new record is left to chance
    Record& none = *new (memory.data()) Record;
    const auto destroy = qScopeGuard([&] { none.~Record(); });
    const auto isEmpty = [&](Record& record) { return contentOf(record) == contentOf(none); };
    QVERIFY(isFull(original));
    QCOMPARE(channelsOf(none), 0);

    Record source(original);
    Record constructed(std::move(source));
    QVERIFY(isFull(constructed) && isEmpty(source)); // NOLINT(bugprone-use-after-move): what is left is the point
    Record assigned;
    contentOf(assigned) = contentOf(full); // to be replaced
    assigned = std::move(constructed);
    QVERIFY(isFull(assigned) && isEmpty(constructed)); // NOLINT(bugprone-use-after-move)
    constructed = assigned;
    QVERIFY(isFull(constructed) && isFull(assigned));

    Record& same = assigned;
    assigned = same;
    QVERIFY(isFull(assigned));
    assigned = std::move(same);
    QVERIFY(isFull(assigned)); // NOLINT(bugprone-use-after-move)
}

} // namespace

class tst_records : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void recorders();
    void presets();
};

void tst_records::recorders()
{
    RecorderEntry recorder;
    QVERIFY(contentOf(recorder) == std::make_tuple("", "", "", "", std::vector<std::string>()));
    contentOf(recorder) = std::make_tuple(LongText + '1', "10.0.0.5", LongText + '2', "pw1", std::vector {LongText});
    recorder.maxNumChannels = 16;
    checkCopyAndMove(recorder);
}

void tst_records::presets()
{
    PresetEntry preset;
    QCOMPARE(preset.name, std::string());
    preset.name = LongText;
    checkCopyAndMove(preset);
}

ORVANE_TEST(tst_records)
#include "tst_records.moc"
