// SPDX-License-Identifier: MIT

#include "adapters/glib/Loop.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <systemd/sd-event.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "support/TestLoop.h"

namespace {

// A GLib callback that calls a function until it returns false.
gboolean CallFunction(gpointer function) {
    return (*static_cast<std::function<bool()>*>(function))();
}

// What applist warns of while this lives.
class Warnings {
public:
    Warnings() : m_handler(g_log_set_handler("applist", G_LOG_LEVEL_WARNING, Note, &m_text)) {}
    ~Warnings() { g_log_remove_handler("applist", m_handler); }
    Warnings(const Warnings&) = delete;
    Warnings& operator=(const Warnings&) = delete;

    const std::string& Text() const { return m_text; }

private:
    static void Note(const char*, GLogLevelFlags, const char* text, gpointer all) {
        static_cast<std::string*>(all)->append(text);
    }

    std::string m_text;
    const guint m_handler;
};

}  // namespace

class AGLibLoop : public ::testing::Test {
protected:
    AGLibLoop() { m_source = applist_loop_attach(m_context); }

    ~AGLibLoop() override {
        for (sd_event_source* source : m_sources) sd_event_source_disable_unref(source);
        if (GSource* const source = Source()) g_source_destroy(source);
        g_main_context_unref(m_context);
        close(m_pipe[0]);
        close(m_pipe[1]);
    }

    void SetUp() override { ASSERT_EQ(0, pipe2(m_pipe, O_CLOEXEC)); }

    GSource* Source() const { return g_main_context_find_source_by_id(m_context, m_source); }

    // Adds a GLib source that is ready at once.
    void AddIdle(int priority, std::function<bool()>& call) const {
        GSource* const source = g_idle_source_new();
        g_source_set_priority(source, priority);
        g_source_set_callback(source, CallFunction, &call, nullptr);
        g_source_attach(source, m_context);
        g_source_unref(source);
    }

    // Adds a timer of sd-event's that calls `call`, which has to live as long as the test.
    void AddTimer(std::uint64_t delay, std::function<void()>& call) {
        const auto run = [](sd_event_source*, std::uint64_t, void* function) {
            (*static_cast<std::function<void()>*>(function))();
            return 0;
        };
        sd_event_source* source = nullptr;
        ASSERT_LE(0, sd_event_add_time_relative(TestLoop(), &source, CLOCK_MONOTONIC, delay, 1, run,
                                                &call));
        m_sources.push_back(source);
    }

    // Has sd-event call `call` whenever something can be read from the pipe, of which it takes one
    // byte.
    void WatchPipe(std::function<void()>& call) {
        m_onByte = &call;
        const auto run = [](sd_event_source*, int fd, std::uint32_t, void* self) {
            char byte = 0;
            if (read(fd, &byte, 1) == 1) (*static_cast<AGLibLoop*>(self)->m_onByte)();
            return 0;
        };
        sd_event_source* source = nullptr;
        ASSERT_LE(0, sd_event_add_io(TestLoop(), &source, m_pipe[0], EPOLLIN, run, this));
        m_sources.push_back(source);
    }
    void WriteByte() const { ASSERT_EQ(1, write(m_pipe[1], "x", 1)); }

    // Returns how many iterations it took.
    int IterateUntil(const std::function<bool()>& done) const {
        int iterations = 0;
        for (; !done(); ++iterations) g_main_context_iteration(m_context, TRUE);
        return iterations;
    }

    GMainContext* const m_context = g_main_context_new();
    guint m_source = 0;
    int m_pipe[2] = {-1, -1};
    std::function<void()>* m_onByte = nullptr;
    std::vector<sd_event_source*> m_sources;
};

TEST_F(AGLibLoop, RunsWhatWaitsForADescriptor) {
    int bytes = 0;
    std::function<void()> count = [&] { ++bytes; };
    WatchPipe(count);
    for (int byte = 0; byte < 100; ++byte) WriteByte();

    IterateUntil([&] { return bytes == 100; });
}

TEST_F(AGLibLoop, SleepsUntilATimerOfSdEventIsDue) {
    bool isOver = false;
    std::function<void()> end = [&] { isOver = true; };
    AddTimer(100000, end);

    EXPECT_GE(3, IterateUntil([&] { return isOver; }));
}

// Also when sd-event's timer was set by what the other loop ran.
TEST_F(AGLibLoop, RunsATimerThatACallbackOfGLibHasSet) {
    bool isOver = false;
    std::function<void()> end = [&] { isOver = true; };
    std::function<bool()> set = [&] {
        AddTimer(1000, end);
        return false;
    };
    AddIdle(G_PRIORITY_HIGH, set);

    EXPECT_GE(4, IterateUntil([&] { return isOver; }));
}

// While a source of higher priority is ready, GLib prepares this one and does not check it.
TEST_F(AGLibLoop, SeesWhatArrivedWhileAnotherSourceWentFirst) {
    std::string order;
    std::function<void()> note = [&] { order += 'e'; };
    WatchPipe(note);
    int turns = 0;
    std::function<bool()> busy = [&] {
        order += 'b';
        WriteByte();
        return ++turns < 3;
    };
    AddIdle(G_PRIORITY_HIGH, busy);

    IterateUntil([&] { return order.size() == 6; });

    EXPECT_EQ("bbbeee", order);
}

TEST_F(AGLibLoop, HasThePriorityThatItIsGiven) {
    g_source_set_priority(Source(), G_PRIORITY_LOW);
    std::string order;
    std::function<void()> note = [&] { order += 'e'; };
    WatchPipe(note);
    WriteByte();
    std::function<bool()> idle = [&] {
        order += 'i';
        return false;
    };
    AddIdle(G_PRIORITY_DEFAULT_IDLE, idle);

    IterateUntil([&] { return order.size() == 2; });

    EXPECT_EQ("ie", order);
}

TEST_F(AGLibLoop, LetsSourcesOfItsPriorityHaveTheirTurn) {
    std::string order;
    std::function<void()> note = [&] {
        order += 'e';
        WriteByte();
    };
    WatchPipe(note);
    WriteByte();
    std::function<bool()> idle = [&] {
        order += 'i';
        return order.size() < 20;
    };
    AddIdle(G_PRIORITY_DEFAULT, idle);

    IterateUntil([&] { return order.size() >= 20 && order.back() == 'e'; });

    const auto events = std::count(order.begin(), order.end(), 'e');
    EXPECT_LE(8, events) << order;
    EXPECT_GE(13, events) << order;
}

TEST_F(AGLibLoop, RunsInANestedLoopOfACallbackOfGLib) {
    int bytes = 0;
    std::function<void()> count = [&] { ++bytes; };
    WatchPipe(count);
    std::function<bool()> nest = [&] {
        WriteByte();
        IterateUntil([&] { return bytes == 1; });
        return false;
    };
    AddIdle(G_PRIORITY_DEFAULT, nest);
    IterateUntil([&] { return bytes == 1; });
    WriteByte();

    IterateUntil([&] { return bytes == 2; });
}

// It cannot run its own loop from inside; everything else goes on, and GLib sleeps meanwhile.
TEST_F(AGLibLoop, StandsInANestedLoopOfItsOwnCallbackAndGoesOnAfterIt) {
    int bytes = 0;
    int iterations = 0;
    std::function<void()> nest = [&] {
        if (++bytes > 1) return;
        bool isOver = false;
        std::function<bool()> end = [&] {
            isOver = true;
            return false;
        };
        GSource* const timer = g_timeout_source_new(50);
        g_source_set_callback(timer, CallFunction, &end, nullptr);
        g_source_attach(timer, m_context);
        g_source_unref(timer);
        iterations = IterateUntil([&] { return isOver; });
        EXPECT_EQ(1, bytes);
    };
    WatchPipe(nest);
    WriteByte();
    WriteByte();

    IterateUntil([&] { return bytes == 2; });

    EXPECT_GE(2, iterations);
}

TEST_F(AGLibLoop, IsAttachedOnce) {
    EXPECT_NE(0u, m_source);
    EXPECT_EQ(m_source, applist_loop_attach(m_context));
}

TEST_F(AGLibLoop, RunsNothingMoreOnceItIsRemoved) {
    int bytes = 0;
    std::function<void()> count = [&] { ++bytes; };
    WatchPipe(count);
    WriteByte();
    g_source_destroy(Source());

    while (g_main_context_iteration(m_context, FALSE)) continue;
    EXPECT_EQ(0, bytes);

    m_source = applist_loop_attach(m_context);
    IterateUntil([&] { return bytes == 1; });
}

TEST_F(AGLibLoop, SharesTheLoopWithAnotherContext) {
    GMainContext* const other = g_main_context_new();
    const guint second = applist_loop_attach(other);
    int bytes = 0;
    std::function<void()> count = [&] { ++bytes; };
    WatchPipe(count);
    for (int turn = 0; turn < 10; ++turn) {
        WriteByte();
        while (bytes == turn) {
            g_main_context_iteration(other, FALSE);
            g_main_context_iteration(m_context, FALSE);
        }
    }
    g_source_destroy(g_main_context_find_source_by_id(other, second));
    g_main_context_unref(other);
}

// On a thread of its own, as the loop has ended then for good.
TEST(AnEndedSdEventLoop, IsRunToItsEndAndLeavesTheContextsWithoutAWord) {
    bool wasTold = false;
    bool isGone = false;
    bool isGoneFromTheOther = false;
    const Warnings warnings;
    std::thread([&] {
        GMainContext* const context = g_main_context_new();
        GMainContext* const other = g_main_context_new();
        const guint id = applist_loop_attach(context);
        const guint idInTheOther = applist_loop_attach(other);
        sd_event* loop = nullptr;
        sd_event_default(&loop);
        const auto note = [](sd_event_source*, void* told) {
            *static_cast<bool*>(told) = true;
            return 0;
        };
        sd_event_add_exit(loop, nullptr, note, &wasTold);
        sd_event_exit(loop, 0);
        while (g_main_context_iteration(context, FALSE)) continue;
        isGone = g_main_context_find_source_by_id(context, id) == nullptr;
        while (g_main_context_iteration(other, FALSE)) continue;
        isGoneFromTheOther = g_main_context_find_source_by_id(other, idInTheOther) == nullptr;
        sd_event_unref(loop);
        g_main_context_unref(context);
        g_main_context_unref(other);
    }).join();

    EXPECT_TRUE(wasTold);
    EXPECT_TRUE(isGone);
    EXPECT_TRUE(isGoneFromTheOther);
    EXPECT_EQ("", warnings.Text());
}

// On a thread of its own, whose loop it breaks.
TEST(ABrokenSdEventLoop, LeavesTheContextAndSaysWhy) {
    bool isGone = false;
    const Warnings warnings;
    std::thread([&] {
        GMainContext* const context = g_main_context_new();
        const guint id = applist_loop_attach(context);
        sd_event* loop = nullptr;
        sd_event_default(&loop);
        const int other = open("/dev/null", O_RDONLY | O_CLOEXEC);
        dup3(other, sd_event_get_fd(loop), O_CLOEXEC);
        close(other);
        while (g_main_context_iteration(context, FALSE)) continue;
        isGone = g_main_context_find_source_by_id(context, id) == nullptr;
        sd_event_unref(loop);
        g_main_context_unref(context);
    }).join();

    EXPECT_TRUE(isGone);
    EXPECT_EQ("the sd-event loop failed, and stands: Invalid argument", warnings.Text());
}
