// SPDX-License-Identifier: MIT

#include "partner/QuietLog.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <vector>

#include "common/AppListLog.h"

namespace {

std::vector<std::string>& Lines() {
    static std::vector<std::string> lines;
    return lines;
}

std::vector<std::string>& News() {
    static std::vector<std::string> lines;
    return lines;
}

std::size_t CountIn(const std::vector<std::string>& lines, const std::string& part) {
    return static_cast<std::size_t>(std::count_if(
        lines.begin(), lines.end(),
        [&](const std::string& line) { return line.find(part) != std::string::npos; }));
}

}  // namespace

std::size_t ErrorsLogged(const std::string& part) {
    return CountIn(Lines(), part);
}

std::size_t NewsLogged(const std::string& part) {
    return CountIn(News(), part);
}

std::string WholeLog() {
    std::string whole;
    for (const std::string& line : Lines()) whole += line;
    return whole;
}

void ForgetLog() {
    Lines().clear();
    News().clear();
}

int PlatformLogPrint(int, int priority, const char*, const char* format, ...) {
    if (priority < applist::logging::kInfo) return 0;
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    (priority < applist::logging::kError ? News() : Lines()).emplace_back(text);
    return length;
}
