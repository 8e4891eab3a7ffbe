#include "GuideHost.h"

#include <QDebug>
#include <QFile>
#include <QSslCertificate>
#include <QSslCipher>
#include <QSslConfiguration>
#include <QSslKey>
#include <QThread>
#include <QXmlStreamReader>

#include <chrono>
#include <utility>

namespace {

constexpr unsigned long RefreshMilliseconds = 500;
constexpr int RenewalMilliseconds = 200; // time to replace both files
constexpr int Splits = 9;

/// Null if there is no such key, or the pass phrase is wrong. Qt must be told the kind of key.
QSslKey readKey(const QString& path, const QByteArray& passPhrase)
{
    QFile file(path);
    const QByteArray pem = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    const QSslKey key(pem, QSsl::Ec, QSsl::Pem, QSsl::PrivateKey, passPhrase);
    return key.isNull() ? QSslKey(pem, QSsl::Rsa, QSsl::Pem, QSsl::PrivateKey, passPhrase) : key;
}

/// Clients that pin the certificate ignore its dates.
bool onlyDatesAreWrong(const QString& sslError)
{
    return sslError.startsWith(QLatin1String("The certificate is not valid"));
}

/// Takes time, like asking real recorders. Runs on another thread, so it must not use the host.
std::vector<HostInterface::RecorderEntry> readRecorders()
{
    QThread::msleep(RefreshMilliseconds);
    HostInterface::RecorderEntry recorder;
    recorder.name = "North gate";
    recorder.ip = "192.0.2.10";
    recorder.tracks = {"Monday", "Tuesday"};
    recorder.maxNumChannels = 16;
    return {recorder};
}

} // namespace

GuideHost::GuideHost(QString tlsDirectory, QObject* parent)
    : QObject(parent)
    , tlsDirectory(std::move(tlsDirectory))
    , recorders(readRecorders())
{
    renewal.setSingleShot(true);
    renewal.setInterval(RenewalMilliseconds);
    connect(&tlsWatcher, &QFileSystemWatcher::directoryChanged, &renewal, qOverload<>(&QTimer::start));
    connect(&renewal, &QTimer::timeout, this, &GuideHost::renewCertificate);
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
    if (const QString error = server->sslErrorString(); onlyDatesAreWrong(error)) {
        qWarning() << "Only clients that pin the certificate are served:" << error;
    } else if (!error.isEmpty()) {
        qCritical() << "No client can be served:" << error;
        return false;
    }
    tlsWatcher.addPath(tlsDirectory);
    server->setLimits(HostLimits::controlRoom());
    observeClients();
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

/// Keeps only ciphers with forward secrecy and without CBC.
void GuideHost::narrowCiphers(QSslConfiguration& tls)
{
    QList<QSslCipher> ciphers = tls.ciphers();
    ciphers.removeIf([](const QSslCipher& cipher) {
        return cipher.keyExchangeMethod() == QLatin1String("RSA") || !cipher.name().contains(QLatin1String("GCM"));
    });
    tls.setCiphers(ciphers);
}

/// Only if there is a file with their issuers.
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
        qWarning() << "Keeping the old certificate:" << error;
        return;
    }
    server->setSslConfiguration(renewed); // clients stay connected
}

void GuideHost::observeClients()
{
    using Type = HostClientEvent::Type;
    server->setClientObserver([this](const HostClientEvent& event) {
        if (event.type == Type::InvalidLogin)
            qWarning() << event.client.address().toString() << "has failed to log in as" << event.user;
        if (event.type == Type::Connected || event.type == Type::LoggedIn || event.type == Type::Disconnected)
            Q_EMIT clientsChanged(server->clients());
    });
}

bool GuideHost::updateRecorderContents()
{
    if (std::exchange(isRefreshing, true))
        return false;
    refreshThreads.start([this] {
        QMetaObject::invokeMethod(this, [this, read = readRecorders()] { finishRefresh(read); }); // on our thread
    });
    return true;
}

void GuideHost::finishRefresh(const std::vector<RecorderEntry>& read)
{
    recorders = read;
    // No earlier, or a client could start a second refresh, and get the notice of this one.
    isRefreshing = false;
    Q_EMIT refreshFinished();
}

void GuideHost::getRecorderList(std::vector<RecorderEntry>& list)
{
    list = recorders;
}

void GuideHost::getPresetsList(std::vector<PresetEntry>& presets)
{
    presets.emplace_back().name = "Night";
}

void GuideHost::showLive(std::string recorder, int camera, bool alarm, int& splitId)
{
    if (splitId < 0 || splitId >= Splits)
        splitId = 0; // the client is told which split is used
    qInfo() << "showLive" << QString::fromStdString(recorder) << camera << alarm << splitId << "for"
            << server->currentClient().accountName();
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

#include "moc_GuideHost.cpp"
