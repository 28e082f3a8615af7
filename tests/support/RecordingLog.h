// SPDX-License-Identifier: MIT

// The tests' platform log: a PlatformLogPrint that enters each line into the journal, as
// "PRIORITY FUNCTION: MESSAGE", and keeps every argument for whoever wants to look closer.
//
// A line that breaks the log convention (buffer, tag, prefix, final line feed) is entered as
// "malformed log line", so that every test that compares the journal checks the convention too.
//
// Threads: one. Lifetime: the records are the process's; RestartLog empties them.

#pragma once

#include <string>
#include <vector>

namespace recording {

// The strings that a log call passes as literals or as __func__ are kept as what they are.
struct LogRecord {
    int bufferId;
    int priority;
    const char* tag;
    const char* format;
    const char* file;
    const char* function;
    int line;
    std::string text;  // the whole line as it was rendered

    // Returns the part after the prefix, without the line feed.
    std::string Message() const;
};

const std::vector<LogRecord>& LogRecords();

void RestartLog();

// While it lives, lines are neither kept nor entered: tests that count memory would count them.
class QuietRecordingLog {
public:
    QuietRecordingLog();
    ~QuietRecordingLog();

    QuietRecordingLog(const QuietRecordingLog&) = delete;
    QuietRecordingLog& operator=(const QuietRecordingLog&) = delete;
};

}  // namespace recording
