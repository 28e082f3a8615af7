#include "platform/FoldedLines.h"

#include <algorithm>
#include <utility>

namespace applist {

namespace {

bool AreAlike(const LogLine& one, const LogLine& other) {
    return one.priority == other.priority && one.text == other.text && one.tag == other.tag;
}

bool IsOver(const FoldedLines::Repeated& repeated, FoldedLines::Time now) {
    return repeated.count == 0 && now - repeated.since >= FoldedLines::kEvery;
}

}  // namespace

const FoldedLines::Repeated* FoldedLines::Count(const LogLine& line, Time now) {
    for (Repeated& repeated : m_lines) {
        if (IsOver(repeated, now)) repeated = Repeated();
        if (!repeated.isUsed || !AreAlike(repeated.line, line)) continue;
        ++repeated.count;
        repeated.last = now;
        return &repeated;
    }
    return nullptr;
}

FoldedLines::Repeated* FoldedLines::Due(Time now) {
    const auto found =
        std::find_if(m_lines.begin(), m_lines.end(), [now](const Repeated& repeated) {
            return repeated.count > 0 && now - repeated.since >= kEvery;
        });
    return found == m_lines.end() ? nullptr : &*found;
}

FoldedLines::Repeated* FoldedLines::InTheWay() {
    Repeated* const oldest = Oldest();
    return oldest->count > 0 ? oldest : nullptr;
}

FoldedLines::Repeated* FoldedLines::AnyCounted() {
    const auto found = std::find_if(m_lines.begin(), m_lines.end(),
                                    [](const Repeated& repeated) { return repeated.count > 0; });
    return found == m_lines.end() ? nullptr : &*found;
}

void FoldedLines::Told(Repeated& repeated, Time now) {
    repeated.count = 0;
    repeated.since = now;
}

void FoldedLines::Written(LogLine&& line, int result, Time now) noexcept {
    Repeated& place = *Oldest();
    place.line = std::move(line);
    place.result = result;
    place.count = 0;
    place.since = place.last = now;
    place.isUsed = true;
}

// A place that is free counts as the oldest.
FoldedLines::Repeated* FoldedLines::Oldest() {
    return &*std::min_element(m_lines.begin(), m_lines.end(),
                              [](const Repeated& one, const Repeated& other) {
                                  if (one.isUsed != other.isUsed) return !one.isUsed;
                                  return one.since < other.since;
                              });
}

std::string TextOf(const FoldedLines::Repeated& repeated, FoldedLines::Time now) {
    using std::chrono::duration_cast;
    using std::chrono::seconds;
    std::string text =
        std::to_string(repeated.count) + (repeated.count == 1 ? " time" : " times") + " more";
    const auto ago = duration_cast<seconds>(now - repeated.last);
    if (ago.count() > 0) text += ", the last " + std::to_string(ago.count()) + " s ago";
    return text + ": " + repeated.line.text;
}

}  // namespace applist
