#include "RecordingHost.h"

#include <type_traits>

using namespace Qt::StringLiterals;

namespace {

template <typename Value> QString printed(const Value& value)
{
    if constexpr (std::is_same_v<Value, std::string>)
        return u'"' + QString::fromStdString(value) + u'"';
    else if constexpr (std::is_same_v<Value, bool>)
        return value ? u"true"_s : u"false"_s;
    else if constexpr (std::is_floating_point_v<Value>)
        return QString::number(static_cast<double>(value));
    else
        return QString::number(value);
}

QString printed(const OrvaneInterface::SubsplitRect& rect)
{
    return u"[%1 %2 %3 %4]"_s.arg(printed(rect.ltx), printed(rect.lty), printed(rect.rbx), printed(rect.rby));
}

template <typename Value> QString printed(const std::map<int, Value>& map)
{
    QStringList entries;
    for (const auto& [id, value] : map)
        entries += QString::number(id) + u':' + printed(value);
    return u'{' + entries.join(u' ') + u'}';
}

} // namespace

template <typename... Arguments> void RecordingHost::record(const char* operation, const Arguments&... arguments)
{
    const QStringList list {printed(arguments)...};
    calls += QString::fromLatin1(operation) + u'(' + list.join(u", "_s) + u')';
    if (duringCall)
        duringCall();
}

bool RecordingHost::updateRecorderContents()
{
    record("updateRecorderContents");
    return refreshStarts;
}

void RecordingHost::getRecorderList(std::vector<RecorderEntry>& list)
{
    calls += u"getRecorderList(%1 entries)"_s.arg(list.size());
    list = recorders;
    if (duringCall)
        duringCall();
}

void RecordingHost::getPresetsList(std::vector<PresetEntry>& list)
{
    calls += u"getPresetsList(%1 entries)"_s.arg(list.size());
    list = presets;
    if (duringCall)
        duringCall();
}

void RecordingHost::showLive(std::string recorder, int camera, bool alarm, int& splitId)
{
    record("showLive", recorder, camera, alarm, splitId);
    splitId = usedSplit.value_or(splitId);
}

void RecordingHost::showLiveAtSubsplit(int splitId, int camera, int subsplitIndex)
{
    record("showLiveAtSubsplit", splitId, camera, subsplitIndex);
}

void RecordingHost::showTrackByName(std::string recorder, std::string trackName, int camera, qint64 time, bool alarm,
    int& splitId, qint64 limitStart, qint64 limitEnd)
{
    record("showTrackByName", recorder, trackName, camera, time, alarm, splitId, limitStart, limitEnd);
    splitId = usedSplit.value_or(splitId);
}

void RecordingHost::showTrackById(std::string recorder, int trackId, int camera, qint64 time, bool alarm, int& splitId,
    qint64 limitStart, qint64 limitEnd)
{
    record("showTrackById", recorder, trackId, camera, time, alarm, splitId, limitStart, limitEnd);
    splitId = usedSplit.value_or(splitId);
}

void RecordingHost::setPreset(std::string presetName)
{
    record("setPreset", presetName);
}

void RecordingHost::setSplitMode(int splitMode)
{
    record("setSplitMode", splitMode);
}

void RecordingHost::setSplitModeByName(int windowId, const std::string& commandDocument)
{
    record("setSplitModeByName", windowId, commandDocument);
}

void RecordingHost::setDetailViews(int splitId, std::map<int, SubsplitRect> rects, std::map<int, qint64> objectIds)
{
    record("setDetailViews", splitId, rects, objectIds);
}

bool RecordingHost::getPertinentInfo(const std::string& commandDocument, std::string& reply)
{
    record("getPertinentInfo", commandDocument);
    reply += answer.value_or(std::string());
    return answer.has_value();
}
