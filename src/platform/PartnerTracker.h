// The partners that are connected, and which of them leave the bus without saying so.
//
// Threads: the main loop's. Lifetime: must go before the bus connection.

#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "bus/SdBus.h"

namespace applist {

class PartnerTracker {
public:
    // Follows up to `most` partners at a time. `onLeft` is called from the loop with the name of a
    // partner that left the bus; by then it is no longer tracked.
    PartnerTracker(std::size_t most, std::function<void(const std::string&)> onLeft);
    ~PartnerTracker();
    PartnerTracker(const PartnerTracker&) = delete;
    PartnerTracker& operator=(const PartnerTracker&) = delete;

    enum class Outcome {
        Tracked,  // from now on, or already
        Full,     // `most` others are tracked
        Failed,   // no memory, or no connection
    };

    // Follows `name`, a unique name on `bus`. Asks the bus without waiting: a partner that has left
    // in the meantime is reported like any other. Does nothing for one that is tracked already.
    Outcome Add(sd_bus* bus, const std::string& name);

    // Stops following `name`, if it was followed.
    void Remove(const std::string& name);

    // Whether it follows nobody.
    bool Empty() const { return m_partners.empty(); }

    // Stops following the first by name, and returns whom.
    // REQUIRES: not Empty().
    std::string RemoveOne();

private:
    struct Partner;

    // What sd-bus calls: a name changed hands, a match was installed or refused, and the bus says
    // whether the partner was still there when the match was.
    static int OnOwnerChanged(sd_bus_message* message, void* userdata, sd_bus_error* error);
    static int OnMatchInstalled(sd_bus_message* message, void* userdata, sd_bus_error* error);
    static int OnHasOwner(sd_bus_message* message, void* userdata, sd_bus_error* error);
    static bool AskWhetherPresent(sd_bus* bus, Partner& partner);
    void Left(const std::string& name);

    const std::size_t m_most;
    const std::function<void(const std::string&)> m_onLeft;
    std::map<std::string, std::unique_ptr<Partner>> m_partners;
};

}  // namespace applist
