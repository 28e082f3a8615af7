// SPDX-License-Identifier: MIT

#include "bus/OwnedFd.h"

#include <fcntl.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <utility>

using applist::OwnedFd;

namespace {

bool IsOpen(int fd) {
    return fcntl(fd, F_GETFD) != -1;
}

OwnedFd Opened() {
    return OwnedFd(open("/dev/null", O_RDONLY | O_CLOEXEC));
}

}  // namespace

TEST(AnOwnedFd, IsClosedWithItsOwner) {
    int number = -1;
    {
        const OwnedFd fd = Opened();
        number = fd.Get();
        ASSERT_TRUE(IsOpen(number));
    }
    EXPECT_FALSE(IsOpen(number));
}

TEST(AnOwnedFd, IsClosedByItsNewOwnerOnly) {
    int number = -1;
    {
        OwnedFd first = Opened();
        number = first.Get();
        const OwnedFd second = std::move(first);
        EXPECT_EQ(number, second.Get());
        { const OwnedFd gone = std::move(first); }
        EXPECT_TRUE(IsOpen(number));
    }
    EXPECT_FALSE(IsOpen(number));
}

TEST(AnOwnedFd, KeepsTheReasonWhyThereIsNone) {
    EXPECT_EQ(-EMFILE, OwnedFd(-EMFILE).Get());
}

TEST(AnOwnedFd, IsNotClosedOnceItIsReleased) {
    int number = -1;
    {
        OwnedFd fd = Opened();
        number = fd.Release();
        EXPECT_EQ(-1, fd.Get());
    }
    EXPECT_TRUE(IsOpen(number));
    const OwnedFd last(number);
}
