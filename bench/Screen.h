// SPDX-License-Identifier: MIT

// An X server of the benchmark's own, and the keys that are pressed there.
//
// Threads: one. Lifetime: the server goes with the object.

#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "ChildProcess.h"
#include "Pipe.h"

namespace bench {

class Screen {
public:
    // Throws std::runtime_error when the server does not come up.
    Screen();

    // As in the environment's DISPLAY.
    const std::string& Display() const { return m_display; }

private:
    Pipe m_number;
    ChildProcess m_server;
    std::string m_display;
};

// Has this process show its windows on `display`, with nothing else of the machine's: no desktop
// and no session bus.
void EnterScreen(const std::string& display);

// Presses keys by XTest: the server takes them for those of its keyboard.
class Keyboard {
public:
    enum class Key { Left, Right };

    // Throws std::runtime_error.
    explicit Keyboard(const std::string& display);
    ~Keyboard();

    // The keys go to this window from now on. REQUIRES: it is to be seen.
    void Focus(std::int64_t window);

    // Presses a key and lets it go at once. Returns when that was, by NowNanoseconds.
    std::int64_t Press(Key key);

private:
    struct Connection;
    std::unique_ptr<Connection> m_connection;
};

}  // namespace bench
