#pragma once

#include "GuideHost.h"

#include <QTreeWidget>

/// Who is connected, a line for each client.
class ClientList final : public QTreeWidget {
public:
    ClientList();

    void setClients(const QList<HostClient>& clients);
};
