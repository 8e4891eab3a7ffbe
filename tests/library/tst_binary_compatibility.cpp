#include "TestClass.h"

#include <OrvaneInterface.h>
#include <OrvaneServer.h>

#include <QDateTime>
#include <QHostAddress>
#include <QMetaMethod>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QTest>

#include <chrono>
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

/// What compiled hosts rely on, as far as tools/check-abi does not compare it. None of it may change without a new
/// SOVERSION.
class tst_binary_compatibility : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void eventsKeepTheirMembers();
    void serverKeepsItsMetaMethods();
};

namespace {

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
template <typename Event, typename... Members> std::vector<size_t> offsetsIn(Members Event::*... members)
{
    const Event event {};
    const auto* const begin = reinterpret_cast<const char*>(&event);
    return {static_cast<size_t>(reinterpret_cast<const char*>(&(event.*members)) - begin)...};
}

template <typename Event> std::vector<size_t> layoutOf()
{
    return offsetsIn<Event, OrvaneClientEvent::Type, OrvaneClient, QString, QString, QString,
        OrvaneClientEvent::Outcome, std::chrono::nanoseconds, QMap<QString, QString>, std::optional<int>>(&Event::type,
        &Event::client, &Event::reason, &Event::user, &Event::command, &Event::outcome, &Event::duration,
        &Event::parameters, &Event::split);
}

static_assert(alignof(RecorderEntry) == alignof(std::string) && alignof(PresetEntry) == alignof(std::string));
static_assert(alignof(SubsplitRect) == alignof(float) && alignof(OrvaneLimits) == alignof(std::chrono::milliseconds));

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

} // namespace

void tst_binary_compatibility::eventsKeepTheirMembers()
{
    QVERIFY2(layoutOf<OrvaneClientEvent>() == layoutOf<EventLayout>(),
        "a compiled host's observer would read the wrong members");
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

ORVANE_TEST(tst_binary_compatibility)
#include "tst_binary_compatibility.moc"
