// The same host with a window that shows who is connected.
#include "ClientList.h"

#include <QApplication>
#include <QDebug>

#include <cstdlib>

int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    if (argc < 4) {
        qCritical() << "Usage: guide-window PICTURE TLS-DIRECTORY PORT"; // PICTURE: a screenshot, saved at each change
        return EXIT_FAILURE;
    }
    const QString picture = QString::fromLocal8Bit(argv[1]);
    ClientList list; // before the host, which updates it
    GuideHost host(QString::fromLocal8Bit(argv[2]));
    QObject::connect(&host, &GuideHost::clientsChanged, &list, [&list, picture](const QList<HostClient>& clients) {
        list.setClients(clients);
        list.grab().save(picture, "PNG");
    });
    if (!host.startServer(QString::fromLocal8Bit(argv[3]).toUShort()))
        return EXIT_FAILURE;
    list.show();
    return QApplication::exec();
}
