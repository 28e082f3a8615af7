// SPDX-License-Identifier: MIT

#include "Screen.h"

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

#include "BareBus.h"
#include "NowNanoseconds.h"

namespace bench {

namespace {

constexpr std::int64_t kStartTimeout = 30000000000;

// The server writes the number of its display when it listens; what it warns of is nothing to us.
void RunServer(int numberFd, int readyFd) {
    const std::string number = std::to_string(Check(dup(numberFd)));
    SayReady(readyFd);
    const int errors = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
    dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
    execlp("Xvfb", "Xvfb", "-displayfd", number.c_str(), "-screen", "0", "1600x700x24", "-nolisten",
           "tcp", "-noreset", static_cast<char*>(nullptr));
    dup2(errors, STDERR_FILENO);
    throw std::runtime_error("cannot run Xvfb; install the package xvfb");
}

}  // namespace

Screen::Screen()
    : m_server([this](int readyFd) { RunServer(m_number.WriteFd(), readyFd); }), m_display(":") {
    m_number.CloseWriteEnd();
    const std::int64_t deadline = NowNanoseconds() + kStartTimeout;
    char digit = 0;
    while (m_number.Read(&digit, 1, deadline) && digit != '\n') m_display += digit;
    if (digit != '\n') throw std::runtime_error("there is no X server");
}

void EnterScreen(const std::string& display) {
    setenv("DISPLAY", display.c_str(), /* overwrite */ 1);
    setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", /* overwrite */ 1);
    unsetenv("WAYLAND_DISPLAY");
}

struct Keyboard::Connection {
    explicit Connection(const std::string& name) : display(XOpenDisplay(name.c_str())) {
        if (display == nullptr) throw std::runtime_error("cannot reach the X server " + name);
    }
    ~Connection() { XCloseDisplay(display); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    Display* const display;
};

Keyboard::Keyboard(const std::string& display)
    : m_connection(std::make_unique<Connection>(display)) {}

Keyboard::~Keyboard() = default;

void Keyboard::Focus(std::int64_t window) {
    Display* const display = m_connection->display;
    XSetInputFocus(display, static_cast<Window>(window), RevertToParent, CurrentTime);
    XSync(display, False);
}

std::int64_t Keyboard::Press(Key key) {
    Display* const display = m_connection->display;
    const unsigned code = XKeysymToKeycode(display, key == Key::Left ? XK_Left : XK_Right);
    const std::int64_t now = NowNanoseconds();
    XTestFakeKeyEvent(display, code, True, CurrentTime);
    XTestFakeKeyEvent(display, code, False, CurrentTime);
    XFlush(display);
    return now;
}

}  // namespace bench
