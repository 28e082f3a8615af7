// A partner's session over sd-bus: the connection, who the service is there, and what is sent to it
// and comes from it.
//
// Threads: the main loop's. Lifetime: shared with whatever callback of its own is running; Close
// ends it for its owner.

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
    // Throws TransportError.
    RemoteLink(TesselDbusRemote& owner, const std::string& name);
    RemoteLink(const RemoteLink&) = delete;
    RemoteLink& operator=(const RemoteLink&) = delete;

    // Throws TransportError.
    void Open() { m_link.Open(); }

    // Calls the owner no more, and sends what waits, for remote_limits::kFlushTimeout at most.
    void Close();

    void SetStartsService(bool starts) { m_service.SetStarts(starts); }
    void Post(std::vector<char> request, ReplyHandler onReply);
    std::vector<char> Send(std::vector<char> request);
    void SetTimeout(Time timeout) { m_session.SetTimeout(timeout); }
    void Notify(const std::vector<char>& body) { m_session.Notify(body); }
    void CallLater(Time delay, std::function<void()> callback);

    std::shared_ptr<void> KeepAlive() { return shared_from_this(); }

    // For the session.
    Time Now() const override;
    bool IsOpen() const override;
    bool IsClogged() const override { return Queued() > 0; }
    int SendCall(CallId call, const std::vector<char>& request) override;
    void Forget(CallId call) override { m_calls.Forget(call); }
    int SendUnanswered(const std::vector<char>& request) override;
    int SendNotification(const std::vector<char>& body) override;
    int AskToConnect() override;
    int AskForCount() override;
    bool IsDispatching() const override;
    bool Dispatch(Time deadline) override;

private:
    // For each connection.
    void SetUp();
    void Lost();

    void OwnedBy(const std::string& service);
    void Appeared(const std::string& service);
    void Gone();

    void OnSubscribed(sd_bus_message* answer);
    void OnConnected(sd_bus_message* answer);
    void OnNotification(sd_bus_message* signal);
    void OnCount(sd_bus_message* answer);

    // The timer is set to what the session waits for whenever the loop is about to wait.
    void MakeTimer();
    static int OnPrepare(sd_event_source* source, void* userdata);
    static int OnTime(sd_event_source* source, std::uint64_t time, void* userdata);

    void AwaitBus(Time deadline);
    int NewCall(UniqueMessage& message, const char* interface, const char* member) const;
    std::uint64_t Queued() const;

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
