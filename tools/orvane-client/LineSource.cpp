#include "LineSource.h"

#include <QMetaObject>

#include <array>
#include <cerrno>

#include <unistd.h>

namespace OrvaneClient {

PipeLineSource::PipeLineSource(QObject* parent)
    : LineSource(parent)
    , notifier(STDIN_FILENO, QSocketNotifier::Read)
{
    notifier.setEnabled(false);
    connect(&notifier, &QSocketNotifier::activated, this, &PipeLineSource::read);
}

void PipeLineSource::askForLine()
{
    QMetaObject::invokeMethod(this, &PipeLineSource::deliver, Qt::QueuedConnection);
}

void PipeLineSource::deliver()
{
    const qsizetype end = buffer.indexOf('\n');
    if (end < 0 && !atEnd) {
        notifier.setEnabled(true);
        return;
    }
    if (end < 0 && buffer.isEmpty()) {
        Q_EMIT ended();
        return;
    }
    const qsizetype length = end < 0 ? buffer.size() : end; // the last line may have no end
    const QByteArray line = buffer.left(length);
    buffer.remove(0, length + 1);
    Q_EMIT lineRead(line);
}

void PipeLineSource::read()
{
    std::array<char, 4096> piece = {};
    const ssize_t length = ::read(STDIN_FILENO, piece.data(), piece.size());
    if (length < 0 && (errno == EINTR || errno == EAGAIN))
        return;
    atEnd = length <= 0;
    buffer.append(piece.data(), length > 0 ? length : 0);
    notifier.setEnabled(false);
    deliver();
}

} // namespace OrvaneClient
