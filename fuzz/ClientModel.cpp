#include "ClientModel.h"

#include "Require.h"
#include "TlsClient.h"

#include <algorithm>

using namespace Qt::StringLiterals;

using Kind = KnownMessage::Kind;

const std::array<KnownMessage, 11> KnownMessages {{
    {"<loginClient><username>Orvane</username><password>157b25b09a99c70fc75a6e79412a00b2</password></loginClient>",
        Kind::SystemLogin, {}, {}, {}},
    {"<loginClient><username>operator</username><password>secret</password></loginClient>", Kind::HostLogin, {}, {},
        {}},
    {"<loginClient><username>operator</username></loginClient>", Kind::WrongLogin, {}, {}, {}},
    {"<updateRecorderContents/>", Kind::Refresh, u"updateRecorderContents()"_s, {},
        rejection("updateRecorderContents", "Recorder list update already running")},
    {"<getRecorderList/>", Kind::RecorderList, u"getRecorderList(0 entries)"_s,
        reply("getRecorderListResponse",
            R"(<recorder name="R" ip="" usename="" password="" maxnumchannels="0"></recorder>)"),
        reply("getRecorderListResponse", R"(<recorder name="R" ip=""></recorder>)")},
    {"<showLive><commandtag>%1&#13;&#10;&#13;&#10;</commandtag></showLive>", Kind::Plain,
        u"showLive(\"\", -1, false, -1)"_s,
        reply("commandAccepted",
            "<command>showLive</command><splitid>7</splitid><commandtag>%1&#13;\n&#13;\n</commandtag>"),
        {}},
    {"<setPreset/>", Kind::Plain, u"setPreset(\"\")"_s, shortAcceptance("setPreset"), {}},
    {"<showTrack/>", Kind::Plain, {}, rejection("showTrack", "showTrack command without valid track ID or track name"),
        {}},
    {"<getPertinentInfo/>", Kind::Query, u"getPertinentInfo(\"<getPertinentInfo/>\")"_s, "<answer/>\r\n\r\n", {}},
    {"<unknown>", Kind::Plain, {}, rejection("unknown", "Unknown command"), {}},
    {"<loginClient><username>Orvane</username></loginClient>", Kind::WrongLogin, {}, {}, {}},
}};

ClientModel::ClientModel(MemorySocket* socket, bool hasLimits)
    : socket(socket)
    , hasLimits(hasLimits)
    , traffic(socket->traffic)
    , anythingGoes(hasLimits)
{
}

void ClientModel::beginHostCall(const QString& call)
{
    require(!released, call + u" is made for a client that was released"_s);
    require(!inCall, call + u" is made inside a call for the same client"_s);
    inCall = true;
    current = nextHostCall();
    if (anythingGoes)
        return;
    const QString next = current ? current->call : QString();
    require(call == next, u"%1 is made where \"%2\" is next"_s.arg(call, next));
    require(traffic->writes == expected, u"a call is made before the replies to the messages before it"_s);
    waitsForRefresh = waitsForRefresh || current->kind == Kind::Refresh;
}

void ClientModel::endHostCall(bool hostSaysYes)
{
    inCall = false;
    if (anythingGoes || released)
        return;
    const bool isYes = current->kind == Kind::RecorderList ? isOrvane : hostSaysYes || current->kind == Kind::Plain;
    if (!isYes && current->kind == Kind::Refresh)
        waitsForRefresh = false;
    expect(isYes ? current->reply : current->otherReply);
}

void ClientModel::endRefresh()
{
    catchUp();
    if (waitsForRefresh && !released)
        expect("<p:updateRecorderContentsFinished xmlns:p=\"http://www.halden.example/ravo_1_0/\" />\r\n\r\n");
    waitsForRefresh = false;
}

void ClientModel::release()
{
    if (!inCall)
        check();
    catchUp();
    if (anythingGoes)
        expected = traffic->writes;
    anythingGoes = false;
    released = true;
}

void ClientModel::check()
{
    if (lines > 0)
        return;
    if (!released && !inCall)
        require(nextHostCall() == nullptr, u"a message was not carried out"_s);
    if (!anythingGoes) {
        require(traffic->writes == expected,
            u"written: %1, to be written: %2"_s.arg(
                QString::fromUtf8(traffic->writes.join('|')), QString::fromUtf8(expected.join('|'))));
        return;
    }
    for (const QByteArray& bytes : std::as_const(traffic->writes)) // whatever client and host have put in
        require(bytes.indexOf("\r\n\r\n") == bytes.size() - 4, u"not one end: "_s + QString::fromUtf8(bytes));
}

void ClientModel::checkAllIsRead() const
{
    if (!released && !inCall && lines == 0 && !comes)
        require(socket->bytesAvailable() == 0, u"what came during a call is not read"_s);
}

void ClientModel::takeReads()
{
    while (readsTaken < traffic->reads.size())
        messages += framing.take(traffic->reads[readsTaken++]);
}

/// Inside a log line nobody can tell how far the server is, but for the messages that are answered: they are
/// dispatched.
void ClientModel::catchUp()
{
    takeReads();
    while (lines > 0 && !messages.isEmpty() && !anythingGoes && expected.size() < traffic->writes.size())
        dispatch(messages.takeFirst());
}

/// Dispatches up to the message that calls the host; null when none does, or when it is not known.
const KnownMessage* ClientModel::nextHostCall()
{
    takeReads();
    while (!messages.isEmpty() && !anythingGoes) {
        if (const KnownMessage* message = dispatch(messages.takeFirst()))
            return message;
    }
    return nullptr;
}

const KnownMessage* ClientModel::dispatch(const QString& text)
{
    const bool isLoggedIn = isOrvane || isThirdParty;
    const auto* const message = std::find_if(KnownMessages.cbegin(), KnownMessages.cend(),
        [&](const KnownMessage& candidate) { return text == QLatin1String(candidate.text); });
    if (message == KnownMessages.cend()) {
        anythingGoes = !text.isEmpty() && (isLoggedIn || text.contains("loginClient"_L1));
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

void ClientModel::expect(const QByteArray& reply)
{
    if (!reply.isEmpty())
        expected += reply;
}
