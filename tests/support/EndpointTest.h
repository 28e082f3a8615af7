// SPDX-License-Identifier: MIT

// The fixture of the transport's bus tests: a private bus of each variety, and the endpoint
// "Applist" on it. The bus is the first to come and the last to go.

#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/BusClient.h"
#include "support/EveryBus.h"
#include "support/RecordingEndpoint.h"
#include "support/TestLoop.h"

constexpr char kApplistName[] = "org.tessel.Local.Applist";
constexpr char kApplistPath[] = "/org/tessel/Local/Applist";
constexpr char kApplistInterface[] = "org.tessel.Local1";

constexpr char kHandlerFailed[] = "org.tessel.Local1.Error.HandlerFailed";
constexpr char kTooLarge[] = "org.tessel.Local1.Error.TooLarge";
constexpr char kBadFd[] = "org.tessel.Local1.Error.BadFd";
constexpr char kLimitsExceeded[] = "org.freedesktop.DBus.Error.LimitsExceeded";

using Strings = std::vector<std::string>;

class EndpointTest : public ::testing::TestWithParam<BusVariety> {
protected:
    EndpointTest();
    ~EndpointTest() override;

    // Returns a new client of the bus. With channels it has one, which it has confirmed by Connect;
    // both have forgotten that.
    std::unique_ptr<BusClient> NewClient();

    // The same, but that with channels its first call over it is still to come.
    std::unique_ptr<BusClient> NewStranger();

    // Gives every socket of the process a send buffer of so many bytes, as far as the kernel lets
    // it: that knows how small a buffer may be.
    static void SetSendBuffers(int bytes);
    static constexpr int kSmallestBuffer = 1;

    // Destroys the endpoint, builds it again.
    void EndEndpoint() { m_endpoint.reset(); }
    void NewEndpoint() { m_endpoint = std::make_unique<RecordingEndpoint>(); }

    PrivateBus m_bus;
    std::unique_ptr<RecordingEndpoint> m_endpoint;
};

// The same, and once more with clients that call over channels.
#define ON_EVERY_BUS_AND_OVER_CHANNELS(fixture)                                                  \
    ON_EVERY_BUS(fixture);                                                                       \
    INSTANTIATE_TEST_SUITE_P(OverChannels, fixture, ::testing::ValuesIn(EveryBusWithChannels()), \
                             NameOfBus)
