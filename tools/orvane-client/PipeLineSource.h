#pragma once

#include "LineSource.h"

#include <QByteArray>
#include <QSocketNotifier>

namespace OrvaneClient {

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
