#include "PeerServers.h"

#include "QuietHost.h"
#include "TlsResource.h"

#include <nlohmann/json.hpp>
#include <websocketpp/concurrency/none.hpp>
#include <websocketpp/config/asio.hpp>
#include <websocketpp/logger/stub.hpp>
#include <websocketpp/server.hpp>

#include <cstdio>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <unistd.h>
#include <unordered_map>

using namespace Qt::StringLiterals;

namespace {

namespace asio = boost::asio;
using Json = nlohmann::json;

/// One thread, like the other servers: no locks, and no log.
struct Configuration : websocketpp::config::asio_tls {
    using type = Configuration;
    using concurrency_type = websocketpp::concurrency::none;
    using alog_type = websocketpp::log::stub;
    using elog_type = websocketpp::log::stub;

    struct transport_config : websocketpp::config::asio_tls::transport_config {
        using concurrency_type = Configuration::concurrency_type;
        using alog_type = Configuration::alog_type;
        using elog_type = Configuration::elog_type;
        static constexpr bool enable_multithreading = false;
    };
    using transport_type = websocketpp::transport::asio::endpoint<transport_config>;
};

using Server = websocketpp::server<Configuration>;
using websocketpp::connection_hdl;

Json showLive(QuietHost& host, const Json& command)
{
    int splitId = command.value("splitid", -1);
    host.showLive(
        command.value("recorder", std::string()), command.value("camera", -1), command.value("alarm", 0) != 0, splitId);
    Json reply;
    reply["reply"] = "commandAccepted";
    reply["command"] = "showLive";
    reply["splitid"] = splitId;
    reply["commandtag"] = command.value("commandtag", 0);
    return reply;
}

std::string answer(QuietHost& host, const std::string& message)
{
    static const std::unordered_map<std::string_view, Json (*)(QuietHost&, const Json&)> handlers {
        {"showLive", showLive}};
    try {
        const Json command = Json::parse(message);
        return handlers.at(command.at("command").get_ref<const std::string&>())(host, command).dump();
    } catch (const std::exception&) { // not JSON, or not such a command
        return R"({"reply":"commandRejected"})";
    }
}

/// One for all clients.
std::shared_ptr<asio::ssl::context> tlsContext()
{
    const QByteArray key = tlsResource(u"hxkey.pem"_s);
    const QByteArray certificate = tlsResource(u"hxcert.pem"_s);
    auto context = std::make_shared<asio::ssl::context>(asio::ssl::context::tls_server);
    context->use_private_key(asio::buffer(key.data(), static_cast<size_t>(key.size())), asio::ssl::context::pem);
    context->use_certificate_chain(asio::buffer(certificate.data(), static_cast<size_t>(certificate.size())));
    return context;
}

void setUpServer(Server& server, asio::io_context& loop, QuietHost& host)
{
    server.init_asio(&loop);
    server.set_tls_init_handler([context = tlsContext()](const connection_hdl&) { return context; });
    server.set_tcp_post_init_handler([&server](const connection_hdl& handle) {
        server.get_con_from_hdl(handle)->get_raw_socket().set_option(asio::ip::tcp::no_delay(true));
    });
    server.set_message_handler([&](const connection_hdl& handle, const Server::message_ptr& message) {
        message->get_raw_payload() = answer(host, message->get_payload()); // the reply replaces the command
        server.send(handle, message);
    });
}

} // namespace

int serveWithWebSocketpp(quint16 port)
{
    QuietHost host;
    asio::io_context loop(1);
    Server server;
    setUpServer(server, loop, host);
    server.listen(asio::ip::tcp::endpoint(asio::ip::address_v4::loopback(), port));
    server.start_accept();
    asio::posix::stream_descriptor input(loop, STDIN_FILENO);
    input.async_wait(asio::posix::stream_descriptor::wait_read, [&loop](const auto&) { loop.stop(); });
    static_cast<void>(std::puts("listening"));
    static_cast<void>(std::fflush(stdout));
    loop.run();
    return 0;
}
