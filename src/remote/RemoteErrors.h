// SPDX-License-Identifier: MIT

// Makes the RemoteErrors of one endpoint: here each cause gets its text, in one style.

#pragma once

#include <string>
#include <string_view>

#include "remote/RemoteError.h"

namespace applist {

class RemoteErrors {
public:
    explicit RemoteErrors(const std::string& endpoint) : m_endpoint(endpoint) {}

    const std::string& Endpoint() const { return m_endpoint; }

    // Nobody owns the endpoint's name on the bus that `where` describes.
    RemoteError NoService(const std::string& where) const;
    // No answer came within the timeout.
    RemoteError NoAnswer() const;
    // The service left with the call under way.
    RemoteError OutcomeUnknown() const;
    RemoteError NotUnderstood() const;
    // The queue of calls to be sent is full.
    RemoteError TooMuchWaits() const;
    RemoteError NoMemory() const;
    // A reply came, and could not be kept: the call was executed.
    RemoteError NoMemoryForReply() const;
    // The call could not be sent, for the reason `error`, an errno.
    RemoteError NotSent(int error) const;
    // The reply does not fit into a message, and this connection passes no descriptors.
    RemoteError ReplyTooLarge() const;
    // SendMessage was called from inside an entry point or a reply handler.
    RemoteError WaitingInsideListener() const;
    // The partner was destroyed during SendMessage.
    RemoteError DestroyedWhileWaiting() const;

    // An error came instead of a reply, from the service or the bus: its D-Bus name and its text.
    RemoteError FromBus(const std::string& name, const std::string& text) const;

private:
    RemoteError Make(RemoteError::Cause cause, std::string_view text) const;

    const std::string m_endpoint;
};

}  // namespace applist
