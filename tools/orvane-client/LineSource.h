#pragma once

#include "CommandCatalogue.h"

#include <QByteArray>
#include <QObject>
#include <QSocketNotifier>

namespace OrvaneClient {

/// Where the commands of a shell come from, one line at a time and each only when it is asked for.
class LineSource : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    /// lineRead() or ended() follows, never before the call has returned.
    virtual void askForLine() = 0;
    /// Whether a person is waiting at a prompt.
    virtual bool isInteractive() const { return false; }
    /// Keeps a line for a person to come back to.
    virtual void remember(const QByteArray& /*line*/) { }
    /// Where names for the completion come from. An event loop may run in it.
    virtual void setValuesOfKeys(const ValuesOfKey& /*valuesOf*/) { }
    /// Takes the prompt off the screen, and puts it back with what is typed; nothing when none is shown.
    virtual void hide() { }
    virtual void restore() { }

Q_SIGNALS:
    void lineRead(const QByteArray& line);
    /// A person wants what goes on to stop; not while a line is edited.
    void interrupted();
    void ended();
};

/// Lines of standard input when it is a pipe or a file.
class PipeLineSource : public LineSource {
    Q_OBJECT

public:
    explicit PipeLineSource(QObject* parent);

    void askForLine() override;

private:
    void deliver();
    void read();

    QSocketNotifier notifier;
    QByteArray buffer;
    bool atEnd = false;
};

} // namespace OrvaneClient
