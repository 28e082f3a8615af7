// SPDX-License-Identifier: MIT

#include "adapters/gtk/TestDisplay.h"

#include <fcntl.h>
#include <gtk/gtk.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

namespace {

// Nothing of the machine's: no settings, no desktop, and no session bus. Drawn by the processor,
// the same everywhere; the drivers of OpenGL, which would not be used, leak.
void KeepToOurselves() {
    setenv("GDK_BACKEND", "x11", 1);
    setenv("GDK_DEBUG", "gl-disable", 1);  // GTK 4.8
    setenv("GDK_DISABLE", "gl", 1);        // GTK 4.18
    setenv("GSK_RENDERER", "cairo", 1);
    setenv("GSETTINGS_BACKEND", "memory", 1);
    setenv("GTK_A11Y", "none", 1);
    setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", 1);
    unsetenv("GTK_THEME");
    unsetenv("WAYLAND_DISPLAY");
}

// The server writes the number of its display once it is ready.
std::string NumberFrom(int fd) {
    std::string number;
    char byte = 0;
    while (read(fd, &byte, 1) == 1 && byte != '\n') number += byte;
    close(fd);
    return number;
}

std::string StartServer() {
    int ends[2];
    if (pipe(ends) != 0) throw std::runtime_error("no pipe");
    if (fork() == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
        const std::string fd = std::to_string(ends[1]);
        execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", "1000x700x24", "-nolisten",
               "tcp", "-noreset", nullptr);
        _exit(127);
    }
    close(ends[1]);
    return NumberFrom(ends[0]);
}

}  // namespace

TestDisplay& TestDisplay::Get() {
    static TestDisplay display;
    return display;
}

TestDisplay::TestDisplay() {
    KeepToOurselves();
    const std::string number = StartServer();
    if (number.empty()) throw std::runtime_error("Xvfb does not start");
    setenv("DISPLAY", (":" + number).c_str(), 1);
    if (gtk_init_check() == FALSE) throw std::runtime_error("GTK finds no display " + number);
}

void TestDisplay::Focus(const std::string& title) {
    Do("search --onlyvisible --name " + title + " windowfocus --sync");
}

void TestDisplay::Press(const std::string& keys) {
    Do("key " + keys);
}

void TestDisplay::Click(int x, int y) {
    Do("mousemove " + std::to_string(x) + " " + std::to_string(y) + " click 1");
}

void TestDisplay::Do(const std::string& command) {
    const std::string line = "xdotool " + command;
    if (std::system(line.c_str()) != 0) throw std::runtime_error(line);
}
