#include "Session.h"
#include "WaitFor.h"

#include <QProcess>
#include <QTest>

using namespace Qt::StringLiterals;

/// The client as a process, on every system. The transcripts check much more, but need a POSIX shell.
class tst_client_process : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void sendsCommand();
    void sendsLinesOfPipe();
    void reportsAtOnceThatNoHostHasTheName();

private:
    /// With a longer time limit than the test has. \return the exit status
    int run(const QStringList& arguments, const QByteArray& input = {});

    Session session;
    QProcess client;
};

int tst_client_process::run(const QStringList& arguments, const QByteArray& input)
{
    const QStringList common {
        u"--insecure"_s, u"--timeout=1000"_s, u"--port"_s, QString::number(session.server->serverPort())};
    session.host.calls.clear();
    client.start(QStringLiteral(ORVANE_CLIENT), common + arguments);
    client.write(input);
    client.closeWriteChannel();
    const bool hasEnded = waitFor([this] { return client.state() == QProcess::NotRunning; });
    return hasEnded && client.exitStatus() == QProcess::NormalExit ? client.exitCode() : -1;
}

void tst_client_process::sendsCommand()
{
    QCOMPARE(run({u"setPreset"_s, u"presetname=Nörd & gate"_s}), 0);
    QCOMPARE(client.readAllStandardOutput(), shortAcceptance("setPreset").trimmed() + '\n');
    QCOMPARE(session.host.calls, QStringList {u"setPreset(\"Nörd & gate\")"_s});
}

void tst_client_process::sendsLinesOfPipe()
{
    QByteArray lines = "setSplitMode splitmode=0\r\n";
    QStringList calls {u"setSplitMode(0)"_s};
    for (int i = 1; i < 300; ++i) { // more than one read of the client gets
        lines += "setSplitMode splitmode=" + QByteArray::number(i) + '\n';
        calls += u"setSplitMode(%1)"_s.arg(i);
    }
    QCOMPARE(run({u"--quiet"_s}, lines.chopped(1)), 0);
    QCOMPARE(session.host.calls, calls);
}

void tst_client_process::reportsAtOnceThatNoHostHasTheName()
{
    constexpr int noConnection = 4;
    QCOMPARE(run({u"--host"_s, u"a..b"_s, u"getPresetsList"_s}), noConnection);
    QVERIFY(client.readAllStandardError().startsWith("orvane-client: cannot connect to "));
}

QTEST_GUILESS_MAIN(tst_client_process)
#include "tst_client_process.moc"
