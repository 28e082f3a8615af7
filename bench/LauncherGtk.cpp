// SPDX-License-Identifier: MIT

#include <gdk/x11/gdkx.h>
#include <gtk/gtk.h>

#include <cstdlib>
#include <functional>
#include <stdexcept>

#include "BareBus.h"
#include "LauncherProcesses.h"
#include "Screen.h"
#include "adapters/glib/ApplistItem.h"
#include "gtk_launcher/Launcher.h"

namespace bench {

namespace {

// The first below `widget`, itself included, that is to be seen and that `isIt` says is it.
GtkWidget* Find(GtkWidget* widget, const std::function<bool(GtkWidget*)>& isIt) {
    if (!gtk_widget_get_child_visible(widget) || !gtk_widget_get_visible(widget)) return nullptr;
    if (isIt(widget)) return widget;
    GtkWidget* found = nullptr;
    GtkWidget* child = gtk_widget_get_first_child(widget);
    for (; child != nullptr && found == nullptr; child = gtk_widget_get_next_sibling(child)) {
        found = Find(child, isIt);
    }
    return found;
}

bool IsMiddleIn(GtkWidget* widget, GtkWidget* view) {
    const graphene_point_t middle = {static_cast<float>(gtk_widget_get_width(widget)) / 2,
                                     static_cast<float>(gtk_widget_get_height(widget)) / 2};
    graphene_point_t at;
    return gtk_widget_compute_point(widget, view, &middle, &at) &&
           gtk_widget_contains(view, at.x, at.y);
}

class GtkWatch {
public:
    GtkWatch(GtkWindow* window, const LauncherPlace& place)
        : m_window(window), m_teller(LauncherPart::Gtk, place.eventsFd) {
        const auto connect = [this](gpointer object, const char* signal, void (*call)(GtkWatch*)) {
            g_signal_connect_swapped(object, signal, G_CALLBACK(call), this);
        };
        connect(gtk_widget_get_frame_clock(GTK_WIDGET(window)), "after-paint", TellFrame);
        connect(window, "notify::is-active", TellActive);
    }

private:
    static void TellActive(GtkWatch* self) {
        self->m_teller.Tell(LauncherEvent::Kind::Active, gtk_window_is_active(self->m_window));
    }

    static void TellSelected(GtkWatch* self) {
        self->m_teller.Tell(LauncherEvent::Kind::Selected, self->SelectedRow());
    }

    static void TellFrame(GtkWatch* self) {
        const bool hasGrid = self->FindGrid();
        self->m_teller.TellFrame(self->XWindow(), hasGrid ? self->SelectedRow() : -1,
                                 hasGrid && self->IsHighlightInView());
    }

    // GTK discourages X11 as a whole since 4.18.
    std::int64_t XWindow() const {
        GdkSurface* const surface = gtk_native_get_surface(GTK_NATIVE(m_window));
        G_GNUC_BEGIN_IGNORE_DEPRECATIONS
        return static_cast<std::int64_t>(gdk_x11_surface_get_xid(surface));
        G_GNUC_END_IGNORE_DEPRECATIONS
    }

    // The grid comes to be seen with the list.
    bool FindGrid() {
        if (m_grid != nullptr) return true;
        m_grid = Find(GTK_WIDGET(m_window), [](GtkWidget* each) { return GTK_IS_GRID_VIEW(each); });
        if (m_grid == nullptr) return false;
        m_selection = GTK_SINGLE_SELECTION(gtk_grid_view_get_model(GTK_GRID_VIEW(m_grid)));
        g_signal_connect_swapped(m_selection, "notify::selected", G_CALLBACK(TellSelected), this);
        TellSelected(this);
        return true;
    }

    std::int64_t SelectedRow() const {
        const guint place = gtk_single_selection_get_selected(m_selection);
        return place == GTK_INVALID_LIST_POSITION ? -1 : std::int64_t{place};
    }

    // Whether at least half of it is. A tile far out of view does not exist; the one that does
    // has the selected item's name.
    bool IsHighlightInView() const {
        gpointer const item = gtk_single_selection_get_selected_item(m_selection);
        GtkWidget* const tile = Find(m_grid, [this](GtkWidget* each) {
            return gtk_widget_get_parent(each) == m_grid && IsHighlighted(each);
        });
        if (item == nullptr || tile == nullptr) return false;
        const char* const name = applist_item_get_name(APPLIST_ITEM(item));
        const auto hasName = [name](GtkWidget* each) {
            return GTK_IS_LABEL(each) && g_str_equal(gtk_label_get_text(GTK_LABEL(each)), name);
        };
        return Find(tile, hasName) != nullptr && IsMiddleIn(tile, m_grid);
    }

    static bool IsHighlighted(GtkWidget* tile) {
        return (gtk_widget_get_state_flags(tile) & GTK_STATE_FLAG_SELECTED) != 0;
    }

    GtkWindow* const m_window;
    GtkWidget* m_grid = nullptr;
    GtkSingleSelection* m_selection = nullptr;
    LauncherTeller m_teller;
};

}  // namespace

void RunGtkLauncher(const LauncherPlace& place, int readyFd) {
    Choose(place.address, place.way);
    EnterScreen(place.display);
    setenv("GDK_BACKEND", "x11", /* overwrite */ 1);
    // Drawn by the processor, the same everywhere.
    setenv("GDK_DEBUG", "gl-disable", /* overwrite */ 1);  // GTK 4.8
    setenv("GDK_DISABLE", "gl", /* overwrite */ 1);        // GTK 4.18
    setenv("GSK_RENDERER", "cairo", /* overwrite */ 1);
    setenv("GSETTINGS_BACKEND", "memory", /* overwrite */ 1);
    setenv("GTK_A11Y", "none", /* overwrite */ 1);
    unsetenv("GTK_THEME");
    if (!gtk_init_check()) throw std::runtime_error("GTK finds no display");
    GtkWindow* const window = NewLauncher();
    gtk_window_present(window);
    const GtkWatch watch(window, place);
    SayReady(readyFd);
    while (true) g_main_context_iteration(nullptr, /* may_block */ TRUE);
}

}  // namespace bench
