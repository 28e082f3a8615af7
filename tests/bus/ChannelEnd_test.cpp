// SPDX-License-Identifier: MIT

#include "bus/ChannelEnd.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <utility>

#include "bus/TransportError.h"
#include "bus/TransportLimits.h"

using applist::OpenPartnerEnd;
using applist::OpenServiceEnd;
using applist::OwnedFd;
using applist::TransportError;
using applist::UniqueBus;
using applist::UniqueMessage;
using applist::UnreadOf;

class AChannel : public ::testing::Test {
protected:
    AChannel() {
        int sockets[2];
        EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, sockets));
        m_service = OpenServiceEnd(OwnedFd(sockets[0]));
        m_partner = OpenPartnerEnd(OwnedFd(sockets[1]));
    }

    // Dispatches both ends until nothing more happens.
    void Pass() {
        while (sd_bus_process(m_service.get(), nullptr) > 0 ||
               sd_bus_process(m_partner.get(), nullptr) > 0) {
        }
    }

    UniqueMessage Signal() {
        sd_bus_message* made = nullptr;
        EXPECT_GE(sd_bus_message_new_signal(m_service.get(), &made, "/a", "a.b", "C"), 0);
        return UniqueMessage(made);
    }

    UniqueBus m_service;
    UniqueBus m_partner;
};

TEST_F(AChannel, ConnectsItsEndsWithoutABus) {
    Pass();

    EXPECT_GT(sd_bus_is_ready(m_service.get()), 0);
    EXPECT_GT(sd_bus_is_ready(m_partner.get()), 0);
    EXPECT_EQ(0, sd_bus_is_bus_client(m_partner.get()));
    EXPECT_GT(sd_bus_can_send(m_partner.get(), 'h'), 0) << "descriptors pass";
}

// The kernel doubles what it is told.
TEST_F(AChannel, KeepsNoMoreUnreadThanItsBufferHolds) {
    for (UniqueBus* end : {&m_service, &m_partner}) {
        int bytes = 0;
        socklen_t size = sizeof(bytes);
        ASSERT_EQ(0, getsockopt(sd_bus_get_fd(end->get()), SOL_SOCKET, SO_SNDBUF, &bytes, &size));
        EXPECT_EQ(2 * applist::transport_limits::kChannelSendBuffer, bytes);
    }
}

TEST_F(AChannel, KnowsWhatItsPeerHasNotRead) {
    Pass();
    EXPECT_EQ(0u, UnreadOf(m_service.get()));

    ASSERT_GE(sd_bus_send(m_service.get(), Signal().get(), nullptr), 0);
    EXPECT_GT(UnreadOf(m_service.get()), 0u);

    Pass();
    EXPECT_EQ(0u, UnreadOf(m_service.get()));
}

TEST_F(AChannel, HasNothingUnreadOnceItHasEnded) {
    Pass();
    ASSERT_GE(sd_bus_send(m_service.get(), Signal().get(), nullptr), 0);

    sd_bus_close(m_service.get());

    EXPECT_EQ(0u, UnreadOf(m_service.get()));
}

TEST_F(AChannel, EndsForOneWhenTheOtherLeaves) {
    Pass();
    m_service.reset();
    Pass();

    EXPECT_LE(sd_bus_is_open(m_partner.get()), 0);
}

TEST(AChannelOverWhatIsNoSocket, IsRefusedAndItsDescriptorClosed) {
    const int number = open("/dev/null", O_RDWR | O_CLOEXEC);

    EXPECT_THROW(OpenServiceEnd(OwnedFd(number)), TransportError);

    EXPECT_EQ(-1, fcntl(number, F_GETFD));
    EXPECT_EQ(EBADF, errno);
}

TEST(Channels, AreUsedUnlessTheEnvironmentSaysOtherwise) {
    unsetenv("APPLIST_DIRECT");
    EXPECT_TRUE(applist::MayUseChannels());
    setenv("APPLIST_DIRECT", "0", 1);
    EXPECT_FALSE(applist::MayUseChannels());
    setenv("APPLIST_DIRECT", "1", 1);
    EXPECT_TRUE(applist::MayUseChannels());
    unsetenv("APPLIST_DIRECT");
}
