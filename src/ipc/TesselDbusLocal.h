// SPDX-License-Identifier: MIT

// The transport: a named endpoint on D-Bus that trades byte buffers with partner processes.
//
// This is the open transport's declaration; src/platform implements it on sd-bus. An integrator
// with a transport of their own puts a folder with another "ipc/TesselDbusLocal.h" ahead of this
// one on the include path; the service asks no more of it than what is public or virtual here.
//
// Threads: one. The endpoint attaches to the calling thread's default sd-event loop, and everything
// happens on that thread: construction, destruction, both sends, the three entry points.
// Lifetime: the entry points are called one at a time, from the end of construction to the start of
// destruction, and only from that loop. The object is not destroyed from inside one of them.

#pragma once

#include <memory>
#include <string>
#include <vector>

#include "common/Export.h"

namespace applist {
class Endpoint;
}

class APPLIST_EXPORT TesselDbusLocal {
public:
    // Creates the endpoint `endpointName` on the chosen bus (bus/BusSelection.h): exports the
    // object /org/tessel/Local/NAME, then owns org.tessel.Local.NAME. Throws TransportError, whose
    // text names the bus, the cause and what to do, and leaves nothing behind. When the bus goes
    // away later, the endpoint comes back by itself.
    explicit TesselDbusLocal(std::string endpointName);

    // Sends what is still queued, for at most a second, and closes the endpoint.
    virtual ~TesselDbusLocal();

    // One message from a partner, in a buffer that the callee may change. Returns the reply; an
    // empty one is valid. Whatever one of these three functions throws is logged, and the call that
    // led to it is answered with an error.
    virtual std::vector<char> HandleMessage(std::vector<char>& data) = 0;

    // One notification from a partner, in a buffer that the callee may change.
    virtual void HandleNotification(std::vector<char>& data) = 0;

    // The connection to `partner`, a unique bus name, has become usable (true) or has gone (false).
    virtual void HandleConnectionReady(bool state, const std::string& partner) = 0;

    // Sends `data`, unchanged, as one notification: to everyone who listens, or to `partner` alone.
    // Never blocks. While the bus does not drain, notifications wait in order; a repetition of the
    // newest waiting one is merged with it, and past a bound the oldest is dropped.
    void SendNotification(std::vector<char>& data);
    void SendNotification(std::vector<char>& data, const std::string& partner);

    TesselDbusLocal(const TesselDbusLocal&) = delete;
    TesselDbusLocal& operator=(const TesselDbusLocal&) = delete;

private:
    std::unique_ptr<applist::Endpoint> m_endpoint;
};
