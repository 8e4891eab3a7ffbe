#include "LogCapture.h"
#include "Session.h"
#include "TestClass.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QScopeGuard>
#include <QSslConfiguration>
#include <QSslKey>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

/// A host that sets its own TLS configuration. Keys and certificates are made at run time.
class tst_server_tls : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void servesWithAnyKey_data();
    void servesWithAnyKey();
    void reportsUnusablePair_data();
    void reportsUnusablePair();
    void reportsOtherErrors();
    void predictsWhetherClientIsServed();
    void requestsClientCertificates();
    void ignoresRestOfDefaultConfiguration();

private:
    void openssl(const QString& arguments) const;
    void write(const QString& file, const QByteArray& content) const;
    QByteArray content(const QString& file) const;
    QSslKey key(const QString& file, QSsl::KeyAlgorithm algorithm, const QByteArray& passPhrase = {}) const;
    QSslCertificate certificate(const QString& file) const { return QSslCertificate(content(file), QSsl::Pem); }

    QTemporaryDir directory;
};

void tst_server_tls::openssl(const QString& arguments) const
{
    QProcess process;
    process.setWorkingDirectory(directory.path());
    process.start(QStringLiteral(ORVANE_OPENSSL), arguments.split(u' '));
    QVERIFY(process.waitForFinished(PatienceMs));
    QVERIFY2(process.exitCode() == 0, process.readAllStandardError().constData());
}

void tst_server_tls::write(const QString& file, const QByteArray& content) const
{
    QFile output(directory.filePath(file));
    QVERIFY(output.open(QIODevice::WriteOnly));
    QCOMPARE(output.write(content), content.size());
}

QByteArray tst_server_tls::content(const QString& file) const
{
    QFile input(directory.filePath(file));
    return input.open(QIODevice::ReadOnly) ? input.readAll() : QByteArray();
}

QSslKey tst_server_tls::key(const QString& file, QSsl::KeyAlgorithm algorithm, const QByteArray& passPhrase) const
{
    const QByteArray pem = content(file);
    return {pem, algorithm, QSsl::Pem, QSsl::PrivateKey, passPhrase};
}

void tst_server_tls::initTestCase()
{
    const QString pair = u"req -x509 -batch -days 30 -subj /CN=%1 -keyout %1.key -out %1.pem "_s;
    openssl(pair.arg(u"rsa"_s) + u"-newkey rsa:2048 -nodes"_s);
    openssl(pair.arg(u"other"_s) + u"-newkey rsa:2048 -nodes"_s);
    openssl(pair.arg(u"weak"_s) + u"-newkey rsa:512 -nodes"_s);
    openssl(pair.arg(u"ec"_s) + u"-newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes"_s);
    openssl(pair.arg(u"locked"_s) + u"-newkey rsa:2048 -passout pass:open-sesame"_s);
    openssl(u"genpkey -genparam -algorithm DSA -pkeyopt dsa_paramgen_bits:1024 -out dsa.parameters"_s);
    openssl(pair.arg(u"dsa"_s) + u"-newkey dsa:dsa.parameters -nodes"_s);
    openssl(u"genpkey -algorithm DH -pkeyopt group:ffdhe2048 -out dh.key"_s);
    // A chain: a host's certificate, issued by "rsa".
    openssl(u"req -new -batch -subj /CN=issued -newkey rsa:2048 -nodes -keyout issued.key -out issued.csr"_s);
    openssl(u"x509 -req -in issued.csr -CA rsa.pem -CAkey rsa.key -CAcreateserial -days 30 -out issued.pem"_s);
    // Not valid now.
    write(u"ca.cnf"_s,
        "[ca]\ndefault_ca=a\n[a]\ndatabase=index\nnew_certs_dir=.\nserial=serial\ndefault_md=sha256\npolicy=p\n"
        "unique_subject=no\n[p]\ncommonName=supplied\n");
    write(u"index"_s, {});
    const QString issue = u"ca -batch -notext -config ca.cnf -rand_serial -keyfile rsa.key -cert rsa.pem -in issued.csr"
                          " -out %1.pem -startdate %2 -enddate %3"_s;
    openssl(issue.arg(u"expired"_s, u"20200101000000Z"_s, u"20201231000000Z"_s));
    openssl(issue.arg(u"early"_s, u"20490101000000Z"_s, u"20491231000000Z"_s));
}

void tst_server_tls::servesWithAnyKey_data()
{
    QTest::addColumn<QSslKey>("key");
    QTest::addColumn<QList<QSslCertificate>>("chain");

    QTest::newRow("RSA") << key(u"rsa.key"_s, QSsl::Rsa) << QList {certificate(u"rsa.pem"_s)};
    QTest::newRow("elliptic curve") << key(u"ec.key"_s, QSsl::Ec) << QList {certificate(u"ec.pem"_s)};
    QTest::newRow("with a pass phrase") << key(u"locked.key"_s, QSsl::Rsa, "open-sesame")
                                        << QList {certificate(u"locked.pem"_s)};
    QTest::newRow("with a chain") << key(u"issued.key"_s, QSsl::Rsa)
                                  << QList {certificate(u"issued.pem"_s), certificate(u"rsa.pem"_s)};
}

void tst_server_tls::servesWithAnyKey()
{
    QFETCH(const QSslKey, key);
    QFETCH(const QList<QSslCertificate>, chain);

    const Session session;
    QSslConfiguration configuration = session.server->sslConfiguration();
    configuration.setPrivateKey(key);
    configuration.setLocalCertificateChain(chain);
    configuration.setProtocol(QSsl::TlsV1_3OrLater);
    session.server->setSslConfiguration(configuration);
    QCOMPARE(session.server->sslConfiguration(), configuration);
    QCOMPARE(session.server->sslErrorString(), QString());

    const auto client = session.connectedClient();
    QVERIFY(client);
    QCOMPARE(client->peerCertificateChain(), chain);
    QCOMPARE(client->sessionProtocol(), QSsl::TlsV1_3);
}

void tst_server_tls::reportsUnusablePair_data()
{
    QTest::addColumn<QSslKey>("key");
    QTest::addColumn<QSslCertificate>("certificate");
    QTest::addColumn<QString>("expected");

    const QSslKey rsa = key(u"rsa.key"_s, QSsl::Rsa);
    const QSslCertificate rsaCertificate = certificate(u"rsa.pem"_s);
    QTest::newRow("no key") << QSslKey() << rsaCertificate << u"There is no private key"_s;
    QTest::newRow("pass phrase") << key(u"locked.key"_s, QSsl::Rsa, "wrong") << certificate(u"locked.pem"_s)
                                 << u"pass phrase"_s;
    QTest::newRow("no certificate") << rsa << certificate(u"rsa.key"_s) << u"There is no certificate"_s;
    QTest::newRow("the key of another certificate")
        << rsa << certificate(u"other.pem"_s) << u"is not that of the certificate"_s;
    QTest::newRow("a key of another kind") << rsa << certificate(u"ec.pem"_s) << u"is not that of the certificate"_s;
    QTest::newRow("weak") << key(u"weak.key"_s, QSsl::Rsa) << certificate(u"weak.pem"_s) << u"512 bits"_s;
    QTest::newRow("a public key") << QSslKey(certificate(u"rsa.pem"_s).publicKey()) << rsaCertificate
                                  << u"is a public one"_s;
    QTest::newRow("only for signatures") << key(u"dsa.key"_s, QSsl::Dsa) << certificate(u"dsa.pem"_s)
                                         << u"TLS has no use for"_s;
    QTest::newRow("only for key agreement") << key(u"dh.key"_s, QSsl::Dh) << rsaCertificate << u"TLS has no use for"_s;
    QTest::newRow("too early") << key(u"issued.key"_s, QSsl::Rsa) << certificate(u"early.pem"_s)
                               << u"not valid before 2049-01-01T00:00:00Z"_s;
    QTest::newRow("expired") << key(u"issued.key"_s, QSsl::Rsa) << certificate(u"expired.pem"_s)
                             << u"not valid any more, since 2020-12-31T00:00:00Z"_s;
}

void tst_server_tls::reportsUnusablePair()
{
    QFETCH(const QSslKey, key);
    QFETCH(const QSslCertificate, certificate);
    QFETCH(const QString, expected);

    const Session session;
    QCOMPARE(session.server->sslErrorString(), QString()); // with the resources
    QSslConfiguration configuration = session.server->sslConfiguration();
    configuration.setPrivateKey(key);
    configuration.setLocalCertificate(certificate);
    QString error = OrvaneInterface::OrvaneServer::sslErrorString(configuration);
    QVERIFY2(error.contains(expected), qPrintable(error));
    QVERIFY(error.data_ptr().d_ptr() != nullptr); // not a literal of the library, which the host may unload
    session.server->setSslConfiguration(configuration);
    QCOMPARE(session.server->sslErrorString(), error);
}

void tst_server_tls::reportsOtherErrors()
{
    const Session session;
    QSslConfiguration configuration = session.server->sslConfiguration();
    configuration.setPeerVerifyMode(QSslSocket::VerifyPeer);
    session.server->setSslConfiguration(configuration);
    QCOMPARE(session.server->sslErrorString(), QString()); // with the issuers that the system trusts
    QSslConfiguration withoutIssuers = configuration;
    withoutIssuers.setCaCertificates({QSslCertificate()});
    session.server->setSslConfiguration(withoutIssuers);
    QVERIFY(session.server->sslErrorString().contains(u"no issuer"_s));
    withoutIssuers.setCaCertificates({certificate(u"rsa.pem"_s), QSslCertificate()}); // one is enough
    session.server->setSslConfiguration(withoutIssuers);
    QCOMPARE(session.server->sslErrorString(), QString());
    QSslConfiguration withoutAuthority = configuration;
    withoutAuthority.setLocalCertificateChain({certificate(u"rsa.pem"_s), QSslCertificate()});
    withoutAuthority.setPrivateKey(key(u"rsa.key"_s, QSsl::Rsa));
    session.server->setSslConfiguration(withoutAuthority);
    QVERIFY(session.server->sslErrorString().startsWith(u"One of the certificates"_s));
    configuration.setBackendConfigurationOption("CipherString", u"none of them"_s);
    session.server->setSslConfiguration(configuration);
    QVERIFY(session.server->sslErrorString().startsWith(u"Key and certificate are usable"_s));
}

/// For many configurations: whether an error is reported, and whether a client with a certificate is served.
void tst_server_tls::predictsWhetherClientIsServed()
{
    const LogCapture log;
    const Session session;
    QSslConfiguration configuration = session.server->sslConfiguration();
    const auto isServed = [&] {
        session.server->setSslConfiguration(configuration);
        TlsClient client;
        client.setPrivateKey(key(u"issued.key"_s, QSsl::Rsa));
        client.setLocalCertificate(certificate(u"issued.pem"_s));
        client.connectToPort(session.server->serverPort());
        client.loginAsOrvane();
        client.send(LastCommand);
        waitFor([&] { return client.state() == QAbstractSocket::UnconnectedState || !client.received.isEmpty(); });
        return client.received == LastReply;
    };
    for (const QSslKey& privateKey : {key(u"rsa.key"_s, QSsl::Rsa), key(u"issued.key"_s, QSsl::Rsa), QSslKey()}) {
        for (const char* name : {"rsa.pem", "issued.pem", "expired.pem", "ec.pem"}) {
            for (const auto mode :
                {QSslSocket::VerifyNone, QSslSocket::QueryPeer, QSslSocket::VerifyPeer, QSslSocket::AutoVerifyPeer}) {
                for (const auto& issuers : {QList<QSslCertificate>(), QList {certificate(u"rsa.pem"_s)}}) {
                    configuration.setPrivateKey(privateKey);
                    configuration.setLocalCertificate(certificate(QString::fromLatin1(name)));
                    configuration.setPeerVerifyMode(mode);
                    configuration.setCaCertificates(issuers);
                    QString error = OrvaneInterface::OrvaneServer::sslErrorString(configuration);
                    if (error.startsWith(u"The certificate is not valid"_s)) // the client does not check it
                        error.clear();
                    QVERIFY2(error.isEmpty() == isServed(), qPrintable(error));
                }
            }
        }
    }
}

void tst_server_tls::requestsClientCertificates()
{
    const LogCapture log;
    const Session session;
    QSslConfiguration configuration = session.server->sslConfiguration();
    configuration.setPeerVerifyMode(QSslSocket::VerifyPeer);
    configuration.setCaCertificates({certificate(u"rsa.pem"_s)});
    session.server->setSslConfiguration(configuration);

    const auto attempt = [&](TlsClient& client) {
        client.connectToPort(session.server->serverPort());
        client.loginAsOrvane();
        client.send("<theLast/>");
        return waitFor(
            [&] { return client.state() == QAbstractSocket::UnconnectedState || !client.received.isEmpty(); });
    };
    TlsClient stranger;
    QVERIFY(attempt(stranger));
    QCOMPARE(stranger.received, QByteArray());
    QStringList lines;
    QTRY_VERIFY((lines += LogCapture::take()).contains(u"\"The peer did not present any certificate\""_s));

    configuration.setCaCertificates({certificate(u"other.pem"_s)});
    session.server->setSslConfiguration(configuration);
    TlsClient foreign;
    foreign.setPrivateKey(key(u"issued.key"_s, QSsl::Rsa));
    foreign.setLocalCertificate(certificate(u"issued.pem"_s));
    QVERIFY(attempt(foreign));
    for (const auto* error : {"The issuer certificate of a locally looked up certificate could not be found",
             "No certificates could be verified"})
        QTRY_VERIFY2((lines += LogCapture::take()).contains(u"\"%1\""_s.arg(QLatin1String(error))), error);
}

/// A host may have changed it for its own connections.
void tst_server_tls::ignoresRestOfDefaultConfiguration()
{
    const QSslConfiguration before = QSslConfiguration::defaultConfiguration();
    const auto restore = qScopeGuard([&] { QSslConfiguration::setDefaultConfiguration(before); });
    QSslConfiguration ofHost = before;
    ofHost.setAllowedNextProtocols({"h2"});
    ofHost.setProtocol(QSsl::TlsV1_2);
    QSslConfiguration::setDefaultConfiguration(ofHost);

    const Session session;
    QVERIFY(session.server->sslConfiguration().allowedNextProtocols().isEmpty());
    TlsClient client;
    QSslConfiguration configuration = client.sslConfiguration();
    configuration.setAllowedNextProtocols({"orvane"});
    configuration.setProtocol(QSsl::TlsV1_3);
    client.setSslConfiguration(configuration);
    client.connectToPort(session.server->serverPort());
    QTRY_VERIFY(client.isEncrypted());
}

ORVANE_TEST(tst_server_tls)
#include "tst_server_tls.moc"
