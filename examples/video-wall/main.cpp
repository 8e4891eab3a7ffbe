// A host application like one that a host developer would write: a wall of video pictures that Orvane drives.
#include "Activity.h"
#include "ClientModel.h"
#include "ControlServer.h"
#include "SnapshotWriter.h"
#include "WallHost.h"
#include "WallOptions.h"
#include "WallState.h"
#include "WallWindow.h"

#include <OrvaneServer.h>

#include <QApplication>
#include <QStyleFactory>

#include <cstdlib>
#include <iostream>
#include <string>

using namespace Qt::StringLiterals;

namespace {

/// Without a display the wall still works, and can write snapshots.
void useOffscreenWithoutDisplay()
{
    for (const char* variable : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
        if (qEnvironmentVariableIsSet(variable))
            return;
    }
#if defined(Q_OS_LINUX)
    qputenv("QT_QPA_PLATFORM", "offscreen");
#endif
}

int fail(const QString& problem)
{
    std::cerr << "video-wall: " << problem.toStdString() << std::endl;
    return EXIT_FAILURE;
}

void connectActivity(const WallHost& host, const WallState& state, const ClientModel& clients, ActivityModel& activity)
{
    QObject::connect(&host, &WallHost::called, &activity, [&](const QString& command, const QString& arguments) {
        activity.addCall(command, arguments, clients.asker());
    });
    QObject::connect(&state, &WallState::noted, &activity, &ActivityModel::addNote);
}

void connectSnapshots(const WallHost& host, const WallState& state, SnapshotWriter& writer)
{
    QObject::connect(&host, &WallHost::called, &writer, &SnapshotWriter::writePending);
    QObject::connect(&host, &WallHost::displayCalled, &writer, &SnapshotWriter::writeSoon);
    QObject::connect(&state, &WallState::refreshFinished, &writer,
        [&writer] { writer.writeSoon(u"updateRecorderContentsFinished"_s); });
}

/// Shows an example of everything, by the host calls that Orvane would cause.
void showDemo(WallHost& host)
{
    constexpr qint64 thursday1410 = 1'795'097'400'000; // 2026-11-19 14:10 UTC, in the track
    constexpr qint64 minute = 60'000;
    const std::string layout = "<setSplitMode><layoutname>one-large-seven-small</layoutname></setSplitMode>";
    host.setPreset("Night");
    host.setSplitModeByName(0, layout);
    host.setDetailViews(0, {{0, {0.42F, 0.4F, 0.06F, 0.04F}}, {1, {0, 0.5F, 0.28F, 0.74F}}}, {{2, 4711}});
    int splitId = 2;
    host.showLive("North gate", 2, true, splitId);
    splitId = 6;
    host.showTrackByName("Harbour basin", "Thursday", 4, thursday1410 + 9 * minute, false, splitId,
        thursday1410 - 10 * minute, thursday1410 + 20 * minute);
    splitId = -1;
    host.showLive("Main hall", 3, false, splitId);
}

void sayListening(quint16 port, const ControlAccount& account)
{
    if (account.passwordMadeUp)
        std::cout << "User " << account.user.toStdString()
                  << ", password for this run: " << account.password.toStdString() << '\n';
    std::cout << "Listening on port " << port << std::endl;
}

} // namespace

int main(int argc, char** argv)
{
    useOffscreenWithoutDisplay();
    QApplication application(argc, argv);
    QApplication::setApplicationName(u"video-wall"_s);
    QApplication::setApplicationVersion(u"1.0.0"_s);
    QApplication::setStyle(QStyleFactory::create(u"Fusion"_s));
    const WallOptions options(application);
    const ControlAccount account(options.user);

    WallState state;
    WallHost host(state); // outlives the server
    ClientModel clients;
    ActivityModel activity;
    WallWindow window(state, clients, activity);
    window.resize(options.size);
    window.show();

    SnapshotWriter writer(window);
    if (!options.snapshotDirectory.isEmpty()) {
        if (const QString failure = writer.setDirectory(options.snapshotDirectory); !failure.isEmpty())
            return fail(failure);
        connectSnapshots(host, state, writer);
    }
    // After the snapshots, so that the picture of a call is written before the next call is listed.
    connectActivity(host, state, clients, activity);

    OrvaneInterface::OrvaneServer server(&host, options.port, account.user, account.password, nullptr);
    QObject::connect(&state, &WallState::refreshFinished, &server,
        &OrvaneInterface::OrvaneServer::handleUpdateAllTreeDevicesFinished);
    clients.follow(server);
    const StartUpProblem problem = startServing(server, options.port);
    if (problem)
        window.showProblem(problem.problem, problem.remedy);
    else
        window.showListening(server.serverPort(), account);
    writer.writeSoon(u"start"_s);
    if (options.demo)
        showDemo(host);

    if (!options.snapshotFile.isEmpty()) {
        QApplication::processEvents(); // lets the window lay itself out
        if (const QString failure = writer.write(options.snapshotFile); !failure.isEmpty())
            return fail(failure);
    }
    const bool unseen = QApplication::platformName() == "offscreen"_L1;
    if (problem) {
        fail(problem.problem + u". "_s + problem.remedy);
        if (unseen || !options.snapshotFile.isEmpty())
            return EXIT_FAILURE;
    }
    if (!options.snapshotFile.isEmpty())
        return EXIT_SUCCESS;

    if (!problem)
        sayListening(server.serverPort(), account);
    return QApplication::exec();
}
