#pragma once

#include "Clients.h"

#include <QByteArray>

#include <algorithm>
#include <functional>
#include <sched.h>
#include <vector>

class ServerProcess;

// Shared by the benchmarks that measure a server from outside.

double median(std::vector<double> values);

/// Ends the program with a message if \a condition is false.
void require(bool condition, const char* what);

template <typename Condition> bool allOf(const Clients& clients, Condition condition)
{
    return std::all_of(clients.cbegin(), clients.cend(), [&](const auto& client) { return condition(*client); });
}

/// Makes each client send something, and waits until all of it is sent.
template <typename Speech> void sayAll(const Clients& clients, Speech speech)
{
    for (const auto& client : clients)
        std::invoke(speech, *client);
    require(waitFor([&] { return allOf(clients, isSent); }), "a client could not send");
}

/// Connects \a count clients, handshakes included.
Clients connectAll(const ServerProcess& server, int count);

/// A command and its reply, as bytes on the connection.
struct Exchange {
    QByteArray command;
    QByteArray reply;
};

/// Sends a number of commands, \a atATime at a time, and waits for the replies. \return the server's processor time per
/// command, in microseconds
double commandCost(const ServerProcess& server, TlsClient& client, const Exchange& exchange, int commands, int atATime);

/// Keeps this process, and those that it starts meanwhile, on one processor. Otherwise the time of a command depends on
/// whether the two share a processor, or each has to wake a sleeping one.
class OneProcessor {
public:
    OneProcessor();
    ~OneProcessor();
    Q_DISABLE_COPY_MOVE(OneProcessor)

private:
    cpu_set_t before {};
};
