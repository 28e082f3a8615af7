// SPDX-License-Identifier: MIT

// A log line must never bring its writer down, nor stop it: nothing is thrown from here, nothing
// waits for a reader, and a line that cannot be written is lost and counted.

#include "platform/LinuxLog.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "common/AppListLog.h"
#include "common/Joined.h"
#include "common/PrintableText.h"
#include "platform/FoldedLines.h"
#include "platform/LogSinks.h"
#include "platform/PlatformLog.h"

namespace applist {
namespace {

// Longest line, in bytes. Names come from a partner and may be megabytes; a log line need not.
constexpr std::size_t kMaxLine = 4096;

// The first line finds out what the minimum is.
constexpr int kUndecided = INT_MIN;

int minimumPriority = kUndecided;

// Lines that could not be written since one could.
std::size_t lostLines = 0;

FoldedLines::Time Now() {
    return std::chrono::duration_cast<FoldedLines::Time>(
        std::chrono::steady_clock::now().time_since_epoch());
}

std::string FormatLine(const char* format, va_list arguments) {
    std::vector<char> line(kMaxLine);
    const int length = vsnprintf(line.data(), line.size(), format, arguments);
    if (length < 0) return std::string();
    std::string text(line.data(), std::min(static_cast<std::size_t>(length), kMaxLine - 1));
    if (static_cast<std::size_t>(length) >= kMaxLine) text += "...";
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return PrintableText(text);
}

// Before the first line that can be written again, where the lost ones would have been.
int TellLosses() {
    if (lostLines == 0) return 0;
    const std::string text =
        lostLines == 1
            ? "1 line was lost: it could not be written"
            : Joined({Decimal(lostLines), " lines were lost: they could not be written"});
    const int result =
        WriteLogLine({logging::kError, "applist", text, "LinuxLog.cpp", __func__, __LINE__}, text);
    if (result >= 0) lostLines = 0;
    return result;
}

int WriteAfterLosses(const LogLine& line, const std::string& text) {
    const int told = TellLosses();
    return told < 0 ? told : WriteLogLine(line, text);
}

// Never destroyed, as whatever is destroyed later may still log.
FoldedLines& Folded() {
    static FoldedLines& lines = *new FoldedLines(WriteAfterLosses);
    return lines;
}

// At the end of the program: nobody would tell what is counted from here on.
void StopFolding() {
    try {
        Folded().Stop(Now());
    } catch (...) {  // no memory; there is nothing left to do about it
    }
}

// Lines of our own begin with a common prefix whose arguments say where they come from. A line
// without it was written by somebody else, and nothing is known of its arguments.
void SetPlace(LogLine& line, const char* format, va_list arguments) {
    line.file = line.function = "unknown";
    if (std::strncmp(format, APPLIST_LOG_PREFIX, sizeof(APPLIST_LOG_PREFIX) - 1) != 0) return;
    line.file = va_arg(arguments, const char*);
    line.function = va_arg(arguments, const char*);
    line.number = va_arg(arguments, int);
}

int PrintLine(LogLine line) {
    static const int registered = std::atexit(StopFolding);
    if (registered != 0) StopFolding();
    TellLosses();  // also when the line is only counted
    return Folded().Print(std::move(line), Now());
}

int Print(int priority, const char* tag, const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    int result;
    try {
        LogLine line;
        line.priority = priority;
        line.tag = tag;
        SetPlace(line, format, again);
        line.text = FormatLine(format, arguments);
        result = PrintLine(std::move(line));
    } catch (...) {
        result = -ENOMEM;
    }
    va_end(again);
    if (result < 0) ++lostLines;
    return result;
}

// Returns kUndecided for a name that no priority has.
int PriorityNamed(std::string_view name) {
    for (const int priority : {logging::kDebug, logging::kInfo, logging::kError}) {
        if (name == LogPriorityName(priority)) return priority;
    }
    return kUndecided;
}

void DecideMinimumPriority() {
    minimumPriority = LogGoesToTheJournal() ? logging::kInfo : logging::kError;
    const char* const wanted = std::getenv("APPLIST_LOG");
    if (wanted == nullptr || *wanted == '\0') return;
    const int named = PriorityNamed(wanted);
    if (named == kUndecided) {
        APPLIST_LOG(logging::kError,
                    "APPLIST_LOG is \"%s\", but must be debug, info or error; %s is used", wanted,
                    LogPriorityName(minimumPriority));
    } else {
        minimumPriority = named;
    }
}

int MinimumPriority() {
    if (minimumPriority == kUndecided) DecideMinimumPriority();
    return minimumPriority;
}

}  // namespace

void SetMinimumLogPriority(int priority) {
    minimumPriority = priority;
}

}  // namespace applist

int PlatformLogPrint(int, int priority, const char* tag, const char* format, ...) {
    if (priority < applist::MinimumPriority()) return 0;
    va_list arguments;
    va_start(arguments, format);
    const int result = applist::Print(priority, tag, format, arguments);
    va_end(arguments);
    return result;
}
