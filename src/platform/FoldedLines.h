// SPDX-License-Identifier: MIT

// Folds the lines of a log: the first of many that are alike is written, the others are counted,
// and once a second it is told how many there were. So nobody floods the log by causing the same
// few lines over and over.
//
// It has no clock: it is told what comes and when. What it writes goes to the writer that it was
// given, and what that throws comes out of here.

#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <utility>

#include "platform/LogLine.h"

namespace applist {

class FoldedLines {
public:
    using Time = std::chrono::nanoseconds;

    // Writes `text` with everything else that belongs to `line`. Returns a length, or a negative
    // errno when it could not.
    using Writer = std::function<int(const LogLine& line, const std::string& text)>;

    // The lines that are told apart at a time. With more than these in rotation, every line is
    // written; with many more, each line would be compared with too many others.
    static constexpr std::size_t kMost = 16;

    // How long repeats of a line are counted before their number is told: "3 times more: TEXT".
    // When nothing has been written for long after the last of them, it says how long ago that was.
    static constexpr Time kEvery = std::chrono::seconds(1);

    explicit FoldedLines(Writer write) : m_write(std::move(write)) {}

    // Tells the counts whose second is over, then writes `line`, or counts it. Returns what writing
    // it returned, or writing the first of those that it is counted with. A count that could not be
    // told is told later, and until then nothing new is written.
    int Print(LogLine line, Time now);

    // Tells the counts that are left, until one cannot be. From now on every line is written.
    void Stop(Time now);

private:
    struct Repeated {
        LogLine line;
        int result = 0;         // of writing the first
        std::size_t count = 0;  // that was not told yet
        Time since{0};          // when it was written, or the count was last told
        Time last{0};
        bool isUsed = false;
    };

    static bool IsOver(const Repeated& repeated, Time now);
    static std::string TextOf(const Repeated& repeated, Time now);

    // Counts `line` when one like it is remembered, and returns that one; null otherwise. A line
    // that has not come for a second is forgotten.
    const Repeated* Count(const LogLine& line, Time now);
    int TellDue(Time now);
    int Tell(Repeated& repeated, Time now);
    int WriteNew(LogLine line, Time now);
    // The place of the line whose count was told the longest ago, or a free one.
    Repeated& Oldest();

    const Writer m_write;
    bool m_folds = true;
    std::array<Repeated, kMost> m_lines;
};

}  // namespace applist
