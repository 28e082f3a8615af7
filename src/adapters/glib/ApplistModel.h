// SPDX-License-Identifier: MIT

// The service's list as a GListModel of ApplistItem objects, for GTK and whatever else shows one.
// For C and C++. Its type is "ApplistModel", which a GtkBuilder knows once APPLIST_TYPE_MODEL was
// used (g_type_ensure).
//
// Building one connects to the bus (partner/RemoteAppListModel.h says how long that may take;
// bus/BusSelection.h, which bus) and has the thread's default main context run the sd-event loop
// (adapters/glib/Loop.h): a program does not need to do more than run its main loop.
//
// An item that stays in the list stays the same object, also when it moves or gets another name,
// unless more than a thousand rows apart from each other change at once: then all are new objects.
// "items-changed" tells of no row that stays as it is. An item that moves is taken out first and
// then put in again; an item with another name is replaced by itself, so that filters and sorters
// look at it again, and notifies of it, as newer views of GTK keep what they show of an object that
// stays: connect to "notify::name" where a row is bound, or bind the property.
//
// Properties, all read-only and with notify signals, next to GListModel's methods:
//   "selection"      ApplistItem   what the service has selected; NULL when that is not in the list
//   "service-there"  gboolean      the service can be called
//   "loading"        gboolean      the service is there, and its list has not been read yet
//   "error"          string        why there is no bus, in one line; NULL when there is one
// Without a service the model is empty. Without a bus it is, too, and looks for one after 1 s, then
// 2 s, 4 s, up to every 30 s, until "error" is NULL. A bus that comes and goes later is no error.
//
// Signal:
//   "write-failed"   (const char* text)   a write was not carried out, or may not have been; the
//                                         text is a sentence for whoever looks at the screen
// Sent from the loop; or from inside the write, when it could not even be sent.
//
// Types are registered once for the whole process: link one copy of this into it, and not into
// something that is unloaded.
//
// Threads: the one that it was built on. Lifetime: reference counted; a handler may drop the last
// reference.

#pragma once

#include <gio/gio.h>

#include "adapters/glib/ApplistItem.h"
#include "common/Export.h"

G_BEGIN_DECLS

#define APPLIST_TYPE_MODEL (applist_model_get_type())
APPLIST_EXPORT G_DECLARE_FINAL_TYPE(ApplistModel, applist_model, APPLIST, MODEL, GObject)

// Never fails: without a bus, "error" says why.
APPLIST_EXPORT ApplistModel* applist_model_new(void);

// The properties. The object and the string are the model's.
APPLIST_EXPORT ApplistItem* applist_model_get_selection(ApplistModel* model);
APPLIST_EXPORT gboolean applist_model_get_service_there(ApplistModel* model);
APPLIST_EXPORT gboolean applist_model_get_loading(ApplistModel* model);
APPLIST_EXPORT const char* applist_model_get_error(ApplistModel* model);

// Looks for a bus at once, when there is none.
APPLIST_EXPORT void applist_model_retry(ApplistModel* model);

// Writes: each is sent at once, without waiting, and the list shows it once the service has done
// it. The service removes and replaces only what partners added; what it does not know, it ignores
// without a word.
//
// An id is one as ApplistItem shows it, and means the first item that shows it; an id that none
// shows is sent as it is. With the item itself you reach any, whatever its id is made of. No string
// may be NULL.
APPLIST_EXPORT void applist_model_select(ApplistModel* model, const char* id);
APPLIST_EXPORT void applist_model_select_item(ApplistModel* model, ApplistItem* item);
APPLIST_EXPORT void applist_model_append(ApplistModel* model, const char* name, const char* id);
APPLIST_EXPORT void applist_model_remove(ApplistModel* model, const char* id);
APPLIST_EXPORT void applist_model_remove_item(ApplistModel* model, ApplistItem* item);
APPLIST_EXPORT void applist_model_replace(ApplistModel* model, const char* id, const char* new_name,
                                          const char* new_id);
APPLIST_EXPORT void applist_model_replace_item(ApplistModel* model, ApplistItem* item,
                                               const char* new_name, const char* new_id);

G_END_DECLS
