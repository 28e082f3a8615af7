// SPDX-License-Identifier: MIT

// The benchmarks' transport: meets the transport's contract and carries nothing anywhere. The
// benchmark plays the partner by calling HandleMessage of Newest().
//
// It takes the place of src/ipc/TesselDbusLocal.h by standing ahead of it on the include path.
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

    void SendNotification(std::vector<char>& data);
    void SendNotification(std::vector<char>& data, const std::string& partner);

    static TesselDbusLocal* Newest();

    TesselDbusLocal(const TesselDbusLocal&) = delete;
    TesselDbusLocal& operator=(const TesselDbusLocal&) = delete;
};
