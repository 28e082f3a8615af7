// SPDX-License-Identifier: MIT

// The fixture of the partner's bus tests: a private bus, a service in a process of its own or on
// the test's own loop, and a partner's model on that loop.

#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "applist/LocalAppListModel.h"
#include "partner/CauseName.h"
#include "partner/EditableList.h"
#include "partner/QuietLog.h"
#include "partner/RemoteAppListModel.h"
#include "partner/Witness.h"
#include "partner/bus/SideProcess.h"
#include "support/PrivateBus.h"
#include "support/TestLoop.h"

using Strings = std::vector<std::string>;
using std::chrono::milliseconds;

// How long a service may be back until the partner shows its list, and how long when events were
// lost.
constexpr milliseconds kBack{2000};
constexpr milliseconds kAfterLoss{5000};

class PartnerBusTest : public ::testing::TestWithParam<BusVariety> {
protected:
    PartnerBusTest() : PartnerBusTest(std::string()) {}
    // With `policies`, on a bus of GetParam's program that has those.
    explicit PartnerBusTest(const std::string& policies);
    ~PartnerBusTest() override;

    // A service in another process, which may be waited for; one on this loop, which may not.
    void StartService() { m_service.emplace("service", m_bus->Address()); }
    void StartServiceHere() { m_here = std::make_unique<LocalAppListModel>(&m_list); }
    void EndServiceHere();

    void StartPartner() {
        m_model = std::make_unique<applist::RemoteAppListModel>();
        m_witness = std::make_unique<Witness>(*m_model);
    }
    void EndPartner() {
        m_witness.reset();
        m_model.reset();
    }

    // Runs the loop until the replica is `digest`; how long that took, or nothing by the deadline.
    std::optional<milliseconds> TimeUntilShown(const std::string& digest);
    ::testing::AssertionResult Shows(const std::string& digest, milliseconds limit);

    // The cause that Synchronize throws, in words; "" when it returns.
    std::string CauseOfSynchronize() { return ::CauseOfSynchronize(*m_model); }

    std::unique_ptr<PrivateBus> m_bus;
    EditableList m_list;
    std::optional<SideProcess> m_service;
    std::unique_ptr<LocalAppListModel> m_here;
    std::unique_ptr<applist::RemoteAppListModel> m_model;
    std::unique_ptr<Witness> m_witness;
};

// Both programs, with the limits of a system bus.
#define ON_BOTH_BUSES(fixture)                                                 \
    INSTANTIATE_TEST_SUITE_P(                                                  \
        OnBothBuses, fixture,                                                  \
        ::testing::Values(BusVariety{BusProgram::Daemon, BusLimits::BuiltIn},  \
                          BusVariety{BusProgram::Broker, BusLimits::BuiltIn}), \
        [](const auto& test) { return NameOf(test.param); })
