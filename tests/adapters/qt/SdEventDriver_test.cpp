// SPDX-License-Identifier: MIT

#include "adapters/qt/SdEventDriver.h"

#include <gtest/gtest.h>
#include <systemd/sd-event.h>
#include <unistd.h>

#include <QThread>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>

#include "adapters/qt/QtLoop.h"

using applist::qt::DriveSdEvent;
using std::chrono::milliseconds;

namespace {

using Loop = std::unique_ptr<sd_event, decltype(&sd_event_unref)>;

Loop DefaultLoop() {
    sd_event* loop = nullptr;
    EXPECT_GE(sd_event_default(&loop), 0);
    return Loop(loop, sd_event_unref);
}

using Action = std::function<void()>;

int OnTime(sd_event_source*, std::uint64_t, void* action) {
    (*static_cast<Action*>(action))();
    return 0;
}

int OnTurn(sd_event_source*, void* action) {
    (*static_cast<Action*>(action))();
    return 0;
}

int OnBytes(sd_event_source*, int fd, std::uint32_t, void* action) {
    char byte = 0;
    EXPECT_EQ(read(fd, &byte, 1), 1);
    (*static_cast<Action*>(action))();
    return 0;
}

void After(sd_event* loop, milliseconds time, Action& action) {
    ASSERT_GE(sd_event_add_time_relative(
                  loop, nullptr, CLOCK_MONOTONIC,
                  static_cast<std::uint64_t>(std::chrono::microseconds(time).count()), 1, OnTime,
                  &action),
              0);
}

// How often Qt's loop turns in 50 ms in which nothing happens to it.
int TurnsInQuiet() {
    int turns = 0;
    const auto count = [&] {
        ++turns;
        return false;
    };
    RunQtUntil(count, milliseconds(50));
    return turns;
}

}  // namespace

// On both of Qt's own event loops for Linux.
class ADrivenLoop : public ::testing::TestWithParam<bool> {
protected:
    ADrivenLoop() { DriveSdEvent(); }

    std::optional<QtApplication> m_application{GetParam()};
    Loop m_loop = DefaultLoop();
    int m_calls = 0;
    Action m_count = [this] { ++m_calls; };
};

INSTANTIATE_TEST_SUITE_P(OnEitherLoopOfQt, ADrivenLoop, ::testing::Bool(),
                         [](const auto& test) { return test.param ? "OfGLib" : "OfQtItself"; });

TEST_P(ADrivenLoop, RunsTimers) {
    After(m_loop.get(), milliseconds(1), m_count);
    EXPECT_TRUE(RunQtUntil([this] { return m_calls == 1; }));
}

TEST_P(ADrivenLoop, RunsATimerThatIsSetFromQt) {
    QTimer::singleShot(1, [this] { After(m_loop.get(), milliseconds(1), m_count); });
    EXPECT_TRUE(RunQtUntil([this] { return m_calls == 1; }));
}

TEST_P(ADrivenLoop, RunsWhatHasNoDescriptor) {
    ASSERT_GE(sd_event_add_defer(m_loop.get(), nullptr, OnTurn, &m_count), 0);
    EXPECT_TRUE(RunQtUntil([this] { return m_calls == 1; }));
}

TEST_P(ADrivenLoop, RunsWhatHasBecomeReadable) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_GE(sd_event_add_io(m_loop.get(), nullptr, ends[0], EPOLLIN, OnBytes, &m_count), 0);
    QTimer::singleShot(1, [&] { EXPECT_EQ(write(ends[1], "ab", 2), 2); });
    EXPECT_TRUE(RunQtUntil([this] { return m_calls == 2; }));
    close(ends[1]);
    m_loop.reset();
    m_application.reset();
    close(ends[0]);
}

TEST_P(ADrivenLoop, RunsForWhoNeverWaits) {
    After(m_loop.get(), milliseconds(1), m_count);
    const auto deadline = std::chrono::steady_clock::now() + kTestDeadline;
    while (m_calls == 0 && std::chrono::steady_clock::now() < deadline) {
        QCoreApplication::processEvents();
    }
    EXPECT_EQ(m_calls, 1);
}

TEST_P(ADrivenLoop, LeavesQtItsTurnsWhenItIsNeverDone) {
    sd_event_source* busy = nullptr;
    ASSERT_GE(sd_event_add_defer(m_loop.get(), &busy, OnTurn, &m_count), 0);
    ASSERT_GE(sd_event_source_set_enabled(busy, SD_EVENT_ON), 0);
    bool isTurn = false;
    QTimer::singleShot(1, [&] { isTurn = true; });
    EXPECT_TRUE(RunQtUntil([&] { return isTurn; }));
    EXPECT_GT(m_calls, 1000);
    sd_event_source_unref(busy);
}

TEST_P(ADrivenLoop, IsDrivenOnceHoweverOftenThatIsAskedFor) {
    DriveSdEvent();
    DriveSdEvent();
    EXPECT_EQ(QAbstractEventDispatcher::instance()->children().size(), 1);
}

TEST_P(ADrivenLoop, LetsQtSleepWhenNothingIsDue) {
    After(m_loop.get(), std::chrono::hours(1), m_count);
    EXPECT_LT(TurnsInQuiet(), 20);
}

// The second timer is due while the first one's callback runs a loop of Qt's.
TEST_P(ADrivenLoop, WaitsForAnInnerLoopOfQtThatItHasBegun) {
    int callsInside = -1;
    int turnsInside = 0;
    Action dialog = [&] {
        turnsInside = TurnsInQuiet();
        callsInside = m_calls;
    };
    After(m_loop.get(), milliseconds(1), dialog);
    After(m_loop.get(), milliseconds(10), m_count);
    EXPECT_TRUE(RunQtUntil([this] { return m_calls == 1; }));
    EXPECT_EQ(callsInside, 0);
    EXPECT_LT(turnsInside, 20);
}

TEST_P(ADrivenLoop, IsDrivenOnAfterAnInnerLoop) {
    Action dialog = [] { TurnsInQuiet(); };
    After(m_loop.get(), milliseconds(1), dialog);
    RunQtUntil([] { return false; }, milliseconds(100));
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_GE(sd_event_add_io(m_loop.get(), nullptr, ends[0], EPOLLIN, OnBytes, &m_count), 0);
    QTimer::singleShot(1, [&] { EXPECT_EQ(write(ends[1], "a", 1), 1); });
    EXPECT_TRUE(RunQtUntil([this] { return m_calls == 1; }));
    close(ends[1]);
    m_loop.reset();
    m_application.reset();
    close(ends[0]);
}

TEST_P(ADrivenLoop, IsLeftAloneOnceItHasEnded) {
    ASSERT_GE(sd_event_exit(m_loop.get(), 0), 0);
    EXPECT_LT(TurnsInQuiet(), 20);
    EXPECT_EQ(sd_event_get_state(m_loop.get()), SD_EVENT_FINISHED);
}

TEST_P(ADrivenLoop, IsLetGoWithTheApplication) {
    bool isFreed = false;
    sd_event_source* source = nullptr;
    ASSERT_GE(sd_event_add_exit(m_loop.get(), &source, OnTurn, &isFreed), 0);
    sd_event_source_set_destroy_callback(source,
                                         [](void* freed) { *static_cast<bool*>(freed) = true; });
    sd_event_source_set_floating(source, 1);
    sd_event_source_unref(source);
    m_loop.reset();
    EXPECT_FALSE(isFreed);
    m_application.reset();
    EXPECT_TRUE(isFreed);
}

TEST_P(ADrivenLoop, IsDrivenByTheNextApplicationToo) {
    m_application.reset();
    m_application.emplace(GetParam());
    DriveSdEvent();
    After(m_loop.get(), milliseconds(1), m_count);
    EXPECT_TRUE(RunQtUntil([this] { return m_calls == 1; }));
}

TEST_P(ADrivenLoop, IsAnotherOneInEachThread) {
    Action* action = &m_count;
    QThread* const thread = QThread::create([action] {
        QEventLoop loop;
        DriveSdEvent();
        const Loop own = DefaultLoop();
        Action quit = [&] {
            (*action)();
            loop.quit();
        };
        After(own.get(), milliseconds(1), quit);
        loop.exec();
    });
    thread->start();
    EXPECT_TRUE(thread->wait(QDeadlineTimer(kTestDeadline)));
    EXPECT_EQ(m_calls, 1);
    delete thread;
}

TEST(DrivingSdEvent, TakesAnApplicationFirst) {
    EXPECT_THROW(DriveSdEvent(), std::runtime_error);
}
