#include "remote/RemoteErrors.h"

#include <cerrno>
#include <cstring>

#include "bus/EndpointNames.h"
#include "bus/TransportLimits.h"
#include "common/PrintableText.h"

namespace applist {

using Cause = RemoteError::Cause;

namespace {

const char kAccessDenied[] = "org.freedesktop.DBus.Error.AccessDenied";
const char kServiceUnknown[] = "org.freedesktop.DBus.Error.ServiceUnknown";
const char kNameHasNoOwner[] = "org.freedesktop.DBus.Error.NameHasNoOwner";
const char kNoReply[] = "org.freedesktop.DBus.Error.NoReply";
const char kDisconnected[] = "org.freedesktop.DBus.Error.Disconnected";
const char kLimitsExceeded[] = "org.freedesktop.DBus.Error.LimitsExceeded";

std::string Shown(const std::string& name, const std::string& text) {
    std::string said = text.empty() ? name : name + ": " + text;
    if (said.size() > transport_limits::kMaxErrorText) said.resize(transport_limits::kMaxErrorText);
    return PrintableText(said);
}

}  // namespace

RemoteError RemoteErrors::NoService(const std::string& where) const {
    return Make(Cause::NoService, "nobody owns " + endpoint_names::BusNameOf(m_endpoint) + " on " +
                                      where + "; start the service, then try again");
}

RemoteError RemoteErrors::NoAnswer() const {
    return Make(Cause::TimedOut,
                "no answer in time; the call may still be executed. Try again, or allow more time");
}

RemoteError RemoteErrors::OutcomeUnknown() const {
    return Make(Cause::OutcomeUnknown,
                "the service went away with a call under way; whether it was executed is unknown. "
                "Read the list, then decide");
}

RemoteError RemoteErrors::NotUnderstood() const {
    return Make(Cause::NotUnderstood,
                "the reply is not understood; check that service and partner speak the same "
                "version");
}

RemoteError RemoteErrors::TooMuchWaits() const {
    return Make(Cause::TooMuch,
                "too many calls wait to be sent; let the loop run, or synchronize, then go on");
}

RemoteError RemoteErrors::NoMemory() const {
    return Make(Cause::Failed, "no memory for a call; free some, then try again");
}

RemoteError RemoteErrors::NotSent(int error) const {
    if (error == EMSGSIZE) {
        return Make(Cause::Failed,
                    "the call is larger than a connection without descriptors carries; send fewer "
                    "items at once");
    }
    return Make(Cause::Failed, std::string("cannot send a call: ") + std::strerror(error) +
                                   "; free memory or descriptors");
}

RemoteError RemoteErrors::ReplyTooLarge() const {
    return Make(Cause::Failed,
                "the reply is larger than a connection without descriptors carries; ask on the "
                "machine of the service");
}

RemoteError RemoteErrors::WaitingInsideListener() const {
    return Make(Cause::Failed, "waiting from inside a listener; wait from the loop instead");
}

RemoteError RemoteErrors::DestroyedWhileWaiting() const {
    return Make(Cause::OutcomeUnknown, "destroyed while waiting for a reply; do so after the wait");
}

RemoteError RemoteErrors::FromBus(const std::string& name, const std::string& text) const {
    const std::string said = Shown(name, text);
    if (name == kAccessDenied) {
        return Make(Cause::Refused, "the bus's policy refuses the call (" + said +
                                        "); ask for a policy that lets this user call the service");
    }
    if (name == kServiceUnknown || name == kNameHasNoOwner) {
        return Make(Cause::NoService, "the service has left the bus; start it, then try again");
    }
    // What a bus says for a service that left without answering.
    if (name == kNoReply || name == kDisconnected) return OutcomeUnknown();
    if (name == kLimitsExceeded) {
        return Make(Cause::NotExecuted,
                    "the service or its bus has no room for more calls, and did not execute this "
                    "one (" +
                        said + "); try again later");
    }
    return Make(Cause::ServiceError, "the service answered with an error: " + said);
}

RemoteError RemoteErrors::Make(Cause cause, const std::string& text) const {
    return RemoteError(cause, m_endpoint + ": " + text);
}

}  // namespace applist
