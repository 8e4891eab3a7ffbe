#pragma once

#include <QObject>
#include <QString>
#include <QTimer>

class QWidget;

/**
 * Writes a window as PNG. A file is complete when it appears under its name.
 *
 * After a call the writer waits a moment, so that the client gets its reply first. If the next call comes sooner, the
 * picture is written before that call changes the window. So every call has its own picture.
 */
class SnapshotWriter : public QObject {
    Q_OBJECT

public:
    /// \a window must outlive this object.
    explicit SnapshotWriter(QWidget& window, QObject* parent = nullptr);

    /// \return why the picture could not be written; empty on success
    QString write(const QString& file);

    /// Sets the directory for numbered pictures, and creates it if necessary. \return why it failed; empty on success
    QString setDirectory(const QString& path);
    /// Writes a picture soon, under the next number and this name. Does nothing without a directory.
    void writeSoon(const QString& name);
    /// Writes a picture that is still pending, at once.
    void writePending();

private:
    QWidget& window;
    QTimer delay;
    QString directory;
    QString pendingName; ///< empty: none
    int nextNumber = 0;
};
