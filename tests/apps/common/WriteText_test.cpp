// SPDX-License-Identifier: MIT

#include "apps/common/WriteText.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <thread>

#include "bus/OwnedFd.h"

using namespace applist;

namespace {

class AStreamToAPipe : public ::testing::Test {
protected:
    AStreamToAPipe() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(0, pipe2(ends, O_CLOEXEC));
        m_reader = ends[0];
        m_writer = ends[1];
    }

    ~AStreamToAPipe() override {
        close(m_reader);
        close(m_writer);
    }

    std::string ReadToTheEnd() const {
        std::string text;
        char bytes[4096];
        for (ssize_t size = 1; size > 0;) {
            size = read(m_reader, bytes, sizeof(bytes));
            if (size > 0) text.append(bytes, static_cast<std::size_t>(size));
        }
        return text;
    }

    int m_reader = -1;
    int m_writer = -1;
};

}  // namespace

// Somebody else who has the pipe may make it so, and the standard streams give up then.
TEST_F(AStreamToAPipe, TakesEverythingAlsoWhenItIsNonBlocking) {
    const std::string text(1'000'000, 'x');  // more than any pipe holds
    ASSERT_EQ(0, fcntl(m_writer, F_SETFL, O_NONBLOCK));
    std::string seen;
    std::thread reader([&] { seen = ReadToTheEnd(); });

    EXPECT_EQ(0, WriteText(m_writer, text));

    close(m_writer);
    m_writer = -1;
    reader.join();
    EXPECT_EQ(text, seen);
}

TEST_F(AStreamToAPipe, TellsWhenNobodyReadsAnyMore) {
    signal(SIGPIPE, SIG_IGN);
    close(m_reader);
    m_reader = -1;

    EXPECT_EQ(EPIPE, WriteText(m_writer, "text"));
}

TEST(AStreamToAFullDevice, TellsSo) {
    const OwnedFd full(open("/dev/full", O_WRONLY | O_CLOEXEC));

    EXPECT_EQ(ENOSPC, WriteText(full.Get(), "text"));
}
