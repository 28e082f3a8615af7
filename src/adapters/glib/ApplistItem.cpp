// SPDX-License-Identifier: MIT

#include "adapters/glib/ApplistItem.h"

#include <memory>
#include <new>
#include <utility>

#include "adapters/glib/ItemObject.h"

struct _ApplistItem {
    GObject base;
    // Built and destroyed by hand: GObject gives zeroed memory.
    struct Content {
        RemoteAppListItem bytes;
        // What is shown instead of bytes that are no text; empty where the bytes themselves are.
        std::string name;
        std::string id;
        GBytes* idBytes = nullptr;  // none until somebody asks
        bool selected = false;
    } content;
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
    _ApplistItem::Content& content = APPLIST_ITEM(object)->content;
    if (content.idBytes != nullptr) g_bytes_unref(content.idBytes);
    content.~Content();
    G_OBJECT_CLASS(applist_item_parent_class)->finalize(object);
}

// Empty when `bytes` can be shown as they are, without a copy.
std::string Replacement(const std::string& bytes) {
    if (g_utf8_validate_len(bytes.data(), bytes.size(), nullptr)) return std::string();
    using Text = std::unique_ptr<char, decltype(&g_free)>;
    return Text(g_utf8_make_valid(bytes.data(), static_cast<gssize>(bytes.size())), g_free).get();
}

const char* Shown(const std::string& replacement, const std::string& bytes) {
    return replacement.empty() ? bytes.c_str() : replacement.c_str();
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
    new (&item->content) _ApplistItem::Content;
}

const char* applist_item_get_name(ApplistItem* item) {
    return Shown(item->content.name, item->content.bytes.VisibleName());
}

const char* applist_item_get_id(ApplistItem* item) {
    return Shown(item->content.id, item->content.bytes.UniqueId());
}

GBytes* applist_item_get_id_bytes(ApplistItem* item) {
    GBytes*& bytes = item->content.idBytes;
    const std::string& id = item->content.bytes.UniqueId();
    if (bytes == nullptr) bytes = g_bytes_new(id.data(), id.size());
    return bytes;
}

gboolean applist_item_get_selected(ApplistItem* item) {
    return item->content.selected;
}

namespace applist {

// Whatever throws does so before an object is made or changed.

ApplistItem* NewItemObject(RemoteAppListItem bytes) {
    std::string name = Replacement(bytes.VisibleName());
    std::string id = Replacement(bytes.UniqueId());
    auto* const item = APPLIST_ITEM(g_object_new(APPLIST_TYPE_ITEM, nullptr));
    item->content.bytes = std::move(bytes);
    item->content.name = std::move(name);
    item->content.id = std::move(id);
    return item;
}

void SetNameOf(ApplistItem* item, const std::string& bytes) {
    _ApplistItem::Content& content = item->content;
    if (content.bytes.VisibleName() == bytes) return;
    std::string name = Replacement(bytes);
    content.bytes = RemoteAppListItem(bytes, content.bytes.UniqueId());
    content.name = std::move(name);
    g_object_notify_by_pspec(G_OBJECT(item), g_properties[kName]);
}

void SetSelectedOf(ApplistItem* item, bool selected) {
    if (item->content.selected == selected) return;
    item->content.selected = selected;
    g_object_notify_by_pspec(G_OBJECT(item), g_properties[kSelected]);
}

const RemoteAppListItem& BytesOf(ApplistItem* item) {
    return item->content.bytes;
}

}  // namespace applist
