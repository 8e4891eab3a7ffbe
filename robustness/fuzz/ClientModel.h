#pragma once

#include "MemorySocket.h"
#include "MessageModel.h"

#include <QPointer>
#include <QStringList>

#include <memory>
#include <string>

class XmlCommandReader;

/**
 * What one client of a session has to receive, told beside the library from what the library reads and what the host
 * answers: each message in the order of arrival, one at a time, each with its reply, and nothing after the release.
 *
 * The host belongs to this model: its calls are announced, and the model finds for each the message that asks for it.
 */
class ClientModel {
    Q_DISABLE_COPY_MOVE(ClientModel)

public:
    /// The account that the host grants, and what it has in its lists.
    static constexpr const char* UserName = "operator";
    static constexpr const char* Password = "secret";
    static constexpr const char* RecorderName = "R";
    static constexpr const char* PresetName = "P";

    explicit ClientModel(MemorySocket* socket);
    ~ClientModel();

    /// The client's socket; null when it was deleted.
    QPointer<MemorySocket> socket;

    /// The host was called with \a operation on behalf of this client.
    void beginHostCall(const QString& operation);
    /// The call returns, with the split that was used, or with a result and an answer.
    void endHostCall(int splitId, bool result, const std::string& answer);
    /// The host says that the refresh has finished.
    void endRefresh();
    /// The connection ends here.
    void release();
    /// Everything that has come was read, unless the host is in the middle of a call.
    void checkAllIsRead() const;
    /// What has been written is what had to be.
    void check();

private:
    QString nextHostCall();
    QString dispatch(const QString& message);
    QString dispatchLoggedIn();
    QString replyToHostCall(int splitId, const std::string& answer);
    QString recorderList() const;
    void login();
    void expect(const QString& reply);

    std::shared_ptr<Traffic> traffic;
    MessageModel framing;
    qsizetype readsTaken = 0;
    QStringList messages; ///< read, but not yet dispatched
    std::unique_ptr<XmlCommandReader> reader; ///< of the message in dispatch
    QString callInProgress; ///< empty: none
    QList<QByteArray> expected;
    bool isOrvane = false;
    bool isThirdParty = false;
    bool waitsForRefresh = false;
    bool released = false;
};
