#pragma once

#include "RecordingHost.h"
#include "TlsClient.h"

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

#include <array>
#include <memory>
#include <utility>
#include <vector>

/**
 * What a host is asked and its clients receive, by docs/protocol.md. The keys and values of a document are those of
 * ReferenceReading, the calls of the host those of RecordingHost.
 */
class CommandModel {
public:
    /// What comes of a document.
    struct Step {
        QString document;
        QStringList calls;
        QByteArray reply;
    };

    struct Client {
        std::unique_ptr<TlsClient> socket;
        std::vector<Step> steps {Step {}}; ///< since they were taken; the first one is for what comes unasked
        bool isLoggedIn = false;
        bool isSystem = false;
        bool isWaiting = false;
    };

    /// \a account: name and password
    CommandModel(const RecordingHost& host, QStringList account)
        : host(host)
        , account(std::move(account))
    {
    }

    void receive(Client& from, const QByteArray& message);
    void endRefresh();

    std::array<Client, 3> clients;

private:
    void logIn();
    void ask(const QStringList& operation);

    QStringList operation() const;
    QString argument(const QString& word) const;
    QString number(const QString& key, const QString& absent) const;
    template <typename Number> QString decimal(const QString& key, const QString& absent) const;
    QString detailViews(bool areRects) const;

    QByteArray replyToCommand() const;
    QByteArray longAcceptance() const;
    QByteArray recorders() const;

    const RecordingHost& host;
    const QStringList account;
    Client* client = nullptr; ///< that has sent the document
    QString document;
    QByteArray command;
    QMap<QString, QString> parameters;
};
