// SPDX-License-Identifier: MIT

// An integrator's own transport, as unlike the open one as the contract allows: all of it stands in
// the header, its handlers have bodies, and a program is its bus.
//
// Threads: one. Lifetime: Endpoint() is valid while the endpoint exists.

#pragma once

#include <string>
#include <utility>
#include <vector>

class TesselDbusLocal {
public:
    TesselDbusLocal(std::string endpointName) : m_endpointName(std::move(endpointName)) {
        Endpoint() = this;
    }
    virtual ~TesselDbusLocal() { Endpoint() = nullptr; }

    virtual std::vector<char> HandleMessage(std::vector<char>&) { return std::vector<char>(); }
    virtual void HandleNotification(std::vector<char>&) {}
    virtual void HandleConnectionReady(bool, const std::string&) {}

    void SendNotification(std::vector<char>& data) { SendNotification(data, "everyone"); }
    void SendNotification(std::vector<char>& data, const std::string& partner) {
        m_sent += std::to_string(static_cast<int>(data.at(0))) + " to " + partner + "; ";
    }

    const std::string& Name() const { return m_endpointName; }
    const std::string& Sent() const { return m_sent; }

    static TesselDbusLocal*& Endpoint() {
        static TesselDbusLocal* endpoint = nullptr;
        return endpoint;
    }

private:
    std::string m_endpointName;
    std::string m_sent;
};
