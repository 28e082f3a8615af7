#include "apps/applistctl/Json.h"

#include <nlohmann/json.hpp>

#include <cstddef>

using Json = nlohmann::ordered_json;

namespace {

bool IsC1(const std::string& text, std::size_t at) {
    return text[at] == '\xC2' && at + 1 < text.size() &&
           static_cast<unsigned char>(text[at + 1]) < 0xA0;
}

// DEL and the C1 controls are valid in a JSON string, and orders to a terminal. Both occur in
// strings alone, so they can be escaped afterwards.
std::string EscapeControls(const std::string& json) {
    static const char kHex[] = "0123456789abcdef";
    std::string safe;
    safe.reserve(json.size());
    for (std::size_t at = 0; at < json.size(); ++at) {
        const bool isC1 = IsC1(json, at);
        if (!isC1 && json[at] != '\x7F') {
            safe += json[at];
            continue;
        }
        const auto code = static_cast<unsigned char>(isC1 ? json[++at] : json[at]);
        safe += "\\u00";
        safe += kHex[code >> 4];
        safe += kHex[code & 0xF];
    }
    return safe;
}

std::string TextOf(const Json& json, JsonStyle style) {
    const int indent = style == JsonStyle::Pretty ? 2 : -1;
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
