// SPDX-License-Identifier: MIT

#include "apps/applistctl/Table.h"

#include <algorithm>

#include "apps/applistctl/TextWidth.h"
#include "common/PrintableText.h"

namespace applist::ctl {

namespace {

const char kBold[] = "\033[1m";
const char kPlain[] = "\033[0m";

const char kSelected[] = "* ";
const char kNotSelected[] = "  ";
const char kGap[] = "  ";
constexpr std::size_t kAround = 4;  // the mark and the gap

// However long the ids are, a name keeps this many columns if it needs them: a table of ids alone
// would not be recognised.
constexpr std::size_t kLeastName = 8;

struct Columns {
    std::size_t name;
    std::size_t id;
};

Columns FitInto(std::size_t width, Columns wanted) {
    const std::size_t room = width > kAround ? width - kAround : 0;
    if (wanted.name + wanted.id <= room) return wanted;
    const std::size_t least = std::min({wanted.name, kLeastName, room});
    const std::size_t beside = room > wanted.id ? room - wanted.id : 0;
    const std::size_t name = std::min(wanted.name, std::max(least, beside));
    return {name, room - name};
}

std::string Line(const Entry& cells, bool isSelected, bool isBold, const Columns& columns) {
    const std::string name = CutTo(cells.name, columns.name);
    std::string line = isSelected ? kSelected : kNotSelected;
    line += name;
    // By hand, as setw counts bytes and not columns.
    line.append(columns.name - WidthOf(name), ' ');
    line += kGap;
    line += CutTo(cells.id, columns.id);
    if (isBold) line = kBold + line + kPlain;
    return line + '\n';
}

}  // namespace

std::string TableOf(const std::vector<Entry>& items, std::optional<std::size_t> selected,
                    std::size_t width, bool colours) {
    const Entry header = {"NAME", "ID"};
    std::vector<Entry> cells;
    Columns columns = {header.name.size(), header.id.size()};
    for (const Entry& item : items) {
        cells.push_back({PrintableText(item.name), PrintableText(item.id)});
        columns.name = std::max(columns.name, WidthOf(cells.back().name));
        columns.id = std::max(columns.id, WidthOf(cells.back().id));
    }
    // Measured on the printable text: \xNN is wider than the byte for which it stands.
    columns = FitInto(width, columns);
    std::string table = Line(header, false, colours, columns);
    for (std::size_t at = 0; at < cells.size(); ++at) {
        const bool isSelected = selected == at;
        table += Line(cells[at], isSelected, colours && isSelected, columns);
    }
    return table;
}

}  // namespace applist::ctl
