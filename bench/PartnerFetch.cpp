// SPDX-License-Identifier: MIT

#include <cstdio>
#include <stdexcept>
#include <string>

#include "Following.h"
#include "Interleaved.h"
#include "Partner.h"
#include "Rows.h"

namespace bench {

namespace {

// A fifth and a tenth of the time.
constexpr std::size_t kTargetCount = 10000;
constexpr double kSdBusTarget = 1.0 / 5;
constexpr double kGDBusTarget = 1.0 / 10;

Rounds PlanFor(std::size_t count) {
    if (count <= 1000) return {21, 10, 10};
    if (count <= 10000) return {21, 3, 3};
    return {9, 1, 1};  // a call takes tenths of a second
}

void RequireCount(std::size_t count, std::size_t expected) {
    if (count != expected) throw std::runtime_error("not all items were read");
}

// Whichever of the two lists is shown first, both are shown by two reads.
template <class Read>
void RequireBothLists(std::size_t count, Read&& read) {
    const TwoLists expected(count);
    const std::vector<PlainItem> first = read();
    const std::vector<PlainItem> second = read();
    const std::size_t shown = AreSame(first, expected.lists[0]) ? 0 : 1;
    RequireSame(first, expected.lists[shown]);
    RequireSame(second, expected.lists[1 - shown]);
}

void PrintLine(std::size_t count, const char* against, const Comparison& result, double target) {
    const std::string what = std::to_string(count) + " items, " + against;
    if (count == kTargetCount) {
        PrintTableLine(what.c_str(), result, target);
    } else {
        PrintTableLine(what.c_str(), result);
    }
}

}  // namespace

FetchComparison::FetchComparison(std::size_t count)
    : m_count(count),
      m_list([&](int readyFd) { RunReplacedList(m_bus.Address(), count, readyFd); }),
      m_sdBusRows([&](int readyFd) { RunSdBusRows(m_bus.Address(), count, readyFd); }),
      m_gdbusRows([&](int readyFd) { RunGDBusRows(m_bus.Address(), count, readyFd); }) {}

// Each side ends with the new list in memory and the old one freed; ours has also told the two
// apart, to keep unchanged items, and found none.
void FetchComparison::Measure() const {
    Following partner(m_bus.Address(), Way::Bus);
    SdBusReader sdBus(m_bus.Address());
    GDBusReader gdbus(m_bus.Address());
    std::vector<PlainItem> rows;
    const auto readOurs = [&] {
        partner.Model().Synchronize();
        RequireCount(static_cast<std::size_t>(partner.Model().GetItemsCount()), m_count);
    };
    const auto readSdBus = [&] {
        sdBus.Read(rows);
        RequireCount(rows.size(), m_count);
    };
    const auto readGDBus = [&] {
        gdbus.Read(rows);
        RequireCount(rows.size(), m_count);
    };
    RequireBothLists(m_count, [&] { return readOurs(), partner.Items(); });
    RequireBothLists(m_count, [&] { return readSdBus(), rows; });
    RequireBothLists(m_count, [&] { return readGDBus(), rows; });

    const Rounds plan = PlanFor(m_count);
    PrintTableHead(plan);
    PrintLine(m_count, "a(ss) by sd-bus", Compare(plan, readOurs, readSdBus), kSdBusTarget);
    PrintLine(m_count, "a(ss) by GDBus", Compare(plan, readOurs, readGDBus), kGDBusTarget);
}

}  // namespace bench
