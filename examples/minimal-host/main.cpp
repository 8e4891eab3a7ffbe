// A small complete host: it prints what Orvane asks for, and offers one recorder and one preset.
#include <OrvaneInterface.h>
#include <OrvaneServer.h>

#include <QCoreApplication>

#include <cstdlib>
#include <iostream>
#include <utility>

class MinimalHost final : public OrvaneInterface::OrvaneInterface {
public:
    bool updateRecorderContents() override
    {
        print("updateRecorderContents");
        return false; // nothing to refresh; a host that returns true calls handleUpdateAllTreeDevicesFinished() later
    }
    void getRecorderList(std::vector<RecorderEntry>& recorders) override
    {
        print("getRecorderList");
        RecorderEntry recorder;
        recorder.name = "North gate";
        recorder.ip = "192.0.2.10";
        recorder.tracks = {"Monday", "Tuesday"};
        recorder.maxNumChannels = 16;
        recorders.push_back(std::move(recorder));
    }
    void getPresetsList(std::vector<PresetEntry>& presets) override
    {
        print("getPresetsList");
        presets.emplace_back().name = "Night";
    }
    void showLive(std::string recorder, int camera, bool alarm, int& splitId) override
    {
        chooseSplit(splitId);
        print("showLive", recorder, camera, alarm, splitId);
    }
    void showLiveAtSubsplit(int splitId, int camera, int subsplitIndex) override
    {
        print("showLiveAtSubsplit", splitId, camera, subsplitIndex);
    }
    void showTrackByName(std::string recorder, std::string trackName, int camera, qint64 time, bool alarm, int& splitId,
        qint64 limitStart, qint64 limitEnd) override
    {
        chooseSplit(splitId);
        print("showTrackByName", recorder, trackName, camera, time, alarm, splitId, limitStart, limitEnd);
    }
    void showTrackById(std::string recorder, int trackId, int camera, qint64 time, bool alarm, int& splitId,
        qint64 limitStart, qint64 limitEnd) override
    {
        chooseSplit(splitId);
        print("showTrackById", recorder, trackId, camera, time, alarm, splitId, limitStart, limitEnd);
    }
    void setPreset(std::string presetName) override { print("setPreset", presetName); }
    void setSplitMode(int splitMode) override { print("setSplitMode", splitMode); }
    void setSplitModeByName(int windowId, const std::string& commandDocument) override
    {
        print("setSplitModeByName", windowId, commandDocument);
    }
    void setDetailViews(int splitId, std::map<int, SubsplitRect> rects, std::map<int, qint64> objectIds) override
    {
        print("setDetailViews", splitId, rects.size(), objectIds.size());
    }
    bool getPertinentInfo(const std::string& commandDocument, std::string& answer) override
    {
        print("getPertinentInfo", commandDocument);
        answer = "<info>Nothing is shown</info>";
        return true;
    }

private:
    /// For a client that names no split; it is told which one is used.
    static void chooseSplit(int& splitId) { splitId = splitId < 0 ? 0 : splitId; }

    template <typename... Arguments> static void print(const char* operation, const Arguments&... arguments)
    {
        std::cout << "Host was asked: " << operation;
        ((std::cout << ' ' << arguments), ...);
        std::cout << std::endl;
    }
};

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    // The account for third parties. A password belongs neither in the source nor in the process list.
    const QString user = qEnvironmentVariable("ORVANE_USER");
    const QString password = qEnvironmentVariable("ORVANE_PASSWORD");
    if (user.isEmpty() || password.isEmpty()) {
        std::cerr << "Set ORVANE_USER and ORVANE_PASSWORD. Usage: minimal-host [PORT]" << std::endl;
        return EXIT_FAILURE;
    }
    const quint16 port = argc > 1 ? QString::fromLocal8Bit(argv[1]).toUShort() : quint16 {0}; // 0: the default, 5679

    MinimalHost host; // outlives the server
    OrvaneInterface::OrvaneServer server(&host, port, user, password, nullptr);
    if (const QString error = server.sslErrorString(); !error.isEmpty())
        std::cerr << "Clients might not be served: " << error.toStdString() << std::endl;
    server.startListeningForConnection();
    if (!server.isListening()) {
        std::cerr << "Cannot listen: " << server.errorString().toStdString() << std::endl;
        return EXIT_FAILURE;
    }
    std::cout << "Listening on port " << server.serverPort() << std::endl;
    return QCoreApplication::exec();
}
