#pragma once

#include "MemorySocket.h"
#include "MessageModel.h"

#include <QPointer>
#include <QStringList>

#include <array>

/// A message that the model knows, without its end, and what becomes of it for a client that has logged in.
struct KnownMessage {
    enum class Kind { Plain, SystemLogin, HostLogin, WrongLogin, RecorderList, Refresh, Query };

    QByteArray text;
    Kind kind;
    QString call; ///< on the host, as RecordingHost writes it down; empty: none
    QByteArray reply; ///< empty: none
    QByteArray otherReply; ///< of those that depend on the account or on what the host says
};

extern const std::array<KnownMessage, 11> KnownMessages;

/**
 * What one client of a session has to receive, told beside the library from what the library reads and what the host
 * says: each message in the order of arrival, one at a time, each with its reply, and nothing after the release.
 *
 * From a message on that is none of the known ones, and for a client with limits from the beginning, the calls and
 * replies may be any, until the release: still one call at a time, and each reply with one end.
 */
class ClientModel {
    Q_DISABLE_COPY_MOVE(ClientModel)

public:
    ClientModel(MemorySocket* socket, bool hasLimits);

    /// The client's socket; null when it was deleted.
    QPointer<MemorySocket> socket;
    /// Until its first log line has been written the server has only its socket, and reads nothing.
    bool comes = true;
    const bool hasLimits;

    /// The host was called on behalf of this client.
    void beginHostCall(const QString& call);
    void endHostCall(bool hostSaysYes);
    /// A log line about this client is written.
    void beginLine() { ++lines; }
    void endLine() { --lines; }
    /// The host says that the refresh has finished.
    void endRefresh();
    /// The connection ends here.
    void release();
    /// Everything that has come was read, unless the host is in the middle of a call or of a log line.
    void checkAllIsRead() const;
    /// What has been written is what had to be.
    void check();

private:
    void takeReads();
    void catchUp();
    const KnownMessage* nextHostCall();
    const KnownMessage* dispatch(const QString& text);
    void expect(const QByteArray& reply);

    std::shared_ptr<Traffic> traffic;
    MessageModel framing;
    qsizetype readsTaken = 0;
    QStringList messages; ///< read, but not yet dispatched
    const KnownMessage* current = nullptr; ///< that the host was called for last
    QList<QByteArray> expected;
    bool inCall = false;
    int lines = 0; ///< that are being written
    bool anythingGoes = false; ///< after a message that is not known
    bool isOrvane = false;
    bool isThirdParty = false;
    bool waitsForRefresh = false;
    bool released = false;
};
