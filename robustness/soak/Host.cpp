#include "Host.h"

#include <OrvaneInterface.h>
#include <OrvaneServer.h>

#include <QCoreApplication>
#include <QSocketNotifier>

#include <cstdio>
#include <string>
#include <unistd.h>

namespace soak {

namespace {

/// Answers at once, and always the same.
class Host final : public OrvaneInterface::OrvaneInterface {
public:
    bool updateRecorderContents() override { return true; }
    void getRecorderList(std::vector<RecorderEntry>& recorders) override
    {
        for (int number = 0; number < RecorderCount; ++number) {
            RecorderEntry& recorder = recorders.emplace_back();
            recorder.name = "Recorder " + std::to_string(number);
            recorder.ip = "192.0.2.1";
            recorder.tracks = {"Track 1", "Track 2"};
        }
    }
    void getPresetsList(std::vector<PresetEntry>& presets) override { presets.emplace_back().name = "Preset"; }
    void showLive(std::string, int, bool, int&) override { }
    void showLiveAtSubsplit(int, int, int) override { }
    void showTrackByName(std::string, std::string, int, qint64, bool, int&, qint64, qint64) override { }
    void showTrackById(std::string, int, int, qint64, bool, int&, qint64, qint64) override { }
    void setPreset(std::string) override { }
    void setSplitMode(int) override { }
    void setSplitModeByName(int, const std::string&) override { }
    void setDetailViews(int, std::map<int, SubsplitRect>, std::map<int, qint64>) override { }
    bool getPertinentInfo(const std::string&, std::string&) override { return false; }
};

/// The library's lines are made, but of them only those about a lack of descriptors are of interest.
void handleLogLine(QtMsgType type, const QMessageLogContext&, const QString& line)
{
    if (type != QtDebugMsg || line.startsWith(QLatin1String("OrvaneConnection server error:")))
        std::fprintf(stderr, "%s\n", qPrintable(line));
}

} // namespace

int serve(quint16 port)
{
    qInstallMessageHandler(&handleLogLine);
    Host host;
    OrvaneInterface::OrvaneServer server(&host, port, QString(), QString(), nullptr);
    server.startListeningForConnection();
    if (!server.isListening()) {
        std::fprintf(stderr, "Cannot listen on port %d: %s\n", port, qPrintable(server.errorString()));
        return 1;
    }
    const QSocketNotifier endOfInput(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&endOfInput, &QSocketNotifier::activated, qApp, &QCoreApplication::quit);
    std::puts("listening");
    std::fflush(stdout);
    return QCoreApplication::exec();
}

} // namespace soak
