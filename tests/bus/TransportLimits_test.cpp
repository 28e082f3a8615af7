// SPDX-License-Identifier: MIT

#include "bus/TransportLimits.h"

#include <gtest/gtest.h>

#include <stdexcept>

using applist::CurrentTransportLimits;
using applist::SetTransportLimits;
using applist::TransportLimits;

namespace {

class TheTransportLimits : public ::testing::Test {
protected:
    ~TheTransportLimits() override { SetTransportLimits(TransportLimits()); }

    // What setting `limits` says; empty when they are taken.
    static std::string Refusal(const TransportLimits& limits) {
        try {
            SetTransportLimits(limits);
            return std::string();
        } catch (const std::invalid_argument& error) {
            return error.what();
        }
    }

    TransportLimits m_limits;
};

}  // namespace

TEST_F(TheTransportLimits, AreGenerousUntilTheyAreSet) {
    EXPECT_EQ(std::size_t{1} << 30, CurrentTransportLimits().fdBytes);
    EXPECT_EQ(256u, CurrentTransportLimits().partners);
    EXPECT_EQ(std::size_t{1} << 20, CurrentTransportLimits().heldBytes);
    EXPECT_EQ(64u, CurrentTransportLimits().heldSenders);
    EXPECT_EQ(std::size_t{16} << 20, CurrentTransportLimits().requestBytes);
    EXPECT_EQ(std::size_t{64} << 20, CurrentTransportLimits().fdRequestBytes);
    EXPECT_EQ(64u, CurrentTransportLimits().channels);
}

TEST_F(TheTransportLimits, AreWhatWasSetLast) {
    SetTransportLimits({1, 2, std::size_t{3} << 20, 4, 5, 6, 7});

    EXPECT_EQ(1u, CurrentTransportLimits().fdBytes);
    EXPECT_EQ(2u, CurrentTransportLimits().partners);
    EXPECT_EQ(std::size_t{3} << 20, CurrentTransportLimits().heldBytes);
    EXPECT_EQ(4u, CurrentTransportLimits().heldSenders);
    EXPECT_EQ(5u, CurrentTransportLimits().requestBytes);
    EXPECT_EQ(6u, CurrentTransportLimits().fdRequestBytes);
    EXPECT_EQ(7u, CurrentTransportLimits().channels);
}

TEST_F(TheTransportLimits, MayAllowNoChannelsAndNoMoreThanAUserHasDescriptorsFor) {
    m_limits.channels = 0;
    EXPECT_EQ("", Refusal(m_limits));
    m_limits.channels = 64;
    EXPECT_EQ("", Refusal(m_limits));
    m_limits.channels = 65;
    EXPECT_NE("", Refusal(m_limits));
}

TEST_F(TheTransportLimits, MayNotBeNothing) {
    m_limits.fdBytes = 0;
    EXPECT_NE("", Refusal(m_limits));
    m_limits = TransportLimits();
    m_limits.partners = 0;
    EXPECT_NE("", Refusal(m_limits));
    m_limits = TransportLimits();
    m_limits.heldSenders = 0;
    EXPECT_NE("", Refusal(m_limits));
    m_limits = TransportLimits();
    m_limits.requestBytes = 0;
    EXPECT_NE("", Refusal(m_limits));
    m_limits = TransportLimits();
    m_limits.fdRequestBytes = 0;
    EXPECT_NE("", Refusal(m_limits));
}

TEST_F(TheTransportLimits, LeaveTheBusSomeOfTheMatchesOfAConnection) {
    m_limits.partners = 500;
    EXPECT_EQ("", Refusal(m_limits));
    m_limits.partners = 501;

    EXPECT_EQ("TransportLimits::partners is 501; set it to a value between 1 and 500",
              Refusal(m_limits));
}

TEST_F(TheTransportLimits, LeaveAPartnerWhatItKeepsUnderWay) {
    m_limits.heldBytes = std::size_t{1} << 20;
    EXPECT_EQ("", Refusal(m_limits));
    --m_limits.heldBytes;

    EXPECT_NE("", Refusal(m_limits));
}

TEST_F(TheTransportLimits, AreNoMoreThanABufferHolds) {
    m_limits.fdBytes = PTRDIFF_MAX;
    EXPECT_EQ("", Refusal(m_limits));
    ++m_limits.fdBytes;

    EXPECT_NE("", Refusal(m_limits));
}

TEST_F(TheTransportLimits, AreCheckedWithoutBeingSet) {
    m_limits.partners = 7;
    applist::CheckTransportLimits(m_limits);
    m_limits.heldSenders = 501;
    EXPECT_THROW(applist::CheckTransportLimits(m_limits), std::invalid_argument);

    EXPECT_EQ(256u, CurrentTransportLimits().partners);
}

TEST_F(TheTransportLimits, StayAsTheyAreWhenOneMakesNoSense) {
    SetTransportLimits({10, 20, std::size_t{30} << 20, 40, 50, 60, 61});

    EXPECT_NE("", Refusal({11, 21, std::size_t{31} << 20, 41, 51, 0, 62}));

    EXPECT_EQ(10u, CurrentTransportLimits().fdBytes);
    EXPECT_EQ(20u, CurrentTransportLimits().partners);
}
