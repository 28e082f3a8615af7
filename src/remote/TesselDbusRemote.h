// The partner's end of an endpoint: finds the service on the bus, follows it through restarts of
// either side, and trades the same byte buffers with it as ipc/TesselDbusLocal.h.
//
// Threads: one. It attaches to the calling thread's default sd-event loop, and everything happens
// on that thread.
// Lifetime: the entry points and reply handlers are called from the loop, or from inside
// SendMessage, and never after destruction has begun. The object may be destroyed from inside any
// of them.

#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "remote/RemoteReply.h"

namespace applist {

class RemoteLink;

class TesselDbusRemote {
public:
    using ReplyHandler = applist::ReplyHandler;

    // Comes up on the selected bus (bus/BusSelection.h) and looks for the service of the
    // endpoint `endpointName`, which may come later. Throws TransportError when there is no bus;
    // when the bus goes away later, the connection comes back by itself.
    explicit TesselDbusRemote(std::string endpointName);

    // Sends what still waits, for at most a second, and leaves the bus. With nothing to send, and
    // no call under way, it waits for nothing and says nothing.
    virtual ~TesselDbusRemote();

    // The service sends no messages today; the entry point keeps both ends of one shape.
    virtual std::vector<char> HandleMessage(std::vector<char>& data) = 0;

    // One notification from the service, in a buffer that the callee may change.
    virtual void HandleNotification(std::vector<char>& data) = 0;

    // The service, `partner` on the bus, can be called (true) or has gone (false). True comes again
    // for a service that is there whenever notifications were lost, or it is back after a silence:
    // whoever keeps a copy of its state reads it anew.
    virtual void HandleConnectionReady(bool state, const std::string& partner) = 0;

    // Sends `data` as one message, after all that was posted before, and calls `onReply` once, with
    // the outcome, in the order of posting. Never waits. Errors that are known at once, TooMuch
    // among them, are told from inside this call.
    void PostMessage(std::vector<char> data, ReplyHandler onReply);

    // Like PostMessage, and waits for the reply; everything that arrives before it is dispatched
    // meanwhile. Throws RemoteError. REQUIRES: not called from inside an entry point or a reply
    // handler; then it fails at once.
    std::vector<char> SendMessage(std::vector<char>& data);

    // Whether the bus is asked to start the service when nobody owns its name: once for each
    // connection to the bus, and without waiting. True without a call.
    void SetStartsService(bool starts);

    // How long a reply may take from now on, until the loop has read it: from 1 ms to a day, 5 s
    // without a call.
    void SetTimeout(std::chrono::milliseconds timeout);

    // Sends `data` as one notification to the service, if it is there. Never waits; nothing comes
    // back, and it is dropped while the bus takes nothing. The service is the only one there is to
    // notify, so `partner` is not looked at.
    void SendNotification(std::vector<char>& data);
    void SendNotification(std::vector<char>& data, const std::string& partner);

    // The clock that CallLater goes by. Only differences mean anything.
    std::chrono::microseconds Now() const;

    // Calls `callback` from the loop after `delay`, or a millisecond later. One at a time: a second
    // one replaces the first.
    void CallLater(std::chrono::microseconds delay, std::function<void()> callback);

    TesselDbusRemote(const TesselDbusRemote&) = delete;
    TesselDbusRemote& operator=(const TesselDbusRemote&) = delete;

private:
    std::shared_ptr<RemoteLink> m_link;
};

}  // namespace applist
