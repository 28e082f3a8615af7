// SPDX-License-Identifier: MIT

#include "remote/ServiceOwner.h"

#include <cstring>
#include <utility>

#include "bus/BusNames.h"
#include "common/AppListLog.h"
#include "common/Joined.h"
#include "remote/BusCallback.h"

namespace applist {

using logging::kError;

namespace {

// That there is nothing to start, or that we may not start it, is not worth a line in the log: the
// user sees anyway that the service is not there.
bool IsNoNews(const sd_bus_error& error) {
    return sd_bus_error_has_names(&error, SD_BUS_ERROR_SERVICE_UNKNOWN,
                                  SD_BUS_ERROR_ACCESS_DENIED) > 0;
}

}  // namespace

ServiceOwner::ServiceOwner(BusLink& link, std::string name,
                           std::function<std::shared_ptr<void>()> keepAlive,
                           std::function<void(const std::string& owner)> onOwner)
    : m_link(link),
      m_name(std::move(name)),
      m_keepAlive(std::move(keepAlive)),
      m_onOwner(std::move(onOwner)) {}

void ServiceOwner::Follow() {
    m_hasStarted = false;
    const std::string match = bus_names::OwnerChangesOf(m_name);
    sd_bus_slot* slot = nullptr;
    const int result = sd_bus_add_match_async(
        m_link.Bus(), &slot, match.c_str(), kOnSignal<ServiceOwner, &ServiceOwner::OnChanged>,
        kOnReply<ServiceOwner, &ServiceOwner::OnFollowed>, this);
    m_match.reset(slot);
    if (result < 0) {
        throw Cannot("follow ", result);
    }
    // After the match, so that a service which appears now is seen by one or the other.
    Ask();
}

TransportError ServiceOwner::Cannot(const char* what, int error) const {
    return TransportError(Joined({"cannot ", what, m_name, " on ", m_link.Location().description,
                                  ": ", std::strerror(-error)}));
}

void ServiceOwner::StopFollowing() {
    m_match.reset();
    m_answer.reset();
}

// Without this callback sd-bus would close the whole connection when one match is refused.
void ServiceOwner::OnFollowed(sd_bus_message* answer) {
    const sd_bus_error* refusal = sd_bus_message_get_error(answer);
    if (refusal == nullptr || !bus_names::IsFromDriver(answer) ||
        sd_bus_is_open(m_link.Bus()) <= 0) {
        return;
    }
    APPLIST_LOG(kError, "cannot hear when %s appears: %s", m_name.c_str(), TextOf(*refusal));
}

// Anybody can send a signal to us alone, which bypasses the match; only the bus's own word counts.
void ServiceOwner::OnChanged(sd_bus_message* signal) {
    const char* name = nullptr;
    const char* before = nullptr;
    const char* now = nullptr;
    if (!bus_names::IsFromDriver(signal) ||
        sd_bus_message_read(signal, "sss", &name, &before, &now) < 0 || m_name != name) {
        return;
    }
    m_onOwner(now);
}

void ServiceOwner::Ask() {
    const int result =
        CallDriver(m_answer, "GetNameOwner", kOnReply<ServiceOwner, &ServiceOwner::OnOwner>);
    if (result >= 0) return;
    throw Cannot("ask who owns ", result);
}

void ServiceOwner::OnOwner(sd_bus_message* answer) {
    m_answer.reset();
    const sd_bus_error* const error = sd_bus_message_get_error(answer);
    if (!bus_names::IsFromDriver(answer) || (error != nullptr && IsSilence(*error))) {
        // That says nothing about the service. If the connection has ended, the link tries again.
        if (sd_bus_is_open(m_link.Bus()) > 0) Ask();
        return;
    }
    m_link.Settled();
    const char* owner = "";
    if (error == nullptr) sd_bus_message_read(answer, "s", &owner);
    if (*owner == '\0' && m_starts && !std::exchange(m_hasStarted, true)) return Start();
    m_onOwner(owner);
}

// Nobody is told anything yet: until the bus has answered, calls wait for the service instead of
// failing.
void ServiceOwner::Start() {
    sd_bus_slot* slot = nullptr;
    const int result = sd_bus_call_method_async(
        m_link.Bus(), &slot, bus_names::kDriver, bus_names::kDriverPath, bus_names::kDriver,
        "StartServiceByName", kOnReply<ServiceOwner, &ServiceOwner::OnStarted>, this, "su",
        m_name.c_str(), 0);
    m_answer.reset(slot);
    if (result < 0) m_onOwner(std::string());
}

// Asks again, whatever the answer says: only that tells who owns the name now. A service that was
// started may be gone again, and after a failure `onOwner` still has to hear that there is none.
void ServiceOwner::OnStarted(sd_bus_message* answer) {
    m_answer.reset();
    const sd_bus_error* const error = sd_bus_message_get_error(answer);
    if (error != nullptr && !IsNoNews(*error) && bus_names::IsFromDriver(answer) &&
        sd_bus_is_open(m_link.Bus()) > 0) {
        APPLIST_LOG(kError, "%s could not be started: %s", m_name.c_str(), TextOf(*error));
    }
    if (sd_bus_is_open(m_link.Bus()) > 0) Ask();
}

int ServiceOwner::CallDriver(UniqueSlot& slot, const char* member,
                             sd_bus_message_handler_t onAnswer) {
    sd_bus_slot* made = nullptr;
    const int result =
        sd_bus_call_method_async(m_link.Bus(), &made, bus_names::kDriver, bus_names::kDriverPath,
                                 bus_names::kDriver, member, onAnswer, this, "s", m_name.c_str());
    slot.reset(made);
    return result;
}

}  // namespace applist
