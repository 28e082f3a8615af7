// SPDX-License-Identifier: MIT

// A thread of execution that runs until it waits, on a stack of its own, inside the only thread
// there is. Exceptions and AddressSanitizer are told of each switch.
//
// Lifetime: one that has not finished is never unwound: let it finish.

#pragma once

#include <ucontext.h>

#include <cstddef>
#include <functional>

namespace sim {

class Fiber {
public:
    explicit Fiber(std::function<void()> body);
    ~Fiber();
    Fiber(const Fiber&) = delete;
    Fiber& operator=(const Fiber&) = delete;

    // Runs it until it waits or has finished. REQUIRES: called from outside of any fiber.
    void Resume();

    // Goes back to whoever resumed the running fiber. REQUIRES: called inside of one.
    static void Wait();

    bool IsDone() const { return m_isDone; }

private:
    // The two words in which a thread keeps the exceptions under way: each fiber has its own.
    struct Exceptions {
        void* caught = nullptr;
        unsigned uncaught = 0;
    };
    static Exceptions& CurrentExceptions();
    static void Enter();
    void SwitchIn();
    void SwitchOut(void** saved);

    const std::function<void()> m_body;
    char* m_stack;
    ucontext_t m_context;
    Exceptions m_exceptions;
    bool m_isDone = false;
};

}  // namespace sim
