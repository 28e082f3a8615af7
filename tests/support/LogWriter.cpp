// SPDX-License-Identifier: MIT

// A program that writes one line to the platform's log, for tests that look at what arrives.
//
//     log_writer MINIMUM PRIORITY prefixed|plain TIMES TURNS
//
// The message is what stands on stdin. With more than one of TURNS, so many different lines take
// turns, each with its number at its end. Says on stdout what the log returned, the last time.

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <string>

#include "common/AppListLog.h"
#include "platform/LinuxLog.h"

using applist::SetMinimumLogPriority;

int main(int, char** arguments) {
    const int minimum = std::atoi(arguments[1]);
    const int priority = std::atoi(arguments[2]);
    const bool prefixed = std::string(arguments[3]) == "prefixed";
    const int turns = std::atoi(arguments[5]);
    const std::string given{std::istreambuf_iterator<char>(std::cin), {}};

    if (minimum != 0) SetMinimumLogPriority(minimum);
    int result = 0;
    for (int left = std::atoi(arguments[4]); left > 0; --left) {
        const std::string message = turns > 1 ? given + std::to_string(left % turns) : given;
        result = prefixed ? APPLIST_LOG(priority, "%s", message.c_str())
                          : PlatformLogPrint(0, priority, "another", "%s\n", message.c_str());
    }
    std::printf("%d", result);
    return 0;
}
