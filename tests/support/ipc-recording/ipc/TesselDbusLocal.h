// SPDX-License-Identifier: MIT

// The tests' transport: meets the transport's contract, has no bus, and enters what the service
// asks of it into the journal. A test plays the partner through the three entry points of Newest().
//
// It takes the place of src/ipc/TesselDbusLocal.h by standing ahead of it on the include path, the
// way any integrator's transport does.
//
// Threads: one. Lifetime: Newest() is valid while the endpoint that was built last exists.

#pragma once

#include <string>
#include <vector>

class TesselDbusLocal {
public:
    explicit TesselDbusLocal(std::string endpointName);
    virtual ~TesselDbusLocal();

    virtual std::vector<char> HandleMessage(std::vector<char>& data) = 0;
    virtual void HandleNotification(std::vector<char>& data) = 0;
    virtual void HandleConnectionReady(bool state, const std::string& partner) = 0;

    // Each enters the bytes and, for the second, the destination; then it spoils the buffer, which
    // nobody may rely on any more.
    void SendNotification(std::vector<char>& data);
    void SendNotification(std::vector<char>& data, const std::string& partner);

    // Both throw instead, as a transport may that is not the open one.
    bool m_refusesToSend = false;

    // The endpoint that was built last; null when it is gone.
    static TesselDbusLocal* Newest();

    TesselDbusLocal(const TesselDbusLocal&) = delete;
    TesselDbusLocal& operator=(const TesselDbusLocal&) = delete;

private:
    std::string m_endpointName;
};
