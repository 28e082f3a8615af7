// SPDX-License-Identifier: MIT

#include "remote/RemoteErrors.h"

#include <cerrno>
#include <cstring>

#include "bus/EndpointNames.h"
#include "bus/TransportLimits.h"
#include "common/Joined.h"
#include "common/PrintableText.h"

namespace applist {

using Cause = RemoteError::Cause;

namespace {

// Spelled out, since this file is also built without sd-bus's headers.
const char kAccessDenied[] = "org.freedesktop.DBus.Error.AccessDenied";
const char kServiceUnknown[] = "org.freedesktop.DBus.Error.ServiceUnknown";
const char kNameHasNoOwner[] = "org.freedesktop.DBus.Error.NameHasNoOwner";
const char kNoReply[] = "org.freedesktop.DBus.Error.NoReply";
const char kDisconnected[] = "org.freedesktop.DBus.Error.Disconnected";
const char kLimitsExceeded[] = "org.freedesktop.DBus.Error.LimitsExceeded";

// Both strings come from the other end, which may be hostile: they are bounded and made printable,
// because they end up in logs and on terminals.
std::string Shown(const std::string& name, const std::string& text) {
    std::string said = text.empty() ? name : Joined({name, ": ", text});
    if (said.size() > transport_limits::kMaxErrorText) said.resize(transport_limits::kMaxErrorText);
    return PrintableText(said);
}

}  // namespace

RemoteError RemoteErrors::NoService(const std::string& where) const {
    return Make(Cause::NoService, Joined({"nobody owns ", endpoint_names::BusNameOf(m_endpoint),
                                          " on ", where, "; start the service, then try again"}));
}

RemoteError RemoteErrors::NoAnswer() const {
    return Make(Cause::TimedOut,
                "no answer in time, though the call may still be executed; "
                "read the list before you try again, or allow more time");
}

RemoteError RemoteErrors::OutcomeUnknown() const {
    return Make(Cause::OutcomeUnknown,
                "the service went away during a call, which it may or may not have executed; "
                "read the list before you try again");
}

RemoteError RemoteErrors::NotUnderstood() const {
    return Make(Cause::NotUnderstood,
                "the reply was not understood; check that the service and the partner are of the "
                "same version");
}

RemoteError RemoteErrors::TooMuchWaits() const {
    return Make(
        Cause::TooMuch,
        "too many calls are waiting to be sent; let the loop run, or synchronize, then go on");
}

RemoteError RemoteErrors::NoMemory() const {
    return Make(Cause::Failed, "out of memory for a call; free some memory, then try again");
}

RemoteError RemoteErrors::NoMemoryForReply() const {
    return Make(Cause::Failed,
                "out of memory for the reply to a call that was executed; free some memory, then "
                "read the list");
}

RemoteError RemoteErrors::NotSent(int error) const {
    // From our own check, before the bus sees the message.
    if (error == EMSGSIZE) {
        return Make(Cause::Failed,
                    "the call is too large for a connection that cannot pass file descriptors; "
                    "send fewer items at once");
    }
    return Make(Cause::Failed, Joined({"cannot send a call: ", std::strerror(error),
                                       "; free memory or file descriptors, then try again"}));
}

RemoteError RemoteErrors::ReplyTooLarge() const {
    return Make(Cause::Failed,
                "the reply is too large for a connection that cannot pass file descriptors; "
                "ask from the service's own machine");
}

RemoteError RemoteErrors::WaitingInsideListener() const {
    return Make(Cause::Failed,
                "cannot wait inside a callback; return to the main loop, then try again");
}

// The call may have been sent, and what was sent may still be executed.
RemoteError RemoteErrors::DestroyedWhileWaiting() const {
    return Make(Cause::OutcomeUnknown,
                "the partner was destroyed while it waited for a reply; destroy it after the wait");
}

RemoteError RemoteErrors::FromBus(const std::string& name, const std::string& text) const {
    const std::string said = Shown(name, text);
    if (name == kAccessDenied) {
        return Make(Cause::Refused,
                    Joined({"the bus's policy refuses the call (", said,
                            "); ask for a policy that lets this user call the service"}));
    }
    // It left after the bus had named it as the owner, and before the call reached it.
    if (name == kServiceUnknown || name == kNameHasNoOwner) {
        return Make(Cause::NoService, "the service has left the bus; start it, then try again");
    }
    // What a bus answers in place of a service that left without answering itself.
    if (name == kNoReply || name == kDisconnected) return OutcomeUnknown();
    // Sent instead of executing the call, so trying again is safe.
    if (name == kLimitsExceeded) {
        return Make(
            Cause::NotExecuted,
            Joined({"the service or its bus had no room for another call and did not execute it (",
                    said, "); try again later, or send less at once"}));
    }
    return Make(Cause::ServiceError,
                Joined({"the service answered with an error: ", said, "; its log may say more"}));
}

RemoteError RemoteErrors::Make(Cause cause, std::string_view text) const {
    return RemoteError(cause, Joined({m_endpoint, ": ", text}));
}

}  // namespace applist
