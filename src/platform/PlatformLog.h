// SPDX-License-Identifier: MIT

// The platform's log: the one operation of it that the service needs. Whoever links the service
// supplies it, by linking applist::log or by defining it.

#pragma once

#include "common/Export.h"

#if defined(__GNUC__)
#define APPLIST_PRINTF_FORMAT __attribute__((format(printf, 4, 5)))
#else
#define APPLIST_PRINTF_FORMAT
#endif

// Writes one line, ended by the format's own line feed, to a log buffer (0 is the main one) under a
// tag. Priorities: 3 debug, 4 info, 6 error. Returns the number of bytes of the line, 0 for a line
// below the minimum priority, or a negative errno.
APPLIST_EXPORT int PlatformLogPrint(int bufferId, int priority, const char* tag, const char* format,
                                    ...) APPLIST_PRINTF_FORMAT;
