// SPDX-License-Identifier: MIT

// The listeners of one kind that a model tells of its events.
//
// Lifetime: listeners are not owned; each is removed before it is destroyed. The list itself may be
// destroyed by a listener that it calls.

#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <vector>

namespace applist {

template <class Listener>
class ListenerList {
public:
    ListenerList() = default;
    // A ForEach that is still running keeps the vector; with nobody in it, it calls nobody else.
    ~ListenerList() { std::fill(m_listeners->all.begin(), m_listeners->all.end(), nullptr); }
    ListenerList(const ListenerList&) = delete;
    ListenerList& operator=(const ListenerList&) = delete;

    // Adding a listener twice, or removing one that is not there, changes nothing.
    void Add(Listener* listener) {
        std::vector<Listener*>& all = m_listeners->all;
        if (std::find(all.begin(), all.end(), listener) == all.end()) all.push_back(listener);
    }

    // Leaves a gap, so that a ForEach that is running finds everybody else where they were.
    void Remove(Listener* listener) {
        std::vector<Listener*>& all = m_listeners->all;
        std::replace(all.begin(), all.end(), listener, static_cast<Listener*>(nullptr));
        if (m_listeners->running == 0) CloseGaps(*m_listeners);
    }

    bool IsEmpty() const {
        const std::vector<Listener*>& all = m_listeners->all;
        return std::all_of(all.begin(), all.end(), [](Listener* each) { return each == nullptr; });
    }

    // Calls `tell` with every listener, in the order in which they were added. A listener may add
    // or remove any listener meanwhile: one that is added is not called this time, one that is
    // removed is not called any more. Needs no memory: what is told may be that something goes.
    // REQUIRES: `tell` does not throw.
    template <class Tell>
    void ForEach(Tell tell) const {
        const std::shared_ptr<Listeners> listeners = m_listeners;  // may outlive this list
        const std::size_t count = listeners->all.size();
        ++listeners->running;
        for (std::size_t at = 0; at < count; ++at) {
            if (listeners->all[at] != nullptr) tell(listeners->all[at]);
        }
        if (--listeners->running == 0) CloseGaps(*listeners);
    }

private:
    struct Listeners {
        std::vector<Listener*> all;
        int running = 0;
    };

    static void CloseGaps(Listeners& listeners) {
        std::vector<Listener*>& all = listeners.all;
        all.erase(std::remove(all.begin(), all.end(), nullptr), all.end());
    }

    std::shared_ptr<Listeners> m_listeners = std::make_shared<Listeners>();
};

}  // namespace applist
