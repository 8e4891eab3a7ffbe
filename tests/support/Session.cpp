#include "Session.h"

#include <QTest>

using namespace Qt::StringLiterals;

Session::Session()
    : server(std::make_unique<OrvaneInterface::OrvaneServer>(&host, freePort(), u"operator"_s, u"secret"_s, nullptr))
{
    server->startListeningForConnection();
}

std::unique_ptr<TlsClient> Session::connectedClient() const
{
    auto client = std::make_unique<TlsClient>();
    client->connectToPort(server->serverPort());
    if (!QTest::qWaitFor([&] { return client->isEncrypted(); }))
        return nullptr;
    return client;
}

std::unique_ptr<TlsClient> Session::orvaneClient() const
{
    auto client = connectedClient();
    if (client)
        client->loginAsOrvane();
    return client;
}
