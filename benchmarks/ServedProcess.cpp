#include "ServedProcess.h"

#include "Documents.h"
#include "FixedReplyServer.h"
#include "QuietHost.h"
#include "TlsClient.h"

#include <OrvaneServer.h>

#include <QCoreApplication>
#include <QFile>
#include <QLoggingCategory>
#include <QSocketNotifier>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>
#include <unistd.h>

namespace {

using OrvaneInterface::OrvaneServer;

int serve(QTcpServer& server, const std::function<void(const QByteArray& line)>& handleLine)
{
    if (!server.isListening()) {
        static_cast<void>(std::fprintf(stderr, "Cannot listen: %s\n", qPrintable(server.errorString())));
        return 1;
    }
    QFile input;
    if (!input.open(stdin, QIODevice::ReadOnly | QIODevice::Unbuffered))
        return 1;
    const QSocketNotifier notifier(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, &server, [&] {
        const QByteArray line = input.readLine().trimmed();
        if (line.isEmpty())
            QCoreApplication::quit();
        else
            handleLine(line);
    });
    static_cast<void>(std::puts("listening"));
    static_cast<void>(std::fflush(stdout));
    return QCoreApplication::exec();
}

qint64 processorNs()
{
    timespec time {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return qint64(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

bool isSent(const QSslSocket* socket)
{
    return socket->bytesToWrite() == 0 && socket->encryptedBytesToWrite() == 0;
}

/// Measures something that makes the server write to all its clients, and answers with the figures.
void measure(const QList<QSslSocket*>& sockets, const std::function<void()>& send)
{
    const qint64 begin = processorNs();
    send();
    const qint64 called = processorNs();
    while (!std::all_of(sockets.begin(), sockets.end(), isSent))
        QCoreApplication::processEvents();
    const qint64 sent = processorNs();
    static_cast<void>(
        std::printf("%lld %lld\n", static_cast<long long>(called - begin), static_cast<long long>(sent - begin)));
    static_cast<void>(std::fflush(stdout));
}

} // namespace

int serveCommands(quint16 port)
{
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false"));
    QuietHost host;
    OrvaneServer server(&host, port, QString(), QString(), nullptr);
    server.startListeningForConnection();
    return serve(server, [&server](const QByteArray& line) {
        const auto sockets = server.findChildren<QSslSocket*>();
        if (line == "notice") {
            measure(sockets, [&] { server.handleUpdateAllTreeDevicesFinished(); });
        } else {
            const QByteArray bytes = refreshFinishedNotice();
            measure(sockets, [&] {
                for (QSslSocket* socket : sockets)
                    socket->write(bytes);
            });
        }
    });
}

int serveFixedReplies(quint16 port)
{
    FixedReplyServer server(showLiveReply());
    server.listen(QHostAddress::Any, port);
    return serve(server, [](const QByteArray&) {});
}
