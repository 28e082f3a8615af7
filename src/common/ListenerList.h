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

namespace detail {

// For ListenerList alone: what the lists of all kinds of listeners have in common, so that a
// program has it once, and not inlined wherever there is one.
class AnyListeners {
public:
    AnyListeners() = default;
    // A ForEach that is still running keeps the vector; with nobody in it, it calls nobody else.
    [[gnu::noinline]] ~AnyListeners() {
        std::fill(m_listeners->all.begin(), m_listeners->all.end(), nullptr);
    }
    AnyListeners(const AnyListeners&) = delete;
    AnyListeners& operator=(const AnyListeners&) = delete;

    void Add(void* listener) {
        std::vector<void*>& all = m_listeners->all;
        if (std::find(all.begin(), all.end(), listener) == all.end()) all.push_back(listener);
    }

    // Leaves a gap, so that a ForEach that is running finds everybody else where they were.
    void Remove(void* listener) {
        std::vector<void*>& all = m_listeners->all;
        std::replace(all.begin(), all.end(), listener, static_cast<void*>(nullptr));
        if (m_listeners->running == 0) CloseGaps(*m_listeners);
    }

    bool IsEmpty() const {
        const std::vector<void*>& all = m_listeners->all;
        return std::all_of(all.begin(), all.end(), [](void* each) { return each == nullptr; });
    }

    [[gnu::noinline]] void ForEach(void (*tell)(void* listener, void* context),
                                   void* context) const {
        const std::shared_ptr<Listeners> listeners = m_listeners;  // may outlive this list
        const std::size_t count = listeners->all.size();
        ++listeners->running;
        for (std::size_t at = 0; at < count; ++at) {
            if (listeners->all[at] != nullptr) tell(listeners->all[at], context);
        }
        if (--listeners->running == 0) CloseGaps(*listeners);
    }

private:
    struct Listeners {
        std::vector<void*> all;
        int running = 0;
    };

    static void CloseGaps(Listeners& listeners) {
        std::vector<void*>& all = listeners.all;
        all.erase(std::remove(all.begin(), all.end(), nullptr), all.end());
    }

    std::shared_ptr<Listeners> m_listeners = std::make_shared<Listeners>();
};

}  // namespace detail

template <class Listener>
class ListenerList {
public:
    // Adding a listener twice, or removing one that is not there, changes nothing.
    void Add(Listener* listener) { m_all.Add(listener); }
    void Remove(Listener* listener) { m_all.Remove(listener); }

    bool IsEmpty() const { return m_all.IsEmpty(); }

    // Calls `tell` with every listener, in the order in which they were added. A listener may add
    // or remove any listener meanwhile: one that is added is not called this time, one that is
    // removed is not called any more. Needs no memory: what is told may be that something goes.
    // REQUIRES: `tell` does not throw.
    template <class Tell>
    void ForEach(Tell tell) const {
        m_all.ForEach(
            [](void* each, void* context) {
                (*static_cast<Tell*>(context))(static_cast<Listener*>(each));
            },
            &tell);
    }

private:
    detail::AnyListeners m_all;
};

}  // namespace applist
