// SPDX-License-Identifier: MIT

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

#include "common/Export.h"
#include "remote/RemoteReply.h"

namespace applist {

class RemoteLink;

class APPLIST_EXPORT TesselDbusRemote {
public:
    using ReplyHandler = applist::ReplyHandler;

    // Connects to the selected bus (bus/BusSelection.h) and looks for the service of the endpoint
    // `endpointName`, which may appear later. Throws TransportError when there is no bus. When the
    // bus goes away later, the connection comes back by itself.
    explicit TesselDbusRemote(std::string endpointName);

    // Sends what still waits, and leaves the bus. Waits for a second at most; with more than 62
    // calls also for the service to execute those, as long as it answers each 63 within a second,
    // and for the timeout at most. With nothing to send and no call under way it does not wait.
    virtual ~TesselDbusRemote();

    // Never called: the service sends no messages. It is here to give both ends the same shape.
    virtual std::vector<char> HandleMessage(std::vector<char>& data) = 0;

    // One notification from the service, in a buffer that the callee may change.
    virtual void HandleNotification(std::vector<char>& data) = 0;

    // The service, whose name on the bus is `partner`, can be called (true) or has gone (false).
    // True comes again when notifications were lost, or when the service is back after a silence:
    // whoever keeps a copy of its state should then read it again.
    virtual void HandleConnectionReady(bool state, const std::string& partner) = 0;

    // Sends `data` as one message, after all that was posted before. `onReply` is called once with
    // the outcome, in the order of posting; errors that are known at once, such as TooMuch, are
    // told before this returns. Never waits.
    void PostMessage(std::vector<char> data, ReplyHandler onReply);

    // Like PostMessage, but waits for the reply and returns it. Everything that arrives before the
    // reply is handled meanwhile. Throws RemoteError.
    // REQUIRES: not called from inside an entry point or a reply handler; there it fails at once.
    std::vector<char> SendMessage(std::vector<char>& data);

    // Whether the bus is asked to start the service when nobody owns its name: once for each
    // connection to the bus, and without waiting. True unless this is called.
    void SetStartsService(bool starts);

    // How long a reply may take from now on, counted from when its call is sent until the loop has
    // read it. From 1 ms to a day; 5 s unless this is called.
    void SetTimeout(std::chrono::milliseconds timeout);

    // Sends `data` as one notification to the service, if it is there. Never waits; nothing comes
    // back, and while the bus reads nothing the notification is dropped. `partner` is ignored,
    // since there is nobody to notify but the service.
    void SendNotification(std::vector<char>& data);
    void SendNotification(std::vector<char>& data, const std::string& partner);

    // The clock that CallLater goes by. Only differences mean anything.
    std::chrono::microseconds Now() const;

    // Calls `callback` from the loop after `delay`, up to a millisecond late. There is one at a
    // time: a second call replaces the first.
    void CallLater(std::chrono::microseconds delay, std::function<void()> callback);

    TesselDbusRemote(const TesselDbusRemote&) = delete;
    TesselDbusRemote& operator=(const TesselDbusRemote&) = delete;

private:
    std::shared_ptr<RemoteLink> m_link;
};

}  // namespace applist
