#include <OrvaneInterface.h>
#include <OrvaneServer.h>

#include <QMetaMethod>
#include <QSslCertificate>
#include <QSslKey>
#include <QTcpServer>
#include <QtTest>

#include <array>
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

/// What compiled hosts rely on. None of it may change without a new SOVERSION.
class tst_binary_compatibility : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void operationsKeepTheirSlots();
    void recordsKeepTheirLayout();
    void serverKeepsItsSize();
    void serverKeepsItsMetaMethods();
};

namespace {

/// The slot of a virtual operation in the vtable. It compiles only if the operation has this signature.
template <typename Operation> int slotOf(Operation operation)
{
    // In the Itanium C++ ABI: the offset, marked as virtual by its low bit.
    std::array<std::ptrdiff_t, 2> representation {};
    static_assert(sizeof operation == sizeof representation);
    std::memcpy(representation.data(), &operation, sizeof operation);
    constexpr std::ptrdiff_t virtualMark = 1;
    return static_cast<int>((representation[0] & ~virtualMark) / static_cast<std::ptrdiff_t>(sizeof(void*)));
}

using Layout = std::vector<size_t>;

/// The offsets of the members, and the size of the record.
template <typename Record, typename... Members> Layout layoutOf(Members Record::*... members)
{
    const Record record {};
    const auto* const begin = reinterpret_cast<const char*>(&record);
    return {static_cast<size_t>(reinterpret_cast<const char*>(&(record.*members)) - begin)..., sizeof(Record)};
}

template <typename Result, typename... Arguments> using Operation = Result (HostInterface::*)(Arguments...);

/// The members of the server in the first release.
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

void tst_binary_compatibility::operationsKeepTheirSlots()
{
#ifdef _MSC_VER
    QSKIP("only in the Itanium C++ ABI does a pointer to an operation contain its slot");
#else
    const std::array slots {
        slotOf<Operation<bool>>(&HostInterface::updateRecorderContents),
        slotOf<Operation<void, std::vector<RecorderEntry>&>>(&HostInterface::getRecorderList),
        slotOf<Operation<void, std::vector<PresetEntry>&>>(&HostInterface::getPresetsList),
        slotOf<Operation<void, String, int, bool, int&>>(&HostInterface::showLive),
        slotOf<Operation<void, int, int, int>>(&HostInterface::showLiveAtSubsplit),
        slotOf<Operation<void, String, String, int, qint64, bool, int&, qint64, qint64>>(
            &HostInterface::showTrackByName),
        slotOf<Operation<void, String, int, int, qint64, bool, int&, qint64, qint64>>(&HostInterface::showTrackById),
        slotOf<Operation<void, String>>(&HostInterface::setPreset),
        slotOf<Operation<void, int>>(&HostInterface::setSplitMode),
        slotOf<Operation<void, int, const String&>>(&HostInterface::setSplitModeByName),
        slotOf<Operation<void, int, Rects, ObjectIds>>(&HostInterface::setDetailViews),
        slotOf<Operation<bool, const String&, String&>>(&HostInterface::getPertinentInfo),
    };
    const std::array expected {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
    QVERIFY2(slots == expected, "a compiled host would get calls for the wrong operations");
#endif
}

void tst_binary_compatibility::recordsKeepTheirLayout()
{
    constexpr size_t text = sizeof(String);
    constexpr size_t channels = 4 * text + sizeof(std::vector<String>);
    QVERIFY2((layoutOf(&RecorderEntry::name, &RecorderEntry::ip, &RecorderEntry::userName, &RecorderEntry::password,
                  &RecorderEntry::tracks, &RecorderEntry::maxNumChannels)
                 == Layout {0, text, 2 * text, 3 * text, 4 * text, channels, channels + sizeof(void*)})
            && layoutOf(&PresetEntry::name) == Layout({0, text}),
        "a compiled host would fill in the wrong fields");
    QVERIFY2((layoutOf(&SubsplitRect::ltx, &SubsplitRect::lty, &SubsplitRect::rbx, &SubsplitRect::rby)
                 == Layout {0, 4, 8, 12, 16}),
        "a compiled host would read the wrong corners");
    QVERIFY2((layoutOf(&OrvaneLimits::maxClients, &OrvaneLimits::maxInvalidLogins, &OrvaneLimits::maxMessageLength,
                  &OrvaneLimits::maxMessageLengthBeforeLogin, &OrvaneLimits::maxUnsentBytes,
                  &OrvaneLimits::handshakeTimeout, &OrvaneLimits::loginTimeout)
                 == Layout {0, 4, 8, 16, 24, 32, 40, 48}),
        "a compiled host would set the wrong limits");
    QVERIFY2(sizeof(HostInterface) == sizeof(void*), "a host's own data would lie where the library expects its own");
}

void tst_binary_compatibility::serverKeepsItsSize()
{
    QVERIFY2(sizeof(OrvaneServer) == sizeof(ServerLayout),
        "a compiled host would allocate too little or too much memory for its server");
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
