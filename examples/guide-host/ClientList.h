#pragma once

#include "GuideHost.h"

#include <QTreeWidget>

/// The connected clients, one per line.
class ClientList final : public QTreeWidget {
public:
    ClientList();

    void setClients(const QList<HostClient>& clients);
};
