// SPDX-License-Identifier: MIT

// Keeps a replica equal to the service's list: reads when its plan says so, puts the answers into
// the replica, and tries again after a failure.
//
// Lifetime: its port outlives it. It may be destroyed from inside ReplicaChanged.

#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "partner/FetchPlan.h"
#include "partner/Replica.h"
#include "remote/TesselDbusRemote.h"

namespace applist {

// The few things that a fetcher needs of a transport and of a model.
class FetchPort {
public:
    // Sends a request without a payload and calls `onReply` once, possibly before it returns.
    // Replies come in the order of the requests.
    virtual void PostRequest(int messageId, TesselDbusRemote::ReplyHandler onReply) = 0;

    // Any clock that only goes forward.
    virtual std::chrono::microseconds Now() const = 0;

    // Calls `callback` from the loop after `delay`. There is one at a time: a second replaces the
    // first.
    virtual void CallLater(std::chrono::microseconds delay, std::function<void()> callback) = 0;

    // The replica now shows something else. Items that are gone live until this returns.
    virtual void ReplicaChanged(const Replica::Change& change) = 0;

protected:
    ~FetchPort() = default;
};

class Fetcher {
public:
    // Reads nothing until it is told of a service.
    Fetcher(Replica& replica, FetchPort& port);
    Fetcher(const Fetcher&) = delete;
    Fetcher& operator=(const Fetcher&) = delete;

    // The service has appeared, or some of its events were lost: reads the list. After a restart,
    // which many partners see at once, each waits for a random time first.
    void ServiceIsThere();
    void ServiceIsGone();
    bool IsServiceThere() const { return m_plan.IsServiceThere(); }

    // Whether the list has been shown since the service was gone.
    bool IsListRead() const { return m_isListRead; }

    // An event of the service came: what it speaks of is read when the plan says so.
    void ListHasChanged() { MarkStale(FetchPlan::Part::List); }
    void SelectionHasChanged() { MarkStale(FetchPlan::Part::Selection); }

    // Requests the list and the selection right away, whether a service is known or not.
    void ReadNow();

    // Why the latest finished read failed; nothing when it did not.
    const std::optional<RemoteError>& Failure() const { return m_failure; }

    // Why the last read of ReadNow failed, whatever others did since; nothing when it did not.
    const std::optional<RemoteError>& WhyNotReadNow() const { return m_whyNotReadNow; }

private:
    using Read = FetchPlan::Read;
    using Outcome = FetchPlan::Outcome;

    void MarkStale(FetchPlan::Part part);
    // Does what the plan says now, if anything.
    void Proceed();
    void Send(const Read& read);
    void Post(const Read& read);
    void Take(const Read& read, RemoteReply* list, const RemoteReply& selection);
    Outcome Update(const Read& read, RemoteReply* list, const std::vector<char>& selection,
                   Replica::Change& change);
    Replica::Taken TakeOver(const Read& read, RemoteReply* list, const std::vector<char>& selection,
                            Replica::Change& change);
    // Remembers `failure`, and logs it as an error when nothing else shows it.
    Outcome Fail(const RemoteError& failure);
    void Finish(const Read& read, Outcome outcome);

    Replica& m_replica;
    FetchPort& m_port;
    FetchPlan m_plan;
    const RemoteError m_noMemory;          // made while there was some
    std::optional<RemoteError> m_failure;  // of the read that was finished last
    std::optional<RemoteError> m_whyNotReadNow;
    std::uint64_t m_lastReadNow = 0;  // its number out of turn
    bool m_isListRead = false;
};

}  // namespace applist
