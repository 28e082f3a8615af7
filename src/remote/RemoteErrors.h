// The texts of RemoteError, for one endpoint.

#pragma once

#include <string>

#include "remote/RemoteError.h"

namespace applist {

class RemoteErrors {
public:
    explicit RemoteErrors(const std::string& endpoint) : m_endpoint(endpoint) {}

    const std::string& Endpoint() const { return m_endpoint; }

    // Nobody owns the endpoint's name on the bus that `where` describes.
    RemoteError NoService(const std::string& where) const;
    RemoteError NoAnswer() const;
    RemoteError OutcomeUnknown() const;
    RemoteError NotUnderstood() const;
    RemoteError TooMuchWaits() const;
    RemoteError NoMemory() const;
    // The bus library refused the call with `error`, an errno.
    RemoteError NotSent(int error) const;
    // For the message; and there are no descriptors on this connection.
    RemoteError ReplyTooLarge() const;
    RemoteError WaitingInsideListener() const;
    RemoteError DestroyedWhileWaiting() const;

    // An error came instead of a reply: its D-Bus name and text, from whoever sent it.
    RemoteError FromBus(const std::string& name, const std::string& text) const;

private:
    RemoteError Make(RemoteError::Cause cause, const std::string& text) const;

    const std::string m_endpoint;
};

}  // namespace applist
