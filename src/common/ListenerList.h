// The listeners of one kind that a model tells of its events.
//
// Lifetime: listeners are not owned; each is removed before it is destroyed. The list itself may be
// destroyed by a listener that it calls.

#pragma once

#include <algorithm>
#include <memory>
#include <vector>

namespace applist {

template <class Listener>
class ListenerList {
public:
    ListenerList() = default;
    // A ForEach that is still running keeps the vector; with nobody in it, it calls nobody else.
    ~ListenerList() { m_listeners->clear(); }
    ListenerList(const ListenerList&) = delete;
    ListenerList& operator=(const ListenerList&) = delete;

    // Adding a listener twice, or removing one that is not there, changes nothing.
    void Add(Listener* listener) {
        if (!Holds(*m_listeners, listener)) m_listeners->push_back(listener);
    }

    void Remove(Listener* listener) {
        m_listeners->erase(std::remove(m_listeners->begin(), m_listeners->end(), listener),
                           m_listeners->end());
    }

    // Calls `tell` with every listener, in the order in which they were added. A listener may add
    // or remove any listener meanwhile: one that is added is not called this time, one that is
    // removed is not called any more.
    template <class Tell>
    void ForEach(Tell tell) const {
        // Shared, because this list may be destroyed meanwhile; copied, because it may change.
        const std::shared_ptr<Listeners> listeners = m_listeners;
        const Listeners now = *listeners;
        for (Listener* listener : now) {
            if (Holds(*listeners, listener)) tell(listener);
        }
    }

private:
    using Listeners = std::vector<Listener*>;

    static bool Holds(const Listeners& listeners, Listener* listener) {
        return std::find(listeners.begin(), listeners.end(), listener) != listeners.end();
    }

    std::shared_ptr<Listeners> m_listeners = std::make_shared<Listeners>();
};

}  // namespace applist
