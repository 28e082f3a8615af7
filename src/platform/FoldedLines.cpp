// SPDX-License-Identifier: MIT

#include "platform/FoldedLines.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "common/Joined.h"

namespace applist {

namespace {

bool AreAlike(const LogLine& one, const LogLine& other) {
    return one.priority == other.priority && one.text == other.text && one.tag == other.tag;
}

}  // namespace

int FoldedLines::Print(LogLine line, Time now) {
    const Repeated* const same = m_folds ? Count(line, now) : nullptr;
    const int told = TellDue(now);
    if (same != nullptr) return same->result;
    return told < 0 ? told : WriteNew(std::move(line), now);
}

void FoldedLines::Stop(Time now) {
    m_folds = false;
    for (Repeated& repeated : m_lines) {
        if (repeated.count > 0 && Tell(repeated, now) < 0) return;
    }
}

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

bool FoldedLines::IsOver(const Repeated& repeated, Time now) {
    return repeated.count == 0 && now - repeated.since >= kEvery;
}

int FoldedLines::TellDue(Time now) {
    for (Repeated& repeated : m_lines) {
        if (repeated.count == 0 || now - repeated.since < kEvery) continue;
        const int result = Tell(repeated, now);
        if (result < 0) return result;
    }
    return 0;
}

int FoldedLines::Tell(Repeated& repeated, Time now) {
    const int result = m_write(repeated.line, TextOf(repeated, now));
    if (result < 0) return result;
    repeated.count = 0;
    repeated.since = now;
    return result;
}

int FoldedLines::WriteNew(LogLine line, Time now) {
    Repeated& place = Oldest();
    const int told = place.count > 0 ? Tell(place, now) : 0;
    if (told < 0) return told;
    const int result = m_write(line, line.text);
    if (result >= 0 && m_folds) place = {std::move(line), result, 0, now, now, true};
    return result;
}

FoldedLines::Repeated& FoldedLines::Oldest() {
    return *std::min_element(m_lines.begin(), m_lines.end(),
                             [](const Repeated& one, const Repeated& other) {
                                 if (one.isUsed != other.isUsed) return !one.isUsed;
                                 return one.since < other.since;
                             });
}

std::string FoldedLines::TextOf(const Repeated& repeated, Time now) {
    using std::chrono::duration_cast;
    using std::chrono::seconds;
    const auto ago = duration_cast<seconds>(now - repeated.last).count();
    const std::string when =
        ago > 0 ? Joined({", the last ", Decimal(static_cast<std::uint64_t>(ago)), " s ago"})
                : std::string();
    return Joined({Decimal(repeated.count), repeated.count == 1 ? " time" : " times", " more", when,
                   ": ", repeated.line.text});
}

}  // namespace applist
