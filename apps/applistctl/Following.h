// SPDX-License-Identifier: MIT

// A list that is followed until somebody has seen enough, through whatever happens to its service.
//
// Threads: the main thread, whose default sd-event loop runs meanwhile.

#pragma once

#include <cstddef>

#include "apps/applistctl/ListState.h"
#include "apps/applistctl/Options.h"

namespace applist::ctl {

// Tells what happens, in lines, of which it has enough some time.
class Teller {
public:
    // Tells `lines` lines; without an end when that is 0.
    explicit Teller(std::size_t lines) : m_left(lines) {}
    virtual ~Teller() = default;
    Teller(const Teller&) = delete;
    Teller& operator=(const Teller&) = delete;

    // The list as it is when it is read for the first time; called once, before all others.
    virtual void Begun(const ListState& list) = 0;
    // What the list was when one of the two was called last, and what it is.
    virtual void Changed(const ListState& before, const ListState& now) = 0;
    virtual void Clicked() {}
    virtual void Lost() {}
    virtual void Back() {}

    bool IsDone() const { return m_isDone; }

protected:
    // Calls `print`, which writes a line, unless there have been enough.
    template <class Print>
    void TellLine(Print print) {
        if (m_isDone) return;
        print();
        m_isDone = m_left > 0 && --m_left == 0;
    }

private:
    std::size_t m_left;
    bool m_isDone = false;
};

// Returns when `teller` has had enough. Throws Failure, RemoteError or TransportError: what
// `teller` throws, and also when the list cannot be read and the options do not say to wait.
void FollowList(const Options& options, Teller& teller);

}  // namespace applist::ctl
