// SPDX-License-Identifier: MIT

#include "support/EndpointTest.h"

#include <sys/socket.h>

#include <algorithm>
#include <iostream>
#include <stdexcept>

#include "bus/BusSelection.h"
#include "support/CapturedLog.h"

using applist::BusKind;
using applist::SelectBus;
using applist::SelectBusAddress;

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
    auto client = NewStranger();
    if (!GetParam().withChannels) return client;
    EXPECT_EQ("", client->Connect().text);
    client->m_arrivals.clear();
    Strings& events = m_endpoint->m_events;
    const auto report = std::find(events.begin(), events.end(), "ready " + client->Name());
    if (report != events.end()) events.erase(report);
    return client;
}

std::unique_ptr<BusClient> EndpointTest::NewStranger() {
    auto client = std::make_unique<BusClient>(m_bus.Address());
    if (!GetParam().withChannels) return client;
    EXPECT_TRUE(client->WaitForOwner(kApplistName)) << WholeLog();
    EXPECT_EQ("", client->TakeChannel().text);
    EXPECT_TRUE(RunUntil([&] { return sd_bus_is_ready(client->Channel()) > 0; }));
    client->m_arrivals.clear();
    return client;
}

void EndpointTest::SetSendBuffers(int bytes) {
    for (int fd = 3; fd < 1024; ++fd) setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &bytes, sizeof(bytes));
}

EndpointTest::~EndpointTest() {
    EndEndpoint();
    SelectBus(BusKind::Automatic);
    if (!HasFailure()) return;
    std::cerr << "---- the endpoint's log\n"
              << WholeLog() << "---- the bus's output\n"
              << m_bus.Output();
}
