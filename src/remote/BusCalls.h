// SPDX-License-Identifier: MIT

// Calls to a service over sd-bus, by bus or channel, and the answers to them.
//
// A body goes in the message itself, or in a file descriptor when it is large and the connection
// can pass one. A request whose last reply was large asks for the next one in a descriptor. A reply
// counts from the service alone, and from the bus in its place.
//
// Lifetime: destroyed before the bus connection.

#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bus/SdBus.h"
#include "remote/RemoteErrors.h"
#include "remote/RemoteReply.h"
#include "remote/RemoteRoute.h"
#include "remote/Way.h"

namespace applist {

class BusCalls {
public:
    using CallId = RemoteRoute::CallId;
    // `reply` is nothing when there was no memory for it.
    using AnswerHandler = std::function<void(CallId call, std::optional<RemoteReply> reply)>;

    // Calls go `way`, which the caller changes. `onAnswer` may lead to the end of this object's
    // owner, which is kept alive until then by what `keepAlive` returns.
    BusCalls(const Way& way, const RemoteErrors& errors,
             std::function<std::shared_ptr<void>()> keepAlive, AnswerHandler onAnswer);
    ~BusCalls();
    BusCalls(const BusCalls&) = delete;
    BusCalls& operator=(const BusCalls&) = delete;

    // The way has changed: forgets every call on the former one.
    void Restart();

    // Sends a call, with an answer to come or without. Returns 0 or a negative errno.
    int Send(CallId call, const std::vector<char>& request);
    int SendUnanswered(const std::vector<char>& request);

    // Sends a call and waits for its answer, `timeout` at most. Returns 0 when it was executed, or
    // a negative errno.
    int SendAwaited(const std::vector<char>& request, std::chrono::microseconds timeout);

    // The answer to `call` is not wanted any more.
    void Forget(CallId call);

private:
    struct Open;

    static int OnReply(sd_bus_message* reply, void* userdata, sd_bus_error* error);
    static int OnIncoming(sd_bus_message* message, void* userdata, sd_bus_error* error);

    // Whether `request`, or the reply to expect, is large, and the connection passes descriptors.
    bool WantsFd(const std::vector<char>& request) const;
    int Transmit(Open& call, const std::vector<char>& request);
    int MakeMessage(const std::vector<char>& request, bool inFd, UniqueMessage& message) const;
    void Receive(Open& call, sd_bus_message* reply);
    RemoteError ErrorFrom(const Open& call, const sd_bus_error& error) const;
    // Sends `call` again for a reply in a descriptor, if that can help against `error`.
    bool AskAgainInFd(Open& call, const sd_bus_error& error);
    void RememberSize(const Open& call, std::size_t replyBytes);

    const Way& m_way;
    const RemoteErrors& m_errors;
    const std::function<std::shared_ptr<void>()> m_keepAlive;
    const AnswerHandler m_onAnswer;
    const std::size_t m_fdLimit;
    UniqueSlot m_incoming;
    // Each by pointer, because sd-bus keeps its address until the answer comes.
    std::map<CallId, std::unique_ptr<Open>> m_open;
    // The last request whose reply was large.
    std::vector<char> m_largeRequest;
};

}  // namespace applist
