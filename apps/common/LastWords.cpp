// SPDX-License-Identifier: MIT

#include "apps/common/LastWords.h"

#include <poll.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <new>

#include "apps/common/WriteText.h"

namespace applist {

namespace {

const char* lastWords = nullptr;
int lastStatus = 0;
std::terminate_handler otherEnd = nullptr;

[[noreturn]] void End() {
    try {
        if (std::current_exception()) throw;
    } catch (const std::bad_alloc&) {
        pollfd stream{STDERR_FILENO, POLLOUT, 0};  // one that is full would stop us here
        if (poll(&stream, 1, 0) == 1) WriteText(STDERR_FILENO, lastWords);
        _exit(lastStatus);
    } catch (...) {  // the other end says what it is
    }
    otherEnd();
    std::abort();
}

}  // namespace

void EndWithoutMemory(const char* text, int status) {
    lastWords = text;
    lastStatus = status;
    if (const std::terminate_handler there = std::set_terminate(End); there != End) {
        otherEnd = there;
    }
}

}  // namespace applist
