// SPDX-License-Identifier: MIT

// A launcher of one window. GTK_THEME=Adwaita:dark shows it dark.

#include "Launcher.h"

static void Open(GtkApplication* application) {
    GtkWindow* const window = NewLauncher();
    gtk_window_set_application(window, application);
    gtk_window_present(window);
}

int main(int argc, char** argv) {
    GtkApplication* const application = gtk_application_new(nullptr, G_APPLICATION_DEFAULT_FLAGS);
    g_signal_connect(application, "activate", G_CALLBACK(Open), nullptr);
    const int status = g_application_run(G_APPLICATION(application), argc, argv);
    g_object_unref(application);
    return status;
}
