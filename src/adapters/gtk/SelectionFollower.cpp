// SPDX-License-Identifier: MIT

#include "adapters/gtk/SelectionFollower.h"

namespace {

constexpr guint kPatience = 2000;  // ms until the service has done what a person wants

// What is known of a selection that follows a model. It belongs to the selection. Its memory is
// GLib's, as whoever calls from C could not catch std::bad_alloc.
struct Follower {
    GtkSingleSelection* selection;
    ApplistModel* model;  // a reference
    ApplistItem* chosen;  // by a person, and on its way; a reference
    guint patience;       // the timer's id while something is chosen
    bool isShowing;       // what is selected now is not a person's doing
};

const char kKey[] = "applist-follower";

guint PlaceOf(GListModel* list, const ApplistItem* item) {
    const guint count = g_list_model_get_n_items(list);
    for (guint place = 0; item != nullptr && place < count; ++place) {
        gpointer const there = g_list_model_get_item(list, place);
        const bool isIt = there == item;
        g_object_unref(there);
        if (isIt) return place;
    }
    return GTK_INVALID_LIST_POSITION;
}

ApplistItem* Wanted(const Follower* follower) {
    return follower->chosen != nullptr ? follower->chosen
                                       : applist_model_get_selection(follower->model);
}

// Whoever hears of it may drop the selection, or have it follow another model.
void Show(Follower* follower) {
    const ApplistItem* const wanted = Wanted(follower);
    if (gtk_single_selection_get_selected_item(follower->selection) == wanted) return;
    auto* const selection = GTK_SINGLE_SELECTION(g_object_ref(follower->selection));
    follower->isShowing = true;
    // Only a person may not unselect, but newer GTK would not let us, either.
    gtk_single_selection_set_can_unselect(selection, TRUE);
    gtk_single_selection_set_selected(selection, PlaceOf(G_LIST_MODEL(selection), wanted));
    gtk_single_selection_set_can_unselect(selection, FALSE);
    if (g_object_get_data(G_OBJECT(selection), kKey) == follower) follower->isShowing = false;
    g_object_unref(selection);
}

void ForgetChoice(Follower* follower) {
    if (follower->patience != 0) g_source_remove(follower->patience);
    follower->patience = 0;
    g_clear_object(&follower->chosen);
}

gboolean OnImpatience(gpointer data) {
    auto* const follower = static_cast<Follower*>(data);
    follower->patience = 0;
    ForgetChoice(follower);
    Show(follower);
    return G_SOURCE_REMOVE;
}

// While a choice is on its way, the service may still tell of the ones before it: showing those
// would make the selection jump back under the fingers of whoever holds an arrow key down.
void OnServiceSelected(Follower* follower) {
    if (applist_model_get_selection(follower->model) == follower->chosen) ForgetChoice(follower);
    Show(follower);
}

void OnWriteFailed(Follower* follower) {
    ForgetChoice(follower);
    Show(follower);
}

void OnItemsChanged(Follower* follower) {
    GListModel* const all = G_LIST_MODEL(follower->model);
    if (PlaceOf(all, follower->chosen) == GTK_INVALID_LIST_POSITION) ForgetChoice(follower);
    Show(follower);
}

void OnSelected(Follower* follower) {
    gpointer const now = gtk_single_selection_get_selected_item(follower->selection);
    if (follower->isShowing || now == nullptr || now == Wanted(follower)) return;
    ForgetChoice(follower);
    follower->chosen = APPLIST_ITEM(g_object_ref(now));
    follower->patience = g_timeout_add(kPatience, OnImpatience, follower);
    applist_model_select_item(follower->model, follower->chosen);
}

void Stop(gpointer data) {
    auto* const follower = static_cast<Follower*>(data);
    ForgetChoice(follower);
    g_signal_handlers_disconnect_by_data(follower->selection, follower);
    g_signal_handlers_disconnect_by_data(follower->model, follower);
    g_object_unref(follower->model);
    g_free(follower);
}

}  // namespace

void applist_selection_follow(GtkSingleSelection* selection, ApplistModel* model) {
    auto* const follower = g_new0(Follower, 1);
    follower->selection = selection;
    follower->model = APPLIST_MODEL(g_object_ref(model));
    gtk_single_selection_set_autoselect(selection, FALSE);
    gtk_single_selection_set_can_unselect(selection, FALSE);
    const auto connect = [follower](gpointer object, const char* signal, void (*call)(Follower*)) {
        g_signal_connect_swapped(object, signal, G_CALLBACK(call), follower);
    };
    // After the views, which may have come later: what is selected must be a row that they know.
    g_signal_connect_data(selection, "items-changed", G_CALLBACK(OnItemsChanged), follower, nullptr,
                          static_cast<GConnectFlags>(G_CONNECT_SWAPPED | G_CONNECT_AFTER));
    connect(selection, "notify::selected-item", OnSelected);
    connect(model, "notify::selection", OnServiceSelected);
    connect(model, "write-failed", OnWriteFailed);
    // One that followed before stops.
    g_object_set_data_full(G_OBJECT(selection), kKey, follower, Stop);
    Show(follower);
}

GtkSingleSelection* applist_selection_new(ApplistModel* model) {
    GtkSingleSelection* const selection =
        gtk_single_selection_new(G_LIST_MODEL(g_object_ref(model)));
    applist_selection_follow(selection, model);
    return selection;
}
