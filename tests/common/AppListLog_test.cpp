#include "common/AppListLog.h"

#include <gtest/gtest.h>

#include <string>

#include "support/RecordingLog.h"

using recording::LogRecord;
using recording::LogRecords;
using std::string;

class ALogLine : public ::testing::Test {
protected:
    ALogLine() { recording::RestartLog(); }

    static const LogRecord& Newest() { return LogRecords().back(); }
};

TEST_F(ALogLine, NamesFileFunctionAndLineTwice) {
    const int line = __LINE__ + 1;
    APPLIST_LOG(applist_log::kDebug, "hello");

    const string where = std::to_string(line);
    EXPECT_EQ("AppListLog_test.cpp: TestBody(" + where + ") > [TestBody:" + where + "] hello\n",
              Newest().text);
}

TEST_F(ALogLine, HasOneFormatForAll) {
    APPLIST_LOG(applist_log::kDebug, "%d items", 3);

    EXPECT_STREQ("%s: %s(%d) > [%s:%d] %d items\n", Newest().format);
    EXPECT_EQ("3 items", Newest().Message());
}

TEST_F(ALogLine, GoesToTheMainBufferUnderItsTag) {
    APPLIST_LOG(applist_log::kInfo, "hello");

    EXPECT_EQ(0, Newest().bufferId);
    EXPECT_STREQ("applist", Newest().tag);
}

TEST_F(ALogLine, ShowsTwoBlanksBeforeADashThatFollowsABlank) {
    APPLIST_LOG(applist_log::kDebug, " - RemoteAppListItem");

    EXPECT_NE(string::npos, Newest().text.find("]  - RemoteAppListItem\n")) << Newest().text;
}

TEST(TheLogPriorities, AreThePlatforms) {
    EXPECT_EQ(3, applist_log::kDebug);
    EXPECT_EQ(4, applist_log::kInfo);
    EXPECT_EQ(6, applist_log::kError);
}

TEST(ABaseName, IsWhatFollowsTheLastSlash) {
    EXPECT_STREQ("file.h", applist_log::BaseName("/a/b/file.h"));
    EXPECT_STREQ("file.h", applist_log::BaseName("b/file.h"));
    EXPECT_STREQ("file.h", applist_log::BaseName("file.h"));
    EXPECT_STREQ("", applist_log::BaseName("b/"));
    EXPECT_STREQ("", applist_log::BaseName(""));
}
