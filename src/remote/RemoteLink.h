// SPDX-License-Identifier: MIT

// A partner's session over sd-bus: the connection to the bus, who the service on it is, and which
// way leads to the service.
//
// That is the bus at first. When the service gives a direct channel, everything goes over that as
// soon as nothing is under way over the bus. When it ends while the service stays, everything goes
// over the bus again, until the service changes.
//
// Lifetime: a running callback shares it with its owner, so that the owner may be destroyed from
// inside one. After Close the owner is not called any more.

#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bus/BusLink.h"
#include "bus/SdBus.h"
#include "remote/Carrier.h"
#include "remote/RemoteRoute.h"
#include "remote/RemoteSession.h"
#include "remote/ServiceChannel.h"
#include "remote/ServiceOwner.h"
#include "remote/TesselDbusRemote.h"

namespace applist {

class RemoteLink final : public RemoteRoute,
                         public Carrier::User,
                         public ServiceChannel::User,
                         public std::enable_shared_from_this<RemoteLink> {
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

    // For the carrier and the channel.
    std::shared_ptr<void> KeepAlive() override { return shared_from_this(); }
    void OnAnswer(CallId call, std::optional<RemoteReply> reply) override;
    void OnLeft() override { m_service.Ask(); }
    void OnCounted() override;
    void OnSeam(bool isAnswered) override;
    void OnStuck() override;
    void OnChannelConfirmed(const std::optional<std::string>& noPlace) override;
    void OnChannelEnded() override;

    // For the session, as in RemoteRoute.h.
    Time Now() const override;
    bool IsOpen() const override;
    bool IsClogged() const override { return m_carrier.IsClogged(); }
    // A bus drops what nobody reads.
    bool IsReliable() const override { return m_carrier.GetWay().IsDirect(); }
    int SendCall(CallId call, const std::vector<char>& request) override;
    void Forget(CallId call) override;
    int SendUnanswered(const std::vector<char>& request) override;
    int SendAwaited(const std::vector<char>& request, Time deadline) override;
    void Pause(Time until) override;
    int SendNotification(const std::vector<char>& body) override;
    int AskToConnect() override;
    int AskForCount() override { return m_carrier.AskForCount(); }
    bool IsDispatching() const override;
    void CatchUp() override;
    bool Dispatch(Time deadline) override;

private:
    // Called for each connection, at its beginning and its end.
    void SetUp();
    void Lost();

    // The service has changed, appeared, or gone.
    void OwnedBy(const std::string& service);
    void Appeared(const std::string& service);
    void Gone();

    // Asks for one once the first answer is there, which it must not delay; or is late.
    void AskForChannel();
    // Takes the channel once it is confirmed and nothing is under way over the bus.
    void Switch();
    void AskForSeam();
    void TakeChannel();
    void UseBusAgain();

    // Waits until something can be done for a connection, `until` at most.
    bool Wait(Time until) const;

    // Whenever the loop is about to wait, the timer is set to what the session waits for.
    void MakeTimer();
    static int OnPrepare(sd_event_source* source, void* userdata);
    static int OnTime(sd_event_source* source, std::uint64_t time, void* userdata);

    // First, so that it is destroyed last: what follows has slots and calls on its connection.
    BusLink m_link;
    RemoteSession m_session;
    ServiceOwner m_service;
    ServiceChannel m_channel;
    Carrier m_carrier;
    // When to ask for a channel at the latest, in place of asking to connect; Time::max() when that
    // has been done, or is not wanted. Once for each service.
    Time m_channelAt = Time::max();
    bool m_asksForSeam = false;  // see EventSeam.h
    bool m_lacksAnswer = false;  // to something over the bus, and none will be waited for
    bool m_isClosing = false;
    UniqueSource m_timer;
};

}  // namespace applist
