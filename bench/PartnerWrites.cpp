// SPDX-License-Identifier: MIT

#include <sstream>
#include <stdexcept>

#include "Caller.h"
#include "Following.h"
#include "Interleaved.h"
#include "Partner.h"

namespace bench {

namespace {

constexpr std::size_t kWrites = 10000;
constexpr double kTarget = 1.0 / 3;

std::string TextOf(const RemoteAppListItem& item) {
    std::ostringstream out;
    out << item;
    return out.str();
}

std::string TextOfAll(const std::vector<PlainItem>& plain) {
    std::string text;
    for (const PlainItem& item : plain) AppendByHand(item, text);
    return text;
}

}  // namespace

WriteComparison::WriteComparison()
    : m_postedList([this](int readyFd) { RunEditedList(m_postedBus.Address(), readyFd); }),
      m_waitedList([this](int readyFd) { RunEditedList(m_waitedBus.Address(), readyFd); }) {}

// Both start with one call that empties the list, so that every round writes the same. Ours ends
// with the list in the replica, the other side knows only that all calls were answered.
void WriteComparison::Measure() const {
    const std::vector<PlainItem> plain = SampleItems(kWrites);
    std::vector<RemoteAppListItem> items = RemoteItems(plain);
    Following partner(m_postedBus.Address(), Way::Bus);
    Caller caller(m_waitedBus.Address(), Way::Bus);
    const auto post = [&] { partner.WriteAnew(items); };
    const auto wait = [&] {
        caller.Call(APPLIST_REMOVE_ALL_ITEMS_FNC, std::string());
        for (const RemoteAppListItem& item : items) {
            caller.Call(APPLIST_ADD_ITEM_AT_END_FNC, TextOf(item));
        }
    };
    const Rounds plan = {15, 1, 1};
    const Comparison result = Compare(plan, post, wait);
    RequireSame(partner.Items(), plain);
    const std::vector<char> list = caller.Call(APPLIST_GET_ALL_ITEMS_FNC, std::string());
    if (std::string(list.begin(), list.end()) != TextOfAll(plain)) {
        throw std::runtime_error("the writes that were waited for did not arrive");
    }
    PrintTableHead(plan);
    PrintTableLine("10,000 writes, against waited for", result, kTarget);
}

}  // namespace bench
