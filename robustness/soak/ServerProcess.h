#pragma once

#include <QProcess>
#include <QStringList>

namespace soak {

/// This program once more, as a process with nothing but the server in it, and what Linux shows of it.
class ServerProcess {
public:
    ServerProcess();
    ~ServerProcess();
    Q_DISABLE_COPY_MOVE(ServerProcess)

    bool start();
    /// Has the server destroyed and the process end. \return false when it ended otherwise than with status 0
    bool stop();
    bool isRunning() const { return process.state() == QProcess::Running; }

    quint16 port() const { return serverPort; }
    int openDescriptors() const;
    qint64 residentBytes() const;
    /// The time that the process has computed.
    qint64 processorMs() const;
    /// Lets the process keep its descriptors and open no more.
    bool forbidMoreDescriptors() const;
    /// What it has written to its standard error so far.
    QStringList errorLines();

private:
    QStringList descriptors() const;

    QProcess process;
    quint16 serverPort;
    QByteArray errors;
};

} // namespace soak
