#include "ClientList.h"
#include "GuideHost.h"
#include "Session.h"
#include "WaitFor.h"

#include <QSignalSpy>
#include <QThreadPool>
#include <QtTest>

using namespace Qt::StringLiterals;

/// What in the host of docs/hosting.md depends on the order of events, or is seen in a window.
class tst_guide_host : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void refreshesOnceUntilTheNoticeIsSent();
    void outlivesItsRefresh();
    void listsWhoIsConnected();
};

void tst_guide_host::refreshesOnceUntilTheNoticeIsSent()
{
    GuideHost host({});
    const QSignalSpy finished(&host, &GuideHost::refreshFinished);
    QVERIFY(host.updateRecorderContents());
    QVERIFY(!host.updateRecorderContents());

    host.findChild<QThreadPool*>()->waitForDone(); // no event yet: the notice is still to come
    QVERIFY(!host.updateRecorderContents());
    QVERIFY(waitFor([&] { return finished.size() == 1; }));
    QVERIFY(host.updateRecorderContents());
}

void tst_guide_host::outlivesItsRefresh()
{
    auto host = std::make_unique<GuideHost>(QString());
    const QSignalSpy finished(host.get(), &GuideHost::refreshFinished);
    QVERIFY(host->updateRecorderContents());
    host.reset();
    QCoreApplication::processEvents();
    QCOMPARE(finished.size(), 0);
}

void tst_guide_host::listsWhoIsConnected()
{
    const Session session;
    const auto stranger = session.connectedClient();
    const auto orvane = session.orvaneClient();
    QVERIFY(stranger && orvane);
    QVERIFY(isServed(*orvane));

    ClientList list;
    list.setClients(session.server->clients());
    QCOMPARE(list.topLevelItemCount(), 2);
    QCOMPARE(list.topLevelItem(0)->text(0), u"127.0.0.1 %1"_s.arg(stranger->localPort()));
    QCOMPARE(list.topLevelItem(0)->text(1), u"not logged in"_s);
    QCOMPARE(list.topLevelItem(1)->text(1), u"Orvane"_s);
    QVERIFY(QTime::fromString(list.topLevelItem(1)->text(2)).isValid());

    stranger->abort();
    QVERIFY(waitFor([&] { return session.server->clients().size() == 1; }));
    list.setClients(session.server->clients());
    QCOMPARE(list.topLevelItemCount(), 1);
}

QTEST_MAIN(tst_guide_host)
#include "tst_guide_host.moc"
