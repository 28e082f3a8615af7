// SPDX-License-Identifier: MIT

// A reader of stderr that stops reading. The test program itself is the one that logs: one that
// waited would end at the test's time limit.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <functional>
#include <string>
#include <utility>

#include "common/AppListLog.h"
#include "platform/PlatformLog.h"
#include "support/TestFd.h"

namespace {

// One for each test: lines that differ in it are not repeats of each other.
std::string tag;

int Log(const std::string& message) {
    return PlatformLogPrint(0, applist::logging::kError, tag.c_str(), "%s\n", message.c_str());
}

std::string LineOf(const std::string& message) {
    return tag + "[error]: " + message + "\n";
}

// `message` and a number, which makes it different each time.
std::string Numbered(const std::string& message, std::size_t number) {
    return message + " " + std::to_string(number);
}

std::string LinesOf(const std::string& message, std::size_t count) {
    std::string lines;
    for (std::size_t number = 0; number < count; ++number) {
        lines += LineOf(Numbered(message, number));
    }
    return lines;
}

// Everything that can be read without waiting.
std::string Drain(int fd) {
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
    std::string all;
    char piece[4096];
    for (ssize_t size = 1; size > 0;) {
        size = read(fd, piece, sizeof(piece));
        if (size > 0) all.append(piece, static_cast<std::size_t>(size));
    }
    return all;
}

using Ends = std::pair<TestFd, TestFd>;  // the reader's and the writer's

Ends PipeOfOnePage() {
    int ends[2] = {-1, -1};
    EXPECT_EQ(0, pipe2(ends, O_CLOEXEC));
    EXPECT_EQ(4096, fcntl(ends[1], F_SETPIPE_SZ, 4096));
    return {TestFd(ends[0]), TestFd(ends[1])};
}

Ends Socketpair() {
    int ends[2] = {-1, -1};
    EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends));
    const int least = 1;  // the kernel makes it some kilobytes
    EXPECT_EQ(0, setsockopt(ends[1], SOL_SOCKET, SO_SNDBUF, &least, sizeof(least)));
    return {TestFd(ends[0]), TestFd(ends[1])};
}

}  // namespace

// In the place of stderr: what the parameter makes.
class AStderrThatNobodyReads : public ::testing::TestWithParam<Ends (*)()> {
protected:
    AStderrThatNobodyReads()
        : m_ends(GetParam()()), m_before(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)) {
        static int tests = 0;
        tag = "test" + std::to_string(++tests);
        dup2(m_ends.second.Get(), STDERR_FILENO);
    }
    ~AStderrThatNobodyReads() override {
        Drain(m_ends.first.Get());
        Log("the last one; nothing is lost for the next test");
        dup2(m_before.Get(), STDERR_FILENO);
    }

    // Logs `message`, numbered, until one is lost; returns how many were not.
    static std::size_t Fill(const std::string& message) {
        std::size_t written = 0;
        while (Log(Numbered(message, written)) >= 0 && written < 100000) ++written;
        return written;
    }

    std::string Read() { return Drain(m_ends.first.Get()); }

    Ends m_ends;
    TestFd m_before;
};

TEST_P(AStderrThatNobodyReads, LosesLinesAndSaysHowManyWhenItIsReadAgain) {
    const std::size_t written = Fill("early");
    for (int more = 0; more < 11; ++more) EXPECT_EQ(-EAGAIN, Log("lost"));
    EXPECT_EQ(LinesOf("early", written), Read());

    Log("late");

    EXPECT_EQ("applist[error]: 12 lines were lost: they could not be written\n" + LineOf("late"),
              Read());
    Log("later");
    EXPECT_EQ(LineOf("later"), Read()) << "what was lost is said once";
}

TEST_P(AStderrThatNobodyReads, SaysOfOneLineThatItWasLost) {
    Fill("early");
    Read();

    Log("late");

    EXPECT_EQ("applist[error]: 1 line was lost: it could not be written\n" + LineOf("late"),
              Read());
}

// Four times the size of a pipe's atomic write: a control byte takes four to show.
TEST_P(AStderrThatNobodyReads, GetsTheRestOfALineOfWhichItTookTheBeginning) {
    const std::string message(4000, '\x01');
    std::string shown;
    for (std::size_t at = 0; at < message.size(); ++at) shown += "\\x01";
    const std::size_t written = Fill(message);
    ASSERT_GE(written, 1u);

    std::string all = Read();
    while (Log("late") < 0) all += Read();
    all += Read();

    const std::string expected = LinesOf(shown, written);
    EXPECT_EQ(expected, all.substr(0, expected.size()));
    const std::string rest = all.substr(std::min(expected.size(), all.size()));
    EXPECT_EQ("applist[error]: ", rest.substr(0, 16));
    EXPECT_EQ(LineOf("late"), rest.substr(rest.find('\n') + 1));
}

// The shell that gave it to us would find its own stderr changed.
TEST_P(AStderrThatNobodyReads, StaysBlockingForTheOthersWhoHaveIt) {
    Fill("early");

    EXPECT_EQ(0, fcntl(STDERR_FILENO, F_GETFL) & O_NONBLOCK);
}

// As after a change of user, when the pipe is still the other's.
TEST_P(AStderrThatNobodyReads, IsNotWaitedForWhenItCannotBeOpenedAnew) {
    struct rlimit before;
    ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &before));
    const struct rlimit none = {STDERR_FILENO + 1, before.rlim_max};
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &none));

    const std::size_t written = Fill("early");
    const int lost = Log("lost");

    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &before));
    EXPECT_GE(written, 1u);
    EXPECT_EQ(-EAGAIN, lost);
    EXPECT_EQ(LinesOf("early", written), Read());
}

INSTANTIATE_TEST_SUITE_P(OfEachKind, AStderrThatNobodyReads,
                         ::testing::Values(&PipeOfOnePage, &Socketpair),
                         [](const auto& kind) { return kind.index == 0 ? "Pipe" : "Socket"; });

// Ctrl-S on a terminal.
TEST(ATerminalWhoseOutputIsStopped, LosesLinesAndSaysHowManyWhenItGoesOn) {
    int master = -1;
    int slave = -1;
    ASSERT_EQ(0, openpty(&master, &slave, nullptr, nullptr, nullptr));
    const TestFd screen(master);
    const TestFd terminal(slave);
    const TestFd before(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3));
    tag = "test";
    dup2(slave, STDERR_FILENO);
    ASSERT_EQ(0, tcflow(slave, TCOOFF));

    const int first = Log("lost");
    const int second = Log("lost");
    ASSERT_EQ(0, tcflow(slave, TCOON));
    Log("late");
    dup2(before.Get(), STDERR_FILENO);

    EXPECT_EQ(-EAGAIN, first);
    EXPECT_EQ(-EAGAIN, second);
    EXPECT_EQ(
        "applist[error]: 2 lines were lost: they could not be written\r\n"
        "test[error]: late\r\n",
        Drain(master));
}

// The count of a line's repeats waits like the line itself.
TEST_P(AStderrThatNobodyReads, GetsTheNumberOfRepeatsWhenItIsReadAgain) {
    Log("repeated");
    ASSERT_GT(10u, Fill(std::string(1000, 'x'))) << "too many lines to remember them all";
    ASSERT_EQ(-EAGAIN, Log("a short one")) << "there is room left";
    for (int time = 0; time < 5; ++time) EXPECT_GT(Log("repeated"), 0);
    // It is told when its second is over or its place is needed.
    for (std::size_t line = 0; line < 16; ++line) Log(Numbered("lost", line));

    const std::string told = tag + "[error]: 5 times more";
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    std::string all = Read();
    for (std::size_t line = 0; all.find(told) == std::string::npos; ++line) {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline) << all.substr(0, 10000);
        Log(Numbered("late", line));
        all += Read();
    }
}
