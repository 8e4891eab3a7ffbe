#pragma once

#include "TlsClient.h"
#include "WaitFor.h"

#include <memory>
#include <vector>

/// Whether all that was written has been encrypted and handed to the system.
bool isSent(const QSslSocket& socket);

using Clients = std::vector<std::unique_ptr<TlsClient>>;

/// Clients after their handshakes, not yet logged in; fewer than \a count if that took too long.
Clients connectClients(quint16 port, int count);
