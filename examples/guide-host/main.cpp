// The host of docs/hosting.md, whose pieces of code all come from here, as does that of SECURITY.md.
#include "GuideHost.h"

#include <QCoreApplication>
#include <QDebug>
#include <QLoggingCategory>
#include <QSslCipher>
#include <QSslConfiguration>

#include <cstdlib>

namespace {

/// Leaves the ciphers that have forward secrecy and do not use CBC, for all TLS of the process.
void narrowCiphers()
{
    QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
    QList<QSslCipher> ciphers = tls.ciphers();
    ciphers.removeIf([](const QSslCipher& cipher) {
        return cipher.keyExchangeMethod() == QLatin1String("RSA") || !cipher.name().contains(QLatin1String("GCM"));
    });
    tls.setCiphers(ciphers);
    QSslConfiguration::setDefaultConfiguration(tls);
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));

    if (argc < 2) {
        qCritical() << "Usage: guide-host TLS-FILE [PORT]";
        return EXIT_FAILURE;
    }
    narrowCiphers();
    GuideHost host(QString::fromLocal8Bit(argv[1]));
    if (!host.startServer(argc > 2 ? QString::fromLocal8Bit(argv[2]).toUShort() : quint16 {0}))
        return EXIT_FAILURE;
    return QCoreApplication::exec();
}
