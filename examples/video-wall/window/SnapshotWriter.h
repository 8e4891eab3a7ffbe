#pragma once

#include <QObject>
#include <QString>
#include <QTimer>

class QWidget;

/**
 * Writes a window as PNG. A file is complete when it appears under its name.
 *
 * After a call the writer waits a moment, so that the caller is answered first; when the next call comes earlier, the
 * picture is written before that one changes the window. So every call has its own picture.
 */
class SnapshotWriter : public QObject {
    Q_OBJECT

public:
    /// \a window must outlive this object.
    explicit SnapshotWriter(QWidget& window, QObject* parent = nullptr);

    /// Why the picture could not be written; empty when it was.
    QString write(const QString& file);

    /// Numbered pictures go into this directory, which is made when there is none. Empty when all is well, else why
    /// not.
    QString setDirectory(const QString& path);
    /// Shortly from now, under the next number and this name. Without a directory nothing happens.
    void writeSoon(const QString& name);
    /// A picture that is still to be written, at once.
    void writePending();

private:
    QWidget& window;
    QTimer delay;
    QString directory;
    QString pendingName; ///< empty: none
    int nextNumber = 0;
};
