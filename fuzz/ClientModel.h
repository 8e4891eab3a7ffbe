#pragma once

#include "MemorySocket.h"
#include "MessageModel.h"
#include "Target.h"
#include "TlsClient.h"

#include <QPointer>

#include <algorithm>
#include <array>

/// A message that the model knows, without its end, and what becomes of it for a client that has logged in.
struct KnownMessage {
    enum class Kind { Plain, SystemLogin, HostLogin, RecorderList, Refresh, Query };

    QByteArray text;
    Kind kind;
    QString call; ///< on the host, as RecordingHost writes it down; empty: none
    QByteArray reply; ///< empty: none
    QByteArray otherReply; ///< of those that depend on the account or on what the host says
};

inline const std::array<KnownMessage, 11> KnownMessages {{
    {"<loginClient><username>Orvane</username><password>157b25b09a99c70fc75a6e79412a00b2</password></loginClient>",
        KnownMessage::Kind::SystemLogin, {}, {}, {}},
    {"<loginClient><username>operator</username><password>secret</password></loginClient>",
        KnownMessage::Kind::HostLogin, {}, {}, {}},
    {"<loginClient><username>operator</username></loginClient>", KnownMessage::Kind::Plain, {}, {}, {}},
    {"<updateRecorderContents/>", KnownMessage::Kind::Refresh, QStringLiteral("updateRecorderContents()"), {},
        rejection("updateRecorderContents", "Recorder list update already running")},
    {"<getRecorderList/>", KnownMessage::Kind::RecorderList, QStringLiteral("getRecorderList(0 entries)"),
        reply("getRecorderListResponse",
            R"(<recorder name="R" ip="" usename="" password="" maxnumchannels="0"></recorder>)"),
        reply("getRecorderListResponse", R"(<recorder name="R" ip=""></recorder>)")},
    {"<showLive><commandtag>%1&#13;&#10;&#13;&#10;</commandtag></showLive>", KnownMessage::Kind::Plain,
        QStringLiteral("showLive(\"\", -1, false, -1)"),
        reply("commandAccepted",
            "<command>showLive</command><splitid>7</splitid><commandtag>%1&#13;\n&#13;\n</commandtag>"),
        {}},
    {"<setPreset/>", KnownMessage::Kind::Plain, QStringLiteral("setPreset(\"\")"), shortAcceptance("setPreset"), {}},
    {"<showTrack/>", KnownMessage::Kind::Plain, {},
        rejection("showTrack", "showTrack command without valid track ID or track name"), {}},
    {"<getPertinentInfo/>", KnownMessage::Kind::Query, QStringLiteral("getPertinentInfo(\"<getPertinentInfo/>\")"),
        "<answer/>\r\n\r\n", {}},
    {"<unknown>", KnownMessage::Kind::Plain, {}, rejection("unknown", "Unknown command"), {}},
    {"<loginClient><username>Orvane</username></loginClient>", KnownMessage::Kind::Plain, {}, {}, {}},
}};

/**
 * What one client of a session has to receive, told beside the library from what the library reads and what the host
 * says: each message in the order of arrival, one at a time, each with its reply, and nothing after the release.
 *
 * From a message on that is none of the known ones, and for a client with limits from the beginning, the calls and
 * replies may be any, until the release: still one call at a time, and each reply with one end.
 */
class ClientModel {
    Q_DISABLE_COPY_MOVE(ClientModel)

    using Kind = KnownMessage::Kind;

public:
    ClientModel(MemorySocket* socket, bool hasLimits)
        : socket(socket)
        , hasLimits(hasLimits)
        , traffic(socket->traffic)
        , anythingGoes(hasLimits)
    {
    }

    /// The client's socket; null when it was deleted.
    QPointer<MemorySocket> socket;
    /// Until its first log line has been written the server has only its socket, and reads nothing.
    bool comes = true;
    const bool hasLimits;
    int lines = 0; ///< of the log, about this client, that are being written

    /// The host was called on behalf of this client.
    void beginHostCall(const QString& call)
    {
        require(!released, call + QStringLiteral(" is made for a client that was released"));
        require(!inCall, call + QStringLiteral(" is made inside a call for the same client"));
        inCall = true;
        current = nextHostCall();
        if (anythingGoes)
            return;
        const QString next = current ? current->call : QString();
        require(call == next, QStringLiteral("%1 is made where \"%2\" is next").arg(call, next));
        require(
            traffic->writes == expected, QStringLiteral("a call is made before the replies to the messages before it"));
        waitsForRefresh = waitsForRefresh || current->kind == Kind::Refresh;
    }

    void endHostCall(bool hostSaysYes)
    {
        inCall = false;
        if (anythingGoes || released)
            return;
        const bool isYes = current->kind == Kind::RecorderList ? isOrvane : hostSaysYes || current->kind == Kind::Plain;
        waitsForRefresh = waitsForRefresh && (isYes || current->kind != Kind::Refresh);
        expect(isYes ? current->reply : current->otherReply);
    }

    /// The host says that the refresh has finished.
    void endRefresh()
    {
        catchUp();
        if (waitsForRefresh && !released)
            expect("<p:updateRecorderContentsFinished xmlns:p=\"http://www.halden.example/ravo_1_0/\" />\r\n\r\n");
        waitsForRefresh = false;
    }

    /// The connection ends here.
    void release()
    {
        if (!inCall)
            check();
        catchUp();
        if (anythingGoes)
            expected = traffic->writes;
        anythingGoes = false;
        released = true;
    }

    /// Everything that has come was read, unless the host is in the middle of a call or of a log line.
    void checkAllIsRead() const
    {
        if (!released && !inCall && lines == 0 && !comes)
            require(socket->bytesAvailable() == 0, QStringLiteral("what came during a call is not read"));
    }

    /// What has been written is what had to be.
    void check()
    {
        if (lines > 0)
            return;
        if (!released && !inCall)
            require(nextHostCall() == nullptr, QStringLiteral("a message was not carried out"));
        require(anythingGoes || traffic->writes == expected,
            QStringLiteral("written: %1, to be written: %2")
                .arg(QString::fromUtf8(traffic->writes.join('|')), QString::fromUtf8(expected.join('|'))));
        for (const QByteArray& bytes : std::as_const(traffic->writes)) // whatever client and host have put in
            require(bytes.indexOf("\r\n\r\n") == bytes.size() - 4,
                QStringLiteral("not one end: ") + QString::fromUtf8(bytes));
    }

private:
    void takeReads()
    {
        while (readsTaken < traffic->reads.size())
            messages += framing.take(traffic->reads[readsTaken++]);
    }

    /// Inside a log line nobody can tell how far the server is, but for the messages that are answered: they are
    /// dispatched.
    void catchUp()
    {
        takeReads();
        while (lines > 0 && !messages.isEmpty() && !anythingGoes && expected.size() < traffic->writes.size())
            dispatch(messages.takeFirst());
    }

    /// Dispatches up to the message that calls the host; null when none does, or when it is not known.
    const KnownMessage* nextHostCall()
    {
        const KnownMessage* found = nullptr;
        for (takeReads(); found == nullptr && !messages.isEmpty() && !anythingGoes;)
            found = dispatch(messages.takeFirst());
        return found;
    }

    const KnownMessage* dispatch(const QString& text)
    {
        const bool isLoggedIn = isOrvane || isThirdParty;
        const auto* const message = std::find_if(KnownMessages.cbegin(), KnownMessages.cend(),
            [&](const KnownMessage& candidate) { return text == QLatin1String(candidate.text); });
        if (message == KnownMessages.cend()) {
            anythingGoes = !text.isEmpty() && (isLoggedIn || text.contains(QLatin1String("loginClient")));
            return nullptr;
        }
        isOrvane = isOrvane || message->kind == Kind::SystemLogin;
        isThirdParty = isThirdParty || message->kind == Kind::HostLogin;
        if (!isLoggedIn)
            return nullptr;
        if (!message->call.isEmpty())
            return message;
        expect(message->reply);
        return nullptr;
    }

    void expect(const QByteArray& reply)
    {
        if (!reply.isEmpty())
            expected += reply;
    }

    std::shared_ptr<Traffic> traffic;
    MessageModel framing;
    qsizetype readsTaken = 0;
    QStringList messages; ///< read, but not yet dispatched
    const KnownMessage* current = nullptr; ///< that the host was called for last
    QList<QByteArray> expected;
    bool inCall = false;
    bool anythingGoes = false; ///< after a message that is not known
    bool isOrvane = false;
    bool isThirdParty = false;
    bool waitsForRefresh = false;
    bool released = false;
};
