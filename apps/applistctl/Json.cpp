#include "apps/applistctl/Json.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdio>

#include "common/PrintableText.h"

namespace applist::ctl {

using Json = nlohmann::ordered_json;

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

// Done on the finished JSON: outside strings these characters do not occur, and what was not UTF-8
// has been replaced by then.
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

std::string TextOf(const Json& json, JsonStyle style) {
    const int indent = style == JsonStyle::Pretty ? 2 : -1;
    // `replace`: by default the library throws on bytes that are not UTF-8.
    return EscapeControls(json.dump(indent, ' ', false, Json::error_handler_t::replace));
}

Json ObjectOf(const Entry& item) {
    return {{"name", item.name}, {"id", item.id}};
}

}  // namespace

std::string JsonOf(const ListState& list, JsonStyle style) {
    Json array = Json::array();
    for (std::size_t at = 0; at < list.items.size(); ++at) {
        Json object = ObjectOf(list.items[at]);
        object["selected"] = list.selected == at;
        array.push_back(std::move(object));
    }
    return TextOf(array, style);
}

std::string JsonOf(const std::vector<Entry>& items, JsonStyle style) {
    Json array = Json::array();
    for (const Entry& item : items) array.push_back(ObjectOf(item));
    return TextOf(array, style);
}

std::string JsonOf(const std::optional<Entry>& item, JsonStyle style) {
    return TextOf(item ? ObjectOf(*item) : Json(), style);
}

std::string JsonOf(const Event& event, JsonStyle style) {
    Json object = {{"event", event.what}};
    if (event.item) object.update(ObjectOf(*event.item));
    if (event.before) {
        object["old_name"] = event.before->name;
        object["old_id"] = event.before->id;
    }
    if (event.count) object["count"] = *event.count;
    return TextOf(object, style);
}

std::string JsonOf(const std::string& bytes, JsonStyle style) {
    return TextOf(Json(bytes), style);
}

}  // namespace applist::ctl
