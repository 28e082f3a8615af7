// The listeners of one kind that a model tells of its events.
//
// Threads: the model's. Lifetime: listeners are not owned; each is removed before it is destroyed.
// The list itself may be destroyed by a listener that it calls.

#pragma once

#include <algorithm>
#include <memory>
#include <vector>

namespace applist {

template <class Listener>
class ListenerList {
public:
    ListenerList() = default;
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
    // and remove any listener meanwhile: one added now is not called now, one removed now is not
    // called any more.
    template <class Tell>
    void ForEach(Tell tell) const {
        const std::shared_ptr<Listeners> listeners = m_listeners;  // outlives this list
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
