#include <OrvaneInterface.h>
#include <OrvaneServer.h>

#include <QDateTime>
#include <QHostAddress>
#include <QMetaMethod>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QTcpServer>
#include <QtTest>

#include <array>
#include <chrono>
#include <cstring>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

using HostInterface = OrvaneInterface::OrvaneInterface;
using OrvaneInterface::OrvaneClient;
using OrvaneInterface::OrvaneClientEvent;
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
    void eventsKeepTheirMembers();
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

/// The offsets of the members, and the size and alignment of the record.
template <typename Record, typename... Members> Layout layoutOf(Members Record::*... members)
{
    const Record record {};
    const auto* const begin = reinterpret_cast<const char*>(&record);
    return {static_cast<size_t>(reinterpret_cast<const char*>(&(record.*members)) - begin)..., sizeof(Record),
        alignof(Record)};
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

/// The members of an event in the first release.
struct EventLayout {
    OrvaneClientEvent::Type type {};
    OrvaneClient client;
    QString reason;
    QString user;
    QString command;
    OrvaneClientEvent::Outcome outcome {};
    std::chrono::nanoseconds duration {};
    QMap<QString, QString> parameters;
    std::optional<int> split;
};

/// The offsets of these members. It compiles only if they have these types.
template <typename Event> Layout layoutOfEvent()
{
    Layout layout = layoutOf<Event, OrvaneClientEvent::Type, OrvaneClient, QString, QString, QString,
        OrvaneClientEvent::Outcome, std::chrono::nanoseconds, QMap<QString, QString>, std::optional<int>>(&Event::type,
        &Event::client, &Event::reason, &Event::user, &Event::command, &Event::outcome, &Event::duration,
        &Event::parameters, &Event::split);
    layout.resize(layout.size() - 2); // more members may follow
    return layout;
}

// The names of exported symbols do not contain what a function returns, nor whether it is static. This compiles only if
// they are as in the first release.
[[maybe_unused]] void (OrvaneServer::*const startListening)() = &OrvaneServer::startListeningForConnection;
[[maybe_unused]] void (OrvaneServer::*const setTls)(const QSslConfiguration&) = &OrvaneServer::setSslConfiguration;
[[maybe_unused]] QSslConfiguration (OrvaneServer::*const tls)() const = &OrvaneServer::sslConfiguration;
[[maybe_unused]] QString (OrvaneServer::*const errorOfServer)() const = &OrvaneServer::sslErrorString;
[[maybe_unused]] QString (*const errorOfTls)(const QSslConfiguration&) = &OrvaneServer::sslErrorString;
[[maybe_unused]] void (OrvaneServer::*const setLimits)(const OrvaneLimits&) = &OrvaneServer::setLimits;
[[maybe_unused]] OrvaneLimits (OrvaneServer::*const limits)() const = &OrvaneServer::limits;
[[maybe_unused]] QList<OrvaneClient> (OrvaneServer::*const clients)() const = &OrvaneServer::clients;
[[maybe_unused]] OrvaneClient (OrvaneServer::*const currentClient)() const = &OrvaneServer::currentClient;
[[maybe_unused]] void (OrvaneServer::*const setObserver)(
    OrvaneInterface::OrvaneClientObserver, const QObject*) = &OrvaneServer::setClientObserver;
[[maybe_unused]] void (OrvaneServer::*const finish)() = &OrvaneServer::handleUpdateAllTreeDevicesFinished;
[[maybe_unused]] bool (OrvaneClient::*const isNull)() const = &OrvaneClient::isNull;
[[maybe_unused]] quint64 (OrvaneClient::*const id)() const = &OrvaneClient::id;
[[maybe_unused]] QHostAddress (OrvaneClient::*const address)() const = &OrvaneClient::address;
[[maybe_unused]] quint16 (OrvaneClient::*const port)() const = &OrvaneClient::port;
[[maybe_unused]] QDateTime (OrvaneClient::*const since)() const = &OrvaneClient::connectedSince;
[[maybe_unused]] bool (OrvaneClient::*const isEncrypted)() const = &OrvaneClient::isEncrypted;
[[maybe_unused]] QSslCertificate (OrvaneClient::*const certificate)() const = &OrvaneClient::certificate;
[[maybe_unused]] OrvaneClient::Account (OrvaneClient::*const account)() const = &OrvaneClient::account;
[[maybe_unused]] QString (OrvaneClient::*const accountName)() const = &OrvaneClient::accountName;

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
                 == Layout {0, text, 2 * text, 3 * text, 4 * text, channels, channels + sizeof(void*), alignof(String)})
            && layoutOf(&PresetEntry::name) == Layout({0, text, alignof(String)}),
        "a compiled host would fill in the wrong fields");
    QVERIFY2((layoutOf(&SubsplitRect::ltx, &SubsplitRect::lty, &SubsplitRect::rbx, &SubsplitRect::rby)
                 == Layout {0, 4, 8, 12, 16, 4}),
        "a compiled host would read the wrong corners");
    QVERIFY2((layoutOf(&OrvaneLimits::maxClients, &OrvaneLimits::maxInvalidLogins, &OrvaneLimits::maxMessageLength,
                  &OrvaneLimits::maxMessageLengthBeforeLogin, &OrvaneLimits::maxUnsentBytes,
                  &OrvaneLimits::handshakeTimeout, &OrvaneLimits::loginTimeout)
                 == Layout {0, 4, 8, 16, 24, 32, 40, 48, 8}),
        "a compiled host would set the wrong limits");
    QVERIFY2(sizeof(HostInterface) == sizeof(void*), "a host's own data would lie where the library expects its own");
}

void tst_binary_compatibility::eventsKeepTheirMembers()
{
    QVERIFY2(layoutOfEvent<OrvaneClientEvent>() == layoutOfEvent<EventLayout>(),
        "a compiled host's observer would read the wrong members");
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
