#include "SnapshotWriter.h"

#include <QDir>
#include <QPixmap>
#include <QSaveFile>
#include <QWidget>

#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::milliseconds Delay {80};

} // namespace

SnapshotWriter::SnapshotWriter(QWidget& window, QObject* parent)
    : QObject(parent)
    , window(window)
{
    delay.setSingleShot(true);
    delay.setInterval(Delay);
    connect(&delay, &QTimer::timeout, this, &SnapshotWriter::writePending);
}

QString SnapshotWriter::write(const QString& file)
{
    QSaveFile output(file);
    if (!output.open(QIODevice::WriteOnly) || !window.grab().save(&output, "PNG") || !output.commit())
        return u"Cannot write \"%1\": %2"_s.arg(file, output.errorString());
    return {};
}

QString SnapshotWriter::setDirectory(const QString& path)
{
    if (!QDir().mkpath(path))
        return u"Cannot create the directory \"%1\""_s.arg(path);
    directory = path;
    return {};
}

void SnapshotWriter::writeSoon(const QString& name)
{
    if (directory.isEmpty())
        return;
    writePending();
    pendingName = name;
    delay.start();
}

void SnapshotWriter::writePending()
{
    if (pendingName.isEmpty())
        return;
    delay.stop();
    const QString file = u"%1-%2.png"_s.arg(nextNumber++, 3, 10, QLatin1Char('0')).arg(pendingName);
    pendingName.clear();
    const QString problem = write(QDir(directory).filePath(file));
    if (!problem.isEmpty())
        qWarning("%s", qPrintable(problem));
}

#include "moc_SnapshotWriter.cpp"
