// SPDX-License-Identifier: MIT

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>

#include "Channel.h"
#include "Following.h"
#include "Interleaved.h"
#include "PartnerLists.h"

namespace bench {

namespace {

constexpr double kStartTarget = 1.10;
constexpr std::size_t kManyItems = 10000;  // with more, a list takes a second
constexpr std::chrono::seconds kListTimeout{20};

std::string Line(std::size_t count, const char* what) {
    return std::to_string(count) + " items, " + what;
}

bool ShowsAll(Following& partner, std::size_t count) {
    return static_cast<std::size_t>(partner.Model().GetItemsCount()) == count;
}

// How the partner goes away does not count.
double TimeOfStart(const std::string& address, Way way, std::size_t count) {
    std::optional<Following> partner;
    return TimeOf([&] {
        partner.emplace(address, way);
        if (partner->RunUntil([&] { return ShowsAll(*partner, count); }, kListTimeout)) return;
        throw std::runtime_error("the partner shows no list");
    });
}

void Read(Following& partner, std::size_t count) {
    partner.Model().Synchronize();
    if (!ShowsAll(partner, count)) throw std::runtime_error("not all items were read");
}

void ReadOnce(const std::string& address, Way way, std::size_t count) {
    Following partner(address, way);
    Read(partner, count);
}

void CompareStarts(const std::string& address, std::size_t count) {
    const Rounds plan = {21, 5, 1};
    const Comparison first = CompareFigures(
        plan, [&] { return TimeOfStart(address, Way::Channel, count); },
        [&] { return TimeOfStart(address, Way::Bus, count); });
    const Comparison once = Compare(
        plan, [&] { ReadOnce(address, Way::Channel, count); },
        [&] { ReadOnce(address, Way::Bus, count); });
    PrintTableHead(plan, "starts, in microseconds a start");
    PrintTableLine(Line(count, "the first list").c_str(), first, kStartTarget);
    PrintTableLine(Line(count, "one list and away").c_str(), once);
}

void CompareReads(const PrivateBus& bus, std::size_t count) {
    Following direct(bus.Address(), Way::Channel);
    Following overBus(bus.Address(), Way::Bus);
    AwaitChannel(bus, [&] { Read(direct, count); });
    const Rounds plan = {21, count <= kManyItems ? 3 : 1, 1};
    const Comparison result = Compare(
        plan, [&] { Read(direct, count); }, [&] { Read(overBus, count); });
    PrintTableHead(plan);
    PrintTableLine(Line(count, "all replaced").c_str(), result);
}

}  // namespace

ChannelReads::ChannelReads(std::size_t count)
    : m_count(count),
      m_list([&](int readyFd) { RunReplacedList(m_bus.Address(), count, readyFd); }) {}

void ChannelReads::Measure() const {
    if (m_count <= kManyItems) CompareStarts(m_bus.Address(), m_count);
    CompareReads(m_bus, m_count);
}

}  // namespace bench
