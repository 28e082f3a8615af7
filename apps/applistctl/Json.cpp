// SPDX-License-Identifier: MIT

// Put together by hand: the library's objects and arrays need memory to be destroyed, and end the
// program when there is none. It writes the strings, whose bytes may be anything.

#include "apps/applistctl/Json.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdio>
#include <utility>

#include "common/PrintableText.h"

namespace applist::ctl {

namespace {

struct Control {
    unsigned code;
    std::size_t length;  // 0: none
};

// Finds DEL, the C1 controls and the marks that turn the direction of text: all are valid in a JSON
// string as they are, and all change what a terminal shows.
Control ControlAt(const std::string& text, std::size_t at) {
    const auto byte = [&](std::size_t next) { return static_cast<unsigned char>(text[at + next]); };
    if (byte(0) == 0x7F) return {0x7F, 1};
    if (byte(0) == 0xC2 && byte(1) < 0xA0) return {byte(1), 2};
    const std::size_t mark = DirectionMarkLength(text, at);
    if (mark == 0) return {0, 0};
    // Decodes UTF-8 of two bytes, then of three; there are no marks of four.
    if (mark == 2) return {(byte(0) & 0x1FU) << 6 | (byte(1) & 0x3FU), mark};
    return {0x2000U | (byte(1) & 0x3FU) << 6 | (byte(2) & 0x3FU), mark};
}

// Done on the finished string: what was not UTF-8 has been replaced by then.
std::string EscapeControls(const std::string& json) {
    std::string safe;
    safe.reserve(json.size());
    for (std::size_t at = 0; at < json.size();) {
        const Control control = ControlAt(json, at);
        if (control.length == 0) {
            safe += json[at++];
            continue;
        }
        char escape[sizeof("\\u0000")];
        std::snprintf(escape, sizeof(escape), "\\u%04x", control.code);
        safe += escape;
        at += control.length;
    }
    return safe;
}

// `replace`: by default the library throws on bytes that are not UTF-8.
std::string Quoted(const std::string& text) {
    const auto replace = nlohmann::json::error_handler_t::replace;
    return EscapeControls(nlohmann::json(text).dump(-1, ' ', false, replace));
}

// What stands before a value that is `depth` brackets deep.
std::string Break(JsonStyle style, std::size_t depth) {
    return style == JsonStyle::Pretty ? '\n' + std::string(2 * depth, ' ') : std::string();
}

// Keys, and values that are JSON already.
using Members = std::vector<std::pair<const char*, std::string>>;

std::string ObjectOf(const Members& members, JsonStyle style, std::size_t depth) {
    std::string text = "{";
    for (const auto& [key, value] : members) {
        if (text.size() > 1) text += ',';
        text += Break(style, depth + 1) + Quoted(key);
        text += (style == JsonStyle::Pretty ? ": " : ":") + value;
    }
    return text + Break(style, depth) + '}';
}

std::string ArrayOf(const std::vector<Members>& objects, JsonStyle style) {
    if (objects.empty()) return "[]";
    std::string text = "[";
    for (const Members& object : objects) {
        if (text.size() > 1) text += ',';
        text += Break(style, 1) + ObjectOf(object, style, 1);
    }
    return text + Break(style, 0) + ']';
}

Members MembersOf(const Entry& item) {
    return {{"name", Quoted(item.name)}, {"id", Quoted(item.id)}};
}

}  // namespace

std::string JsonOf(const ListState& list, JsonStyle style) {
    std::vector<Members> objects;
    objects.reserve(list.items.size());
    for (std::size_t at = 0; at < list.items.size(); ++at) {
        objects.push_back(MembersOf(list.items[at]));
        objects.back().emplace_back("selected", list.selected == at ? "true" : "false");
    }
    return ArrayOf(objects, style);
}

std::string JsonOf(const std::vector<Entry>& items, JsonStyle style) {
    std::vector<Members> objects;
    objects.reserve(items.size());
    for (const Entry& item : items) objects.push_back(MembersOf(item));
    return ArrayOf(objects, style);
}

std::string JsonOf(const std::optional<Entry>& item, JsonStyle style) {
    return item ? ObjectOf(MembersOf(*item), style, 0) : "null";
}

std::string JsonOf(const Event& event, JsonStyle style) {
    Members members = {{"event", Quoted(event.what)}};
    if (event.item) {
        for (auto& member : MembersOf(*event.item)) members.push_back(std::move(member));
    }
    if (event.before) {
        members.emplace_back("old_name", Quoted(event.before->name));
        members.emplace_back("old_id", Quoted(event.before->id));
    }
    if (event.count) members.emplace_back("count", std::to_string(*event.count));
    for (const Tally& tally : event.tallies) {
        members.emplace_back(tally.what, std::to_string(tally.count));
    }
    return ObjectOf(members, style, 0);
}

std::string JsonOf(const Status& status, JsonStyle style) {
    const auto number = [](const auto& value) {
        return value ? std::to_string(*value) : std::string("null");
    };
    return ObjectOf({{"bus", Quoted(status.bus)},
                     {"owner", Quoted(status.owner)},
                     {"pid", number(status.pid)},
                     {"program", status.program ? Quoted(*status.program) : "null"},
                     {"items", std::to_string(status.items)},
                     {"selection",
                      status.selection ? ObjectOf(MembersOf(*status.selection), style, 1) : "null"},
                     {"partners", number(status.partners)},
                     {"serial", number(status.serial)}},
                    style, 0);
}

std::string JsonOf(const std::string& bytes, JsonStyle) {
    return Quoted(bytes);
}

}  // namespace applist::ctl
