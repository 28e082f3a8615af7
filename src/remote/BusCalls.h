// Calls to a service over sd-bus: bodies in the message or in a descriptor, and the answers to
// them.
//
// Threads: the main loop's. Lifetime: goes before the bus connection.

#pragma once

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

namespace applist {

class BusCalls {
public:
    using CallId = RemoteRoute::CallId;
    // Nothing for a reply that there was no memory for.
    using AnswerHandler = std::function<void(CallId call, std::optional<RemoteReply> reply)>;

    // `onAnswer` may end the owner of this object, which is kept alive by what `keepAlive` returns.
    BusCalls(const RemoteErrors& errors, std::function<std::shared_ptr<void>()> keepAlive,
             AnswerHandler onAnswer);
    ~BusCalls();
    BusCalls(const BusCalls&) = delete;
    BusCalls& operator=(const BusCalls&) = delete;

    // Calls go to `service` on `bus` from now on.
    void SetDestination(sd_bus* bus, const std::string& service);

    // Each returns 0 or a negative errno.
    int Send(CallId call, const std::vector<char>& request);
    int SendUnanswered(const std::vector<char>& request);

    void Forget(CallId call);

private:
    struct Open;

    static int OnReply(sd_bus_message* reply, void* userdata, sd_bus_error* error);

    bool WantsFd(const std::vector<char>& request) const;
    int Transmit(Open& call, const std::vector<char>& request);
    int MakeMessage(const std::vector<char>& request, bool inFd, UniqueMessage& message) const;
    void Receive(Open& call, sd_bus_message* reply);
    RemoteError ErrorFrom(const Open& call, const sd_bus_error& error) const;
    bool AskAgainInFd(Open& call, const sd_bus_error& error);
    void RememberSize(const Open& call, std::size_t replyBytes);

    const RemoteErrors& m_errors;
    const std::function<std::shared_ptr<void>()> m_keepAlive;
    const AnswerHandler m_onAnswer;
    sd_bus* m_bus = nullptr;
    std::string m_service;
    std::map<CallId, std::unique_ptr<Open>> m_open;
    // The last request whose reply was large.
    std::vector<char> m_largeRequest;
};

}  // namespace applist
