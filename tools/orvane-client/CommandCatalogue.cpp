#include "CommandCatalogue.h"

#include <algorithm>

namespace OrvaneClient {

namespace {

constexpr CommandKey Recorder {QLatin1String("recorder"), QLatin1String("name of the recorder (default: empty)")};
constexpr CommandKey SplitId {QLatin1String("splitid"), QLatin1String("split to use (default: -1, none given)")};
constexpr CommandKey Camera {QLatin1String("camera"), QLatin1String("number of the camera (default: -1, none given)")};
constexpr CommandKey Alarm {QLatin1String("alarm"), QLatin1String("not 0: show it as an alarm (default: 0)")};
constexpr CommandKey CommandTag {
    QLatin1String("commandtag"), QLatin1String("text of yours that comes back in the answer (default: none)")};

std::vector<KnownCommand> makeKnownCommands()
{
    const QLatin1String accepted("commandAccepted");
    return {
        {LoginCommand, QLatin1String("log in; a host never answers it"), AnswerKind::Never, {},
            {{QLatin1String("username"), QLatin1String("the account (default: empty)")},
                {QLatin1String("password"), QLatin1String("its password (default: empty)")}}},
        {QLatin1String("updateRecorderContents"),
            QLatin1String("refresh the recorder list; answered by a notice when it is done"), AnswerKind::LaterNotice,
            RefreshFinishedNotice, {}},
        {QLatin1String("getRecorderList"), QLatin1String("list the recorders with their tracks"), AnswerKind::AtOnce,
            QLatin1String("getRecorderListResponse"), {}},
        {QLatin1String("getPresetsList"), QLatin1String("list the presets"), AnswerKind::AtOnce,
            QLatin1String("getPresetsListResponse"), {}},
        {QLatin1String("showLive"), QLatin1String("show the live picture of a camera in a split"), AnswerKind::AtOnce,
            accepted, {Recorder, SplitId, Camera, Alarm, CommandTag}},
        {QLatin1String("showTrack"), QLatin1String("play back a recorded track in a split"), AnswerKind::AtOnce,
            accepted,
            {Recorder, {QLatin1String("trackid"), QLatin1String("id of the track; wins over its name")},
                {QLatin1String("track"), QLatin1String("name of the track; one of the two is needed")}, SplitId, Camera,
                {QLatin1String("time"), QLatin1String("where to start, in the host's unit (default: -1)")},
                {QLatin1String("limitstart"), QLatin1String("begin of the range, in the host's unit (default: 0)")},
                {QLatin1String("limitend"), QLatin1String("end of the range, in the host's unit (default: 0)")}, Alarm,
                CommandTag}},
        {QLatin1String("setPreset"), QLatin1String("apply a preset"), AnswerKind::AtOnce, accepted,
            {{QLatin1String("presetname"), QLatin1String("name of the preset (default: empty)")}}},
        {QLatin1String("setSplitMode"), QLatin1String("change how a window is divided into splits"), AnswerKind::AtOnce,
            accepted,
            {{QLatin1String("splitmode"),
                 QLatin1String("decimal number of the mode (default: -1); below 0 the host reads the whole document")},
                {QLatin1String("windowid"), QLatin1String("window, used with a splitmode below 0 (default: -1)")}}},
        {QLatin1String("setDetailViews"), QLatin1String("show exactly these detail views inside a split"),
            AnswerKind::AtOnce, accepted, {SplitId},
            {{QLatin1String("id"), QLatin1String("sub-split, 0 or more; a view without one ends the list")},
                {QLatin1String("objectid"), QLatin1String("tracked object (default: 0, show the rectangle)")},
                {QLatin1String("ltx"), QLatin1String("x of the rectangle's left-top corner (default: 0)")},
                {QLatin1String("lty"), QLatin1String("y of the left-top corner (default: 0)")},
                {QLatin1String("rbx"), QLatin1String("x of the right-bottom corner (default: 0)")},
                {QLatin1String("rby"), QLatin1String("y of the right-bottom corner (default: 0)")}}},
        {QLatin1String("showLiveAtSubsplit"), QLatin1String("show the live picture of a camera in a sub-split"),
            AnswerKind::AtOnce, accepted,
            {SplitId, {QLatin1String("subsplit"), QLatin1String("sub-split to use (default: -1, none given)")},
                Camera}},
        {QLatin1String("getPertinentInfo"),
            QLatin1String("ask the host a question of its own; any keys, and the host may keep silent"),
            AnswerKind::AtOnce, {}, {}},
    };
}

} // namespace

const std::vector<KnownCommand>& knownCommands()
{
    static const std::vector<KnownCommand> commands = makeKnownCommands();
    return commands;
}

const KnownCommand* findKnownCommand(const QString& name)
{
    const std::vector<KnownCommand>& commands = knownCommands();
    const auto found = std::find_if(
        commands.begin(), commands.end(), [&](const KnownCommand& command) { return command.name == name; });
    return found == commands.end() ? nullptr : &*found;
}

} // namespace OrvaneClient
