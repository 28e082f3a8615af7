// SPDX-License-Identifier: MIT

#include "apps/applistctl/Suggestion.h"

#include <algorithm>
#include <cctype>
#include <cstddef>

namespace applist::ctl {

namespace {

// Words that people type are shorter, and the time grows with the square of the length.
constexpr std::size_t kLongestWord = 64;

std::string LowerCase(std::string word) {
    for (char& letter : word) {
        letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    }
    return word;
}

// The number of letters that must be added, dropped, changed or swapped with their neighbour to
// turn one word into the other.
std::size_t Distance(const std::string& from, const std::string& to) {
    std::vector<std::vector<std::size_t>> steps(from.size() + 1,
                                                std::vector<std::size_t>(to.size() + 1));
    for (std::size_t i = 0; i <= from.size(); ++i) steps[i][0] = i;
    for (std::size_t j = 0; j <= to.size(); ++j) steps[0][j] = j;
    for (std::size_t i = 1; i <= from.size(); ++i) {
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const std::size_t changed = from[i - 1] == to[j - 1] ? 0 : 1;
            steps[i][j] =
                std::min({steps[i - 1][j] + 1, steps[i][j - 1] + 1, steps[i - 1][j - 1] + changed});
            const bool swapped =
                i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1];
            if (swapped) steps[i][j] = std::min(steps[i][j], steps[i - 2][j - 2] + 1);
        }
    }
    return steps[from.size()][to.size()];
}

}  // namespace

std::string NearestOf(const std::vector<std::string>& known, const std::string& word) {
    if (word.empty() || word.size() > kLongestWord) return std::string();
    const std::string typed = LowerCase(word);
    std::string nearest;
    // Up to half of the letters may be wrong, but no more than two: past that it is another word.
    std::size_t least = std::min<std::size_t>(2, word.size() / 2) + 1;
    for (const std::string& candidate : known) {
        const std::string meant = LowerCase(candidate);
        if (meant.compare(0, typed.size(), typed) == 0) return candidate;
        const std::size_t distance = Distance(typed, meant);
        if (distance >= least) continue;
        least = distance;
        nearest = candidate;
    }
    return nearest;
}

}  // namespace applist::ctl
