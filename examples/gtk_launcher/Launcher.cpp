// SPDX-License-Identifier: MIT

// The window is described for GtkBuilder; the code says what it shows when, and sends what a person
// does. Colours are the theme's, so that it is dark or light as the desktop is.

#define GDK_VERSION_MIN_REQUIRED GDK_VERSION_4_8  // what is deprecated since is fine

#include "Launcher.h"

#include <string>

#include "adapters/gtk/SelectionFollower.h"

static const char kStyle[] = R"(
gridview > child { border-radius: 12px; padding: 0; }
gridview > child > box { margin: 10px 4px; border-spacing: 6px; min-height: 96px; }
.letter { border-radius: 14px; min-width: 56px; min-height: 56px; }
.letter { color: white; font-size: 28px; font-weight: bold; }
.red { background: #b84650; } .brown { background: #b87a46; } .green { background: #46a05c; }
.teal { background: #3c9ba0; } .plum { background: #7d55b4; } .pink { background: #b84696; })";
static const char* const kColours[] = {"red", "brown", "green", "teal", "plum", "pink"};

static const char kWindow[] = R"(<interface>
  <object class="ApplistModel" id="list"/>
  <object class="GtkFilterListModel" id="found">
    <property name="model">list</property>
    <property name="filter"><object class="GtkStringFilter">
      <property name="expression"><lookup name="name" type="ApplistItem"/></property>
      <property name="search" bind-source="search" bind-property="text"/>
    </object></property>
  </object>
  <object class="GtkSingleSelection" id="selection"><property name="model">found</property></object>
  <object class="GtkWindow" id="window">
    <property name="title">Applications</property>
    <property name="default-width">720</property>
    <property name="default-height">480</property>
    <property name="titlebar"><object class="GtkHeaderBar"><property name="title-widget">
      <object class="GtkSearchEntry" id="search">
        <property name="placeholder-text">Type to search</property>
      </object>
    </property></object></property>
    <child><object class="GtkEventControllerKey" id="keys">
      <property name="propagation-phase">capture</property>
    </object></child>
    <child><object class="GtkOverlay">
      <property name="child"><object class="GtkStack" id="pages">
        <child><object class="GtkScrolledWindow" id="grid-page">
          <property name="child"><object class="GtkGridView" id="grid">
            <property name="model">selection</property>
            <property name="factory">
              <object class="GtkSignalListItemFactory" id="tiles"/>
            </property>
            <property name="max-columns">7</property>
          </object></property>
        </object></child>
        <child><object class="GtkBox" id="note-page">
          <property name="orientation">vertical</property>
          <property name="valign">center</property>
          <property name="spacing">24</property>
          <child><object class="GtkSpinner" id="spinner">
            <binding name="spinning"><lookup name="loading">list</lookup></binding>
            <binding name="visible"><lookup name="loading">list</lookup></binding>
            <property name="height-request">48</property>
          </object></child>
          <child><object class="GtkLabel" id="note">
            <property name="wrap">1</property>
            <property name="justify">center</property>
            <style><class name="title-2"/></style>
          </object></child>
        </object></child>
      </object></property>
      <child type="overlay"><object class="GtkRevealer" id="message-place">
        <property name="valign">end</property>
        <property name="halign">center</property>
        <property name="child"><object class="GtkLabel" id="message">
          <property name="wrap">1</property>
          <style><class name="app-notification"/></style>
        </object></property>
      </object></child>
    </object></child>
  </object>
</interface>)";

// A name may be empty, take megabytes, and hold line ends or marks that turn it around.
static char* LabelOf(ApplistItem* item) {
    const char* at = applist_item_get_name(item);
    if (*at == '\0') at = applist_item_get_id(item);
    GString* const label = g_string_new(nullptr);
    for (int count = 0; count < 200 && *at != '\0'; ++count, at = g_utf8_next_char(at)) {
        const gunichar each = g_utf8_get_char(at);
        const bool isBlank = g_unichar_isspace(each) || g_unichar_iscntrl(each);
        const bool isMark =
            (each >= 0x202a && each <= 0x202e) || (each >= 0x2066 && each <= 0x2069);
        if (isBlank && !g_str_has_suffix(label->str, " ")) g_string_append_c(label, ' ');
        if (!isBlank && !isMark) g_string_append_unichar(label, each);
    }
    return g_string_free(label, FALSE);
}

static void SetUpTile(GtkListItemFactory*, GtkListItem* place) {
    GtkWidget* const tile = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    GtkWidget* const square = gtk_label_new(nullptr);
    gtk_widget_set_halign(square, GTK_ALIGN_CENTER);
    gtk_box_append(GTK_BOX(tile), square);
    GtkWidget* const label = gtk_label_new(nullptr);
    g_object_set(label, "wrap", TRUE, "wrap-mode", PANGO_WRAP_WORD_CHAR, "lines", 2, "ellipsize",
                 PANGO_ELLIPSIZE_END, "width-chars", 14, "max-width-chars", 14, "justify",
                 GTK_JUSTIFY_CENTER, "yalign", 0.0, "vexpand", TRUE, nullptr);
    gtk_box_append(GTK_BOX(tile), label);
    gtk_list_item_set_child(place, tile);
}

static void ShowItem(GtkListItem* place) {
    GtkWidget* const tile = gtk_list_item_get_child(place);
    GtkWidget* const square = gtk_widget_get_first_child(tile);
    char* const label = LabelOf(APPLIST_ITEM(gtk_list_item_get_item(place)));
    char* const letter = g_utf8_strup(label, g_utf8_next_char(label) - label);
    const char* classes[] = {"letter", kColours[g_str_hash(label) % G_N_ELEMENTS(kColours)],
                             nullptr};
    gtk_widget_set_css_classes(square, classes);
    gtk_label_set_text(GTK_LABEL(square), letter);
    gtk_label_set_text(GTK_LABEL(gtk_widget_get_last_child(tile)), label);
    gtk_widget_set_tooltip_text(tile, label);
    g_free(letter);
    g_free(label);
}

static void BindTile(GtkListItemFactory*, GtkListItem* place) {
    gpointer const item = gtk_list_item_get_item(place);
    g_signal_connect_swapped(item, "notify::name", G_CALLBACK(ShowItem), place);
    ShowItem(place);
}

static void UnbindTile(GtkListItemFactory*, GtkListItem* place) {
    g_signal_handlers_disconnect_by_data(gtk_list_item_get_item(place), place);
}

static void UseStyle() {
    GtkCssProvider* const style = gtk_css_provider_new();
    gtk_css_provider_load_from_data(style, kStyle, -1);
    gtk_style_context_add_provider_for_display(gdk_display_get_default(), GTK_STYLE_PROVIDER(style),
                                               GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
    g_object_unref(style);
}

static gpointer Get(GtkBuilder* window, const char* id) {
    return gtk_builder_get_object(window, id);
}

// What to say instead of the list; nothing when the list is to be seen.
static std::string Note(GtkBuilder* window) {
    auto* const list = static_cast<ApplistModel*>(Get(window, "list"));
    if (const char* error = applist_model_get_error(list)) return error;
    if (!applist_model_get_service_there(list)) {
        return "The list is gone.\nIt will be here again as soon as its service is.";
    }
    if (applist_model_get_loading(list)) return "Loading…";
    if (g_list_model_get_n_items(G_LIST_MODEL(list)) == 0) return "There are no applications.";
    if (g_list_model_get_n_items(G_LIST_MODEL(Get(window, "found"))) > 0) return "";
    return "Nothing has this in its name.";
}

// Also when somebody else has selected it: the arrow keys go on from the tile with the focus.
static void ShowSelection(GtkBuilder* window) {
    const guint place = gtk_single_selection_get_selected(
        static_cast<GtkSingleSelection*>(Get(window, "selection")));
    if (place == GTK_INVALID_LIST_POSITION) return;
    auto* const grid = GTK_WIDGET(Get(window, "grid"));
    gtk_widget_activate_action(grid, "list.scroll-to-item", "u", place);
    if (gtk_widget_get_focus_child(grid) == nullptr) return;
    GtkWidget* tile = gtk_widget_get_first_child(grid);
    while (tile != nullptr && !(gtk_widget_get_state_flags(tile) & GTK_STATE_FLAG_SELECTED)) {
        tile = gtk_widget_get_next_sibling(tile);
    }
    if (tile != nullptr) gtk_widget_grab_focus(tile);
}

static void ShowListOrNote(GtkBuilder* window) {
    const std::string note = Note(window);
    auto* const pages = GTK_STACK(Get(window, "pages"));
    auto* const page = GTK_WIDGET(Get(window, note.empty() ? "grid-page" : "note-page"));
    gtk_label_set_text(GTK_LABEL(Get(window, "note")), note.c_str());
    if (gtk_stack_get_visible_child(pages) == page) return;
    gtk_stack_set_visible_child(pages, page);
    if (!note.empty()) return;
    gtk_widget_grab_focus(GTK_WIDGET(Get(window, "grid")));
    ShowSelection(window);
}

static gboolean ForgetSearchOnEscape(GtkBuilder* window, guint key) {
    if (key != GDK_KEY_Escape) return GDK_EVENT_PROPAGATE;
    gtk_editable_set_text(GTK_EDITABLE(Get(window, "search")), "");
    return GDK_EVENT_STOP;
}

static gboolean HideMessage(gpointer place) {
    gtk_revealer_set_reveal_child(GTK_REVEALER(place), FALSE);
    return G_SOURCE_REMOVE;
}

static void ShowMessage(GtkBuilder* window, const char* text) {
    gtk_label_set_text(GTK_LABEL(Get(window, "message")), text);
    gpointer const place = Get(window, "message-place");
    gtk_revealer_set_reveal_child(GTK_REVEALER(place), TRUE);
    g_source_remove_by_user_data(place);  // that of a message before
    g_timeout_add_seconds_full(G_PRIORITY_DEFAULT, 6, HideMessage, g_object_ref(place),
                               g_object_unref);
}

GtkWindow* NewLauncher() {
    UseStyle();
    g_type_ensure(APPLIST_TYPE_MODEL);
    GtkBuilder* const window = gtk_builder_new_from_string(kWindow, -1);
    const auto connect = [window](const char* id, const char* signal, GCallback call) {
        g_signal_connect_object(Get(window, id), signal, call, window, G_CONNECT_SWAPPED);
    };
    connect("list", "notify", G_CALLBACK(ShowListOrNote));
    connect("list", "write-failed", G_CALLBACK(ShowMessage));
    connect("found", "items-changed", G_CALLBACK(ShowListOrNote));
    connect("selection", "notify::selected", G_CALLBACK(ShowSelection));
    connect("keys", "key-pressed", G_CALLBACK(ForgetSearchOnEscape));
    applist_selection_follow(GTK_SINGLE_SELECTION(Get(window, "selection")),
                             APPLIST_MODEL(Get(window, "list")));
    g_signal_connect(Get(window, "tiles"), "setup", G_CALLBACK(SetUpTile), nullptr);
    g_signal_connect(Get(window, "tiles"), "bind", G_CALLBACK(BindTile), nullptr);
    g_signal_connect(Get(window, "tiles"), "unbind", G_CALLBACK(UnbindTile), nullptr);
    auto* const top = GTK_WIDGET(Get(window, "window"));
    gtk_search_entry_set_key_capture_widget(GTK_SEARCH_ENTRY(Get(window, "search")), top);
    // The window's last reference is the builder's.
    g_signal_connect_swapped(top, "destroy", G_CALLBACK(g_object_unref), window);
    ShowListOrNote(window);
    return GTK_WINDOW(top);
}
