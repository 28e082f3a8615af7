// SPDX-License-Identifier: MIT

#include "partner/Fetcher.h"

#include <cstdint>
#include <new>
#include <random>
#include <string>
#include <utility>

#include "common/AppListLog.h"
#include "common/AppListRemoteControl.h"
#include "common/Guarded.h"

namespace applist {

using Cause = RemoteError::Cause;
using Part = FetchPlan::Part;
using Step = FetchPlan::Step;
using std::chrono::steady_clock;

namespace {

// Differs between processes, and between the fetchers of one process. The machine may not have any
// random numbers to give, and the spread of a restart is no reason to fail.
std::uint32_t SeedOf(const void* fetcher) {
    try {
        return std::random_device()();
    } catch (const std::exception& error) {
        APPLIST_LOG(logging::kDebug, "cannot get a random number: %s", error.what());
    }
    const auto time = static_cast<std::uint64_t>(steady_clock::now().time_since_epoch().count());
    const std::uint64_t seed = time ^ reinterpret_cast<std::uintptr_t>(fetcher);
    return static_cast<std::uint32_t>(seed ^ (seed >> 32));
}

RemoteError NotMadeOfItems() {
    return RemoteError(Cause::NotUnderstood,
                       "Applist: the service's reply is not a list of items, so the last good list "
                       "stays; check that the service and the partner are of the same version");
}

RemoteError NoMemory() {
    return RemoteError(
        Cause::Failed,
        "Applist: out of memory for the service's list, so the last good list stays; "
        "free some memory");
}

}  // namespace

Fetcher::Fetcher(Replica& replica, FetchPort& port)
    : m_replica(replica), m_port(port), m_plan(SeedOf(this)), m_noMemory(NoMemory()) {}

void Fetcher::ServiceIsThere() {
    m_plan.ServiceIsThere(m_port.Now());
    Proceed();
}

void Fetcher::ServiceIsGone() {
    m_plan.ServiceIsGone();
    m_isListRead = false;
}

// Even without a service: the call then fails with the reason that the caller wants to know.
void Fetcher::ReadNow() {
    const Read read = m_plan.BeginOutOfTurn(m_port.Now());
    m_lastReadNow = read.outOfTurn;
    Send(read);
}

void Fetcher::MarkStale(Part part) {
    if (m_plan.MarkStale(part)) Proceed();
}

void Fetcher::Proceed() {
    const FetchPlan::Time now = m_port.Now();
    switch (m_plan.Next(now)) {
        case Step::Nothing: return;
        case Step::Wait: return m_port.CallLater(m_plan.Due() - now, [this] { Proceed(); });
        case Step::ReadSelection: return Send(m_plan.Begin(Part::Selection, now));
        case Step::ReadList: return Send(m_plan.Begin(Part::List, now));
    }
}

// A read that could not even be sent has failed like any other: what was stale still is. Rethrown,
// so that it reaches the caller of Synchronize, or else the log.
void Fetcher::Send(const Read& read) {
    try {
        Post(read);
    } catch (...) {
        Finish(read, Outcome::Failed);
        throw;
    }
}

void Fetcher::Post(const Read& read) {
    if (read.part == Part::Selection) {
        return m_port.PostRequest(APPLIST_GET_SELECTION_FNC, [this, read](RemoteReply& selection) {
            Take(read, nullptr, selection);
        });
    }
    // Two calls, because the service has no message for both. Replies come in order, so the list is
    // there when the selection comes; it lives in the handlers, which may outlast this read.
    const auto list = std::make_shared<RemoteReply>();
    m_port.PostRequest(APPLIST_GET_ALL_ITEMS_FNC,
                       [list](RemoteReply& reply) { *list = std::move(reply); });
    m_port.PostRequest(APPLIST_GET_SELECTION_FNC, [this, read, list](RemoteReply& selection) {
        Take(read, list.get(), selection);
    });
}

// `list` is null when the selection alone was read. Whatever happens here, the read is finished:
// one that stayed under way would keep all others from being sent. And whatever becomes of the next
// read, the listeners are told, as they may hold items that are gone; after that, this may have
// been destroyed.
void Fetcher::Take(const Read& read, RemoteReply* list, const RemoteReply& selection) {
    Replica::Change change;
    Outcome outcome = Outcome::Failed;
    const RemoteReply& first = list != nullptr && list->error ? *list : selection;
    const bool isTold = Guarded("reading the list", [&] {
        outcome = first.error ? Fail(*first.error) : Update(read, list, selection.body, change);
    });
    if (!isTold) m_failure = m_noMemory;
    if (outcome != Outcome::Failed) m_failure.reset();
    if (read.outOfTurn != 0 && read.outOfTurn == m_lastReadNow) m_whyNotReadNow = m_failure;
    Guarded("reading the list again", [&] { Finish(read, outcome); });
    // Not before: the next read may have failed already, which is told, and this one is not yet.
    if (outcome == Outcome::Shown && list != nullptr) m_isListRead = true;
    m_port.ReplicaChanged(change);
}

// The service may have changed between the two answers. A list of before and a selection of after
// that, or of what is not in the list yet, would show what the service never had.
Replica::Taken Fetcher::TakeOver(const Read& read, RemoteReply* list,
                                 const std::vector<char>& selection, Replica::Change& change) {
    if (list == nullptr) return m_replica.UpdateSelection(selection, change);
    if (m_plan.MayPassOver(read)) {
        return m_replica.UpdateIfWhole(std::move(list->body), selection, change);
    }
    std::optional<Replica::Change> update = m_replica.Update(std::move(list->body), selection);
    if (!update) return Replica::Taken::NotUnderstood;
    change = std::move(*update);
    return Replica::Taken::Yes;
}

Fetcher::Outcome Fetcher::Update(const Read& read, RemoteReply* list,
                                 const std::vector<char>& selection, Replica::Change& change) {
    try {
        switch (TakeOver(read, list, selection, change)) {
            case Replica::Taken::Yes: return Outcome::Shown;
            case Replica::Taken::NotInTheList: return Outcome::ListIsNeeded;
            case Replica::Taken::NotUnderstood: break;
        }
        return Fail(NotMadeOfItems());
    } catch (const std::bad_alloc&) {
        return Fail(m_noMemory);
    }
}

// That the service is away or slow shows elsewhere. That it talks nonsense, or may not be asked,
// shows only here, and is logged once, not once for each repetition of the read.
Fetcher::Outcome Fetcher::Fail(const RemoteError& failure) {
    const Cause cause = failure.GetCause();
    const bool isNews = !m_failure || m_failure->GetCause() != cause;
    const bool showsOnlyHere = cause == Cause::NotUnderstood || cause == Cause::ServiceError ||
                               cause == Cause::Failed || cause == Cause::Refused;
    APPLIST_LOG(showsOnlyHere && isNews ? logging::kError : logging::kDebug,
                "cannot read the list: %s", failure.what());
    m_failure.emplace(failure);
    return Outcome::Failed;
}

void Fetcher::Finish(const Read& read, Outcome outcome) {
    m_plan.Finish(read, outcome, m_port.Now());
    Proceed();
}

}  // namespace applist
