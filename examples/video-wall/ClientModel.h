#pragma once

#include <OrvaneServer.h>

#include <QAbstractListModel>
#include <QList>
#include <QPointer>
#include <QString>

/// The clients of a server in the order in which they connected, and which one is being served. Independent of windows.
class ClientModel : public QAbstractListModel {
    Q_OBJECT

public:
    enum Role { AccountRole = Qt::UserRole, AddressRole, SinceRole, EncryptedRole };

    using QAbstractListModel::QAbstractListModel;

    /// Lists the clients of \a newServer until either is destroyed, in any order. Replaces the server's observer.
    void follow(OrvaneInterface::OrvaneServer& newServer);

    /// The client whose command the host is carrying out; empty if there is none.
    QString asker() const;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;

private:
    void setClients(const QList<OrvaneInterface::OrvaneClient>& newClients);

    QPointer<OrvaneInterface::OrvaneServer> server;
    QList<OrvaneInterface::OrvaneClient> clients;
};
