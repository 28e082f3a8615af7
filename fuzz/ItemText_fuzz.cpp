// SPDX-License-Identifier: MIT

// The text of items: everything that reads it agrees with a plain reader, and everything that
// writes it with a plain writer, whatever the bytes are.

#include "common/ItemText.h"
#include "common/ItemTextWriter.h"

#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "applist/ReferenceService.h"
#include "applist/RemoteAppListItem.h"
#include "fuzz/Check.h"
#include "fuzz/Input.h"

using applist::ItemText;
using applist::ItemTextWriter;
using applist::fuzz::Check;
using applist::fuzz::Input;
using applist::fuzz::kFaultIsPlanted;
using std::string;
using Item = ReferenceService::Item;

namespace {

// Planted: takes a letter after a written backslash for an escape, as replacing one escape after
// another in the whole string does.
string VisibleNameOf(const ItemText& text) {
    string name = text.VisibleName();
    const std::size_t at = name.find("\\t");
    if (kFaultIsPlanted && at != string::npos) name.replace(at, 2, "\t");
    return name;
}

string Inserted(const RemoteAppListItem& item) {
    std::ostringstream out;
    out << item;
    return out.str();
}

string Appended(const string& name, const string& id) {
    ItemTextWriter writer(0);
    writer.Append(name, id);
    const std::vector<char> text = std::move(writer).Take();
    return string(text.begin(), text.end());
}

void CheckWriting(const Item& item) {
    const string text = ReferenceService::WriteItem(item);
    Check(text == Appended(item.name, item.id), "the buffer gets the item's only text");
    Check(text == Inserted(RemoteAppListItem(item.name, item.id)), "so does a stream");
    Check(text.size() == ItemText::SizeOf(item.name, item.id), "its size is known beforehand");
}

void CheckItem(const Item& expected, const ItemText& text, RemoteAppListItem& extracted) {
    Check(VisibleNameOf(text) == expected.name, "the name is what was written");
    Check(text.UniqueId() == expected.id, "the id is what was written");
    Check(extracted == RemoteAppListItem(expected.name, expected.id), "the stream gives the same");
    Check(ReferenceService::WriteItem(expected) == string(text.Line()) + '\n', "one text an item");
    CheckWriting(expected);
}

// Takes one line off both. Returns false at the end.
bool CheckLine(std::string_view& left, std::istringstream& in) {
    const std::string_view before = left;
    const string line = string(before.substr(0, before.find('\n')));
    const bool isLine = line.size() < before.size();
    Item expected{0, "", ""};
    const bool isItem = isLine && ReferenceService::ReadLine(line, expected);

    RemoteAppListItem extracted("as", "before");
    in >> extracted;
    const std::optional<ItemText> text = ItemText::Take(left);
    Check(in.good() == isItem && text.has_value() == isItem, "all agree on what is an item");
    Check(in.eof() == !isLine, "a stream's end is reached only where a line has none");
    Check(left.size() == before.size() - (isLine ? line.size() + 1 : 0), "a line at a time");
    if (isItem) CheckItem(expected, *text, extracted);
    if (!isItem) Check(extracted == RemoteAppListItem("as", "before"), "no item, no change");
    if (isLine) Check((ItemText::FaultOf(line) == ItemText::Fault::kNone) == isItem, "a reason");
    in.clear();
    return isLine;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const string text(input.Rest());
    std::string_view left = text;
    std::istringstream in(text);
    while (CheckLine(left, in)) {
    }
    // The same bytes again, as the strings of an item.
    const std::size_t half = text.empty() ? 0 : static_cast<unsigned char>(text[0]) % text.size();
    CheckWriting(Item{0, text.substr(0, half), text.substr(half)});
    return 0;
}
