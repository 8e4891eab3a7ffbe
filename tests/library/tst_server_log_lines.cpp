#include "LogCapture.h"
#include "Session.h"

#include <QEventLoop>
#include <QPointer>
#include <QSignalSpy>
#include <QtTest>

#include <functional>

using namespace Qt::StringLiterals;

/// A host whose message handler does anything inside a log line, as a log window does that keeps itself painted: runs
/// an event loop, has clients come and go, calls the server, destroys it.
class tst_server_log_lines : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void servesInsideAnyLine_data();
    void servesInsideAnyLine();
    void canBeDestroyedInsideAnyLine_data();
    void canBeDestroyedInsideAnyLine();
    void takesUpWhatAClientDidInsideItsFirstLine_data();
    void takesUpWhatAClientDidInsideItsFirstLine();
    void tellsOfARefreshThatEndsInsideTheFirstCall();
};

namespace {

const QString FirstLine = u"New OrvaneConnection from"_s;

/// Runs \a reaction inside the first line that begins with \a beginning.
std::function<void(const QString&)> once(const QString& beginning, std::function<void()> reaction)
{
    return [beginning, reaction = std::move(reaction), done = false](const QString& line) mutable {
        if (done || !line.startsWith(beginning))
            return;
        done = true;
        reaction();
    };
}

/// An event loop of the host, until \a condition holds; then once more, deferred deletes included.
template <typename Condition> void runEventLoop(Condition condition)
{
    QVERIFY(QTest::qWaitFor(condition));
    QEventLoop().processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void addLines()
{
    QTest::addColumn<QString>("line");

    QTest::newRow("a client has connected") << FirstLine;
    QTest::newRow("a message has arrived") << u"OrvaneConnection received command:"_s;
    QTest::newRow("the login message") << u"\"loginClient\""_s;
    QTest::newRow("who has logged in") << u"This is Orvane"_s;
    QTest::newRow("the message") << u"\"<unknown/>\""_s;
    QTest::newRow("an unknown command") << u"Received unknown Orvane command:"_s;
    QTest::newRow("a track that is none")
        << u"OrvaneInterface: received showTrack command without valid track ID or track name!"_s;
    QTest::newRow("the message of a call") << u"\"<setPreset/>\""_s;
    QTest::newRow("a client has gone") << u"OrvaneConnection socket error:"_s;
}

/// A client that makes the server write all the lines.
void provokeLines(TlsClient& client, quint16 port)
{
    client.connectToPort(port);
    QTRY_VERIFY(client.isEncrypted() || client.state() == QAbstractSocket::UnconnectedState);
    client.loginAsOrvane();
    client.send("<unknown/>");
    client.send("<showTrack/>");
    client.send("<setPreset/>");
    const QByteArray replies = rejection("unknown", "Unknown command")
        + rejection("showTrack", "showTrack command without valid track ID or track name")
        + shortAcceptance("setPreset");
    QTRY_VERIFY(client.received == replies || client.state() == QAbstractSocket::UnconnectedState);
    client.disconnectFromHost();
}

} // namespace

void tst_server_log_lines::servesInsideAnyLine_data()
{
    addLines();
}

void tst_server_log_lines::servesInsideAnyLine()
{
    QFETCH(const QString, line);

    Session session;
    const auto waiting = session.orvaneClient();
    QVERIFY(waiting);
    waiting->send("<updateRecorderContents/>");
    QTRY_COMPARE(session.host.calls.size(), 1);

    bool served = false;
    const LogCapture log(once(line, [&] {
        session.server->handleUpdateAllTreeDevicesFinished();
        const auto other = session.orvaneClient();
        QVERIFY(other);
        other->send("<updateRecorderContents/>");
        const qsizetype calls = session.host.calls.size();
        runEventLoop([&] { return session.host.calls.size() == calls + 1; });
        session.server->handleUpdateAllTreeDevicesFinished();
        runEventLoop([&] { return other->received == waiting->received && !other->received.isEmpty(); });
        other->abort();
        served = true;
    }));
    TlsClient client;
    provokeLines(client, session.server->serverPort());
    QTRY_VERIFY(served);
    QTRY_COMPARE(session.server->findChildren<QSslSocket*>().size(), 1);

    waiting->received.clear(); // all of them are known and told, in whatever order they came to be
    waiting->send("<updateRecorderContents/>");
    const auto last = session.orvaneClient();
    QVERIFY(last);
    last->send("<updateRecorderContents/>");
    QTRY_COMPARE(session.host.calls.size(), 5);
    session.server->handleUpdateAllTreeDevicesFinished();
    QTRY_VERIFY(!waiting->received.isEmpty());
    QTRY_COMPARE(last->received, waiting->received);
}

void tst_server_log_lines::canBeDestroyedInsideAnyLine_data()
{
    addLines();
}

void tst_server_log_lines::canBeDestroyedInsideAnyLine()
{
    QFETCH(const QString, line);

    Session session;
    const auto bystander = session.orvaneClient();
    QVERIFY(bystander);
    bystander->send("<setPreset/>");
    QTRY_COMPARE(bystander->received, shortAcceptance("setPreset")); // it causes no more lines
    const quint16 port = session.server->serverPort();
    QList<QPointer<QObject>> children;
    QStringList callsBefore;
    const LogCapture log(once(line, [&] {
        for (QObject* child : session.server->children())
            children += child;
        callsBefore = session.host.calls;
        const QPointer<QSslSocket> speaking = session.server->findChildren<QSslSocket*>().last();
        session.server.reset();
        runEventLoop([&] { return bystander->state() == QAbstractSocket::UnconnectedState; });
        QVERIFY(speaking); // still inside its own signal, or in the hands of the server
    }));
    TlsClient client;
    provokeLines(client, port);
    QTRY_COMPARE(client.state(), QAbstractSocket::UnconnectedState);
    QTRY_VERIFY(!session.server);
    QTRY_VERIFY(std::all_of(children.cbegin(), children.cend(), [](const auto& child) { return child.isNull(); }));
    QCOMPARE(session.host.calls, callsBefore); // and none since
}

void tst_server_log_lines::takesUpWhatAClientDidInsideItsFirstLine_data()
{
    QTest::addColumn<bool>("sends");
    QTest::addColumn<bool>("leaves");

    QTest::newRow("sends a message") << true << false;
    QTest::newRow("leaves") << false << true;
    QTest::newRow("sends a message and leaves") << true << true;
}

void tst_server_log_lines::takesUpWhatAClientDidInsideItsFirstLine()
{
    QFETCH(const bool, sends);
    QFETCH(const bool, leaves);

    Session session;
    TlsClient client;
    const LogCapture log(once(FirstLine, [&] {
        runEventLoop([&] { return client.isEncrypted(); });
        const QPointer<QSslSocket> socket = session.server->findChild<QSslSocket*>();
        if (sends) {
            client.loginAsOrvane();
            client.send("<setPreset/>");
            runEventLoop([&] { return socket->bytesAvailable() > 0 && client.encryptedBytesToWrite() == 0; });
        }
        if (leaves) {
            client.disconnectFromHost();
            runEventLoop([&] { return socket->state() == QAbstractSocket::UnconnectedState; });
        }
    }));
    client.connectToPort(session.server->serverPort());
    if (leaves)
        QTRY_COMPARE(client.state(), QAbstractSocket::UnconnectedState);
    else
        QTRY_COMPARE(client.received, shortAcceptance("setPreset"));
    QTRY_COMPARE(session.server->findChildren<QSslSocket*>().size(), leaves ? 0 : 1);
    QCOMPARE(session.host.calls.size(), sends ? 1 : 0);
}

void tst_server_log_lines::tellsOfARefreshThatEndsInsideTheFirstCall()
{
    Session session;
    session.host.duringCall = [&] { session.server->handleUpdateAllTreeDevicesFinished(); };
    TlsClient client;
    const LogCapture log(once(FirstLine, [&] {
        runEventLoop([&] { return client.isEncrypted(); });
        const QSslSocket* socket = session.server->findChild<QSslSocket*>();
        client.loginAsOrvane();
        client.send("<updateRecorderContents/>");
        runEventLoop([&] { return socket->bytesAvailable() > 0 && client.encryptedBytesToWrite() == 0; });
    }));
    client.connectToPort(session.server->serverPort());
    QTRY_VERIFY(client.received.contains("updateRecorderContentsFinished"));
}

QTEST_GUILESS_MAIN(tst_server_log_lines)
#include "tst_server_log_lines.moc"
