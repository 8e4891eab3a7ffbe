#include "Measurement.h"

#include "ServerProcess.h"

#include <QCoreApplication>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

void require(bool condition, const char* what)
{
    if (condition)
        return;
    static_cast<void>(std::fprintf(stderr, "%s: %s\n", qPrintable(QCoreApplication::applicationName()), what));
    std::exit(1);
}

Clients connectAll(const ServerProcess& server, int count)
{
    Clients clients = connectClients(server.port(), count);
    require(static_cast<int>(clients.size()) == count, "a handshake took too long");
    return clients;
}

double commandCost(const ServerProcess& server, TlsClient& client, const Exchange& exchange, int commands, int atATime)
{
    constexpr int patienceMs = 60000;
    const QByteArray batch = exchange.command.repeated(atATime);
    const QByteArray expected = exchange.reply.repeated(atATime);
    const qint64 before = server.processorNs();
    for (int sent = 0; sent < commands; sent += atATime) {
        client.received.clear();
        client.write(batch);
        while (client.received.size() < expected.size())
            require(client.waitForReadyRead(patienceMs), "a reply did not come");
        require(client.received == expected, "a reply was wrong");
    }
    return static_cast<double>(server.processorNs() - before) / 1000 / commands;
}

OneProcessor::OneProcessor()
{
    require(sched_getaffinity(0, sizeof before, &before) == 0, "the processors are not known");
    size_t first = 0;
    while (!CPU_ISSET(first, &before))
        ++first;
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(first, &one);
    require(sched_setaffinity(0, sizeof one, &one) == 0, "no processor can be chosen");
}

OneProcessor::~OneProcessor()
{
    sched_setaffinity(0, sizeof before, &before);
}
