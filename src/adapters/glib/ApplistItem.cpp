// SPDX-License-Identifier: MIT

#include "adapters/glib/ApplistItem.h"

#include <iterator>
#include <utility>

#include "adapters/glib/ItemObject.h"

struct _ApplistItem {
    GObject base;
    // Built and destroyed by hand: GObject gives zeroed memory.
    struct Content {
        RemoteAppListItem bytes;
        std::string name;
        std::string id;
        GBytes* idBytes;
        bool selected;
    } * content;
};

G_DEFINE_FINAL_TYPE(ApplistItem, applist_item, G_TYPE_OBJECT)

namespace {

enum Property { kNone, kName, kId, kSelected, kCount };
GParamSpec* g_properties[kCount];

void Get(GObject* object, guint property, GValue* value, GParamSpec* spec) {
    ApplistItem* const item = APPLIST_ITEM(object);
    switch (property) {
        case kName: return g_value_set_string(value, applist_item_get_name(item));
        case kId: return g_value_set_string(value, applist_item_get_id(item));
        case kSelected: return g_value_set_boolean(value, applist_item_get_selected(item));
        default: G_OBJECT_WARN_INVALID_PROPERTY_ID(object, property, spec);
    }
}

void Finalize(GObject* object) {
    const _ApplistItem::Content* const content = APPLIST_ITEM(object)->content;
    g_bytes_unref(content->idBytes);
    delete content;
    G_OBJECT_CLASS(applist_item_parent_class)->finalize(object);
}

}  // namespace

static void applist_item_class_init(ApplistItemClass* type) {
    constexpr auto kFlags = static_cast<GParamFlags>(G_PARAM_READABLE | G_PARAM_STATIC_STRINGS |
                                                     G_PARAM_EXPLICIT_NOTIFY);
    GObjectClass* const object = G_OBJECT_CLASS(type);
    object->get_property = Get;
    object->finalize = Finalize;
    g_properties[kName] = g_param_spec_string("name", nullptr, nullptr, "", kFlags);
    g_properties[kId] = g_param_spec_string("id", nullptr, nullptr, "", kFlags);
    g_properties[kSelected] = g_param_spec_boolean("selected", nullptr, nullptr, FALSE, kFlags);
    g_object_class_install_properties(object, kCount, g_properties);
}

static void applist_item_init(ApplistItem* item) {
    item->content = new _ApplistItem::Content{{}, {}, {}, g_bytes_new(nullptr, 0), false};
}

const char* applist_item_get_name(ApplistItem* item) {
    return item->content->name.c_str();
}

const char* applist_item_get_id(ApplistItem* item) {
    return item->content->id.c_str();
}

GBytes* applist_item_get_id_bytes(ApplistItem* item) {
    return item->content->idBytes;
}

gboolean applist_item_get_selected(ApplistItem* item) {
    return item->content->selected;
}

namespace applist {

ApplistItem* NewItemObject(RemoteAppListItem bytes) {
    auto* const item = APPLIST_ITEM(g_object_new(APPLIST_TYPE_ITEM, nullptr));
    _ApplistItem::Content& content = *item->content;
    content.bytes = std::move(bytes);
    content.name = ShownText(content.bytes.VisibleName());
    content.id = ShownText(content.bytes.UniqueId());
    g_bytes_unref(content.idBytes);
    const std::string& id = content.bytes.UniqueId();
    content.idBytes = g_bytes_new(id.data(), id.size());
    return item;
}

void SetNameOf(ApplistItem* item, const std::string& bytes) {
    _ApplistItem::Content& content = *item->content;
    if (content.bytes.VisibleName() == bytes) return;
    content.bytes = RemoteAppListItem(bytes, content.bytes.UniqueId());
    content.name = ShownText(bytes);
    g_object_notify_by_pspec(G_OBJECT(item), g_properties[kName]);
}

void SetSelectedOf(ApplistItem* item, bool selected) {
    if (item->content->selected == selected) return;
    item->content->selected = selected;
    g_object_notify_by_pspec(G_OBJECT(item), g_properties[kSelected]);
}

const RemoteAppListItem& BytesOf(ApplistItem* item) {
    return item->content->bytes;
}

std::string ShownText(const std::string& bytes) {
    char* const text = g_utf8_make_valid(bytes.data(), static_cast<gssize>(bytes.size()));
    std::string shown = text;
    g_free(text);
    return shown;
}

}  // namespace applist
