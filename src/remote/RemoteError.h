// SPDX-License-Identifier: MIT

// What can go wrong between a partner and its service. The text is one line for the user, such as
// "Applist: <what happened>; <what to do>"; programs go by the cause.

#pragma once

#include <string>

#include "bus/TransportError.h"
#include "common/Export.h"

namespace applist {

class APPLIST_EXPORT RemoteError : public TransportError {
public:
    enum class Cause {
        NoService,       // nobody owns the endpoint's name; nothing was done
        Refused,         // the bus's policy does not let this user call the service
        TimedOut,        // no answer in time; what was sent may still be executed
        OutcomeUnknown,  // the service went away with the call under way: executed or not
        NotUnderstood,   // the answer is not what a service of this interface sends
        ServiceError,    // the service answered with an error of its own; the text holds it
        NotExecuted,     // the service had no room for the call and did not execute it
        TooMuch,         // more waits to be sent than is kept; this was not sent
        Failed,          // anything else; the text says what
    };

    RemoteError(Cause cause, const std::string& text) : TransportError(text), m_cause(cause) {}

    Cause GetCause() const { return m_cause; }

private:
    Cause m_cause;
};

}  // namespace applist
