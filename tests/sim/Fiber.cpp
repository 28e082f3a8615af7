// SPDX-License-Identifier: MIT

#include "sim/Fiber.h"

#include <cxxabi.h>
#include <sys/mman.h>

#include <cstdlib>
#include <utility>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/common_interface_defs.h>
#else
// The sanitizer has to know which stack is in use.
static void __sanitizer_start_switch_fiber(void**, const void*, std::size_t) {}
static void __sanitizer_finish_switch_fiber(void*, const void**, std::size_t*) {}
#endif

namespace sim {

namespace {

constexpr std::size_t kStack = std::size_t{1} << 20;  // of which only what is used takes memory

Fiber* theFiber = nullptr;
ucontext_t theOutside;
const void* theOutsideStack = nullptr;
std::size_t theOutsideStackSize = 0;

// Stacks are used again: mapping one takes longer than a short round.
std::vector<char*>& FreeStacks() {
    static std::vector<char*>& stacks = *new std::vector<char*>;
    return stacks;
}

char* TakeStack() {
    if (!FreeStacks().empty()) {
        char* const stack = FreeStacks().back();
        FreeStacks().pop_back();
        return stack;
    }
    void* const made = mmap(nullptr, kStack, PROT_READ | PROT_WRITE,
                            MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_STACK, -1, 0);
    if (made == MAP_FAILED) std::abort();
    return static_cast<char*>(made);
}

}  // namespace

Fiber::Fiber(std::function<void()> body) : m_body(std::move(body)), m_stack(TakeStack()) {
    getcontext(&m_context);
    m_context.uc_stack.ss_sp = m_stack;
    m_context.uc_stack.ss_size = kStack;
    m_context.uc_link = &theOutside;
    makecontext(&m_context, &Fiber::Enter, 0);
}

Fiber::~Fiber() {
    FreeStacks().push_back(m_stack);
}

Fiber::Exceptions& Fiber::CurrentExceptions() {
    return *reinterpret_cast<Exceptions*>(abi::__cxa_get_globals());
}

void Fiber::Resume() {
    const Exceptions outside = std::exchange(CurrentExceptions(), m_exceptions);
    theFiber = this;
    SwitchIn();
    theFiber = nullptr;
    m_exceptions = std::exchange(CurrentExceptions(), outside);
}

void Fiber::SwitchIn() {
    void* saved = nullptr;
    __sanitizer_start_switch_fiber(&saved, m_stack, kStack);
    swapcontext(&theOutside, &m_context);
    __sanitizer_finish_switch_fiber(saved, nullptr, nullptr);
}

void Fiber::Enter() {
    __sanitizer_finish_switch_fiber(nullptr, &theOutsideStack, &theOutsideStackSize);
    Fiber& self = *theFiber;
    self.m_body();
    self.m_isDone = true;
    // Nothing to come back to: the sanitizer lets go of what it keeps for this stack.
    __sanitizer_start_switch_fiber(nullptr, theOutsideStack, theOutsideStackSize);
}

void Fiber::Wait() {
    void* saved = nullptr;
    theFiber->SwitchOut(&saved);
    __sanitizer_finish_switch_fiber(saved, &theOutsideStack, &theOutsideStackSize);
}

void Fiber::SwitchOut(void** saved) {
    __sanitizer_start_switch_fiber(saved, theOutsideStack, theOutsideStackSize);
    swapcontext(&m_context, &theOutside);
}

}  // namespace sim
