// SPDX-License-Identifier: MIT

// Lets the selection of a GTK view be the service's. For C and C++.
//
// Threads: GTK's.

#pragma once

#include <gtk/gtk.h>

#include "adapters/glib/ApplistModel.h"
#include "common/Export.h"

G_BEGIN_DECLS

// From now on `selection` selects what the service of `model` has selected, and the service is told
// of what a person selects in it, until it goes; it keeps `model` until then. The list in
// `selection` holds items of `model`, all or some, in any order: filter and sort models may be
// between. When what the service has selected is not among them, nothing is selected, and the
// service keeps it.
//
// What a person selects is shown at once. If the service has not selected it within 2 s, or says
// that it was refused, the view goes back to what the service has.
//
// Turns autoselect and can-unselect of `selection` off: GTK is not to select in a person's place.
APPLIST_EXPORT void applist_selection_follow(GtkSingleSelection* selection, ApplistModel* model);

// Returns a new selection over all of `model` that follows it.
APPLIST_EXPORT GtkSingleSelection* applist_selection_new(ApplistModel* model);

G_END_DECLS
