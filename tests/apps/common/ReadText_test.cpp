// SPDX-License-Identifier: MIT

#include "apps/common/ReadText.h"

#include <gtest/gtest.h>

#include <string>

using namespace applist;

namespace {

std::string FaultOfFile(const std::string& path, std::size_t limit = kMaxText) {
    try {
        ReadText(path, limit);
    } catch (const InputError& error) {
        return error.what();
    }
    return "no fault";
}

}  // namespace

TEST(AText, IsReadAsItIs) {
    EXPECT_EQ(ReadText("/dev/null"), "");
    EXPECT_NE(ReadText("/proc/self/environ").find('\0'), std::string::npos);
}

TEST(AText, ThatDoesNotExistIsNamedWithTheCause) {
    EXPECT_EQ(FaultOfFile("/nonexistent/apps.txt"),
              "cannot open /nonexistent/apps.txt: No such file or directory; name a file that "
              "exists and that you may read");
}

TEST(AText, WithoutANameIsShownAsSuch) {
    EXPECT_EQ(FaultOfFile(""),
              "cannot open \"\": No such file or directory; name a file that exists and that "
              "you may read");
}

TEST(AText, ThatIsAFolderIsRefused) {
    EXPECT_EQ(FaultOfFile("/"),
              "cannot read /: Is a directory; give a file or a pipe that can be read");
}

TEST(AText, MayBeAsLongAsTheLimit) {
    const std::string path = "/proc/self/cmdline";
    const std::size_t length = ReadText(path).size();
    EXPECT_EQ(ReadText(path, length).size(), length);
    EXPECT_EQ(FaultOfFile(path, length - 1),
              path + " has more than " + std::to_string(length - 1) +
                  " bytes, the most that one message can carry; split it");
}

TEST(AText, IsNotReadPastTheLimit) {
    EXPECT_EQ(
        FaultOfFile("/dev/zero", 1000000),
        "/dev/zero has more than 1000000 bytes, the most that one message can carry; split it");
}
