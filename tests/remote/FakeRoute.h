// SPDX-License-Identifier: MIT

// A route that keeps what it is given, under a clock that a test moves: what a partner's session
// is tried against without a bus.

#pragma once

#include <cerrno>
#include <functional>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "remote/RemoteRoute.h"

class FakeRoute final : public applist::RemoteRoute {
public:
    struct Call {
        CallId id;
        std::string request;
    };

    Time Now() const override { return m_now; }
    bool IsOpen() const override { return m_isOpen; }
    bool IsClogged() const override { return m_isClogged; }
    bool IsReliable() const override { return m_isReliable; }
    int SendCall(CallId call, const std::vector<char>& request) override {
        if (m_result < 0) return m_result;
        if (m_endsWith < 0) {
            m_isOpen = false;
            return std::exchange(m_endsWith, 0);
        }
        m_sent.push_back({call, std::string(request.begin(), request.end())});
        return 0;
    }
    void Forget(CallId call) override { m_forgotten.push_back(call); }
    int SendUnanswered(const std::vector<char>& request) override {
        if (m_unanswered.size() == m_unansweredRoom) return -ENOBUFS;
        m_unanswered.emplace_back(request.begin(), request.end());
        return 0;
    }
    int SendAwaited(const std::vector<char>& request, Time deadline) override {
        m_awaited.emplace_back(m_unanswered.size());
        m_awaitedUntil = deadline;
        if (m_refusals > 0) {
            --m_refusals;
            return -ENOBUFS;
        }
        const int result = SendUnanswered(request);
        return result < 0 ? result : m_awaitedResult;
    }
    void Pause(Time until) override {
        m_pauses.push_back(until - m_now);
        m_now = until;
    }
    int SendNotification(const std::vector<char>& body) override {
        m_notifications.emplace_back(body.begin(), body.end());
        return m_result;
    }
    int AskToConnect() override {
        ++m_connects;
        return m_result;
    }
    int AskForCount() override {
        if (m_hasNoMemory) throw std::bad_alloc();
        ++m_questions;
        return m_result;
    }
    bool IsDispatching() const override { return m_isDispatching; }
    void CatchUp() override {
        if (m_onCatchUp) m_onCatchUp();
    }
    bool Dispatch(Time deadline) override {
        if (m_onDispatch && m_onDispatch()) return true;
        m_now = deadline;
        return true;
    }

    Time m_now{1000000};
    bool m_isOpen = true;
    int m_endsWith = 0;  // the attempt to send the next call, and the connection
    bool m_isClogged = false;
    bool m_isReliable = false;
    bool m_isDispatching = false;
    bool m_hasNoMemory = false;  // to ask for the count
    int m_result = 0;
    std::size_t m_unansweredRoom = 1000000;
    std::function<void()> m_onCatchUp;
    // Lets something arrive; false when there is nothing, and time passes instead.
    std::function<bool()> m_onDispatch;
    std::vector<Call> m_sent;
    std::vector<CallId> m_forgotten;
    std::vector<std::string> m_unanswered;
    std::vector<std::size_t> m_awaited;  // which of those
    Time m_awaitedUntil{0};
    int m_awaitedResult = 0;
    int m_refusals = 0;
    std::vector<Time> m_pauses;
    std::vector<std::string> m_notifications;
    int m_connects = 0;
    int m_questions = 0;
};
