// The listeners of one kind that a model tells of its events.
//
// Threads: the model's. Lifetime: listeners are not owned; each is removed before it is destroyed.

#pragma once

#include <algorithm>
#include <vector>

template <class Listener>
class ListenerList {
public:
    // Adding a listener twice, or removing one that is not there, changes nothing.
    void Add(Listener* listener) {
        if (!Holds(listener)) m_listeners.push_back(listener);
    }

    void Remove(Listener* listener) {
        m_listeners.erase(std::remove(m_listeners.begin(), m_listeners.end(), listener),
                          m_listeners.end());
    }

    // Calls `tell` with every listener, in the order in which they were added. A listener may add
    // and remove any listener meanwhile: one added now is not called now, one removed now is not
    // called any more.
    template <class Tell>
    void ForEach(Tell tell) const {
        const std::vector<Listener*> now = m_listeners;
        for (Listener* listener : now) {
            if (Holds(listener)) tell(listener);
        }
    }

private:
    bool Holds(Listener* listener) const {
        return std::find(m_listeners.begin(), m_listeners.end(), listener) != m_listeners.end();
    }

    std::vector<Listener*> m_listeners;
};
