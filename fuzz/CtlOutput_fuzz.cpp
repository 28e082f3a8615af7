// SPDX-License-Identifier: MIT

// What applistctl prints of two lists with hostile names, and of what turned one into the other: a
// terminal gets nothing that it would obey, and a program gets JSON that says what the list says.
//
// Input: the width, which item is selected, then two lists of items. A list ends with 0x1D, an item
// with 0x1E, a name with 0x1F.

#include <nlohmann/json.hpp>

#include <cstddef>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "apps/applistctl/Differences.h"
#include "apps/applistctl/Json.h"
#include "apps/applistctl/Output.h"
#include "apps/applistctl/Table.h"
#include "apps/applistctl/TextWidth.h"
#include "common/PrintableText.h"
#include "fuzz/Check.h"
#include "fuzz/Input.h"

using applist::PrintableText;
using applist::fuzz::Check;
using applist::fuzz::Input;
using applist::fuzz::kFaultIsPlanted;
using namespace applist::ctl;
using Json = nlohmann::json;
using std::string;

namespace {

// In the narrowest tables nothing is cut.
constexpr std::size_t kLeastWidth = 8;
constexpr std::size_t kLeastCut = 10;

// What begins at `at`: a code point and its length, or nothing when it is not UTF-8.
struct Character {
    char32_t code;
    std::size_t length;
};

std::optional<Character> CharacterAt(const string& text, std::size_t at) {
    const auto byte = [&](std::size_t next) { return static_cast<unsigned char>(text[next]); };
    const unsigned char lead = byte(at);
    if (lead < 0x80) return Character{lead, 1};
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC0 || lead > 0xF7 || text.size() - at < length) return std::nullopt;
    char32_t code = lead & (0x7FU >> length);
    for (std::size_t next = at + 1; next < at + length; ++next) {
        if ((byte(next) & 0xC0U) != 0x80) return std::nullopt;
        code = code << 6 | (byte(next) & 0x3FU);
    }
    const char32_t least = length == 2 ? 0x80 : length == 3 ? 0x800 : 0x10000;
    const bool isSurrogate = code >= 0xD800 && code <= 0xDFFF;
    if (code < least || code > 0x10FFFF || isSurrogate) return std::nullopt;
    return Character{code, length};
}

bool IsObeyed(char32_t code) {
    return code < 0x20 || (code >= 0x7F && code < 0xA0) || code == 0x061C || code == 0x200E ||
           code == 0x200F || (code >= 0x202A && code <= 0x202E) ||
           (code >= 0x2066 && code <= 0x2069);
}

bool IsUtf8(const string& text) {
    for (std::size_t at = 0; at < text.size();) {
        const std::optional<Character> next = CharacterAt(text, at);
        if (!next) return false;
        at += next->length;
    }
    return true;
}

void CheckSafe(const string& text) {
    Check(IsUtf8(text), "it is UTF-8");
    for (std::size_t at = 0; at < text.size();) {
        const Character next = *CharacterAt(text, at);
        Check(!IsObeyed(next.code), "it has nothing that a terminal obeys");
        at += next.length;
    }
}

std::vector<string> LinesOf(const string& text) {
    std::vector<string> lines;
    std::istringstream in(text);
    for (string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

string Without(string text, const string& sequence) {
    for (std::size_t at; (at = text.find(sequence)) != string::npos;)
        text.erase(at, sequence.size());
    return text;
}

bool EndsWith(const string& text, const string& end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

void CheckTable(const ListState& list, std::size_t width) {
    const string table = TableOf(list.items, list.selected, width, false);
    const std::vector<string> lines = LinesOf(table);
    const std::size_t rows = list.items.size() + 1;
    const std::size_t each = lines.size() / rows;
    Check(lines.size() == each * rows && (each == 1 || each == 2),
          "a line or two for the header and for each item");
    for (std::size_t at = 0; at < lines.size(); ++at) {
        CheckSafe(lines[at]);
        const bool isWhole = each == 2 && (at % 2 == 1 || width < kLeastCut);
        Check(isWhole || WidthOf(lines[at]) <= width, "no name makes a line too wide");
    }
    for (std::size_t row = 1; row < rows; ++row) {
        Check(EndsWith(lines[row * each + each - 1], PrintableText(list.items[row - 1].id)),
              "every id is whole");
    }
    const string colours = TableOf(list.items, list.selected, width, true);
    Check(Without(Without(colours, "\033[1m"), "\033[0m") == table, "colours change nothing else");
}

// Planted: the lower half of the C1 controls is forgotten.
string Spoilt(string json) {
    const std::size_t at = json.find("\\u008");
    const bool isEscape = at != string::npos && (at == 0 || json[at - 1] != '\\');
    if (kFaultIsPlanted && isEscape) json.replace(at, 6, "\u0085");
    return json;
}

void CheckString(const Json& json, const string& bytes) {
    const string text = json.get<string>();
    if (IsUtf8(bytes)) return Check(text == bytes, "what was UTF-8 comes through JSON unchanged");
    Check(IsUtf8(text) && text.find("\uFFFD") != string::npos, "what was not is seen to be lost");
}

void CheckItem(const Json& json, const Entry& item) {
    CheckString(json.at("name"), item.name);
    CheckString(json.at("id"), item.id);
}

// Parsed again, and safe to look at in both styles.
template <class Subject>
Json Parsed(const Subject& subject) {
    const string text = Spoilt(JsonOf(subject, JsonStyle::Short));
    CheckSafe(text);
    for (const string& line : LinesOf(JsonOf(subject, JsonStyle::Pretty))) CheckSafe(line);
    const Json json = Json::parse(text);
    Check(json == Json::parse(JsonOf(subject, JsonStyle::Pretty)), "both styles say the same");
    return json;
}

void CheckJson(const ListState& list) {
    const Json json = Parsed(list);
    Check(json.size() == list.items.size(), "an element for each item");
    for (std::size_t at = 0; at < list.items.size(); ++at) {
        CheckItem(json[at], list.items[at]);
        Check(json[at].at("selected") == (list.selected == at), "one of them is selected");
        CheckSafe(Describe(list.items[at]));
        CheckSafe(PrintableText(list.items[at].name));
    }
    CheckItem(Parsed(std::make_optional(list.selection)), list.selection);
}

void CheckEvents(const ListState& before, const ListState& now) {
    std::size_t size = before.items.size();
    for (const Event& event : Differences(before, now)) {
        const Json json = Parsed(event);
        Check(json.at("event") == event.what, "the word by which programs know the event");
        if (event.item) CheckItem(json, *event.item);
        if (event.before) CheckString(json.at("old_id"), event.before->id);
        if (event.what == "added") ++size;
        if (event.what == "removed") --size;
    }
    Check(size == now.items.size(), "the events turn one list into the other");
}

ListState TakeList(Input input, unsigned selected) {
    ListState list;
    while (!input.IsEmpty()) {
        Input item(input.Part());
        const string name(item.Part('\x1f'));
        list.items.push_back({name, string(item.Rest())});
    }
    if (list.items.empty()) return list;
    list.selected = selected % list.items.size();
    list.selection = list.items[*list.selected];
    return list;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool isUtf8 = (UseUtf8Locale(), true);
    Check(isUtf8, "widths are those of UTF-8");
    Input input(data, size);
    const std::size_t width = kLeastWidth + input.Byte();
    const unsigned selected = input.Byte();
    const ListState before = TakeList(Input(input.Part('\x1d')), selected);
    const ListState now = TakeList(input, selected);
    CheckTable(before, width);
    CheckJson(before);
    CheckEvents(before, now);
    return 0;
}
