#pragma once

#include "Clients.h"

#include <QByteArray>

#include <algorithm>
#include <functional>
#include <sched.h>
#include <vector>

class ServerProcess;

// What the benchmarks share that measure a server from the outside.

double median(std::vector<double> values);

/// Ends the program with a message when \a condition does not hold.
void require(bool condition, const char* what);

template <typename Condition> bool allOf(const Clients& clients, Condition condition)
{
    return std::all_of(clients.cbegin(), clients.cend(), [&](const auto& client) { return condition(*client); });
}

/// Has each client say something, and waits until it has left.
template <typename Speech> void sayAll(const Clients& clients, Speech speech)
{
    for (const auto& client : clients)
        std::invoke(speech, *client);
    require(waitFor([&] { return allOf(clients, isSent); }), "a client could not send");
}

/// So many clients with their handshakes done.
Clients connectAll(const ServerProcess& server, int count);

/// A command and the reply to it, as they go over the connection.
struct Exchange {
    QByteArray command;
    QByteArray reply;
};

/// Has the server answer a number of commands, so many at a time. \return its processor time for each, in microseconds
double commandCost(const ServerProcess& server, TlsClient& client, const Exchange& exchange, int commands, int atATime);

/// Keeps this process, and those that it starts meanwhile, on one processor: otherwise the time of a command depends on
/// whether the two take turns on one processor, or each has to wake up another one that sleeps.
class OneProcessor {
public:
    OneProcessor();
    ~OneProcessor();
    Q_DISABLE_COPY_MOVE(OneProcessor)

private:
    cpu_set_t before {};
};
