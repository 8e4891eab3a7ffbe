#include "GuideHost.h"
#include "WaitFor.h"

#include <QSignalSpy>
#include <QTest>
#include <QThreadPool>

/// The parts of the host of docs/hosting.md that depend on the order of events.
class tst_guide_host : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void refreshesOnceUntilTheNoticeIsSent();
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

QTEST_GUILESS_MAIN(tst_guide_host)
#include "tst_guide_host.moc"
