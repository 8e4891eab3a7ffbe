#pragma once

#include <OrvaneClient.h>
#include <OrvaneInterface.h>
#include <OrvaneServer.h>

#include <QFileSystemWatcher>
#include <QList>
#include <QObject>
#include <QString>
#include <QThreadPool>
#include <QTimer>

#include <memory>
#include <vector>

// Inside a derived class, OrvaneInterface is the base class, not the namespace. So the server needs an alias there. The
// base class needs one, too: moc repeats its name inside the class, where it would mean the constructor.
using HostInterface = OrvaneInterface::OrvaneInterface;
using HostServer = OrvaneInterface::OrvaneServer;
using HostLimits = OrvaneInterface::OrvaneLimits;
using HostClient = OrvaneInterface::OrvaneClient;
using HostClientEvent = OrvaneInterface::OrvaneClientEvent;

class GuideHost final : public QObject, public HostInterface {
    Q_OBJECT

public:
    /// \a tlsDirectory contains the key (hxkey.pem), the certificate and its issuers (hxcert.pem) and, if clients need
    /// certificates, their issuers (clients.pem).
    explicit GuideHost(QString tlsDirectory, QObject* parent = nullptr);

    /// Port 0: the default, 5679. If no client can connect, prints the reason and returns false.
    bool startServer(quint16 serverPort);

    bool updateRecorderContents() override;
    void getRecorderList(std::vector<RecorderEntry>& list) override;
    void getPresetsList(std::vector<PresetEntry>& presets) override;
    void showLive(std::string recorder, int camera, bool alarm, int& splitId) override;
    void showLiveAtSubsplit(int splitId, int camera, int subsplitIndex) override;
    void showTrackByName(std::string recorder, std::string trackName, int camera, qint64 time, bool alarm, int& splitId,
        qint64 limitStart, qint64 limitEnd) override;
    void showTrackById(std::string recorder, int trackId, int camera, qint64 time, bool alarm, int& splitId,
        qint64 limitStart, qint64 limitEnd) override;
    void setPreset(std::string presetName) override;
    void setSplitMode(int splitMode) override;
    void setSplitModeByName(int windowId, const std::string& commandDocument) override;
    void setDetailViews(int splitId, std::map<int, SubsplitRect> rects, std::map<int, qint64> objectIds) override;
    bool getPertinentInfo(const std::string& commandDocument, std::string& answer) override;

Q_SIGNALS:
    void refreshFinished();
    void clientsChanged(const QList<HostClient>&);

private:
    void observeClients();
    void finishRefresh(const std::vector<RecorderEntry>& read);
    QSslConfiguration tlsFromFiles() const;
    static void narrowCiphers(QSslConfiguration& tls);
    void askForClientCertificates(QSslConfiguration& tls) const;
    void renewCertificate();

    QString tlsDirectory;
    QFileSystemWatcher tlsWatcher;
    QTimer renewal;
    std::vector<RecorderEntry> recorders;
    bool isRefreshing = false;
    QThreadPool refreshThreads {this}; // its destructor waits for them
    std::unique_ptr<HostServer> server;
};
