#include "OrvaneClient.h"

#include "OrvaneClientData.h"

namespace OrvaneInterface {

OrvaneClient::OrvaneClient() = default;
OrvaneClient::OrvaneClient(const OrvaneClient& other) = default;
OrvaneClient::OrvaneClient(OrvaneClient&& other) noexcept = default;
OrvaneClient& OrvaneClient::operator=(const OrvaneClient& other) = default;
OrvaneClient& OrvaneClient::operator=(OrvaneClient&& other) noexcept = default;
OrvaneClient::~OrvaneClient() = default;

bool OrvaneClient::isNull() const
{
    return d == nullptr;
}

quint64 OrvaneClient::id() const
{
    return d ? d->id : 0;
}

QHostAddress OrvaneClient::address() const
{
    return d ? d->address : QHostAddress();
}

quint16 OrvaneClient::port() const
{
    return d ? d->port : 0;
}

QDateTime OrvaneClient::connectedSince() const
{
    return d ? d->connectedSince : QDateTime();
}

bool OrvaneClient::isEncrypted() const
{
    return d && d->isEncrypted;
}

QSslCertificate OrvaneClient::certificate() const
{
    return d ? d->certificate : QSslCertificate();
}

OrvaneClient::Account OrvaneClient::account() const
{
    return d ? d->account : Account::None;
}

QString OrvaneClient::accountName() const
{
    return d ? d->accountName : QString();
}

} // namespace OrvaneInterface
