#include "WallOptions.h"

#include "DemoState.h"
#include "SplitLayout.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QRegularExpression>

#include <cstdlib>
#include <iostream>

namespace {

/// Smaller than this nothing can be read, larger than this no picture can be allocated.
constexpr int SmallestSide = 360;
constexpr int LargestSide = 8192;

[[noreturn]] void refuse(const QString& option, const QString& value, const QString& expected)
{
    const QString text = QStringLiteral("video-wall: --%1: \"%2\" is not %3\n").arg(option, value, expected);
    std::cerr << text.toStdString();
    std::exit(EXIT_FAILURE); // NOLINT(concurrency-mt-unsafe): there is one thread
}

quint16 readPort(const QString& value)
{
    bool isNumber = false;
    const ushort port = value.toUShort(&isNumber);
    if (!isNumber || port == 0)
        refuse(QStringLiteral("port"), value, QStringLiteral("a port, 1 to 65535"));
    return port;
}

QSize readSize(const QString& value)
{
    static const QRegularExpression form(QStringLiteral("^(\\d{1,5})x(\\d{1,5})$"));
    const QRegularExpressionMatch match = form.match(value);
    const QSize size(match.captured(1).toInt(), match.captured(2).toInt());
    if (qMin(size.width(), size.height()) < SmallestSide || qMax(size.width(), size.height()) > LargestSide)
        refuse(QStringLiteral("size"), value,
            QStringLiteral("a size such as 1280x720, each side %1 to %2").arg(SmallestSide).arg(LargestSide));
    return size;
}

QString readDemoState(const QString& value)
{
    if (!value.isEmpty() && !DemoState::names().contains(value))
        refuse(QStringLiteral("demo-state"), value,
            QStringLiteral("one of ") + DemoState::names().join(QStringLiteral(", ")));
    return value;
}

QString description()
{
    return QStringLiteral(
        "A video wall that the Orvane control system drives over the network.\n\n"
        "The account for third parties: the user from --user or ORVANE_USER (or else \"operator\"), the password from\n"
        "the environment, ORVANE_PASSWORD. Without one the wall makes up a password and shows it.\n\n"
        "Without a display the wall runs unseen; --snapshot and --snapshot-directory then show what it would look "
        "like.\n\n"
        "Splits are numbered from 0, cameras and track ids from 1. Split modes: 1, 4, 9, 16. Layouts, for a document\n"
        "with an element <layoutname>: %1.\n"
        "Times are milliseconds since 1970, UTC; -1 starts at the begin. Rectangles are parts of the picture, 0 to 1.")
        .arg(SplitLayout::names().join(QStringLiteral(", ")));
}

} // namespace

WallOptions::WallOptions(const QCoreApplication& application)
{
    const QCommandLineOption portOption(QStringLiteral("port"),
        QStringLiteral("Listen for Orvane on this TCP port (default 5679)."), QStringLiteral("number"),
        QStringLiteral("5679"));
    const QCommandLineOption userOption(
        QStringLiteral("user"), QStringLiteral("User name of the account for third parties."), QStringLiteral("name"));
    const QCommandLineOption sizeOption(QStringLiteral("size"),
        QStringLiteral("Size of the window (default 1280x720)."), QStringLiteral("WxH"), QStringLiteral("1280x720"));
    const QCommandLineOption snapshotOption(QStringLiteral("snapshot"),
        QStringLiteral("Write the window as PNG after start-up, and end."), QStringLiteral("file"));
    const QCommandLineOption directoryOption(QStringLiteral("snapshot-directory"),
        QStringLiteral("Write the window as a numbered PNG into this directory after each call that changes it."),
        QStringLiteral("directory"));
    const QCommandLineOption demoOption(QStringLiteral("demo-state"),
        QStringLiteral("Fill the wall at start: %1.").arg(DemoState::names().join(QStringLiteral(", "))),
        QStringLiteral("name"));

    QCommandLineParser parser;
    parser.setApplicationDescription(description());
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOptions({portOption, userOption, sizeOption, snapshotOption, directoryOption, demoOption});
    parser.process(application);
    if (!parser.positionalArguments().isEmpty()) {
        std::cerr << "video-wall: unexpected argument \"" << parser.positionalArguments().first().toStdString()
                  << "\"; see --help\n";
        std::exit(EXIT_FAILURE); // NOLINT(concurrency-mt-unsafe): there is one thread
    }

    port = readPort(parser.value(portOption));
    user = parser.value(userOption);
    size = readSize(parser.value(sizeOption));
    snapshotFile = parser.value(snapshotOption);
    snapshotDirectory = parser.value(directoryOption);
    demoState = readDemoState(parser.value(demoOption));
}
