// SPDX-License-Identifier: MIT

// An X server of the test's own, and what a person does at it: real key presses and clicks, which
// take the way through the server. GTK is ready once it is built.
//
// Threads: one. Lifetime: one for the process, which ends it.

#pragma once

#include <string>

class TestDisplay {
public:
    // Starts the server at the first call. Throws when there is none.
    static TestDisplay& Get();

    // Gives the window with this title the keyboard. It must be shown.
    void Focus(const std::string& title);

    // Keys by their X names, one after another, such as "Right" or "p h".
    void Press(const std::string& keys);

    // Clicks at a place of the screen.
    void Click(int x, int y);

private:
    TestDisplay();
    void Do(const std::string& command);
};
