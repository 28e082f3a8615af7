// The calls of a partner: sent in order, answered in order, a bounded number of them under way.
//
// Threads: the main loop's. Lifetime: goes before the bus connection. A
// reply handler may destroy the owner of this object, which therefore keeps itself alive around
// Post, Start and Stop.

#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bus/SdBus.h"
#include "remote/TesselDbusRemote.h"

namespace applist {

class RemoteCalls {
public:
    using ReplyHandler = TesselDbusRemote::ReplyHandler;

    // `keepAlive` returns something that keeps the owner while a reply is delivered; `onSilence` is
    // called when a call was not answered in time.
    RemoteCalls(const std::string& endpoint, std::function<std::shared_ptr<void>()> keepAlive,
                std::function<void()> onSilence);
    ~RemoteCalls();
    RemoteCalls(const RemoteCalls&) = delete;
    RemoteCalls& operator=(const RemoteCalls&) = delete;

    void SetTimeout(std::chrono::microseconds timeout) { m_timeout = timeout; }
    // From which size on bodies travel in descriptors.
    void SetFdBytes(std::size_t bytes) { m_fdBytes = bytes; }

    // Whether another call may wait. One is always let in.
    bool HasRoomFor(std::size_t bytes) const;

    // Puts a call at the end. It is sent when it may; with nobody to send it to, ever, or no room,
    // `onReply` is called at once.
    void Post(std::vector<char> request, ReplyHandler onReply);

    // It is not known (yet) who the service is: calls wait.
    void Expect();
    // The service is `service`, a unique name on `bus`: calls are sent to it.
    void Start(sd_bus* bus, const std::string& service);
    // There is no service: what is under way has an unknown outcome, what waits is not sent, and
    // all of it is delivered now. `where` says on which bus, for the error's text.
    void Stop(const std::string& where);

    // Drops all handlers; what was posted is still sent as long as the bus is dispatched.
    void Close() { m_closed = true; }
    // Hands all that waits to the bus, as calls that nobody wants to hear of: those do not count
    // among a connection's open ones. REQUIRES: closed.
    void SendUnanswered();

    // Whether calls can be sent now.
    bool HasService() const { return !m_service.empty(); }

    // True inside a reply's handler: no other is delivered meanwhile.
    bool Delivering() const { return m_isDelivering; }

    // What to say of a call that was not answered in time.
    RemoteError NoAnswer() const;

    // True while a posted call has not been handed to the bus.
    bool Waiting() const { return m_sent < m_calls.size(); }

private:
    struct Call;

    static int OnReply(sd_bus_message* reply, void* userdata, sd_bus_error* error);

    bool MaySend() const;
    void SendWaiting();
    int Transmit(Call& call);
    int MakeMessage(Call& call, UniqueMessage& message) const;
    bool WantsFd(const std::vector<char>& request) const;
    void Receive(Call& call, sd_bus_message* reply);
    bool AskAgainInFd(Call& call, const sd_bus_error& error);
    RemoteError ErrorFrom(const Call& call, const sd_bus_error& error) const;
    int ReadBody(Call& call, sd_bus_message* reply);
    void Remember(const Call& call);
    void Deliver();
    RemoteError ErrorOf(RemoteError::Cause cause, const std::string& text) const;
    RemoteError NoService() const;
    RemoteError OutcomeUnknown() const;
    RemoteError NotSent(int result) const;

    const std::string m_endpoint;
    const std::function<std::shared_ptr<void>()> m_keepAlive;
    const std::function<void()> m_onSilence;
    std::chrono::microseconds m_timeout;
    std::size_t m_fdBytes;

    sd_bus* m_bus = nullptr;
    std::string m_service;  // empty: unknown, or there is none
    std::string m_where;    // not empty: there is no service here
    bool m_closed = false;
    bool m_isDelivering = false;

    // In order of posting; the first m_sent of them have been sent.
    std::deque<std::unique_ptr<Call>> m_calls;
    std::size_t m_sent = 0;
    std::size_t m_waitingBytes = 0;
    // The last request whose reply was large.
    std::vector<char> m_largeRequest;
};

}  // namespace applist
