// A host application as an integrator would write it: a wall of video pictures that Orvane drives.
#include "Activity.h"
#include "ControlServer.h"
#include "DemoState.h"
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

using namespace Qt::StringLiterals;

namespace {

/// A wall that nobody can see is still driven, and photographed.
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

void connectActivity(const WallHost& host, const WallState& state, ActivityModel& activity)
{
    QObject::connect(&host, &WallHost::called, &activity, &ActivityModel::addCall);
    QObject::connect(&state, &WallState::noted, &activity, &ActivityModel::addNote);
}

void connectSnapshots(const WallHost& host, const WallState& state, SnapshotWriter& writer)
{
    QObject::connect(&host, &WallHost::called, &writer, &SnapshotWriter::writePending);
    QObject::connect(&host, &WallHost::displayCalled, &writer, &SnapshotWriter::writeSoon);
    QObject::connect(&state, &WallState::refreshFinished, &writer,
        [&writer] { writer.writeSoon(u"updateRecorderContentsFinished"_s); });
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
    ActivityModel activity;
    WallWindow window(state, activity);
    window.resize(options.size);
    window.show();

    SnapshotWriter writer(window);
    if (!options.snapshotDirectory.isEmpty()) {
        if (const QString failure = writer.setDirectory(options.snapshotDirectory); !failure.isEmpty())
            return fail(failure);
        connectSnapshots(host, state, writer);
    }
    // After the snapshots: the picture of one call is written before the next one is listed.
    connectActivity(host, state, activity);

    OrvaneInterface::OrvaneServer server(&host, options.port, account.user, account.password, nullptr);
    QObject::connect(&state, &WallState::refreshFinished, &server,
        &OrvaneInterface::OrvaneServer::handleUpdateAllTreeDevicesFinished);
    const StartUpProblem problem = startServing(server, options.port);
    if (problem)
        window.showProblem(problem.problem, problem.remedy);
    else
        window.showListening(server.serverPort(), account);
    writer.writeSoon(u"start"_s);
    DemoState::apply(options.demoState, host);

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
