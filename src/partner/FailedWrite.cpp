// SPDX-License-Identifier: MIT

#include "partner/FailedWrite.h"

#include <string_view>

#include "common/Joined.h"
#include "common/PrintableText.h"

namespace applist {

using Cause = RemoteError::Cause;
using Operation = FailedWrite::Operation;

namespace {

// A name may have megabytes; more than this fits no message on a screen.
constexpr std::size_t kMostNameBytes = 100;

std::string Shortened(const std::string& name) {
    if (name.size() <= kMostNameBytes) return name;
    std::size_t end = kMostNameBytes;
    while (end > 0 && (static_cast<unsigned char>(name[end]) & 0xC0) == 0x80) --end;
    return Joined({std::string_view(name).substr(0, end), "…"});
}

std::string NameOf(const RemoteAppListItem& item) {
    const std::string& name = item.VisibleName().empty() ? item.UniqueId() : item.VisibleName();
    return name.empty() ? "the item" : PrintableText(Shortened(name));
}

bool IsOfMany(const FailedWrite& write) {
    return write.operation == Operation::Add && write.count != 1;
}

std::string SubjectOf(const FailedWrite& write) {
    if (write.operation == Operation::RemoveAll) return "the list";
    if (IsOfMany(write)) {
        return Joined({Decimal(write.count), " items"});
    }
    return NameOf(write.item);
}

// Of some failures nobody knows whether the write was carried out before.
const char* WasIt(const FailedWrite& write) {
    switch (write.error.GetCause()) {
        case Cause::TimedOut:
        case Cause::OutcomeUnknown:
        case Cause::NotUnderstood:
        case Cause::Failed: return " may not have been ";
        default: return IsOfMany(write) ? " were not " : " was not ";
    }
}

const char* WhatWasDone(Operation operation) {
    switch (operation) {
        case Operation::Select: return "selected";
        case Operation::Click: return "clicked";
        case Operation::RemoveAll: return "emptied";
        case Operation::Add: return "added";
        case Operation::Remove: return "removed";
        case Operation::Replace: return "replaced";
    }
    return "changed";
}

const char* Reason(Cause cause) {
    switch (cause) {
        case Cause::NoService: return "the list cannot be reached at the moment";
        case Cause::Refused: return "you are not allowed to change the list";
        case Cause::TimedOut: return "no answer came in time";
        case Cause::OutcomeUnknown: return "the list went away meanwhile";
        case Cause::NotUnderstood: return "the answer was not understood";
        case Cause::ServiceError: return "the list reported an error";
        case Cause::NotExecuted: return "the list is too busy; try again";
        case Cause::TooMuch: return "too much is waiting to be sent; try again";
        case Cause::Failed: break;
    }
    return "an error of the system; the log may say more";
}

}  // namespace

std::string FailedWrite::Text() const {
    return Joined(
        {SubjectOf(*this), WasIt(*this), WhatWasDone(operation), ": ", Reason(error.GetCause())});
}

}  // namespace applist
