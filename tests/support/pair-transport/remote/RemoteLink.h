// SPDX-License-Identifier: MIT

// A partner's session over the bus in memory: what is on its way in both directions, and when it
// arrives. Stands in for the link over sd-bus, and for nothing above it.
//
// Threads: one. Lifetime: shared by its owner, the bus, and whoever is calling it.

#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "PairBus.h"
#include "remote/RemoteRoute.h"
#include "remote/RemoteSession.h"

namespace applist {

class RemoteLink final : public RemoteRoute, public std::enable_shared_from_this<RemoteLink> {
public:
    enum class Kind { Owner, Connect, Count, Message, Notify, Notification };
    enum class Direction { ToService, ToPartner };

    RemoteLink(TesselDbusRemote& owner, const std::string& name);

    // For the owner.
    void Open();
    void Close();
    void SetStartsService(bool) {}
    void Post(std::vector<char> request, ReplyHandler onReply);
    std::vector<char> Send(std::vector<char> request);
    void SetTimeout(Time timeout) { m_session.SetTimeout(timeout); }
    void Notify(const std::vector<char>& body) { m_session.Notify(body); }
    void CallLater(Time delay, std::function<void()> callback);

    // For the session.
    Time Now() const override;
    bool IsOpen() const override { return !Service().empty(); }
    bool IsClogged() const override { return false; }
    bool IsReliable() const override { return false; }
    int SendCall(CallId call, const std::vector<char>& request) override;
    void Forget(CallId) override {}
    int SendUnanswered(const std::vector<char>& request) override;
    // The service here takes any number of calls.
    int SendAwaited(const std::vector<char>& request, Time) override {
        return SendUnanswered(request);
    }
    void Pause(Time) override {}
    int SendNotification(const std::vector<char>& body) override;
    int AskToConnect() override;
    int AskForCount() override;
    bool IsDispatching() const override { return m_isDispatching; }
    void CatchUp() override {}  // nothing is ever lost here
    bool Dispatch(Time deadline) override;

    // For the bus.
    const std::string& Name() const { return m_name; }
    const std::string& Service() const { return m_session.Service(); }
    bool IsClosed() const { return m_isClosed; }

    // What is on its way, in either direction.
    struct Parcel {
        Kind kind = Kind::Owner;
        std::uint64_t order = 0;
        std::uint64_t call = 0;  // or, for Count, the question
        std::uint64_t count = 0;
        bool toEveryone = false;
        std::string service;  // from or to; for Owner, who it is now
        std::vector<char> body;
        std::string error;  // a D-Bus error's name; empty for none
    };
    std::deque<Parcel> m_toService;
    std::deque<Parcel> m_toPartner;

    // Lets what is at `index` arrive.
    void ArriveAtService();
    void ArriveAtPartner(std::size_t index);
    void Tell(Parcel parcel);

    // When something is due; Time::max() when nothing is.
    Time Due() const { return m_session.Due(); }
    void OnTime();

    void LoseBus();
    void FindBus() { m_session.Unknown(); }
    void ConnectAgain();

private:
    int SendParcel(Kind kind, std::uint64_t call = 0, std::vector<char> body = {});
    void OnOwner(const std::string& service);
    void OnCount(const Parcel& parcel);
    void OnReply(Parcel parcel);

    const std::string m_name;
    RemoteSession m_session;
    bool m_isClosed = false;
    bool m_isDispatching = false;
    std::uint64_t m_question = 0;  // the last one for the count
};

}  // namespace applist
