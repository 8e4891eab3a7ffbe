#pragma once

#include <QByteArray>
#include <QSslSocket>

/// A client like the control system: it accepts any certificate and keeps every byte that it receives.
class TlsClient : public QSslSocket {
    Q_OBJECT

public:
    explicit TlsClient(QObject* parent = nullptr);

    /// Begins to connect to a server on the loopback address.
    void connectToPort(quint16 port);
    /// Sends a document with the terminator, in one write.
    void send(const QByteArray& document);
    void loginAsOrvane();
    void login(const QByteArray& user, const QByteArray& password);

    QByteArray received;
};

/// A login with its terminator, by default of the system account.
QByteArray loginMessage(
    const QByteArray& user = "Orvane", const QByteArray& password = "157b25b09a99c70fc75a6e79412a00b2");

/// A loopback port that was free a moment ago.
quint16 freePort();

/// The text of a reply: the element, its content, and the end of the message.
QByteArray reply(const QByteArray& element, const QByteArray& content);
QByteArray shortAcceptance(const QByteArray& commandName);
QByteArray rejection(const QByteArray& commandName, const QByteArray& reason);
