// SPDX-License-Identifier: MIT

// One application of an ApplistModel, as an object that views bind to. Its properties are those
// below, "name", "id" and "selected", all read-only, each with its notify signal. For C and C++.
//
// Names and ids are bytes. As GLib's strings are UTF-8, each byte that is not part of it, and each
// NUL, is shown as U+FFFD. Nothing else is changed: a name may hold line feeds, or be very long.
//
// Threads: the model's. Lifetime: reference counted, and may outlive its place in the model.

#pragma once

#include <glib-object.h>

#include "common/Export.h"

G_BEGIN_DECLS

#define APPLIST_TYPE_ITEM (applist_item_get_type())
APPLIST_EXPORT G_DECLARE_FINAL_TYPE(ApplistItem, applist_item, APPLIST, ITEM, GObject)

// The strings are the item's; the name is valid until it changes.
APPLIST_EXPORT const char* applist_item_get_name(ApplistItem* item);
APPLIST_EXPORT const char* applist_item_get_id(ApplistItem* item);

// The id as the service has it. The bytes are the item's.
APPLIST_EXPORT GBytes* applist_item_get_id_bytes(ApplistItem* item);

// Whether it is what the service has selected.
APPLIST_EXPORT gboolean applist_item_get_selected(ApplistItem* item);

G_END_DECLS
