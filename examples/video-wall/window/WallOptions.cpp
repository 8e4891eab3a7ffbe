#include "WallOptions.h"

#include "Protocol.h"
#include "SplitLayout.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QRegularExpression>

#include <cstdlib>
#include <iostream>

using namespace Qt::StringLiterals;
using OrvaneInterface::DefaultPort;

namespace {

/// Below this nothing is readable; above this no picture can be allocated.
constexpr int SmallestSide = 360;
constexpr int LargestSide = 8192;

[[noreturn]] void refuse(const QString& option, const QString& value, const QString& expected)
{
    const QString text = u"video-wall: --%1: \"%2\" is not %3\n"_s.arg(option, value, expected);
    std::cerr << text.toStdString();
    std::exit(EXIT_FAILURE); // NOLINT(concurrency-mt-unsafe): there is one thread
}

quint16 readPort(const QString& value)
{
    bool isNumber = false;
    const ushort port = value.toUShort(&isNumber);
    if (!isNumber || port == 0)
        refuse(u"port"_s, value, u"a port, 1 to 65535"_s);
    return port;
}

QSize readSize(const QString& value)
{
    static const QRegularExpression form(u"^(\\d{1,5})x(\\d{1,5})$"_s);
    const QRegularExpressionMatch match = form.match(value);
    const QSize size(match.captured(1).toInt(), match.captured(2).toInt());
    if (qMin(size.width(), size.height()) < SmallestSide || qMax(size.width(), size.height()) > LargestSide)
        refuse(u"size"_s, value, u"a size such as 1280x720, each side %1 to %2"_s.arg(SmallestSide).arg(LargestSide));
    return size;
}

QString description()
{
    return u"A video wall that the Orvane control system drives over the network.\n\n"
           "Account for third parties: the user is from --user or ORVANE_USER, or \"operator\"; the password is from\n"
           "ORVANE_PASSWORD. If that is not set, the wall makes up a password and shows it.\n\n"
           "Without a display the wall runs without a visible window; --snapshot and --snapshot-directory write\n"
           "pictures of it.\n\n"
           "Splits are numbered from 0, cameras and track ids from 1. Split modes: 1, 4, 9, 16.\n"
           "Layouts, for a document with an element <layoutname>:\n%1.\n"
           "Times are milliseconds since 1970, UTC; -1 is the start. Rectangles are parts of the picture, 0 to 1."_s
               .arg(SplitLayout::names().join(u", "_s));
}

} // namespace

WallOptions::WallOptions(const QCoreApplication& application)
{
    const QCommandLineOption portOption(u"port"_s,
        u"Listen for Orvane on this TCP port (default %1)."_s.arg(DefaultPort), u"number"_s,
        QString::number(DefaultPort));
    const QCommandLineOption userOption(u"user"_s, u"User name of the account for third parties."_s, u"name"_s);
    const QCommandLineOption sizeOption(
        u"size"_s, u"Size of the window (default 1280x720)."_s, u"WxH"_s, u"1280x720"_s);
    const QCommandLineOption snapshotOption(
        u"snapshot"_s, u"Write a PNG of the window after start-up, and exit."_s, u"file"_s);
    const QCommandLineOption directoryOption(u"snapshot-directory"_s,
        u"Write a numbered PNG of the window to this directory after each call that changes it."_s, u"directory"_s);
    const QCommandLineOption demoOption(u"demo"_s, u"Start with sample content, for a picture of the wall."_s);

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
    demo = parser.isSet(demoOption);
}
