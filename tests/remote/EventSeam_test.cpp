// SPDX-License-Identifier: MIT

#include "remote/EventSeam.h"

#include <gtest/gtest.h>

#include <string>

#include "bus/TransportLimits.h"

using applist::EventSeam;

namespace {

class AnEventSeam : public ::testing::Test {
protected:
    bool Hear(const std::string& body, bool toEveryone = true) {
        EventSeam::Event event{{body.begin(), body.end()}, toEveryone};
        return m_seam.Hold(event);
    }

    std::string End(std::optional<std::uint64_t> count) {
        std::string told;
        for (const EventSeam::Event& event : m_seam.End(count)) {
            told += std::string(event.body.begin(), event.body.end()) + " ";
        }
        return told;
    }

    EventSeam m_seam;
};

}  // namespace

TEST_F(AnEventSeam, HoldsNothingBeforeItBegins) {
    EXPECT_FALSE(Hear("a"));
    EXPECT_EQ("", End(1));
}

TEST_F(AnEventSeam, TellsWhatCameOverTheChannelAlone) {
    m_seam.Begin(7);
    EXPECT_TRUE(Hear("a"));
    EXPECT_TRUE(Hear("b"));

    EXPECT_EQ("a b ", End(9));
    EXPECT_FALSE(Hear("c")) << "from here on they are told at once";
}

TEST_F(AnEventSeam, LeavesOutWhatWasToldOverTheBus) {
    m_seam.Begin(8);
    Hear("eighth");
    Hear("ninth");

    EXPECT_EQ("ninth ", End(9));
}

TEST_F(AnEventSeam, LeavesOutEverythingWhenTheBusWasAhead) {
    m_seam.Begin(9);
    Hear("eighth");
    Hear("ninth");

    EXPECT_EQ("", End(9));
}

TEST_F(AnEventSeam, TellsWhatWasForThisPartnerAloneInItsPlace) {
    m_seam.Begin(8);
    Hear("mine", false);
    Hear("eighth");
    Hear("mine too", false);
    Hear("ninth");

    EXPECT_EQ("mine mine too ninth ", End(9));
}

TEST_F(AnEventSeam, TellsEverythingWhenACountIsNotKnown) {
    m_seam.Begin(std::nullopt);
    Hear("a");
    EXPECT_EQ("a ", End(9));

    m_seam.Begin(9);
    Hear("b");
    EXPECT_EQ("b ", End(std::nullopt));
}

TEST_F(AnEventSeam, LeavesNothingOutForACountThatIsTooLow) {
    m_seam.Begin(0);
    Hear("a");
    Hear("b");

    EXPECT_EQ("a b ", End(1));
}

TEST_F(AnEventSeam, IsFullWithAsMuchAsAServiceKeeps) {
    m_seam.Begin(0);
    for (std::size_t count = 1; count < applist::transport_limits::kMaxWaitingNotifications;
         ++count) {
        Hear("");
        ASSERT_FALSE(m_seam.IsFull());
    }
    Hear("");
    EXPECT_TRUE(m_seam.IsFull());

    m_seam.Begin(0);
    EXPECT_FALSE(m_seam.IsFull());
    Hear(std::string(applist::transport_limits::kMaxWaitingBytes, 'x'));
    EXPECT_TRUE(m_seam.IsFull());
}
