#include "Session.h"
#include "Wine.h"

#include <QFile>
#include <QProcess>
#include <QSslKey>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

/// On Windows, where OpenSSL's DLLs are missing.
class tst_server_with_schannel : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(QSslSocket::setActiveBackend(u"schannel"_s)); }
    void servesWithTheResources();
    void saysThatItTakesNoEllipticKey();
};

void tst_server_with_schannel::servesWithTheResources()
{
    if (isWine())
        QSKIP("wine finds no imported certificate fit for a server");
    const Session session;
    QCOMPARE(session.server->sslErrorString(), QString());
    QVERIFY(session.connectedClient());
}

void tst_server_with_schannel::saysThatItTakesNoEllipticKey()
{
    const QTemporaryDir directory;
    QProcess openssl;
    openssl.setWorkingDirectory(directory.path());
    openssl.start(QStringLiteral(ORVANE_OPENSSL),
        u"req -x509 -batch -subj /CN=ec -keyout key -out pem -nodes -newkey ec -pkeyopt ec_paramgen_curve:P-256"_s
            .split(u' '));
    QVERIFY(openssl.waitForFinished(PatienceMs));
    QFile key(directory.filePath(u"key"_s));
    QVERIFY(key.open(QIODevice::ReadOnly));
    QSslConfiguration configuration;
    configuration.setPrivateKey(QSslKey(&key, QSsl::Ec));
    configuration.setLocalCertificateChain(QSslCertificate::fromPath(directory.filePath(u"pem"_s)));
    QCOMPARE(OrvaneInterface::OrvaneServer::sslErrorString(configuration),
        u"Schannel cannot use a key of an elliptic curve: the DLLs of OpenSSL are missing"_s);
}

QTEST_GUILESS_MAIN(tst_server_with_schannel)
#include "tst_server_with_schannel.moc"
