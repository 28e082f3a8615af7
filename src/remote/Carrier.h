// SPDX-License-Identifier: MIT

// Carries a session's calls and notifications to its service and back, one way at a time: over the
// bus, or over a direct channel. Nobody above it has to know which.
//
// Threads: the main loop's. Lifetime: destroyed before the connections that it has used.

#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "bus/SdBus.h"
#include "remote/BusCalls.h"
#include "remote/EventSeam.h"
#include "remote/RemoteRoute.h"
#include "remote/RemoteSession.h"
#include "remote/Way.h"

namespace applist {

class Carrier {
public:
    using Time = RemoteRoute::Time;
    using CallId = RemoteRoute::CallId;

    // Whose the carrier is. What is told to it or to the session may lead to its end; it stays
    // alive until then by what KeepAlive returns.
    class User {
    public:
        virtual std::shared_ptr<void> KeepAlive() = 0;
        virtual void OnAnswer(CallId call, std::optional<RemoteReply> reply) = 0;
        // The bus says that the service has left it.
        virtual void OnLeft() = 0;
        // The answer to AskForCount has come, or there will be none.
        virtual void OnCounted() = 0;
        // The answer to AskForSeam has come, or there will be none.
        virtual void OnSeam(bool isAnswered) = 0;
        // Something was not carried through, for want of memory as a rule. That leaves a state that
        // nothing leads out of but another connection.
        virtual void OnStuck() = 0;

    protected:
        ~User() = default;
    };

    Carrier(RemoteSession& session, User& user);
    Carrier(const Carrier&) = delete;
    Carrier& operator=(const Carrier&) = delete;

    // From now on everything goes this way, and from there notifications come. Returns 0 or a
    // negative errno.
    int Use(Way way);
    // Nothing goes any way.
    void Drop();
    const Way& GetWay() const { return m_way; }

    // As in RemoteRoute.h.
    bool IsOpen() const;
    bool IsClogged() const { return Queued() > 0; }
    int SendNotification(const std::vector<char>& body);
    int AskToConnect();
    int AskForCount();

    // Asks the service, over the bus, how many notifications there were. What comes the next way,
    // which is open already, is told from there on: whoever takes it does so from inside OnSeam.
    int AskForSeam();
    void ForgetSeam() { m_seamAnswer.reset(); }

    BusCalls& Calls() { return m_calls; }

    // Sees to it that everything that was sent is read by the other end of the way, although the
    // way ends next. Waits until `deadline` at most.
    void AwaitRead(Time deadline);

    // For the callbacks of the bus.
    std::shared_ptr<void> KeepAlive() { return m_user.KeepAlive(); }
    void Failed() { m_user.OnStuck(); }

private:
    int Subscribe();
    int Ask(UniqueSlot& slot, sd_bus_message* question, sd_bus_message_handler_t onAnswer,
            Time timeout = Time(0));
    int NewQuestionForCount(UniqueMessage& message) const;
    void SayFarewell();
    int AwaitAnswer(Time timeout);
    UniqueMessage QuestionToTheOtherEnd() const;
    // How many messages the connection has not taken yet.
    std::uint64_t Queued() const;

    void OnSubscribed(sd_bus_message* answer);
    void OnSignal(sd_bus_message* signal);
    void OnConnected(sd_bus_message* answer);
    void OnCount(sd_bus_message* answer);
    void OnNotification(sd_bus_message* signal);
    void OnSeam(sd_bus_message* answer);
    // Tells what was held at the seam.
    void CloseSeam(std::optional<std::uint64_t> count);

    const char* Endpoint() const { return m_session.Errors().Endpoint().c_str(); }

    RemoteSession& m_session;
    User& m_user;
    Way m_way;
    BusCalls m_calls;
    UniqueSlot m_signals;
    UniqueSlot m_connectAnswer;
    UniqueSlot m_countAnswer;
    UniqueSlot m_seamAnswer;
    EventSeam m_seam;
    std::optional<std::uint64_t> m_toldOverBus;
};

}  // namespace applist
