#pragma once

#include <OrvaneServer.h>

#include <QAbstractListModel>
#include <QList>
#include <QPointer>
#include <QString>

/// The clients of a server, first come first, and which of them asks. Knows nothing of windows.
class ClientModel : public QAbstractListModel {
    Q_OBJECT

public:
    enum Role { AccountRole = Qt::UserRole, AddressRole, SinceRole, EncryptedRole };

    using QAbstractListModel::QAbstractListModel;

    /// Lists the clients of \a newServer, until one of the two goes: they may do so in any order. Takes its observer.
    void follow(OrvaneInterface::OrvaneServer& newServer);

    /// The client whose command the host carries out; empty when it does not carry out any.
    QString asker() const;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;

private:
    void setClients(const QList<OrvaneInterface::OrvaneClient>& newClients);

    QPointer<OrvaneInterface::OrvaneServer> server;
    QList<OrvaneInterface::OrvaneClient> clients;
};
