#include "apps/common/ItemLines.h"

#include <cstddef>
#include <sstream>

namespace applist {

namespace {

// `next` follows a backslash. Not shown when it is but the first byte of a letter.
std::string DescribeEscape(char next) {
    if (next == '\t' || next == '\n') {
        return "a single \\ ends the name or the id; write \\\\ for it";
    }
    const bool isWhole = static_cast<unsigned char>(next) < 0x80;
    return "unknown escape \\" + std::string(isWhole ? 1 : 0, next) +
           "; write \\\\ for a backslash, as only \\\\, \\t and \\n are known";
}

// Returns why `line`, its end included, is no item. The item's own reader tells only that.
std::string DescribeFault(const std::string& line) {
    const std::size_t separator = line.find('\t');
    if (separator == std::string::npos) return "no TAB between name and id; write one there";
    if (line.find('\t', separator + 1) != std::string::npos) {
        return "a second TAB; write \\t for a TAB inside the name or the id";
    }
    for (std::size_t at = line.find('\\'); at != std::string::npos; at = line.find('\\', at + 2)) {
        const char next = line[at + 1];
        if (next != '\\' && next != 't' && next != 'n') return DescribeEscape(next);
    }
    return "not an item; write a name, a TAB and an id";
}

}  // namespace

std::vector<RemoteAppListItem> ReadItemLines(const std::string& text, const std::string& source) {
    std::vector<RemoteAppListItem> items;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::string place = source + ":" + std::to_string(items.size() + 1) + ": ";
        const std::size_t end = text.find('\n', begin);
        if (end == std::string::npos) {
            throw InputError(place + "the last line does not end with a line feed; add one");
        }
        const std::string line = text.substr(begin, end + 1 - begin);
        std::istringstream in(line);
        RemoteAppListItem item;
        if (!(in >> item)) throw InputError(place + DescribeFault(line));
        items.push_back(item);
        begin = end + 1;
    }
    return items;
}

std::vector<RemoteAppListItem> ReadItemFile(const std::string& path) {
    return ReadItemLines(ReadText(path), SourceName(path));
}

}  // namespace applist
