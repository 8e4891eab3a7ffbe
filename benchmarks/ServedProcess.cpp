#include "ServedProcess.h"

#include "Clients.h"
#include "Documents.h"
#include "FixedReplyServer.h"
#include "QuietHost.h"
#include "ServerProcess.h"

#include <OrvaneServer.h>

#include <QCoreApplication>
#include <QLoggingCategory>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>

using namespace Qt::StringLiterals;

namespace {

using OrvaneInterface::OrvaneServer;

/// Measures \a send, which makes the server write to all its clients, and prints the figures.
void measure(const QList<QSslSocket*>& sockets, const std::function<void()>& send)
{
    const qint64 begin = processorNs(CLOCK_PROCESS_CPUTIME_ID);
    send();
    const qint64 called = processorNs(CLOCK_PROCESS_CPUTIME_ID);
    while (!std::all_of(sockets.begin(), sockets.end(), [](const QSslSocket* socket) { return isSent(*socket); }))
        QCoreApplication::processEvents();
    const qint64 sent = processorNs(CLOCK_PROCESS_CPUTIME_ID);
    static_cast<void>(
        std::printf("%lld %lld\n", static_cast<long long>(called - begin), static_cast<long long>(sent - begin)));
    static_cast<void>(std::fflush(stdout));
}

} // namespace

int serveCommands(quint16 port)
{
    QLoggingCategory::setFilterRules(u"*.debug=false"_s);
    QuietHost host;
    OrvaneServer server(&host, port, QString(), QString(), nullptr);
    server.startListeningForConnection();
    return serveUntilInputEnds(server, [&server](const QByteArray& line) {
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
    return serveUntilInputEnds(server);
}
