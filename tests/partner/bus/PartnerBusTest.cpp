// SPDX-License-Identifier: MIT

#include "partner/bus/PartnerBusTest.h"

#include <iostream>

#include "bus/BusSelection.h"

using applist::BusKind;
using applist::SelectBus;
using applist::SelectBusAddress;

PartnerBusTest::PartnerBusTest(const std::string& policies)
    : m_bus(policies.empty() ? std::make_unique<PrivateBus>(GetParam())
                             : std::make_unique<PrivateBus>(GetParam().program, policies)) {
    ForgetLog();
    SelectBusAddress(m_bus->Address());
}

PartnerBusTest::~PartnerBusTest() {
    EndPartner();
    EndServiceHere();
    m_service.reset();
    SelectBus(BusKind::Automatic);
    if (!HasFailure()) return;
    std::cerr << "---- the errors logged\n"
              << WholeLog() << "---- the bus's output\n"
              << m_bus->Output();
}

void PartnerBusTest::EndServiceHere() {
    m_list.ForgetPartnersItems();
    m_here.reset();
}

std::optional<milliseconds> PartnerBusTest::TimeUntilShown(const std::string& digest) {
    const auto start = std::chrono::steady_clock::now();
    if (!RunUntil([&] { return DigestOf(*m_model) == digest; })) return std::nullopt;
    return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
}

::testing::AssertionResult PartnerBusTest::Shows(const std::string& digest, milliseconds limit) {
    const std::optional<milliseconds> time = TimeUntilShown(digest);
    if (!time) {
        return ::testing::AssertionFailure()
               << "never shows " << digest << ", but " << DigestOf(*m_model);
    }
    if (*time <= limit) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << "shows " << digest << " after " << time->count() << " ms";
}
