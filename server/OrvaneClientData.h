#pragma once

#include "OrvaneClient.h"

#include <QSharedData>

namespace OrvaneInterface {

/// The data of an OrvaneClient.
class OrvaneClientData : public QSharedData {
public:
    quint64 id = 0;
    QHostAddress address;
    quint16 port = 0;
    QDateTime connectedSince;
    bool isEncrypted = false;
    QSslCertificate certificate;
    OrvaneClient::Account account = OrvaneClient::Account::None;
    QString accountName;
};

} // namespace OrvaneInterface
