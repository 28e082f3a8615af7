// SPDX-License-Identifier: MIT

#include "adapters/glib/ApplistModel.h"

#include <new>

#include "adapters/glib/ModelCore.h"
#include "common/Guarded.h"

using applist::BytesOf;
using applist::Guarded;
using applist::ModelCore;

struct _ApplistModel {
    GObject base;
    ModelCore core;  // built and destroyed by hand: GObject gives zeroed memory
};

static GType ItemType(GListModel*) {
    return APPLIST_TYPE_ITEM;
}

static guint ItemCount(GListModel* list) {
    return static_cast<guint>(APPLIST_MODEL(list)->core.Rows().Count());
}

static gpointer ItemAt(GListModel* list, guint row) {
    const applist::ListRows& rows = APPLIST_MODEL(list)->core.Rows();
    return row < rows.Count() ? g_object_ref(rows.At(row).get()) : nullptr;
}

static void ImplementList(gpointer type, gpointer) {
    auto* const list = static_cast<GListModelInterface*>(type);
    list->get_item_type = ItemType;
    list->get_n_items = ItemCount;
    list->get_item = ItemAt;
}

G_DEFINE_FINAL_TYPE_WITH_CODE(ApplistModel, applist_model, G_TYPE_OBJECT,
                              G_IMPLEMENT_INTERFACE(G_TYPE_LIST_MODEL, ImplementList))

namespace {

enum Property { kNone, kSelection, kServiceThere, kLoading, kError, kCount };

void Get(GObject* object, guint property, GValue* value, GParamSpec* spec) {
    const ModelCore& core = APPLIST_MODEL(object)->core;
    switch (property) {
        case kSelection: return g_value_set_object(value, core.Selection());
        case kServiceThere: return g_value_set_boolean(value, core.IsServiceThere());
        case kLoading: return g_value_set_boolean(value, core.IsLoading());
        case kError: return g_value_set_string(value, core.Error());
        default: G_OBJECT_WARN_INVALID_PROPERTY_ID(object, property, spec);
    }
}

void Constructed(GObject* object) {
    G_OBJECT_CLASS(applist_model_parent_class)->constructed(object);
    APPLIST_MODEL(object)->core.Connect();
}

void Finalize(GObject* object) {
    APPLIST_MODEL(object)->core.~ModelCore();
    G_OBJECT_CLASS(applist_model_parent_class)->finalize(object);
}

}  // namespace

static void applist_model_class_init(ApplistModelClass* type) {
    constexpr auto kFlags = static_cast<GParamFlags>(G_PARAM_READABLE | G_PARAM_STATIC_STRINGS |
                                                     G_PARAM_EXPLICIT_NOTIFY);
    GObjectClass* const object = G_OBJECT_CLASS(type);
    object->get_property = Get;
    object->constructed = Constructed;
    object->finalize = Finalize;
    GParamSpec* properties[kCount] = {};
    properties[kSelection] =
        g_param_spec_object("selection", nullptr, nullptr, APPLIST_TYPE_ITEM, kFlags);
    properties[kServiceThere] =
        g_param_spec_boolean("service-there", nullptr, nullptr, FALSE, kFlags);
    properties[kLoading] = g_param_spec_boolean("loading", nullptr, nullptr, FALSE, kFlags);
    properties[kError] = g_param_spec_string("error", nullptr, nullptr, nullptr, kFlags);
    g_object_class_install_properties(object, kCount, properties);
    g_signal_new("write-failed", G_TYPE_FROM_CLASS(type), G_SIGNAL_RUN_LAST, 0, nullptr, nullptr,
                 nullptr, G_TYPE_NONE, 1, G_TYPE_STRING);
}

static void applist_model_init(ApplistModel* model) {
    new (&model->core) ModelCore(G_OBJECT(model));
}

ApplistModel* applist_model_new(void) {
    return APPLIST_MODEL(g_object_new(APPLIST_TYPE_MODEL, nullptr));
}

ApplistItem* applist_model_get_selection(ApplistModel* model) {
    return model->core.Selection();
}

gboolean applist_model_get_service_there(ApplistModel* model) {
    return model->core.IsServiceThere();
}

gboolean applist_model_get_loading(ApplistModel* model) {
    return model->core.IsLoading();
}

const char* applist_model_get_error(ApplistModel* model) {
    return model->core.Error();
}

void applist_model_retry(ApplistModel* model) {
    model->core.Connect();
}

// No exception leaves a function that C calls. There is none but that of memory that has run out.

void applist_model_select(ApplistModel* model, const char* id) {
    Guarded("selecting an item", [&] { model->core.Select(model->core.Find(id)); });
}

void applist_model_select_item(ApplistModel* model, ApplistItem* item) {
    Guarded("selecting an item", [&] { model->core.Select(BytesOf(item)); });
}

void applist_model_append(ApplistModel* model, const char* name, const char* id) {
    Guarded("adding an item", [&] { model->core.Append({name, id}); });
}

void applist_model_remove(ApplistModel* model, const char* id) {
    Guarded("removing an item", [&] { model->core.Remove(model->core.Find(id)); });
}

void applist_model_remove_item(ApplistModel* model, ApplistItem* item) {
    Guarded("removing an item", [&] { model->core.Remove(BytesOf(item)); });
}

void applist_model_replace(ApplistModel* model, const char* id, const char* new_name,
                           const char* new_id) {
    Guarded("replacing an item", [&] {
        model->core.Replace(model->core.Find(id), {new_name, new_id});
    });
}

void applist_model_replace_item(ApplistModel* model, ApplistItem* item, const char* new_name,
                                const char* new_id) {
    Guarded("replacing an item", [&] { model->core.Replace(BytesOf(item), {new_name, new_id}); });
}
