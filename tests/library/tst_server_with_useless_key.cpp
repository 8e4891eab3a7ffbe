#include "LogCapture.h"
#include "Session.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QResource>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

/// A host without key and certificate, or with unusable ones. The pairs are made at run time.
class tst_server_with_useless_key : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void disconnectsEachClient_data();
    void disconnectsEachClient();
};

namespace {

const QString NewRsaPair =
    u"req -x509 -newkey rsa:2048 -nodes -subj /CN=localhost -batch -keyout hxkey.pem -out hxcert.pem"_s;

bool run(const QString& program, const QString& arguments)
{
    QProcess process;
    process.start(program, arguments.split(u' '));
    return process.waitForFinished(PatienceMs) && process.exitStatus() == QProcess::NormalExit
        && process.exitCode() == 0;
}

} // namespace

void tst_server_with_useless_key::disconnectsEachClient_data()
{
    QTest::addColumn<QStringList>("commands"); // of openssl
    QTest::addColumn<QString>("expected"); // empty: no error, clients are served

    const QString key = u":/Halden/Resources/hxkey.pem"_s;
    QTest::newRow("neither key nor certificate") << QStringList() << u"There is no resource "_s + key;
    QTest::newRow("a usable pair, to check this test") << QStringList {NewRsaPair} << QString();
    QTest::newRow("elliptic curve")
        << QStringList {QString(NewRsaPair).replace(u"rsa:2048"_s, u"ec -pkeyopt ec_paramgen_curve:prime256v1"_s)}
        << key + u" is not an RSA key in PEM"_s;
    QTest::newRow("the key of another certificate")
        << QStringList {NewRsaPair, u"genrsa -out hxkey.pem 2048"_s}
        << u"The private key is not that of the certificate, or the TLS library finds one of them too weak (2048 bits)"_s;
    QTest::newRow("a key of another length") << QStringList {NewRsaPair, u"genrsa -out hxkey.pem 3072"_s}
                                             << u"The private key is not that of the certificate"_s;
    QTest::newRow("a key with a pass phrase")
        << QStringList {QString(NewRsaPair).replace(u"-nodes"_s, u"-passout pass:secret"_s)}
        << key + u" has a pass phrase"_s;
    QTest::newRow("a key with a pass phrase, in the older form")
        << QStringList {NewRsaPair, u"rsa -in hxkey.pem -traditional -aes128 -passout pass:secret -out hxkey.pem"_s}
        << key + u" has a pass phrase"_s;
    QTest::newRow("an empty key") << QStringList {NewRsaPair,
        u"enc -base64 -in %1 -out hxkey.pem"_s.arg(QProcess::nullDevice())}
                                  << key + u" is empty"_s;
    QTest::newRow("a certificate where the key should be")
        << QStringList {NewRsaPair, u"x509 -in hxcert.pem -out hxkey.pem"_s} << key + u" is not an RSA key in PEM"_s;
    QTest::newRow("a key where the certificate should be") << QStringList {NewRsaPair,
        u"rsa -in hxkey.pem -out hxcert.pem"_s} << u":/Halden/Resources/hxcert.pem is not a certificate in PEM"_s;
}

void tst_server_with_useless_key::disconnectsEachClient()
{
    QFETCH(const QStringList, commands);
    QFETCH(const QString, expected);

    const QTemporaryDir directory;
    QDir::setCurrent(directory.path());
    for (const QString& command : commands)
        QVERIFY2(run(QStringLiteral(ORVANE_OPENSSL), command), qPrintable(command));
    QFile list(u"tls.qrc"_s);
    QVERIFY(list.open(QIODevice::WriteOnly));
    list.write("<RCC><qresource prefix='/Halden/Resources'>");
    list.write(commands.isEmpty() ? "" : "<file>hxkey.pem</file><file>hxcert.pem</file>");
    list.write("</qresource></RCC>");
    list.close();
    QVERIFY(run(QStringLiteral(ORVANE_RCC), u"--binary tls.qrc -o tls.rcc"_s));
    const QString resource = directory.filePath(u"tls.rcc"_s);
    QVERIFY(QResource::registerResource(resource));
    const auto unregister = qScopeGuard([&resource] { QResource::unregisterResource(resource); });

    const LogCapture log;
    const Session session;
    QVERIFY(session.server->isListening());
    QCOMPARE(session.server->sslErrorString(), expected);
    QCOMPARE(LogCapture::take(), QStringList());
    TlsClient client;
    client.connectToPort(session.server->serverPort());
    if (expected.isEmpty()) {
        QTRY_VERIFY(client.isEncrypted());
        return;
    }
    QTRY_COMPARE(client.state(), QAbstractSocket::UnconnectedState);
    QVERIFY(!client.isEncrypted());
    QTRY_COMPARE(session.server->findChildren<QSslSocket*>().size(), 0);
    const QStringList lines = LogCapture::take();
    QCOMPARE(lines.size(), 2);
    QVERIFY(lines.first().startsWith(u"New OrvaneConnection from "_s));
    QVERIFY(lines.last().startsWith(u"OrvaneConnection socket error: "_s)); // Qt decides which one

    QSslConfiguration withoutCertificate;
    withoutCertificate.setPrivateKey(session.server->sslConfiguration().privateKey());
    for (const QSslConfiguration& own : {QSslConfiguration(), withoutCertificate}) {
        session.server->setSslConfiguration(own);
        QCOMPARE(session.server->sslErrorString(), OrvaneInterface::OrvaneServer::sslErrorString(own));
    }
}

QTEST_GUILESS_MAIN(tst_server_with_useless_key)
#include "tst_server_with_useless_key.moc"
