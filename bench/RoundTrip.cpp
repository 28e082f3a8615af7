// SPDX-License-Identifier: MIT

// Remote calls over a private bus and over a direct channel against the same bytes over bare
// sd-bus, through the bus and over a pair of sockets: what a partner waits longer because the list
// is served by this library, and shorter because nobody is between.
//
// One client calls services in turns. It calls the same member with the same request, and gets
// the same bytes; only 2002's text is made and taken apart by the item's stream operators on one
// side and by hand on the other.

#include <sys/socket.h>

#include <cstdint>
#include <cstdio>
#include <exception>
#include <sstream>
#include <stdexcept>
#include <utility>
#include <vector>

#include "ByHand.h"
#include "Client.h"
#include "Interleaved.h"
#include "PrivateBus.h"
#include "Services.h"
#include "applist/RemoteAppListItem.h"
#include "bus/OwnedFd.h"
#include "common/AppListRemoteControl.h"

using applist::OwnedFd;
using bench::ChildProcess;
using bench::Client;
using bench::Compare;
using bench::CompareFigures;
using bench::PrintTableHead;
using bench::PrintTableLine;
using bench::PrivateBus;
using bench::Rounds;

namespace {

constexpr char kOurEndpoint[] = "Applist";
constexpr int kCallsForCpu = 100;  // the tail of one call counts for the next, that of the last not
std::string TextOf(Client& client, std::int32_t function) {
    std::string text;
    client.Call(function, [&](const char* bytes, std::size_t size) { text.assign(bytes, size); });
    return text;
}

void RequireAllItems(std::size_t count) {
    if (count != bench::kRoundTripItems) throw std::runtime_error("not all items were read");
}

// Both read into new items at the end of a list, as a partner does who wants the list. The last
// one stays empty: there is no line left for it.
void ReadListWithOperator(const char* bytes, std::size_t size) {
    std::istringstream in(std::string(bytes, size));
    std::vector<RemoteAppListItem> items;
    do items.emplace_back();
    while (in >> items.back());
    RequireAllItems(items.size() - 1);
}

void ReadListByHand(const char* bytes, std::size_t size) {
    const char* const end = bytes + size;
    std::vector<bench::PlainItem> items;
    do items.emplace_back();
    while ((bytes = bench::ReadByHand(bytes, end, items.back())) != nullptr);
    RequireAllItems(items.size() - 1);
}

// Each service's clients: the same one, each over its own way.
struct Clients {
    Client bus;
    Client channel;
    Client bareBus;
    Client barePeer;
};

void RequireSameBytes(Clients& clients, std::int32_t function) {
    const std::string text = TextOf(clients.bus, function);
    for (Client* other : {&clients.channel, &clients.bareBus, &clients.barePeer}) {
        if (!text.empty() && text == TextOf(*other, function)) continue;
        throw std::runtime_error("the services do not answer the same bytes");
    }
}

void AskSelection(Client& client) {
    client.Call(APPLIST_GET_SELECTION_FNC, [](const char*, std::size_t) {});
}

void CompareSelection(Clients& clients) {
    const Rounds plan = {21, 10, 50};
    RequireSameBytes(clients, APPLIST_GET_SELECTION_FNC);
    const auto compare = [&plan](Client& ours, Client& baseline) {
        return Compare(
            plan, [&] { AskSelection(ours); }, [&] { AskSelection(baseline); });
    };
    PrintTableHead(plan);
    PrintTableLine("2001 against a bare echo", compare(clients.bus, clients.bareBus), 1.10);
    PrintTableLine("2001 over a channel, bare on a bus", compare(clients.channel, clients.bareBus),
                   0.40);
    PrintTableLine("of that, bare sockets", compare(clients.barePeer, clients.bareBus));
    PrintTableLine("2001 over a channel, bare sockets", compare(clients.channel, clients.barePeer),
                   1.15);
    PrintTableLine("2001 over a channel, over the bus", compare(clients.channel, clients.bus));
}

double CpuOfSelection(const ChildProcess& service, Client& client) {
    const double before = service.UsedCpu();
    for (int call = 0; call < kCallsForCpu; ++call) AskSelection(client);
    return (service.UsedCpu() - before) / kCallsForCpu;
}

void CompareCpu(const ChildProcess& applist, const ChildProcess& peer, Clients& clients) {
    const Rounds plan = {21, 5, 1};
    const auto overChannel = [&] { return CpuOfSelection(applist, clients.channel); };
    const auto overBus = [&] { return CpuOfSelection(applist, clients.bus); };
    const auto bare = [&] { return CpuOfSelection(peer, clients.barePeer); };
    PrintTableHead(plan, "x 100 calls, in microseconds of the service's CPU a call");
    PrintTableLine("2001 over a channel, bare sockets", CompareFigures(plan, overChannel, bare));
    PrintTableLine("2001 over a channel, over the bus", CompareFigures(plan, overChannel, overBus));
}

void CompareList(Clients& clients) {
    const Rounds plan = {21, 25, 1};
    RequireSameBytes(clients, APPLIST_GET_ALL_ITEMS_FNC);
    const auto overBus = [&] { clients.bus.Call(APPLIST_GET_ALL_ITEMS_FNC, ReadListWithOperator); };
    const auto overChannel = [&] {
        clients.channel.Call(APPLIST_GET_ALL_ITEMS_FNC, ReadListWithOperator);
    };
    const auto bare = [&] { clients.bareBus.Call(APPLIST_GET_ALL_ITEMS_FNC, ReadListByHand); };
    PrintTableHead(plan);
    PrintTableLine("2002, 10,000 items, against by hand", Compare(plan, overBus, bare), 1.6);
    PrintTableLine("the same over a channel, over the bus", Compare(plan, overChannel, overBus));
}

struct Pair {
    OwnedFd service;
    OwnedFd client;
};

Pair ConnectedPair() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) != 0) {
        throw std::runtime_error("no pair of sockets");
    }
    return {OwnedFd(ends[0]), OwnedFd(ends[1])};
}

void Measure() {
    const PrivateBus bus;
    Pair pair = ConnectedPair();
    const ChildProcess applist(
        [&](int readyFd) { bench::RunApplistService(bus.Address(), readyFd); });
    const ChildProcess bare([&](int readyFd) { bench::RunBareService(bus.Address(), readyFd); });
    const ChildProcess peer(
        [&](int readyFd) { bench::RunBarePeer(std::move(pair.service), readyFd); });
    Clients clients{{bus.Address(), kOurEndpoint},
                    {bus.Address(), kOurEndpoint},
                    {bus.Address(), bench::kBareEndpoint},
                    {std::move(pair.client), bench::kBareEndpoint}};
    clients.channel.TakeChannel();
    CompareSelection(clients);
    CompareCpu(applist, peer, clients);
    CompareList(clients);
}

}  // namespace

int main() {
    try {
        Measure();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_roundtrip: %s\n", error.what());
        return 1;
    }
}
