#include "support/EndpointTest.h"

#include <iostream>
#include <stdexcept>

#include "bus/BusSelection.h"
#include "support/CapturedLog.h"

using applist::BusKind;
using applist::SelectBus;
using applist::SelectBusAddress;

std::string NameOfBus(const ::testing::TestParamInfo<BusVariety>& info) {
    return NameOf(info.param);
}

EndpointTest::EndpointTest() : m_bus(GetParam()) {
    ForgetLog();
    SelectBusAddress(m_bus.Address());
    try {
        NewEndpoint();
    } catch (const std::exception& error) {
        throw std::runtime_error(std::string(error.what()) + "\n" + m_bus.Output());
    }
}

std::unique_ptr<BusClient> EndpointTest::NewClient() {
    auto client = std::make_unique<BusClient>(m_bus.Address());
    if (!GetParam().withChannels) return client;
    EXPECT_TRUE(client->WaitForOwner(kApplistName)) << WholeLog();
    EXPECT_EQ("", client->TakeChannel().text);
    EXPECT_EQ("", client->Connect().text);
    client->m_arrivals.clear();
    m_endpoint->m_events.clear();
    return client;
}

EndpointTest::~EndpointTest() {
    EndEndpoint();
    SelectBus(BusKind::Automatic);
    if (!HasFailure()) return;
    std::cerr << "---- the endpoint's log\n"
              << WholeLog() << "---- the bus's output\n"
              << m_bus.Output();
}
