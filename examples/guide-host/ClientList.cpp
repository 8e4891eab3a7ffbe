#include "ClientList.h"

#include <QHeaderView>
#include <QStringList>

ClientList::ClientList()
{
    setWindowTitle(QStringLiteral("Who is there"));
    setHeaderLabels({QStringLiteral("Client"), QStringLiteral("Account"), QStringLiteral("Since")});
    header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    setRootIsDecorated(false);
    resize(320, 110);
}

void ClientList::setClients(const QList<HostClient>& clients)
{
    clear();
    for (const HostClient& client : clients) {
        const QString name = client.accountName();
        const QString peer = client.address().toString() + QLatin1Char(' ') + QString::number(client.port());
        const QString account = client.account() == HostClient::Account::None ? QStringLiteral("not logged in") : name;
        const QString since = client.connectedSince().toLocalTime().toString(QStringLiteral("HH:mm:ss"));
        addTopLevelItem(new QTreeWidgetItem({peer, account, since}));
    }
}
