#include <OrvaneInterface.h>
#include <OrvaneServer.h>

#include <QCoreApplication>
#include <QDebug>

class FirstHost final : public OrvaneInterface::OrvaneInterface {
    bool updateRecorderContents() override { return false; }
    void getRecorderList(std::vector<RecorderEntry>&) override { }
    void getPresetsList(std::vector<PresetEntry>& presets) override { presets.emplace_back().name = "Night"; }
    void showLive(std::string recorder, int camera, bool, int& splitId) override
    {
        splitId = splitId < 0 ? 0 : splitId; // the client is told
        qInfo() << "Show camera" << camera << "of" << QString::fromStdString(recorder) << "in split" << splitId;
    }
    void showLiveAtSubsplit(int, int, int) override { }
    void showTrackByName(std::string, std::string, int, qint64, bool, int&, qint64, qint64) override { }
    void showTrackById(std::string, int, int, qint64, bool, int&, qint64, qint64) override { }
    void setPreset(std::string name) override { qInfo() << "Apply preset" << QString::fromStdString(name); }
    void setSplitMode(int) override { }
    void setSplitModeByName(int, const std::string&) override { }
    void setDetailViews(int, std::map<int, SubsplitRect>, std::map<int, qint64>) override { }
    bool getPertinentInfo(const std::string&, std::string&) override { return false; }
};

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const QString user = qEnvironmentVariable("ORVANE_USER");
    const QString password = qEnvironmentVariable("ORVANE_PASSWORD");
    if (user.isEmpty() || password.isEmpty()) {
        qCritical() << "Set ORVANE_USER and ORVANE_PASSWORD"; // with both empty, everybody could log in
        return 1;
    }

    FirstHost host; // before the server, which must not outlive it
    OrvaneInterface::OrvaneServer server(&host, 0, user, password, nullptr); // 0: the default port, 5679
    if (const QString error = server.sslErrorString(); !error.isEmpty())
        qWarning() << "Clients might not be served:" << error;
    server.startListeningForConnection();
    if (!server.isListening()) {
        qCritical() << "Cannot listen:" << server.errorString();
        return 1;
    }
    qInfo() << "Listening on port" << server.serverPort();
    return QCoreApplication::exec();
}
