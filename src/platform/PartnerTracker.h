// The partners that are connected, and who of them leaves the bus.
//
// Threads: the main loop's. Lifetime: goes before the bus connection.

#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bus/SdBus.h"

namespace applist {

class PartnerTracker {
public:
    // Follows `most` partners at the same time. `onLeft` is called from the loop with the name of
    // one that left the bus; it is no longer tracked then.
    PartnerTracker(std::size_t most, std::function<void(const std::string&)> onLeft);
    ~PartnerTracker();
    PartnerTracker(const PartnerTracker&) = delete;
    PartnerTracker& operator=(const PartnerTracker&) = delete;

    enum class Outcome { Tracked, Full, Failed };

    // Follows `name`, a unique name on `bus`. Asks the bus without waiting: a partner that left in
    // the meantime is reported like any other. Tracked already: nothing changes.
    Outcome Add(sd_bus* bus, const std::string& name);

    // Follows `name` no longer.
    void Remove(const std::string& name);

    // Follows nobody any longer, and returns whom it followed, by name.
    std::vector<std::string> RemoveAll();

private:
    struct Partner;

    static int OnOwnerChanged(sd_bus_message* message, void* userdata, sd_bus_error* error);
    static int OnMatchInstalled(sd_bus_message* message, void* userdata, sd_bus_error* error);
    static int OnHasOwner(sd_bus_message* message, void* userdata, sd_bus_error* error);
    void Left(const std::string& name);

    const std::size_t m_most;
    const std::function<void(const std::string&)> m_onLeft;
    std::map<std::string, std::unique_ptr<Partner>> m_partners;
};

}  // namespace applist
