// The host of docs/hosting.md. All C++ in that document and in SECURITY.md comes from this directory.
#include "GuideHost.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDebug>
#include <QFile>
#include <QLoggingCategory>
#include <QSocketNotifier>

#include <cstdlib>

#ifdef Q_OS_LINUX
#include <csignal>
#include <sys/signalfd.h>
#endif

namespace {

QFile auditFile;
QtMessageHandler defaultHandler = nullptr;

/// Without a file the trail goes to standard output; everything else goes to standard error.
bool openAuditFile()
{
    constexpr int standardOutput = 1;
    const QString path = qEnvironmentVariable("ORVANE_AUDIT_FILE");
    if (path.isEmpty())
        return auditFile.open(standardOutput, QIODevice::WriteOnly | QIODevice::Unbuffered);
    auditFile.setFileName(path);
    return auditFile.open(QIODevice::Append | QIODevice::Unbuffered, QFile::ReadOwner | QFile::WriteOwner);
}

/// Adds the time inside each line of the audit trail, so that it stays a JSON object.
void handleMessage(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (qstrcmp(context.category, "orvane.audit") != 0)
        return defaultHandler(type, context, message);
    const QByteArray time = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs).toLatin1();
    auditFile.write("{\"time\":\"" + time + "\"," + message.mid(1).toLatin1() + '\n');
}

#ifdef Q_OS_LINUX
/// SIGTERM and Ctrl-C end the event loop instead of the process. Call it before there is another thread.
void quitOnSignals(QCoreApplication& application)
{
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    sigaddset(&ending, SIGINT);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);
    auto* notifier = new QSocketNotifier(signalfd(-1, &ending, SFD_CLOEXEC), QSocketNotifier::Read, &application);
    QObject::connect(notifier, &QSocketNotifier::activated, &application, &QCoreApplication::quit);
}
#endif

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    if (argc < 2) {
        qCritical() << "Usage: guide-host TLS-DIRECTORY [PORT]";
        return EXIT_FAILURE;
    }
    if (!openAuditFile()) {
        qCritical() << "No audit trail:" << auditFile.errorString();
        return EXIT_FAILURE;
    }
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false\norvane.audit.info=true"));
    defaultHandler = qInstallMessageHandler(handleMessage);
#ifdef Q_OS_LINUX
    quitOnSignals(application);
#endif

    GuideHost host(QString::fromLocal8Bit(argv[1]));
    if (!host.startServer(argc > 2 ? QString::fromLocal8Bit(argv[2]).toUShort() : quint16 {0}))
        return EXIT_FAILURE;
    return QCoreApplication::exec();
}
