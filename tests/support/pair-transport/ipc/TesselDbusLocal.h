// SPDX-License-Identifier: MIT

// The service's transport in memory: messages and notifications go to partners in this process,
// over the bus of PairBus.h.
//
// Threads: one. Lifetime: one at a time; its entry points are called by that bus's steps alone.

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

    TesselDbusLocal(const TesselDbusLocal&) = delete;
    TesselDbusLocal& operator=(const TesselDbusLocal&) = delete;
};
