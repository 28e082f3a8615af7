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
const char kBelow[] = "    ";
constexpr std::size_t kMark = 2;
constexpr std::size_t kAround = 4;  // the mark and the gap

// A name of fewer columns would not be recognised.
constexpr std::size_t kLeastName = 8;

struct Columns {
    std::size_t name;
    std::size_t id;
};

std::string Line(const Entry& cells, bool isSelected, bool isBold, std::size_t nameWidth) {
    const std::string name = CutTo(cells.name, nameWidth);
    std::string line = isSelected ? kSelected : kNotSelected;
    line += name;
    // By hand, as setw counts bytes and not columns.
    line.append(nameWidth - WidthOf(name), ' ');
    line += kGap;
    line += cells.id;
    if (isBold) line = kBold + line + kPlain;
    return line + '\n';
}

// For a terminal that has no room for both: the id below the name, whole, as it is what people type
// and copy. A terminal with no room for a name shows it whole as well, in as many lines as it
// takes.
std::string Stacked(const Entry& cells, bool isSelected, bool isBold, std::size_t width) {
    const bool hasRoom = width >= kMark + kLeastName;
    std::string text = isSelected ? kSelected : kNotSelected;
    text += hasRoom ? CutTo(cells.name, width - kMark) : cells.name;
    text += '\n';
    text += hasRoom ? kBelow : "";
    text += cells.id;
    if (isBold) text = kBold + text + kPlain;
    return text + '\n';
}

bool FitsBeside(std::size_t width, Columns wanted) {
    return width >= kAround + std::min(wanted.name, kLeastName) + wanted.id;
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
    const bool isBeside = FitsBeside(width, columns);
    if (isBeside) columns.name = std::min(columns.name, width - kAround - columns.id);
    const auto text = [&](const Entry& entry, bool isSelected, bool isBold) {
        return isBeside ? Line(entry, isSelected, isBold, columns.name)
                        : Stacked(entry, isSelected, isBold, width);
    };
    std::string table = text(header, false, colours);
    for (std::size_t at = 0; at < cells.size(); ++at) {
        const bool isSelected = selected == at;
        table += text(cells[at], isSelected, colours && isSelected);
    }
    return table;
}

}  // namespace applist::ctl
