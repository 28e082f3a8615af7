// The one way in which this project writes a log line: main buffer, tag "applist", and a prefix
// with file, function and line in front of the message. Any thread rule is the log's own.

#pragma once

#include "platform/PlatformLog.h"

// Base name of the file, function, line, function, line. The doubled pair is what log readers on
// the target parse, so it stays.
#define APPLIST_LOG_PREFIX "%s: %s(%d) > [%s:%d] "

namespace applist_log {

constexpr int kMainBuffer = 0;

constexpr int kDebug = 3;  // ordinary progress, traces of remote calls and events
constexpr int kInfo = 4;   // things that an operator may want to see
constexpr int kError = 6;  // something was lost or refused

// Returns the part of `path` after its last slash. A constant when `path` is one.
constexpr const char* BaseName(const char* path) {
    const char* base = path;
    for (const char* at = path; *at != '\0'; ++at) {
        if (*at == '/') base = at + 1;
    }
    return base;
}

}  // namespace applist_log

// Prints one line: `message` is a printf-style literal, its arguments follow it. (The ## drops the
// comma when there are none; gcc and clang both know it.)
#define APPLIST_LOG(priority, message, ...)                                                      \
    PlatformLogPrint(applist_log::kMainBuffer, priority, "applist",                              \
                     APPLIST_LOG_PREFIX message "\n", applist_log::BaseName(__FILE__), __func__, \
                     __LINE__, __func__, __LINE__, ##__VA_ARGS__)
