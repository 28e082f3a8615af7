// SPDX-License-Identifier: MIT

#include "support/CapturedLog.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <vector>

#include "common/AppListLog.h"

namespace {

struct Line {
    int priority;
    std::string text;
};

std::vector<Line>& Lines() {
    static std::vector<Line> lines;
    return lines;
}

std::size_t Count(int priority, const std::string& part) {
    return static_cast<std::size_t>(
        std::count_if(Lines().begin(), Lines().end(), [&](const Line& line) {
            return line.priority == priority && line.text.find(part) != std::string::npos;
        }));
}

}  // namespace

std::size_t ErrorsLogged(const std::string& part) {
    return Count(applist::logging::kError, part);
}

std::size_t InfosLogged(const std::string& part) {
    return Count(applist::logging::kInfo, part);
}

std::size_t DebugsLogged(const std::string& part) {
    return Count(applist::logging::kDebug, part);
}

std::string WholeLog() {
    std::string whole;
    for (const Line& line : Lines()) whole += line.text;
    return whole;
}

void ForgetLog() {
    Lines().clear();
}

int PlatformLogPrint(int, int priority, const char*, const char* format, ...) {
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    Lines().push_back({priority, text});
    return length;
}
