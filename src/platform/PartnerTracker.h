// SPDX-License-Identifier: MIT

// The partners that are connected, and which of them leave the bus without saying so.
//
// Threads: the main loop's.

#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
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

    // From now on `bus` says who leaves it: also those that were followed before, who have the same
    // names there. Null when the connection ends, which must outlive this otherwise: until there is
    // another one nobody is reported. Returns false without memory or connection.
    bool Follow(sd_bus* bus);
    bool HasBus() const { return m_bus != nullptr; }

    enum class Outcome {
        Tracked,  // from now on, or already
        Full,     // `most` others are tracked
        Failed,   // no memory, or no connection
    };

    // Follows `name`, a unique name on the bus. Asks the bus without waiting: a partner that has
    // left in the meantime is reported like any other. Does nothing for one that is tracked
    // already.
    Outcome Add(const std::string& name);

    // How many are followed.
    std::size_t Count() const { return m_partners.size(); }

    // Stops following `name`. Returns whether it was followed.
    bool Remove(const std::string& name);
    void RemoveAll();

    // Stops following the first by name for whom `isOne` holds, and returns whom; nothing when
    // there is none.
    std::optional<std::string> RemoveFirst(const std::function<bool(const std::string&)>& isOne);

private:
    struct Partner;

    // What sd-bus calls: a name changed hands, a match was installed or refused, and the bus says
    // whether the partner was still there when the match was.
    static int OnOwnerChanged(sd_bus_message* message, void* userdata, sd_bus_error* error);
    static int OnMatchInstalled(sd_bus_message* message, void* userdata, sd_bus_error* error);
    static int OnHasOwner(sd_bus_message* message, void* userdata, sd_bus_error* error);
    bool Follow(Partner& partner) const;
    static bool AskWhetherPresent(sd_bus* bus, Partner& partner);
    void Left(const std::string& name);

    const std::size_t m_most;
    const std::function<void(const std::string&)> m_onLeft;
    sd_bus* m_bus = nullptr;
    std::map<std::string, std::unique_ptr<Partner>> m_partners;
};

}  // namespace applist
