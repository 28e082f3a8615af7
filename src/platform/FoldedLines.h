// Which lines of a log need not be written, because one just like them was: the first is written,
// the others are counted, and once a second it is time to tell how many there were. So nobody
// floods the log by causing the same few lines over and over.
//
// It writes nothing and has no clock: it is told what comes and when, and says what is to be done.

#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <string>

namespace applist {

struct LogLine {
    int priority = 0;
    std::string tag;
    std::string text;
    // Where it comes from. Part of a line's fields, but two lines of one text are alike without it.
    std::string file;
    std::string function;
    int number = 0;
};

class FoldedLines {
public:
    using Time = std::chrono::nanoseconds;

    // The lines that are told apart at a time. Whoever makes more of them take turns has them all
    // written; with many more, each line would be compared with too many others.
    static constexpr std::size_t kMost = 16;

    // How long repeats of a line are counted before their number is told.
    static constexpr Time kEvery = std::chrono::seconds(1);

    struct Repeated {
        LogLine line;
        int result = 0;         // of writing the first
        std::size_t count = 0;  // that was not told yet
        Time since{0};          // when it was written, or the count was last told
        Time last{0};
        bool isUsed = false;
    };

    // Counts `line` when one like it is remembered, and returns that one; null otherwise. A line
    // that has not come for a second is forgotten.
    const Repeated* Count(const LogLine& line, Time now);

    // Returns a line whose count is to be told: because its second is over; because its place is
    // needed for another line; because it has a count at all. Null for none.
    Repeated* Due(Time now);
    Repeated* InTheWay();
    Repeated* AnyCounted();

    // The count has been told.
    static void Told(Repeated& repeated, Time now);

    // `line` was written with this result, and is remembered. When there is no place left, the one
    // whose count was told the longest ago is forgotten.
    void Written(LogLine&& line, int result, Time now) noexcept;

private:
    Repeated* Oldest();

    std::array<Repeated, kMost> m_lines;
};

// Returns what to write in place of the repeats: "3 times more: TEXT". When nothing has been
// written for long after the last of them, it says how long ago that was.
std::string TextOf(const FoldedLines::Repeated& repeated, FoldedLines::Time now);

}  // namespace applist
