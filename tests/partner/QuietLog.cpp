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

}  // namespace

std::size_t ErrorsLogged(const std::string& part) {
    return static_cast<std::size_t>(std::count_if(
        Lines().begin(), Lines().end(),
        [&](const std::string& line) { return line.find(part) != std::string::npos; }));
}

std::string WholeLog() {
    std::string whole;
    for (const std::string& line : Lines()) whole += line;
    return whole;
}

void ForgetLog() {
    Lines().clear();
}

int PlatformLogPrint(int, int priority, const char*, const char* format, ...) {
    if (priority < applist::logging::kError) return 0;
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    Lines().emplace_back(text);
    return length;
}
