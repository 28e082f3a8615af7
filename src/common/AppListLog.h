// SPDX-License-Identifier: MIT

// The one way in which this project writes a log line: main buffer, tag "applist", and a prefix
// with file, function and line in front of the message.
//
// Threads: whichever the log itself allows.

#pragma once

#include "platform/PlatformLog.h"

// Base name of the file, function, line, function, line. The doubled pair is what log readers on
// the target parse, so it stays.
#define APPLIST_LOG_PREFIX "%s: %s(%d) > [%s:%d] "

namespace applist::logging {

// The only one of the log's buffers that this project writes to.
constexpr int kMainBuffer = 0;

constexpr int kDebug = 3;  // ordinary progress, traces of remote calls and events
constexpr int kInfo = 4;   // things that an operator may want to see
constexpr int kError = 6;  // something was lost or refused

// Returns the part of `path` after its last slash; a compile-time constant when `path` is one.
constexpr const char* BaseName(const char* path) {
    const char* base = path;
    for (const char* at = path; *at != '\0'; ++at) {
        if (*at == '/') base = at + 1;
    }
    return base;
}

}  // namespace applist::logging

// Prints one line: a printf-style literal and, where it has any, its arguments (seven at most).
#define APPLIST_LOG(priority, ...)                                                           \
    APPLIST_LOG_PICK(__VA_ARGS__, APPLIST_LOG_WITH, APPLIST_LOG_WITH, APPLIST_LOG_WITH,      \
                     APPLIST_LOG_WITH, APPLIST_LOG_WITH, APPLIST_LOG_WITH, APPLIST_LOG_WITH, \
                     APPLIST_LOG_ALONE, )                                                    \
    (priority, __VA_ARGS__)

// Before C++20 a macro cannot drop the comma in front of arguments that are not there, except by an
// extension that -Wpedantic rejects. So a line without arguments has a macro of its own, which
// counting the arguments picks.
#define APPLIST_LOG_PICK(_1, _2, _3, _4, _5, _6, _7, _8, macro, ...) macro
#define APPLIST_LOG_ALONE(priority, message)                               \
    PlatformLogPrint(::applist::logging::kMainBuffer, priority, "applist", \
                     APPLIST_LOG_PREFIX message "\n", APPLIST_LOG_PLACE)
#define APPLIST_LOG_WITH(priority, message, ...)                           \
    PlatformLogPrint(::applist::logging::kMainBuffer, priority, "applist", \
                     APPLIST_LOG_PREFIX message "\n", APPLIST_LOG_PLACE, __VA_ARGS__)
#define APPLIST_LOG_PLACE \
    ::applist::logging::BaseName(__FILE__), __func__, __LINE__, __func__, __LINE__
