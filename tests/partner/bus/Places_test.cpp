// SPDX-License-Identifier: MIT

// A service that has no place left for a partner, and has one later.

#include "bus/TransportLimits.h"
#include "partner/bus/BareRemote.h"
#include "partner/bus/PartnerBusTest.h"
#include "support/BusClient.h"
#include "support/RecordingEndpoint.h"

using applist::SetTransportLimits;
using applist::TransportLimits;

class AServiceWithOnePlace : public PartnerBusTest {
protected:
    AServiceWithOnePlace() {
        TransportLimits limits;
        limits.partners = 1;
        SetTransportLimits(limits);
        m_endpoint = std::make_unique<RecordingEndpoint>();
    }
    ~AServiceWithOnePlace() override { SetTransportLimits(TransportLimits()); }

    // The names of those who have connected, in order.
    Strings Connected() const {
        Strings names;
        for (const std::string& event : m_endpoint->m_events) {
            if (event.compare(0, 6, "ready ") == 0) names.push_back(event.substr(6));
        }
        return names;
    }

    std::unique_ptr<RecordingEndpoint> m_endpoint;
};

ON_BOTH_BUSES(AServiceWithOnePlace);

TEST_P(AServiceWithOnePlace, GivesItToAPartnerThatWasRefusedOnceItIsFree) {
    auto first = std::make_unique<BusClient>(m_bus->Address());
    first->Connect();
    BareRemote second;
    ASSERT_TRUE(RunUntil([&] { return second.m_isReady; })) << "it follows the service anyway";
    ASSERT_TRUE(RunUntil([&] { return ErrorsLogged("too many partners") == 1; })) << WholeLog();

    first.reset();

    EXPECT_TRUE(RunUntil([&] { return Connected().size() == 2; }));
    EXPECT_EQ(1, second.m_readies) << "nothing was lost meanwhile";
}
