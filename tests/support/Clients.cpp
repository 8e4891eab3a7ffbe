#include "Clients.h"

#include <algorithm>

bool isSent(const QSslSocket& socket)
{
    return socket.bytesToWrite() == 0 && socket.encryptedBytesToWrite() == 0;
}

Clients connectClients(quint16 port, int count)
{
    constexpr int atOnce = 40; // below the backlog of the listening socket, beyond which connecting takes seconds
    Clients clients;
    const auto inHandshake = [&] {
        return std::count_if(
            clients.cbegin(), clients.cend(), [](const auto& client) { return !client->isEncrypted(); });
    };
    for (int number = 1; number <= count; ++number) {
        clients.push_back(std::make_unique<TlsClient>());
        clients.back()->connectToPort(port);
        const int allowed = number == count ? 0 : atOnce;
        if (!waitFor([&] { return inHandshake() <= allowed; }))
            break;
    }
    std::erase_if(clients, [](const auto& client) { return !client->isEncrypted(); });
    return clients;
}
