#include "apps/common/ItemLines.h"

#include <cerrno>
#include <cstddef>
#include <fstream>
#include <iostream>
#include <sstream>
#include <system_error>

namespace {

std::string DescribeEscape(const std::string& line, std::size_t backslash) {
    if (backslash + 1 == line.size() || line[backslash + 1] == '\t') {
        return "a single \\ ends the name or the id: write \\\\ for it";
    }
    return "unknown escape \\" + line.substr(backslash + 1, 1) +
           ": only \\\\, \\t and \\n are known";
}

// Returns why `line` is no item. The item's own reader tells only that it is none.
std::string DescribeFault(const std::string& line) {
    const std::size_t separator = line.find('\t');
    if (separator == std::string::npos) return "no TAB between name and id";
    if (line.find('\t', separator + 1) != std::string::npos) {
        return "a second TAB: write \\t for a TAB inside the name or the id";
    }
    for (std::size_t at = line.find('\\'); at != std::string::npos; at = line.find('\\', at + 2)) {
        const char letter = at + 1 < line.size() ? line[at + 1] : '\0';
        if (letter != '\\' && letter != 't' && letter != 'n') return DescribeEscape(line, at);
    }
    return "not an item";
}

}  // namespace

std::vector<RemoteAppListItem> ReadItemLines(std::istream& in, const std::string& source) {
    std::vector<RemoteAppListItem> items;
    std::string line;
    for (std::size_t number = 1; std::getline(in, line); ++number) {
        const std::string place = source + ":" + std::to_string(number) + ": ";
        if (in.eof()) throw ItemLinesError(place + "the last line does not end with a line feed");
        std::istringstream text(line + '\n');
        RemoteAppListItem item;
        if (!(text >> item)) throw ItemLinesError(place + DescribeFault(line));
        items.push_back(item);
    }
    if (in.bad()) {
        throw ItemLinesError("cannot read " + source + "; name a file with one item a line");
    }
    return items;
}

std::vector<RemoteAppListItem> ReadItemFile(const std::string& path) {
    if (path == "-") return ReadItemLines(std::cin, "standard input");
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        const std::error_code cause(errno, std::generic_category());
        throw ItemLinesError("cannot open " + path + ": " + cause.message() +
                             "; name a file with one item a line");
    }
    return ReadItemLines(in, path);
}
