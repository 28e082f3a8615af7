/* SPDX-License-Identifier: MIT */

/* Prints the names of the list once they are there, from a program in C. */

#include <stdio.h>

#include "adapters/glib/ApplistModel.h"

static void PrintNames(ApplistModel* list, GParamSpec* property, gpointer loop) {
    guint place;
    (void)property;
    if (!applist_model_get_service_there(list) || applist_model_get_loading(list)) return;
    for (place = 0; place < g_list_model_get_n_items(G_LIST_MODEL(list)); ++place) {
        ApplistItem* const item = g_list_model_get_item(G_LIST_MODEL(list), place);
        puts(applist_item_get_name(item));
        g_object_unref(item);
    }
    g_main_loop_quit(loop);
}

int main(void) {
    GMainLoop* const loop = g_main_loop_new(NULL, FALSE);
    ApplistModel* const list = applist_model_new();
    g_signal_connect(list, "notify::loading", G_CALLBACK(PrintNames), loop);
    g_main_loop_run(loop);
    g_object_unref(list);
    g_main_loop_unref(loop);
    return 0;
}
