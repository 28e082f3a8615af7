// SPDX-License-Identifier: MIT

#include "apps/common/LastWords.h"

#include <gtest/gtest.h>

#include <csignal>
#include <exception>
#include <new>
#include <stdexcept>

using applist::EndWithoutMemory;

namespace {

template <class Error>
void ThrowWhereNobodyMay(const Error& error) noexcept {
    std::rethrow_exception(std::make_exception_ptr(error));
}

}  // namespace

TEST(TheLastWords, AreSaidWhenMemoryEndsWhereNobodyCanCatchThat) {
    EXPECT_EXIT(
        {
            EndWithoutMemory("a program: out of memory\n", 3);
            ThrowWhereNobodyMay(std::bad_alloc());
        },
        testing::ExitedWithCode(3), "^a program: out of memory\n$");
}

TEST(TheLastWords, AreThoseThatWereGivenLast) {
    EXPECT_EXIT(
        {
            EndWithoutMemory("not this\n", 3);
            EndWithoutMemory("this\n", 4);
            ThrowWhereNobodyMay(std::bad_alloc());
        },
        testing::ExitedWithCode(4), "^this\n$");
}

TEST(TheLastWords, AreNotSaidAtAnyOtherEnd) {
    EXPECT_EXIT(
        {
            EndWithoutMemory("not this\n", 3);
            EndWithoutMemory("not this\n", 3);
            ThrowWhereNobodyMay(std::runtime_error("the cause"));
        },
        testing::KilledBySignal(SIGABRT), "the cause");
    EXPECT_EXIT(
        {
            EndWithoutMemory("not this\n", 3);
            std::terminate();
        },
        testing::KilledBySignal(SIGABRT), "terminate");
}
