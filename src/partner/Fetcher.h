// Keeps a replica like the service's list: reads when its plan says so, takes over what was
// answered, and tries again after a failure.
//
// Threads: one. Lifetime: its port outlives it. It may be destroyed from inside ReplicaChanged.

#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "partner/FetchPlan.h"
#include "partner/Replica.h"
#include "remote/TesselDbusRemote.h"

namespace applist {

// The little of a transport and of a model that a fetcher takes.
class FetchPort {
public:
    // Sends a request without a payload, and calls `onReply` once, perhaps from inside. Replies
    // come in the order of the requests.
    virtual void PostRequest(int messageId, TesselDbusRemote::ReplyHandler onReply) = 0;

    virtual std::chrono::microseconds Now() const = 0;

    // One at a time: a second one replaces the first.
    virtual void CallLater(std::chrono::microseconds delay, std::function<void()> callback) = 0;

    // The replica shows something else now; what is gone lives until this returns.
    virtual void ReplicaChanged(const Replica::Change& change) = 0;

protected:
    ~FetchPort() = default;
};

class Fetcher {
public:
    Fetcher(Replica& replica, FetchPort& port);
    Fetcher(const Fetcher&) = delete;
    Fetcher& operator=(const Fetcher&) = delete;

    // The service has appeared, or something of it was lost: its list is read. Many partners see a
    // restart at once, so then each waits for a time of its own before.
    void ServiceIsThere();
    void ServiceIsGone();
    bool IsServiceThere() const { return m_plan.IsServiceThere(); }

    void ListHasChanged() { MarkStale(FetchPlan::Part::List); }
    void SelectionHasChanged() { MarkStale(FetchPlan::Part::Selection); }

    // Requests list and selection at once, whether a service is known or not.
    void ReadNow();

    // Why the read that was finished last failed; nothing when it did not.
    const std::optional<RemoteError>& Failure() const { return m_failure; }

private:
    using Read = FetchPlan::Read;
    using Outcome = FetchPlan::Outcome;

    void MarkStale(FetchPlan::Part part);
    void Proceed();
    void Send(const Read& read);
    void Post(const Read& read);
    void Take(const Read& read, RemoteReply* list, const RemoteReply& selection);
    Outcome Update(RemoteReply* list, const std::vector<char>& selection, Replica::Change& change);
    Outcome Fail(const RemoteError& failure);
    void Finish(const Read& read, Outcome outcome);

    Replica& m_replica;
    FetchPort& m_port;
    FetchPlan m_plan;
    std::optional<RemoteError> m_failure;
};

}  // namespace applist
