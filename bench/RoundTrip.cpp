// Remote calls over a private bus against the same bytes over bare sd-bus: what a partner waits
// longer because the list is served by this library.
//
// One client calls two services in turns. It calls the same member with the same request, and gets
// the same bytes; only 2002's text is made and taken apart by the item's stream operators on one
// side and by hand on the other.

#include <cstdint>
#include <cstdio>
#include <exception>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "BareBus.h"
#include "ByHand.h"
#include "Interleaved.h"
#include "PrivateBus.h"
#include "Services.h"
#include "applist/RemoteAppListItem.h"
#include "bus/EndpointNames.h"
#include "common/AppListRemoteControl.h"

using applist::UniqueBus;
using applist::UniqueMessage;
namespace endpoint_names = applist::endpoint_names;

namespace {

constexpr char kOurEndpoint[] = "Applist";
constexpr std::uint64_t kCallTimeoutMicroseconds = 5000000;

class Client {
public:
    explicit Client(const std::string& address) : m_bus(bench::OpenBus(address)) {}

    // Calls `function` of `endpoint`, and passes `use` the bytes of the reply.
    template <class Use>
    void Call(const char* endpoint, std::int32_t function, Use&& use) {
        const UniqueMessage reply = Send(endpoint, function);
        const void* bytes = nullptr;
        std::size_t size = 0;
        bench::Check(sd_bus_message_read_array(reply.get(), 'y', &bytes, &size));
        use(static_cast<const char*>(bytes), size);
    }

private:
    UniqueMessage Send(const char* endpoint, std::int32_t function) {
        sd_bus_message* made = nullptr;
        bench::Check(sd_bus_message_new_method_call(
            m_bus.get(), &made, endpoint_names::BusNameOf(endpoint).c_str(),
            endpoint_names::PathOf(endpoint).c_str(), endpoint_names::kInterface, "Message"));
        const UniqueMessage call(made);
        bench::Check(sd_bus_message_append_array(call.get(), 'y', &function, sizeof(function)));
        sd_bus_message* reply = nullptr;
        bench::Check(
            sd_bus_call(m_bus.get(), call.get(), kCallTimeoutMicroseconds, nullptr, &reply));
        return UniqueMessage(reply);
    }

    UniqueBus m_bus;
};

std::string TextOf(Client& client, const char* endpoint, std::int32_t function) {
    std::string text;
    client.Call(endpoint, function,
                [&](const char* bytes, std::size_t size) { text.assign(bytes, size); });
    return text;
}

void RequireSameBytes(Client& client, std::int32_t function) {
    const std::string text = TextOf(client, kOurEndpoint, function);
    if (!text.empty() && text == TextOf(client, bench::kBareEndpoint, function)) return;
    throw std::runtime_error("the two services do not answer the same bytes");
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

void CompareSelection(Client& client) {
    const auto leave = [](const char*, std::size_t) {};
    const bench::Rounds plan = {21, 10, 50};
    RequireSameBytes(client, APPLIST_GET_SELECTION_FNC);
    const bench::Comparison result = bench::Compare(
        plan, [&] { client.Call(kOurEndpoint, APPLIST_GET_SELECTION_FNC, leave); },
        [&] { client.Call(bench::kBareEndpoint, APPLIST_GET_SELECTION_FNC, leave); });
    bench::PrintTableHead(plan);
    bench::PrintTableLine("2001 against a bare echo", result, 1.10);
}

void CompareList(Client& client) {
    const bench::Rounds plan = {21, 25, 1};
    RequireSameBytes(client, APPLIST_GET_ALL_ITEMS_FNC);
    const bench::Comparison result = bench::Compare(
        plan, [&] { client.Call(kOurEndpoint, APPLIST_GET_ALL_ITEMS_FNC, ReadListWithOperator); },
        [&] { client.Call(bench::kBareEndpoint, APPLIST_GET_ALL_ITEMS_FNC, ReadListByHand); });
    bench::PrintTableHead(plan);
    bench::PrintTableLine("2002, 10,000 items, against by hand", result, 1.6);
}

}  // namespace

int main() {
    try {
        const bench::PrivateBus bus;
        const bench::ChildProcess applist(
            [&](int readyFd) { bench::RunApplistService(bus.Address(), readyFd); });
        const bench::ChildProcess bare(
            [&](int readyFd) { bench::RunBareService(bus.Address(), readyFd); });
        Client client(bus.Address());
        CompareSelection(client);
        CompareList(client);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_roundtrip: %s\n", error.what());
        return 1;
    }
}
