// The host of docs/hosting.md, whose pieces of code all come from here, as does that of SECURITY.md.
#include "GuideHost.h"

#include <QCoreApplication>
#include <QDebug>
#include <QLoggingCategory>

#include <cstdlib>

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false\norvane.audit.info=true"));

    if (argc < 2) {
        qCritical() << "Usage: guide-host TLS-DIRECTORY [PORT]";
        return EXIT_FAILURE;
    }
    GuideHost host(QString::fromLocal8Bit(argv[1]));
    if (!host.startServer(argc > 2 ? QString::fromLocal8Bit(argv[2]).toUShort() : quint16 {0}))
        return EXIT_FAILURE;
    return QCoreApplication::exec();
}
