// A partner's session over sd-bus: the connection, who the service on it is, and what goes to the
// service and comes from it.
//
// Lifetime: a running callback shares it with its owner, so that the owner may be destroyed from
// inside one. After Close the owner is not called any more.

#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bus/BusLink.h"
#include "bus/SdBus.h"
#include "remote/BusCalls.h"
#include "remote/RemoteRoute.h"
#include "remote/RemoteSession.h"
#include "remote/ServiceOwner.h"
#include "remote/TesselDbusRemote.h"

namespace applist {

class RemoteLink final : public RemoteRoute, public std::enable_shared_from_this<RemoteLink> {
public:
    // For the endpoint `name`. Throws TransportError.
    RemoteLink(TesselDbusRemote& owner, const std::string& name);
    RemoteLink(const RemoteLink&) = delete;
    RemoteLink& operator=(const RemoteLink&) = delete;

    // Connects to the selected bus. Throws TransportError.
    void Open() { m_link.Open(); }

    // Stops calling the owner and sends what waits, for remote_limits::kFlushTimeout at most.
    void Close();

    // As in TesselDbusRemote.h.
    void SetStartsService(bool starts) { m_service.SetStarts(starts); }
    void Post(std::vector<char> request, ReplyHandler onReply);
    std::vector<char> Send(std::vector<char> request);
    void SetTimeout(Time timeout) { m_session.SetTimeout(timeout); }
    void Notify(const std::vector<char>& body) { m_session.Notify(body); }
    void CallLater(Time delay, std::function<void()> callback);

    // For the callbacks of the bus. One that was not carried through, for want of memory as a rule,
    // leaves a state that nothing leads out of but another connection.
    std::shared_ptr<void> KeepAlive() { return shared_from_this(); }
    void Failed() { m_link.GiveUp(); }

    // For the session, as in RemoteRoute.h.
    Time Now() const override;
    bool IsOpen() const override;
    bool IsClogged() const override { return Queued() > 0; }
    bool IsReliable() const override { return false; }  // a bus drops what nobody reads
    int SendCall(CallId call, const std::vector<char>& request) override;
    void Forget(CallId call) override { m_calls.Forget(call); }
    int SendUnanswered(const std::vector<char>& request) override;
    int SendAwaited(const std::vector<char>& request, Time deadline) override;
    void Pause(Time until) override;
    int SendNotification(const std::vector<char>& body) override;
    int AskToConnect() override;
    int AskForCount() override;
    bool IsDispatching() const override;
    void CatchUp() override { m_link.CatchUp(); }
    bool Dispatch(Time deadline) override;

private:
    // Called for each connection, at its beginning and its end.
    void SetUp();
    void Lost();

    // The service has changed, appeared, or gone.
    void OwnedBy(const std::string& service);
    void Appeared(const std::string& service);
    void Gone();

    // What the bus and the service send.
    void OnSubscribed(sd_bus_message* answer);
    void OnConnected(sd_bus_message* answer);
    void OnNotification(sd_bus_message* signal);
    void OnCount(sd_bus_message* answer);
    bool IsFromService(sd_bus_message* answer) const;

    // Whenever the loop is about to wait, the timer is set to what the session waits for.
    void MakeTimer();
    static int OnPrepare(sd_event_source* source, void* userdata);
    static int OnTime(sd_event_source* source, std::uint64_t time, void* userdata);

    // Waits until the bus has read everything that was sent.
    void AwaitBus(Time deadline);
    int AskBus(Time timeout);
    int NewCall(UniqueMessage& message, const char* interface, const char* member) const;
    // How many messages the bus has not taken yet.
    std::uint64_t Queued() const;

    // First, so that it is destroyed last: what follows has slots and calls on its connection.
    BusLink m_link;
    RemoteSession m_session;
    ServiceOwner m_service;
    BusCalls m_calls;
    UniqueSlot m_signalMatch;
    UniqueSlot m_connectAnswer;
    UniqueSlot m_countAnswer;
    UniqueSource m_timer;
};

}  // namespace applist
