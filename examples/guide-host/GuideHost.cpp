#include "GuideHost.h"

#include <QDebug>
#include <QFile>
#include <QSslCertificate>
#include <QSslCipher>
#include <QSslConfiguration>
#include <QSslKey>
#include <QXmlStreamReader>

#include <chrono>
#include <utility>

namespace {

constexpr int RefreshMilliseconds = 500;
constexpr int RenewalMilliseconds = 200; // in which both files are there
constexpr int Splits = 9;

/// Null when there is no such key, or not with this pass phrase.
QSslKey readKey(const QString& path, const QByteArray& passPhrase)
{
    for (const QSsl::KeyAlgorithm algorithm : {QSsl::Ec, QSsl::Rsa}) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            break;
        QSslKey key(&file, algorithm, QSsl::Pem, QSsl::PrivateKey, passPhrase);
        if (!key.isNull())
            return key;
    }
    return {};
}

} // namespace

GuideHost::GuideHost(QString tlsDirectory, QObject* parent)
    : QObject(parent)
    , tlsDirectory(std::move(tlsDirectory))
{
    renewal.setSingleShot(true);
    renewal.setInterval(RenewalMilliseconds);
    connect(&tlsWatcher, &QFileSystemWatcher::directoryChanged, &renewal, qOverload<>(&QTimer::start));
    connect(&renewal, &QTimer::timeout, this, &GuideHost::renewCertificate);
    refresh.setSingleShot(true);
    refresh.setInterval(RefreshMilliseconds);
    connect(&refresh, &QTimer::timeout, this, &GuideHost::refreshFinished);
}

bool GuideHost::startServer(quint16 serverPort)
{
    const QString user = qEnvironmentVariable("ORVANE_USER");
    const QString password = qEnvironmentVariable("ORVANE_PASSWORD");
    if (user.isEmpty() || password.isEmpty()) {
        qCritical() << "Set ORVANE_USER and ORVANE_PASSWORD"; // with both empty, everybody could log in
        return false;
    }
    server = std::make_unique<HostServer>(this, serverPort, user, password, nullptr);
    connect(this, &GuideHost::refreshFinished, server.get(), &HostServer::handleUpdateAllTreeDevicesFinished);
    server->setSslConfiguration(tlsFromFiles());
    if (const QString error = server->sslErrorString(); !error.isEmpty()) {
        qCritical() << "No client can be served:" << error;
        return false;
    }
    tlsWatcher.addPath(tlsDirectory);
    server->setLimits(HostLimits::controlRoom());
    server->startListeningForConnection();
    if (!server->isListening()) {
        qCritical() << "Orvane cannot connect:" << server->errorString();
        return false;
    }
    qInfo() << "Listening on port" << server->serverPort();
    return true;
}

QSslConfiguration GuideHost::tlsFromFiles() const
{
    QSslConfiguration tls = server->sslConfiguration();
    tls.setPrivateKey(readKey(tlsDirectory + QStringLiteral("/hxkey.pem"), qgetenv("ORVANE_PASS_PHRASE")));
    tls.setLocalCertificateChain(QSslCertificate::fromPath(tlsDirectory + QStringLiteral("/hxcert.pem")));
    narrowCiphers(tls);
    askForClientCertificates(tls);
    return tls;
}

/// Leaves those that have forward secrecy and do not use CBC.
void GuideHost::narrowCiphers(QSslConfiguration& tls)
{
    QList<QSslCipher> ciphers = tls.ciphers();
    ciphers.removeIf([](const QSslCipher& cipher) {
        return cipher.keyExchangeMethod() == QLatin1String("RSA") || !cipher.name().contains(QLatin1String("GCM"));
    });
    tls.setCiphers(ciphers);
}

/// Where there is a file with those who issue them.
void GuideHost::askForClientCertificates(QSslConfiguration& tls) const
{
    const QString issuers = tlsDirectory + QStringLiteral("/clients.pem");
    if (!QFile::exists(issuers))
        return;
    tls.setPeerVerifyMode(QSslSocket::VerifyPeer);
    tls.setCaCertificates(QSslCertificate::fromPath(issuers));
}

void GuideHost::renewCertificate()
{
    const QSslConfiguration renewed = tlsFromFiles();
    if (const QString error = HostServer::sslErrorString(renewed); !error.isEmpty()) {
        qWarning() << "The old certificate stays:" << error;
        return;
    }
    server->setSslConfiguration(renewed); // nobody is disconnected
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
    qInfo() << "showLive" << QString::fromStdString(recorder) << camera << alarm << splitId;
}

void GuideHost::showLiveAtSubsplit(int splitId, int camera, int subsplitIndex)
{
    qInfo() << "showLiveAtSubsplit" << splitId << camera << subsplitIndex;
}

void GuideHost::showTrackByName(std::string recorder, std::string trackName, int camera, qint64 time, bool alarm,
    int& splitId, qint64 limitStart, qint64 limitEnd)
{
    qInfo() << "showTrackByName" << QString::fromStdString(recorder) << QString::fromStdString(trackName) << camera
            << time << alarm << splitId << limitStart << limitEnd;
}

void GuideHost::showTrackById(std::string recorder, int trackId, int camera, qint64 time, bool alarm, int& splitId,
    qint64 limitStart, qint64 limitEnd)
{
    qInfo() << "showTrackById" << QString::fromStdString(recorder) << trackId << camera << time << alarm << splitId
            << limitStart << limitEnd;
}

void GuideHost::setPreset(std::string presetName)
{
    qInfo() << "setPreset" << QString::fromStdString(presetName);
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
