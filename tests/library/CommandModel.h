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
 * Predicts host calls and replies, by docs/protocol.md. It takes keys and values from ReferenceReading, and writes
 * calls as RecordingHost does.
 */
class CommandModel {
public:
    /// The effects of one document.
    struct Step {
        QString document;
        QStringList calls;
        QByteArray reply;
    };

    struct Client {
        std::unique_ptr<TlsClient> socket;
        std::vector<Step> steps {Step {}}; ///< since they were last taken; the first one is for notices
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
    Client* client = nullptr; ///< the sender of the document
    QString document;
    QByteArray command;
    QMap<QString, QString> parameters;
};
