#include "DemoState.h"

#include "WallHost.h"

#include <QMap>

#include <functional>

using namespace Qt::StringLiterals;

namespace {

/// 2026-11-19 14:10 UTC, in the track "Thursday".
constexpr qint64 Thursday1410 = 1'795'097'400'000;
constexpr qint64 Minute = 60'000;

void showFree(WallHost& host, const char* recorder, int camera)
{
    int splitId = -1;
    host.showLive(recorder, camera, false, splitId);
}

void showAlarm(WallHost& host, int splitId)
{
    host.showLive("North gate", 2, true, splitId);
}

void showPlayback(WallHost& host, int splitId)
{
    host.showTrackByName("Harbour basin", "Thursday", 4, Thursday1410 + 9 * Minute, false, splitId,
        Thursday1410 - 10 * Minute, Thursday1410 + 20 * Minute);
}

void showDetails(WallHost& host, int splitId)
{
    host.setDetailViews(splitId, {{0, {0.42F, 0.4F, 0.06F, 0.04F}}, {1, {0, 0.5F, 0.28F, 0.74F}}}, {{2, 4711}});
}

using Steps = std::function<void(WallHost&)>;

const QMap<QString, Steps>& states()
{
    static const QMap<QString, Steps> all {
        {u"one"_s,
            [](WallHost& host) {
                host.setSplitMode(1);
                showFree(host, "Harbour basin", 2);
            }},
        {u"four"_s, [](WallHost& host) { host.setPreset("Gates"); }},
        {u"nine"_s,
            [](WallHost& host) {
                host.setPreset("Overview");
                showAlarm(host, 4);
                showPlayback(host, 6);
            }},
        {u"sixteen"_s,
            [](WallHost& host) {
                host.setPreset("All cameras");
                showAlarm(host, 5);
                showPlayback(host, 10);
            }},
        {u"partly"_s,
            [](WallHost& host) {
                host.setSplitMode(9);
                showFree(host, "North gate", 1);
                showFree(host, "Car park", 40);
                showFree(host, "Old tower", 1);
            }},
        {u"alarm"_s,
            [](WallHost& host) {
                host.setPreset("Gates");
                showAlarm(host, 1);
            }},
        {u"playback"_s,
            [](WallHost& host) {
                host.setSplitMode(4);
                showPlayback(host, 0);
                int splitId = 1;
                host.showTrackById("Main hall", 2, 3, -1, false, splitId, 0, 0);
                splitId = 2;
                host.showTrackByName("Car park", "Sunday", 1, -1, false, splitId, 0, 0);
            }},
        {u"details"_s,
            [](WallHost& host) {
                host.setPreset("Gates");
                showDetails(host, 3);
                host.showLiveAtSubsplit(0, 3, 0);
                host.showLiveAtSubsplit(2, 2, 0);
                host.showLiveAtSubsplit(2, 3, 1);
            }},
        {u"wall"_s,
            [](WallHost& host) {
                host.setPreset("Night");
                host.setSplitModeByName(
                    0, "<setSplitMode><layoutname>one-large-seven-small</layoutname></setSplitMode>");
                showDetails(host, 0);
                showAlarm(host, 2);
                showPlayback(host, 6);
                showFree(host, "Main hall", 3);
            }},
        {u"refresh"_s,
            [](WallHost& host) {
                host.setPreset("Night");
                host.updateRecorderContents();
                host.updateRecorderContents();
            }},
    };
    return all;
}

} // namespace

QStringList DemoState::names()
{
    return states().keys();
}

void DemoState::apply(const QString& name, WallHost& host)
{
    if (const Steps steps = states().value(name))
        steps(host);
}
