// SPDX-License-Identifier: MIT

#include "partner/CauseName.h"

using applist::RemoteAppListModel;
using applist::RemoteError;

std::string NameOf(RemoteError::Cause cause) {
    switch (cause) {
        case RemoteError::Cause::NoService: return "NoService";
        case RemoteError::Cause::Refused: return "Refused";
        case RemoteError::Cause::TimedOut: return "TimedOut";
        case RemoteError::Cause::OutcomeUnknown: return "OutcomeUnknown";
        case RemoteError::Cause::NotUnderstood: return "NotUnderstood";
        case RemoteError::Cause::ServiceError: return "ServiceError";
        case RemoteError::Cause::NotExecuted: return "NotExecuted";
        case RemoteError::Cause::TooMuch: return "TooMuch";
        case RemoteError::Cause::Failed: return "Failed";
    }
    return "?";
}

std::string CauseOfSynchronize(RemoteAppListModel& model) {
    try {
        model.Synchronize();
        return "";
    } catch (const RemoteError& error) {
        return NameOf(error.GetCause());
    }
}
