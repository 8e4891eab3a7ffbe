#include <OrvaneInterface.h>
#include <OrvaneServer.h>

#include <QMetaMethod>
#include <QSslCertificate>
#include <QSslKey>
#include <QTcpServer>
#include <QtTest>

#include <array>
#include <cstddef>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <vector>

using HostInterface = OrvaneInterface::OrvaneInterface;
using OrvaneInterface::OrvaneLimits;
using OrvaneInterface::OrvaneServer;
using OrvaneInterface::SubsplitRect;
using RecorderEntry = HostInterface::RecorderEntry;
using PresetEntry = HostInterface::PresetEntry;

/// What hosts have compiled in. Nothing of it may change, except with a new SOVERSION.
class tst_binary_compatibility : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void operationsKeepTheirSlots_data();
    void operationsKeepTheirSlots();
    void recordsKeepTheirLayout();
    void serverKeepsItsSize();
    void serverKeepsItsMetaMethods();
};

namespace {

/// The slot of a virtual operation in the vtable. That it compiles shows that the operation has this signature.
template <typename Operation> int slotOf(Operation operation)
{
    std::array<std::ptrdiff_t, 2>
        representation {}; // of the Itanium C++ ABI: the offset, marked as virtual by its low bit
    static_assert(sizeof operation == sizeof representation);
    std::memcpy(representation.data(), &operation, sizeof operation);
    constexpr std::ptrdiff_t virtualMark = 1;
    return static_cast<int>((representation[0] & ~virtualMark) / static_cast<std::ptrdiff_t>(sizeof(void*)));
}

template <typename Result, typename... Arguments> using Operation = Result (HostInterface::*)(Arguments...);

/// What the first release put into the server.
class ServerLayout : public QTcpServer {
    [[maybe_unused]] HostInterface* hostInterface = nullptr;
    std::vector<void*> connections;
    [[maybe_unused]] quint16 port = 0;
    QSslKey privateKey;
    QSslCertificate certificate;
    QString userName;
    QString password;
    std::mutex connectionsMutex;
};

using String = std::string;
using Rects = std::map<int, SubsplitRect>;
using ObjectIds = std::map<int, qint64>;

} // namespace

void tst_binary_compatibility::operationsKeepTheirSlots_data()
{
    QTest::addColumn<int>("slot");
    QTest::addColumn<int>("expected");

    const auto row = [](const char* name, int slot, int expected) { QTest::newRow(name) << slot << expected; };
    row("updateRecorderContents", slotOf<Operation<bool>>(&HostInterface::updateRecorderContents), 0);
    row("getRecorderList", slotOf<Operation<void, std::vector<RecorderEntry>&>>(&HostInterface::getRecorderList), 1);
    row("getPresetsList", slotOf<Operation<void, std::vector<PresetEntry>&>>(&HostInterface::getPresetsList), 2);
    row("showLive", slotOf<Operation<void, String, int, bool, int&>>(&HostInterface::showLive), 3);
    row("showLiveAtSubsplit", slotOf<Operation<void, int, int, int>>(&HostInterface::showLiveAtSubsplit), 4);
    row("showTrackByName",
        slotOf<Operation<void, String, String, int, qint64, bool, int&, qint64, qint64>>(
            &HostInterface::showTrackByName),
        5);
    row("showTrackById",
        slotOf<Operation<void, String, int, int, qint64, bool, int&, qint64, qint64>>(&HostInterface::showTrackById),
        6);
    row("setPreset", slotOf<Operation<void, String>>(&HostInterface::setPreset), 7);
    row("setSplitMode", slotOf<Operation<void, int>>(&HostInterface::setSplitMode), 8);
    row("setSplitModeByName", slotOf<Operation<void, int, const String&>>(&HostInterface::setSplitModeByName), 9);
    row("setDetailViews", slotOf<Operation<void, int, Rects, ObjectIds>>(&HostInterface::setDetailViews), 10);
    row("getPertinentInfo", slotOf<Operation<bool, const String&, String&>>(&HostInterface::getPertinentInfo), 11);
}

void tst_binary_compatibility::operationsKeepTheirSlots()
{
    QFETCH(const int, slot);
    QFETCH(const int, expected);
    QVERIFY2(
        slot == expected, "a host that is already compiled would be asked for another operation than the client's");
}

void tst_binary_compatibility::recordsKeepTheirLayout()
{
    constexpr size_t text = sizeof(String);
    const char* const records = "a host that is already compiled would fill in the wrong fields";
    QVERIFY2(offsetof(RecorderEntry, name) == 0, records);
    QVERIFY2(offsetof(RecorderEntry, ip) == text, records);
    QVERIFY2(offsetof(RecorderEntry, userName) == 2 * text, records);
    QVERIFY2(offsetof(RecorderEntry, password) == 3 * text, records);
    QVERIFY2(offsetof(RecorderEntry, tracks) == 4 * text, records);
    QVERIFY2(offsetof(RecorderEntry, maxNumChannels) == 4 * text + sizeof(std::vector<String>), records);
    QVERIFY2(sizeof(RecorderEntry) == 4 * text + sizeof(std::vector<String>) + sizeof(void*), records);
    QVERIFY2(sizeof(PresetEntry) == text, records);

    const char* const rects = "a host that is already compiled would read the wrong corners";
    QVERIFY2(offsetof(SubsplitRect, ltx) == 0, rects);
    QVERIFY2(offsetof(SubsplitRect, lty) == sizeof(float), rects);
    QVERIFY2(offsetof(SubsplitRect, rbx) == 2 * sizeof(float), rects);
    QVERIFY2(offsetof(SubsplitRect, rby) == 3 * sizeof(float), rects);
    QVERIFY2(sizeof(SubsplitRect) == 4 * sizeof(float), rects);

    const char* const limits = "a host that is already compiled would set other limits";
    QVERIFY2(offsetof(OrvaneLimits, maxClients) == 0, limits);
    QVERIFY2(offsetof(OrvaneLimits, maxInvalidLogins) == sizeof(int), limits);
    QVERIFY2(offsetof(OrvaneLimits, maxMessageLength) == sizeof(qint64), limits);
    QVERIFY2(offsetof(OrvaneLimits, maxMessageLengthBeforeLogin) == 2 * sizeof(qint64), limits);
    QVERIFY2(offsetof(OrvaneLimits, maxUnsentBytes) == 3 * sizeof(qint64), limits);
    QVERIFY2(offsetof(OrvaneLimits, handshakeTimeout) == 4 * sizeof(qint64), limits);
    QVERIFY2(offsetof(OrvaneLimits, loginTimeout) == 5 * sizeof(qint64), limits);
    QVERIFY2(sizeof(OrvaneLimits) == 6 * sizeof(qint64), limits);

    QVERIFY2(sizeof(HostInterface) == sizeof(void*), "a host's own data would lie where the library expects its own");
}

void tst_binary_compatibility::serverKeepsItsSize()
{
    QVERIFY2(sizeof(OrvaneServer) == sizeof(ServerLayout),
        "a host that is already compiled would set aside too little memory for its server, or more than it takes");
}

void tst_binary_compatibility::serverKeepsItsMetaMethods()
{
    const QMetaObject& metaObject = OrvaneServer::staticMetaObject;
    const char* const methods = "a host that connects by name, or by index, would reach another method or none";
    QVERIFY2(metaObject.methodCount() - metaObject.methodOffset() == 2, methods);
    const QMetaMethod first = metaObject.method(metaObject.methodOffset());
    const QMetaMethod second = metaObject.method(metaObject.methodOffset() + 1);
    QVERIFY2(first.methodSignature() == "handleUpdateAllTreeDevicesFinished()", methods);
    QVERIFY2(first.access() == QMetaMethod::Public, methods);
    QVERIFY2(second.methodSignature() == "sslErrors(QList<QSslError>)", methods);
    QVERIFY2(second.access() == QMetaMethod::Private, methods);
}

QTEST_APPLESS_MAIN(tst_binary_compatibility)
#include "tst_binary_compatibility.moc"
