// SPDX-License-Identifier: MIT

#include "apps/applistd/FileWatch.h"

#include <gtest/gtest.h>
#include <sys/fsuid.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include "support/ScratchFolder.h"
#include "support/TestLoop.h"

using applist::daemon::FileWatch;

namespace fs = std::filesystem;

namespace {

constexpr uid_t kNobody = 65534;

}  // namespace

// What the kernel tells of a change it has told when the call that made it returns. So a loop that
// finds nothing to do has heard everything.
class AFileWatch : public ::testing::Test {
protected:
    fs::path In(const std::string& name) const { return m_folder.In(name); }

    void Write(const std::string& name, const std::string& text = "x") const {
        m_folder.Write(name, text);
    }

    // What `change` makes a watch of `path` tell, from zero: whether it is told at all.
    template <class Change>
    bool Hears(const fs::path& path, Change change) {
        int told = 0;
        const FileWatch watch(path, [&told] { ++told; });
        change();
        RunWhatIsReady();
        return told > 0;
    }

    ScratchFolder m_folder;
};

TEST_F(AFileWatch, TellsThatTheFileWasWritten) {
    Write("file");
    EXPECT_TRUE(Hears(In("file"), [this] { Write("file", "y"); }));
}

TEST_F(AFileWatch, TellsThatTheFileWasReplaced) {
    Write("file");
    Write("new");
    EXPECT_TRUE(Hears(In("file"), [this] { fs::rename(In("new"), In("file")); }));
}

TEST_F(AFileWatch, TellsThatTheFileWasRemoved) {
    Write("file");
    EXPECT_TRUE(Hears(In("file"), [this] { fs::remove(In("file")); }));
}

TEST_F(AFileWatch, TellsThatTheFileWasRenamed) {
    Write("file");
    EXPECT_TRUE(Hears(In("file"), [this] { fs::rename(In("file"), In("old")); }));
}

TEST_F(AFileWatch, TellsThatTheFileWasMade) {
    EXPECT_TRUE(Hears(In("file"), [this] { Write("file"); }));
}

// Who may not read a file may not watch it either.
TEST_F(AFileWatch, TellsThatTheFileMayBeRead) {
    Write("file");
    chmod(m_folder.Path().c_str(), 0755);
    chmod(In("file").c_str(), 0);
    setfsuid(geteuid() == 0 ? kNobody : geteuid());
    EXPECT_TRUE(Hears(In("file"), [this] {
        setfsuid(geteuid());
        chmod(In("file").c_str(), 0644);
    }));
}

TEST_F(AFileWatch, TellsOfAFileThatIsWrittenUnderAnotherName) {
    Write("file");
    fs::create_hard_link(In("file"), In("other"));
    EXPECT_TRUE(Hears(In("file"), [this] { Write("other", "y"); }));
}

TEST_F(AFileWatch, SaysNothingWhileNothingChanges) {
    Write("file");
    EXPECT_FALSE(Hears(In("file"), [this] { std::ifstream(In("file")).get(); }));
}

TEST_F(AFileWatch, SaysNothingOfOtherFilesInTheFolder) {
    Write("file");
    Write("other");
    EXPECT_FALSE(Hears(In("file"), [this] {
        Write("other", "y");
        Write("file.new");
        fs::remove(In("other"));
    }));
}

TEST_F(AFileWatch, TellsOfAFileInTheFolderThatItWasStartedIn) {
    const fs::path before = fs::current_path();
    fs::current_path(m_folder.Path());
    Write("file");
    EXPECT_TRUE(Hears("file", [this] { Write("file", "y"); }));
    Write("new");
    EXPECT_TRUE(Hears("file", [this] { fs::rename(In("new"), In("file")); }));
    fs::current_path(before);
}

TEST_F(AFileWatch, TellsThatTheTargetOfALinkWasWrittenOrReplaced) {
    fs::create_directory(In("elsewhere"));
    Write("elsewhere/target");
    Write("elsewhere/new");
    fs::create_symlink("elsewhere/target", In("file"));
    EXPECT_TRUE(Hears(In("file"), [this] { Write("elsewhere/target", "y"); }));
    EXPECT_TRUE(
        Hears(In("file"), [this] { fs::rename(In("elsewhere/new"), In("elsewhere/target")); }));
}

TEST_F(AFileWatch, TellsThatALinkLeadsElsewhere) {
    fs::create_symlink("nowhere", In("file"));
    fs::create_symlink("nowhere", In("new"));
    EXPECT_TRUE(Hears(In("file"), [this] { fs::rename(In("new"), In("file")); }));
    EXPECT_TRUE(Hears(In("file"), [this] { Write("nowhere"); }));
}

// As files of a configuration are published all at once.
TEST_F(AFileWatch, TellsThatALinkToAFolderLeadsElsewhere) {
    fs::create_directory(In("one"));
    fs::create_directory(In("two"));
    Write("one/file");
    Write("two/file");
    fs::create_symlink("one", In("current"));
    fs::create_symlink("two", In("next"));
    EXPECT_TRUE(Hears(In("current/file"), [this] { fs::rename(In("next"), In("current")); }));

    fs::create_symlink("current/file", In("file"));
    fs::create_symlink("one", In("next"));
    EXPECT_TRUE(Hears(In("file"), [this] { fs::rename(In("next"), In("current")); }));
}

TEST_F(AFileWatch, EndsWithLinksThatLeadInACircle) {
    fs::create_symlink("b", In("a"));
    fs::create_symlink("a", In("b"));
    EXPECT_TRUE(Hears(In("a"), [this] { fs::remove(In("b")); }));
}

TEST_F(AFileWatch, TellsThatTheFolderHasGone) {
    fs::create_directories(In("some/folder"));
    EXPECT_TRUE(Hears(In("some/folder/file"), [this] { fs::remove(In("some/folder")); }));
    fs::create_directories(In("some/folder"));
    EXPECT_TRUE(
        Hears(In("some/folder/file"), [this] { fs::rename(In("some/folder"), In("some/other")); }));
}

TEST_F(AFileWatch, TellsWhenAMissingFolderComes) {
    EXPECT_TRUE(Hears(In("some/folder/file"), [this] { fs::create_directory(In("some")); }));
    EXPECT_TRUE(Hears(In("some/folder/file"), [this] { fs::create_directory(In("some/folder")); }));
    EXPECT_TRUE(Hears(In("some/folder/file"), [this] { Write("some/folder/file"); }));
}

TEST_F(AFileWatch, SaysWhatTheKernelRefuses) {
    struct rlimit before;
    ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &before));
    const struct rlimit none = {3, before.rlim_max};
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &none));

    EXPECT_THROW(FileWatch(In("file"), [] {}), std::system_error);

    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &before));
}
