// SPDX-License-Identifier: MIT

#include "Following.h"

#include <algorithm>
#include <stdexcept>

using applist::UniqueEvent;

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;

constexpr std::chrono::seconds kStartTimeout{5};
// A list of 100,000 items on a busy machine.
constexpr std::chrono::seconds kCallTimeout{20};

// The loop that the model attaches to, on the bus that it comes up on.
UniqueEvent LoopOn(const std::string& address, Way way) {
    Choose(address, way);
    sd_event* loop = nullptr;
    Check(sd_event_default(&loop));
    return UniqueEvent(loop);
}

}  // namespace

Following::Following(const std::string& address, Way way) : m_loop(LoopOn(address, way)) {
    m_model.SetTimeout(kCallTimeout);
    if (!RunUntil([this] { return m_model.IsServiceThere(); }, kStartTimeout)) {
        throw std::runtime_error("the service of the list did not show up");
    }
}

std::vector<PlainItem> Following::Items() {
    std::vector<PlainItem> items;
    for (AppListItem* item : m_model.GetAllItems()) {
        items.push_back({item->GetVisibleName(), item->GetUnigueId()});
    }
    return items;
}

void Following::WriteAnew(std::vector<RemoteAppListItem>& items) {
    m_model.RemoveAllItems();
    for (RemoteAppListItem& item : items) m_model.AddItemAtEnd(&item);
    m_model.Synchronize();
}

bool Following::RunUntil(const std::function<bool()>& done, std::chrono::milliseconds time) {
    const Clock::time_point deadline = Clock::now() + time;
    while (!done()) {
        const auto left = std::chrono::duration_cast<microseconds>(deadline - Clock::now());
        if (left.count() <= 0) return false;
        Check(sd_event_run(m_loop.get(), static_cast<std::uint64_t>(left.count())));
    }
    return true;
}

std::vector<RemoteAppListItem> RemoteItems(const std::vector<PlainItem>& plain) {
    std::vector<RemoteAppListItem> items;
    items.reserve(plain.size());
    for (const PlainItem& item : plain) items.emplace_back(item.visibleName, item.uniqueId);
    return items;
}

bool AreSame(const std::vector<PlainItem>& left, const std::vector<PlainItem>& right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](const PlainItem& one, const PlainItem& other) {
                          return one.visibleName == other.visibleName &&
                                 one.uniqueId == other.uniqueId;
                      });
}

void RequireSame(const std::vector<PlainItem>& items, const std::vector<PlainItem>& expected) {
    if (!AreSame(items, expected)) throw std::runtime_error("what was read is not the list");
}

}  // namespace bench
