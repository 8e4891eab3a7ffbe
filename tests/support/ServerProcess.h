#pragma once

#include <QProcess>
#include <QStringList>

#include <ctime>
#include <functional>

class QTcpServer;

/// What a clock of processor time shows, in nanoseconds.
qint64 processorNs(clockid_t clock);

/// Lets \a server serve until the standard input ends: what a ServerProcess has to do. \a handleLine is given what
/// comes there, line by line. \return the exit status
int serveUntilInputEnds(QTcpServer& server, const std::function<void(const QByteArray& line)>& handleLine = {});

/// This program once more, as a process with nothing but a server in it, and what Linux shows of it.
class ServerProcess {
public:
    /// \a option is what makes the program such a process; its value is the port.
    explicit ServerProcess(QString option = QStringLiteral("--serve"));
    ~ServerProcess();
    Q_DISABLE_COPY_MOVE(ServerProcess)

    /// \return false, with a message, when it did not listen in time
    bool start();
    /// Has the server destroyed and the process end. \return false when it ended otherwise than with status 0
    bool stop();
    bool isRunning() const { return process.state() == QProcess::Running; }

    quint16 port() const { return serverPort; }
    pid_t processId() const { return static_cast<pid_t>(process.processId()); }
    int openDescriptors() const;
    qint64 residentBytes() const;
    qint64 peakResidentBytes() const;
    /// The time that the process has computed, in nanoseconds.
    qint64 processorNs() const;
    /// Waits until the process has not computed for a while; it must not need this process for what it does.
    void waitUntilIdle() const;
    /// Sends the process a line on its standard input. \return the line that it answers with; empty when none came
    QByteArray ask(const QByteArray& line);
    /// What it has written to its standard error so far.
    QStringList errorLines();

private:
    QString option;
    QProcess process;
    quint16 serverPort;
    QByteArray errors;
};
