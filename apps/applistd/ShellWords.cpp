// SPDX-License-Identifier: MIT

#include "apps/applistd/ShellWords.h"

#include <cstddef>
#include <stdexcept>

namespace applist::daemon {

namespace {

bool IsEscape(std::string_view rest) {
    constexpr std::string_view kSpecial = "$`\"\\";
    return rest.size() > 1 && rest[0] == '\\' && kSpecial.find(rest[1]) != std::string_view::npos;
}

// Appends what is between the quote at the beginning of `rest` and the next one, and returns how
// long that is with both quotes.
std::size_t TakeQuoted(std::string_view rest, std::string& word) {
    const char quote = rest[0];
    for (std::size_t at = 1; at < rest.size(); ++at) {
        if (rest[at] == quote) return at + 1;
        if (quote == '"' && IsEscape(rest.substr(at))) ++at;
        word += rest[at];
    }
    throw std::invalid_argument(std::string("a ") + quote + " without a second one; add it, or " +
                                "\\ in front for the character itself");
}

std::size_t TakeEscaped(std::string_view rest, std::string& word) {
    if (rest.size() == 1) {
        throw std::invalid_argument(
            "the command ends with a single \\; write \\\\ for a backslash");
    }
    word += rest[1];
    return 2;
}

// Appends the character that `rest` begins with, or all that it quotes, and returns how long that
// is in `rest`.
std::size_t TakePiece(std::string_view rest, std::string& word) {
    if (rest[0] == '\'' || rest[0] == '"') return TakeQuoted(rest, word);
    if (rest[0] == '\\') return TakeEscaped(rest, word);
    word += rest[0];
    return 1;
}

}  // namespace

std::vector<std::string> ShellWords(std::string_view line) {
    std::vector<std::string> words;
    bool isInWord = false;
    while (!line.empty() && (isInWord || line[0] != '#')) {
        const bool isBlank = line[0] == ' ' || line[0] == '\t';
        if (!isBlank && !isInWord) words.emplace_back();
        isInWord = !isBlank;
        line.remove_prefix(isBlank ? 1 : TakePiece(line, words.back()));
    }
    return words;
}

}  // namespace applist::daemon
