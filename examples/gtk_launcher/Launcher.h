// SPDX-License-Identifier: MIT

// A window that shows the list of another process as a grid: typing searches, arrow keys and taps
// select.

#pragma once

#include <gtk/gtk.h>

// Returns a window that is not shown yet. It is GTK's, and goes when it is closed.
GtkWindow* NewLauncher();
