// SPDX-License-Identifier: MIT

#include "ByHand.h"

#include <cstring>
#include <random>

namespace bench {

namespace {

// Lines that fit are put together here before they are appended; few are longer.
constexpr std::size_t kUsualLine = 512;

const char* Find(char c, const char* from, const char* end) {
    return static_cast<const char*>(std::memchr(from, c, static_cast<std::size_t>(end - from)));
}

void PutTogether(const PlainItem& item, char* line) {
    line += item.visibleName.copy(line, item.visibleName.size());
    *line++ = '\t';
    line += item.uniqueId.copy(line, item.uniqueId.size());
    *line = '\n';
}

// True when the only TAB of the line is the one at `separator`, the only LF is its last byte, and
// there is no backslash.
bool StandsAsItIs(const char* line, const char* separator, const char* end) {
    return Find('\\', line, end) == nullptr && Find('\n', line, end) == end - 1 &&
           Find('\t', line, end) == separator && Find('\t', separator + 1, end) == nullptr;
}

std::string Escaped(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        switch (c) {
            case '\\': escaped += "\\\\"; break;
            case '\t': escaped += "\\t"; break;
            case '\n': escaped += "\\n"; break;
            default: escaped += c;
        }
    }
    return escaped;
}

bool Unescape(const char* from, const char* end, std::string& to) {
    to.clear();
    for (; from != end; ++from) {
        if (*from != '\\') {
            to += *from;
            continue;
        }
        if (++from == end) return false;
        switch (*from) {
            case '\\': to += '\\'; break;
            case 't': to += '\t'; break;
            case 'n': to += '\n'; break;
            default: return false;
        }
    }
    return true;
}

std::string Word(std::mt19937& random, std::size_t shortest, std::size_t longest) {
    std::string word(shortest + random() % (longest - shortest + 1), ' ');
    for (char& letter : word) letter = static_cast<char>('a' + random() % 26);
    return word;
}

}  // namespace

void AppendByHand(const PlainItem& item, std::string& text) {
    const std::size_t size = item.visibleName.size() + item.uniqueId.size() + 2;
    char line[kUsualLine];
    if (size <= kUsualLine) {
        PutTogether(item, line);
        if (StandsAsItIs(line, line + item.visibleName.size(), line + size)) {
            text.append(line, size);
            return;
        }
    }
    text += Escaped(item.visibleName) + '\t' + Escaped(item.uniqueId) + '\n';
}

const char* ReadByHand(const char* at, const char* end, PlainItem& item) {
    const char* const lineEnd = Find('\n', at, end);
    if (lineEnd == nullptr) return nullptr;
    const char* const separator = Find('\t', at, lineEnd);
    if (separator == nullptr || Find('\t', separator + 1, lineEnd) != nullptr) return nullptr;
    if (Find('\\', at, lineEnd) == nullptr) {
        item.visibleName.assign(at, separator);
        item.uniqueId.assign(separator + 1, lineEnd);
        return lineEnd + 1;
    }
    PlainItem read;
    if (!Unescape(at, separator, read.visibleName)) return nullptr;
    if (!Unescape(separator + 1, lineEnd, read.uniqueId)) return nullptr;
    item = std::move(read);
    return lineEnd + 1;
}

std::vector<PlainItem> SampleItems(std::size_t count) {
    std::mt19937 random(1);  // its numbers are fixed by the language, those of distributions not
    std::vector<PlainItem> items;
    items.reserve(count);
    while (items.size() < count) {
        PlainItem item;
        item.visibleName = Word(random, 3, 11);
        for (std::size_t more = random() % 3; more > 0; --more) {
            item.visibleName += ' ' + Word(random, 3, 11);
        }
        item.uniqueId = "org." + Word(random, 3, 12) + "." + Word(random, 5, 20) + ".desktop";
        items.push_back(item);
    }
    return items;
}

}  // namespace bench
