// SPDX-License-Identifier: MIT

// What the processes of a launcher run tell whoever measures it, over one pipe.
//
// Threads: one a process. Lifetime: plain values.

#pragma once

#include <unistd.h>

#include <cstdint>

#include "NowNanoseconds.h"

namespace bench {

enum class LauncherPart { List, Qml, Gtk };

// Fewer bytes than a pipe takes in one piece, so that those of several processes do not mix.
struct LauncherEvent {
    enum class Kind {
        Opened,    // number: the window, as the X server knows it
        Active,    // number: 1 when keys reach the window, 0 when not
        Selected,  // number: the row that the list, or a launcher's view, has selected now
        Drawn,     // number: the row whose tile is highlighted, in view, in the frame just drawn
        Hidden,    // number: the row that is selected, and no such tile is in the frame just drawn
    };
    LauncherPart part;
    Kind kind;
    std::int64_t number;
    std::int64_t at;  // in nanoseconds of NowNanoseconds
};

class LauncherTeller {
public:
    LauncherTeller(LauncherPart part, int fd) : m_part(part), m_fd(fd) {}

    // Ends the process when nobody listens any more.
    void Tell(LauncherEvent::Kind kind, std::int64_t number) const {
        const LauncherEvent event = {m_part, kind, number, NowNanoseconds()};
        if (write(m_fd, &event, sizeof(event)) != sizeof(event)) _exit(1);
    }

    // Tells of the first frame, and of each that is the first to have another row selected, or the
    // same one come into view or leave it.
    void TellFrame(std::int64_t window, std::int64_t selectedRow, bool isInView) {
        if (!m_isOpen) Tell(LauncherEvent::Kind::Opened, window);
        m_isOpen = true;
        if (selectedRow == m_row && isInView == m_isInView) return;
        m_row = selectedRow;
        m_isInView = isInView;
        Tell(isInView ? LauncherEvent::Kind::Drawn : LauncherEvent::Kind::Hidden, selectedRow);
    }

private:
    const LauncherPart m_part;
    const int m_fd;
    bool m_isOpen = false;
    std::int64_t m_row = -1;
    bool m_isInView = false;
};

}  // namespace bench
