#pragma once

#include <QProcess>
#include <QStringList>

#include <ctime>
#include <functional>

class QTcpServer;

/// Allows so many open files to this process and to those that it starts. \return false, with a message, if the
/// system does not
bool allowOpenFiles(int count);

/// The reading of a clock of processor time, in nanoseconds.
qint64 processorNs(clockid_t clock);

/// Lets \a server serve until standard input ends, as a ServerProcess must. \a handleLine gets each line of the input.
/// \return the exit status
int serveUntilInputEnds(QTcpServer& server, const std::function<void(const QByteArray& line)>& handleLine = {});

/// This program again, as a process that contains only a server, and what Linux reports about it.
class ServerProcess {
public:
    /// \a option makes the program such a process; its value is the port.
    explicit ServerProcess(QString option = QStringLiteral("--serve"));
    ~ServerProcess();
    Q_DISABLE_COPY_MOVE(ServerProcess)

    /// \return false, with a message, if it did not listen in time
    bool start();
    /// Destroys the server and ends the process. \return false unless it ended with status 0
    bool stop();
    bool isRunning() const { return process.state() == QProcess::Running; }

    quint16 port() const { return serverPort; }
    pid_t processId() const { return static_cast<pid_t>(process.processId()); }
    int openDescriptors() const;
    qint64 residentBytes() const;
    qint64 peakResidentBytes() const;
    /// The processor time that the process has used, in nanoseconds.
    qint64 processorNs() const;
    /// Waits until the process has been idle for a while. Meanwhile it must not depend on this process.
    void waitUntilIdle() const;
    /// Sends a line to the process's standard input. \return the line that it answers; empty if none came
    QByteArray ask(const QByteArray& line);
    /// The lines that it has written to standard error so far.
    QStringList errorLines();

private:
    QString option;
    QProcess process;
    quint16 serverPort = 0;
    QByteArray errors;
};
