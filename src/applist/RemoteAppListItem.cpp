#include "applist/RemoteAppListItem.h"

#include <cstring>
#include <istream>
#include <ostream>
#include <utility>

namespace {

const char kSeparator = '\t';
const char kTerminator = '\n';
const char kEscape = '\\';

// Returns the letter that stands for `c` after a backslash, or 0 when `c` stands as it is.
char EscapeOf(char c) {
    switch (c) {
        case kEscape: return kEscape;
        case kSeparator: return 't';
        case kTerminator: return 'n';
        default: return 0;
    }
}

// Without a branch in the loop, so that a compiler can look at many bytes at once.
bool NeedsEscape(const std::string& text) {
    unsigned found = 0;
    for (const char c : text) {
        found |= static_cast<unsigned>(c == kEscape) | static_cast<unsigned>(c == kSeparator) |
                 static_cast<unsigned>(c == kTerminator);
    }
    return found != 0;
}

bool WriteBytes(std::streambuf& to, const char* from, const char* end) {
    return to.sputn(from, end - from) == end - from;
}

bool WriteByte(std::streambuf& to, char c) {
    return !std::streambuf::traits_type::eq_int_type(to.sputc(c),
                                                     std::streambuf::traits_type::eof());
}

bool WriteEscaped(std::streambuf& to, const std::string& text) {
    const char* run = text.data();
    const char* const end = run + text.size();
    if (!NeedsEscape(text)) return WriteBytes(to, run, end);
    for (const char* at = run; at != end; ++at) {
        const char letter = EscapeOf(*at);
        if (letter == 0) continue;
        if (!WriteBytes(to, run, at) || !WriteByte(to, kEscape) || !WriteByte(to, letter)) {
            return false;
        }
        run = at + 1;
    }
    return WriteBytes(to, run, end);
}

void SetBadbitQuietly(std::ostream& out) {
    try {
        out.setstate(std::ios_base::badbit);
    } catch (const std::ios_base::failure&) {
        // The bit is set all the same, and the caller has a better exception to let through.
    }
}

// Undoes the escapes of the bytes from `from` to `end`, in place. Returns the new end, or null at
// an unknown escape or at a backslash with nothing after it.
char* Unescape(char* from, char* end) {
    char* to = from;
    for (; from != end; ++from) {
        if (*from != kEscape) {
            *to++ = *from;
            continue;
        }
        if (++from == end) return nullptr;
        switch (*from) {
            case kEscape: *to++ = kEscape; break;
            case 't': *to++ = kSeparator; break;
            case 'n': *to++ = kTerminator; break;
            default: return nullptr;
        }
    }
    return to;
}

char* Find(char c, char* from, char* end) {
    return static_cast<char*>(std::memchr(from, c, static_cast<std::size_t>(end - from)));
}

// Takes a line, without its terminator, apart; false, and both strings as they were, when it is no
// item. `line` becomes the unique id, so that only the name needs memory of its own.
bool ReadLine(std::string& line, std::string& visibleName, std::string& uniqueId) {
    char* const begin = &line[0];
    char* const end = begin + line.size();
    char* const separator = Find(kSeparator, begin, end);
    if (separator == nullptr || Find(kSeparator, separator + 1, end) != nullptr) return false;

    char* nameEnd = separator;
    char* idEnd = end;
    if (Find(kEscape, begin, end) != nullptr) {
        nameEnd = Unescape(begin, separator);
        idEnd = Unescape(separator + 1, end);
        if (nameEnd == nullptr || idEnd == nullptr) return false;
    }
    visibleName.assign(begin, nameEnd);
    line.resize(static_cast<std::size_t>(idEnd - begin));
    line.erase(0, static_cast<std::size_t>(separator + 1 - begin));
    uniqueId = std::move(line);
    return true;
}

}  // namespace

RemoteAppListItem::RemoteAppListItem(std::string visibleName, std::string uniqueId)
    : m_visibleName(std::move(visibleName)), m_uniqueId(std::move(uniqueId)) {}

RemoteAppListItem::RemoteAppListItem(AppListItem& item)
    : m_visibleName(item.GetVisibleName()), m_uniqueId(item.GetUnigueId()) {}

std::string RemoteAppListItem::GetVisibleName() {
    return m_visibleName;
}

std::string RemoteAppListItem::GetUnigueId() {
    return m_uniqueId;
}

// Straight to the buffer: one sentry for the item instead of one for each piece. The price is that
// what a buffer throws must be dealt with here, the way the library's own inserters do: it sets
// badbit, and gets through only to those who asked the stream for exceptions.
std::ostream& operator<<(std::ostream& out, const RemoteAppListItem& item) {
    const std::ostream::sentry sentry(out);
    if (!sentry) return out;
    std::streambuf& to = *out.rdbuf();
    bool good = false;
    try {
        good = WriteEscaped(to, item.m_visibleName) && WriteByte(to, kSeparator) &&
               WriteEscaped(to, item.m_uniqueId) && WriteByte(to, kTerminator);
    } catch (...) {
        SetBadbitQuietly(out);
        if ((out.exceptions() & std::ios_base::badbit) != 0) throw;
        return out;
    }
    if (!good) out.setstate(std::ios_base::badbit);
    return out;
}

std::istream& operator>>(std::istream& in, RemoteAppListItem& item) {
    std::string line;
    if (!std::getline(in, line, kTerminator)) return in;
    // getline also stops where the data ends, and a line without its terminator is half an item.
    if (in.eof() || !ReadLine(line, item.m_visibleName, item.m_uniqueId)) {
        in.setstate(std::ios_base::failbit);
    }
    return in;
}
