#include "ClientModel.h"

#include <QDateTime>
#include <QHostAddress>

using namespace Qt::StringLiterals;
using OrvaneInterface::OrvaneClient;
using OrvaneInterface::OrvaneClientEvent;
using OrvaneInterface::OrvaneServer;

namespace {

/// On one line, whatever the name contains.
QString accountText(const OrvaneClient& client)
{
    return client.account() == OrvaneClient::Account::None ? u"Not logged in"_s : client.accountName().simplified();
}

} // namespace

void ClientModel::follow(OrvaneServer& newServer)
{
    server = &newServer;
    setClients(newServer.clients());
    const auto update = [this, &newServer](const OrvaneClientEvent& event) {
        if (event.type != OrvaneClientEvent::Type::Command) // the list is the same after a command
            setClients(newServer.clients());
    };
    newServer.setClientObserver(update, this);
    connect(&newServer, &QObject::destroyed, this, [this] { setClients({}); }); // the observer does not learn of this
}

QString ClientModel::asker() const
{
    const OrvaneClient client = server ? server->currentClient() : OrvaneClient();
    return client.isNull() ? QString() : u"%1 \u00b7 %2"_s.arg(client.address().toString(), accountText(client));
}

int ClientModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(clients.size());
}

QVariant ClientModel::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const OrvaneClient& client = clients.at(index.row());
    switch (role) {
    case Qt::DisplayRole:
    case AccountRole:
        return accountText(client);
    case AddressRole:
        return client.address().toString();
    case SinceRole:
        return client.connectedSince().toString(u"MM-dd HH:mm"_s);
    case EncryptedRole:
        return client.isEncrypted();
    default:
        return {};
    }
}

void ClientModel::setClients(const QList<OrvaneClient>& newClients)
{
    beginResetModel();
    clients = newClients;
    endResetModel();
}
