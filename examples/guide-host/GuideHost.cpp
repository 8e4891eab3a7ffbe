#include "GuideHost.h"

#include <QDebug>
#include <QFile>
#include <QResource>
#include <QXmlStreamReader>

#include <utility>

namespace {

constexpr int RefreshMilliseconds = 500;
constexpr int RetryMilliseconds = 1000;
constexpr int Splits = 9;

} // namespace

GuideHost::GuideHost(QString tlsFile, QObject* parent)
    : QObject(parent)
    , tlsFile(std::move(tlsFile))
{
    connect(&tlsFileWatcher, &QFileSystemWatcher::fileChanged, this, &GuideHost::renewCertificate);
    refresh.setSingleShot(true);
    refresh.setInterval(RefreshMilliseconds);
    connect(&refresh, &QTimer::timeout, this, &GuideHost::refreshFinished);
}

bool GuideHost::startServer(quint16 serverPort)
{
    port = serverPort;
    const QString user = qEnvironmentVariable("ORVANE_USER");
    const QString password = qEnvironmentVariable("ORVANE_PASSWORD");
    if (user.isEmpty() || password.isEmpty()) {
        qCritical() << "Set ORVANE_USER and ORVANE_PASSWORD"; // with both empty, everybody could log in
        return false;
    }
    if (!QResource::registerResource(tlsFile) || !QFile::exists(QStringLiteral(":/Halden/Resources/hxkey.pem"))) {
        qCritical() << "No key in" << tlsFile;
        return false;
    }
    tlsFileWatcher.addPath(tlsFile);

    server = std::make_unique<HostServer>(this, port, user, password, nullptr);
    connect(this, &GuideHost::refreshFinished, server.get(), &HostServer::handleUpdateAllTreeDevicesFinished);
    server->startListeningForConnection();
    if (!server->isListening()) {
        qCritical() << "Orvane cannot connect:" << server->errorString();
        return false;
    }
    qInfo() << "Listening on port" << server->serverPort();
    return true;
}

void GuideHost::renewCertificate()
{
    server.reset(); // its clients are disconnected, and connect again
    QResource::unregisterResource(tlsFile);
    if (!startServer(port))
        QTimer::singleShot(RetryMilliseconds, this, &GuideHost::renewCertificate);
}

bool GuideHost::updateRecorderContents()
{
    if (refresh.isActive())
        return false;
    refresh.start(); // when it has finished: refreshFinished()
    return true;
}

void GuideHost::getRecorderList(std::vector<RecorderEntry>& recorders)
{
    RecorderEntry& recorder = recorders.emplace_back();
    recorder.name = "North gate";
    recorder.ip = "192.0.2.10";
    recorder.tracks = {"Monday", "Tuesday"};
    recorder.maxNumChannels = 16;
}

void GuideHost::getPresetsList(std::vector<PresetEntry>& presets)
{
    presets.emplace_back().name = "Night";
}

void GuideHost::showLive(std::string recorder, int camera, bool alarm, int& splitId)
{
    if (splitId < 0 || splitId >= Splits)
        splitId = 0; // the client is told which split it was
    qInfo() << "showLive" << recorder.c_str() << camera << alarm << splitId;
}

void GuideHost::showLiveAtSubsplit(int splitId, int camera, int subsplitIndex)
{
    qInfo() << "showLiveAtSubsplit" << splitId << camera << subsplitIndex;
}

void GuideHost::showTrackByName(std::string recorder, std::string trackName, int camera, qint64 time, bool alarm,
    int& splitId, qint64 limitStart, qint64 limitEnd)
{
    qInfo() << "showTrackByName" << recorder.c_str() << trackName.c_str() << camera << time << alarm << splitId
            << limitStart << limitEnd;
}

void GuideHost::showTrackById(std::string recorder, int trackId, int camera, qint64 time, bool alarm, int& splitId,
    qint64 limitStart, qint64 limitEnd)
{
    qInfo() << "showTrackById" << recorder.c_str() << trackId << camera << time << alarm << splitId << limitStart
            << limitEnd;
}

void GuideHost::setPreset(std::string presetName)
{
    qInfo() << "setPreset" << presetName.c_str();
}

void GuideHost::setSplitMode(int splitMode)
{
    qInfo() << "setSplitMode" << splitMode;
}

void GuideHost::setSplitModeByName(int windowId, const std::string& commandDocument)
{
    QXmlStreamReader reader(QString::fromStdString(commandDocument));
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.isStartElement() && reader.name() == QLatin1String("layoutname"))
            qInfo() << "Window" << windowId << "gets the layout" << reader.readElementText();
    }
}

void GuideHost::setDetailViews(int splitId, std::map<int, SubsplitRect> rects, std::map<int, qint64> objectIds)
{
    qInfo() << "setDetailViews" << splitId << rects.size() << "rectangles" << objectIds.size() << "objects";
}

bool GuideHost::getPertinentInfo(const std::string& /*commandDocument*/, std::string& answer)
{
    const QString shown = QStringLiteral("Gate 1 & 2");
    answer = QStringLiteral("<info><shown>%1</shown></info>").arg(shown.toHtmlEscaped()).toStdString();
    return true;
}
