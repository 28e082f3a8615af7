// SPDX-License-Identifier: MIT

#include "support/RecordingLog.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <utility>

#include "platform/PlatformLog.h"
#include "support/RecordingAllocator.h"
#include "support/RecordingJournal.h"

namespace recording {

namespace {

const char kPrefix[] = "%s: %s(%d) > [%s:%d] ";

bool g_isQuiet = false;

std::vector<LogRecord>& Records() {
    static std::vector<LogRecord> records;
    return records;
}

std::string Render(const char* format, va_list arguments) {
    char buffer[256];
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(buffer, sizeof(buffer), format, arguments);
    std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    if (text.size() < sizeof(buffer)) {
        text.assign(buffer, text.size());
    } else {
        std::vsnprintf(&text[0], text.size() + 1, format, again);
    }
    va_end(again);
    return text;
}

// Reads the five arguments of the prefix; returns what is wrong with them, or null.
const char* ReadPrefix(LogRecord& record, va_list arguments) {
    if (std::strncmp(record.format, kPrefix, sizeof(kPrefix) - 1) != 0) return "another prefix";
    record.file = va_arg(arguments, const char*);
    record.function = va_arg(arguments, const char*);
    record.line = va_arg(arguments, int);
    if (std::strcmp(record.function, va_arg(arguments, const char*)) != 0) return "two functions";
    if (record.line != va_arg(arguments, int)) return "two line numbers";
    return nullptr;
}

const char* WhatIsWrongWith(const LogRecord& record) {
    if (record.bufferId != 0) return "not the main buffer";
    if (std::strcmp(record.tag, "applist") != 0) return "another tag";
    if (std::strchr(record.file, '/') != nullptr) return "a path and not a base name";
    if (record.line <= 0) return "no line number";
    if (record.text.empty() || record.text.back() != '\n') return "no line feed at the end";
    return nullptr;
}

std::string PriorityName(int priority) {
    switch (priority) {
        case 3: return "debug ";
        case 4: return "info ";
        case 6: return "error ";
        default: return "priority " + std::to_string(priority) + " ";
    }
}

void Enter(LogRecord record, const char* complaint) {
    std::string event = PriorityName(record.priority);
    if (complaint != nullptr) {
        event += std::string("malformed log line, ") + complaint + ": " + OneLine(record.text);
    } else {
        event += record.function;
        event += ": ";
        event += OneLine(record.Message());
    }
    Journal::Get().Add(event);
    Records().push_back(std::move(record));
}

}  // namespace

const std::vector<LogRecord>& LogRecords() {
    return Records();
}

std::string LogRecord::Message() const {
    const std::size_t start = text.find("] ") + 2;
    return text.substr(start, text.size() - start - 1);
}

void RestartLog() {
    Records().clear();
}

QuietRecordingLog::QuietRecordingLog() {
    g_isQuiet = true;
}

QuietRecordingLog::~QuietRecordingLog() {
    g_isQuiet = false;
}

}  // namespace recording

int PlatformLogPrint(int bufferId, int priority, const char* tag, const char* format, ...) {
    if (recording::g_isQuiet) return 0;
    const recording::ExemptFromFailing exempt;
    recording::LogRecord record{bufferId, priority, tag, format, "", "", 0, ""};
    va_list arguments;
    va_start(arguments, format);
    const char* complaint = recording::ReadPrefix(record, arguments);
    va_end(arguments);
    va_start(arguments, format);
    record.text = recording::Render(format, arguments);
    va_end(arguments);

    const int length = static_cast<int>(record.text.size());
    if (complaint == nullptr) complaint = recording::WhatIsWrongWith(record);
    recording::Enter(std::move(record), complaint);
    return length;
}
