#include "Session.h"

Session::Session(const QString& userName, const QString& password)
    : server(std::make_unique<OrvaneInterface::OrvaneServer>(&host, 0, userName, password, nullptr))
{
    server->listen(); // at a port that the system chooses: one found before could be taken meanwhile
}

std::unique_ptr<TlsClient> Session::connectedClient() const
{
    auto client = std::make_unique<TlsClient>();
    client->connectToPort(server->serverPort());
    if (!waitFor([&] { return client->isEncrypted(); }))
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

std::unique_ptr<TlsClient> Session::tcpClient() const
{
    auto client = std::make_unique<TlsClient>();
    client->connectToHost(QHostAddress(QHostAddress::LocalHost), server->serverPort());
    return client->waitForConnected() ? std::move(client) : nullptr;
}

bool isServed(TlsClient& client)
{
    client.received.clear();
    client.send("<setPreset/>");
    return waitFor([&] { return client.received == shortAcceptance("setPreset"); });
}
