// SPDX-License-Identifier: MIT

#include "bus/SealedMemfd.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/TestFd.h"

using applist::MakeSealedBody;
using applist::OwnedFd;
using applist::ReadSealedBody;
using applist::SizeOfMemfd;
using applist::WhyNoSealedBody;

namespace {

constexpr std::size_t kGigabyte = std::size_t{1} << 30;

std::vector<char> Bytes(const std::string& text) {
    return std::vector<char>(text.begin(), text.end());
}

const TestFd& Sealed(const TestFd& fd) {
    EXPECT_EQ(0, fcntl(fd.Get(), F_ADD_SEALS, kEverySeal));
    return fd;
}

// What ReadSealedBody makes of a memfd that holds `content`.
std::vector<char> Read(const std::string& content) {
    std::vector<char> body = Bytes("what was there before");
    EXPECT_EQ(0, ReadSealedBody(MemfdOf(content).Get(), body));
    return body;
}

}  // namespace

TEST(ASealedBody, IsTakenWithTheThreeSeals) {
    EXPECT_EQ("", WhyNoSealedBody(MemfdOf("body").Get(), 100));
}

TEST(ASealedBody, IsTakenAtItsLimitAndBelow) {
    EXPECT_EQ("", WhyNoSealedBody(MemfdOf("1234").Get(), 5));
    EXPECT_EQ("", WhyNoSealedBody(MemfdOf("12345").Get(), 5));
}

TEST(ASealedBody, IsRefusedPastItsLimitWithBothSizes) {
    EXPECT_EQ("the memfd holds 6 bytes; send at most 5",
              WhyNoSealedBody(MemfdOf("123456").Get(), 5));
}

TEST(ASealedBody, IsRefusedForItsSizeWhenThatIsPastThirtyTwoBits) {
    EXPECT_EQ("the memfd holds 4294967301 bytes; send at most 1073741824",
              WhyNoSealedBody(SparseMemfd((std::uint64_t{1} << 32) + 5).Get(), kGigabyte));
}

TEST(ASealedBody, IsRefusedWhenItIsOneHole) {
    EXPECT_EQ("the memfd has holes: 0 of its 1073741824 bytes are in memory; write all of them",
              WhyNoSealedBody(SparseMemfd(kGigabyte).Get(), kGigabyte));
    EXPECT_NE("", WhyNoSealedBody(SparseMemfd(1).Get(), kGigabyte));
}

TEST(ASealedBody, IsRefusedWhenOnePageOfItIsAHole) {
    const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    for (const std::size_t size : {page + 1, 2 * page, 100 * page}) {
        const TestFd fd = MemfdOf(std::string(size, 'x'), 0);
        ASSERT_EQ("", WhyNoSealedBody(Sealed(fd).Get(), kGigabyte)) << size;

        const TestFd holey = MemfdOf(std::string(size, 'x'), 0);
        ASSERT_EQ(0, fallocate(holey.Get(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0,
                               static_cast<off_t>(page)));
        EXPECT_NE("", WhyNoSealedBody(Sealed(holey).Get(), kGigabyte)) << size;
    }
}

TEST(ASealedBody, IsTakenWhenItsMemoryIsThereAndWasNeverWritten) {
    EXPECT_EQ("", WhyNoSealedBody(FilledMemfd(5000).Get(), 5000));
}

TEST(ASealedBody, IsTakenWhenItIsEmpty) {
    EXPECT_EQ("", WhyNoSealedBody(SparseMemfd(0).Get(), 0));
}

TEST(AMemfd, SaysItsSizeAndAnythingElseNone) {
    const TestFd file(open("/proc/self/exe", O_RDONLY | O_CLOEXEC));

    EXPECT_EQ(5u, SizeOfMemfd(MemfdOf("12345", 0).Get()));
    EXPECT_EQ(kGigabyte, SizeOfMemfd(SparseMemfd(kGigabyte).Get()));
    EXPECT_EQ(0u, SizeOfMemfd(file.Get()));
    EXPECT_EQ(0u, SizeOfMemfd(-1));
}

TEST(ASealedBody, IsRefusedWhenAnyOfTheThreeSealsIsMissing) {
    for (const int missing : {F_SEAL_SHRINK, F_SEAL_GROW, F_SEAL_WRITE, kEverySeal}) {
        const TestFd fd = MemfdOf("body", kEverySeal & ~missing);
        EXPECT_NE("", WhyNoSealedBody(fd.Get(), 100)) << "missing " << missing;
    }
}

// Whoever has mapped it before can go on writing.
TEST(ASealedBody, IsRefusedWithTheSealAgainstFutureWritesAlone) {
    const TestFd fd = MemfdOf("body", F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_FUTURE_WRITE);

    EXPECT_NE("", WhyNoSealedBody(fd.Get(), 100));
}

TEST(ASealedBody, IsRefusedWhenItIsNoMemfd) {
    int ends[2];
    ASSERT_EQ(0, pipe2(ends, O_CLOEXEC));
    const TestFd reader(ends[0]);
    const TestFd writer(ends[1]);
    const TestFd file(open("/dev/null", O_RDWR | O_CLOEXEC));

    for (const int fd : {reader.Get(), writer.Get(), file.Get(), -1}) {
        EXPECT_EQ("the descriptor is not a memfd; send one made with memfd_create",
                  WhyNoSealedBody(fd, 100));
    }
}

TEST(ASealedBody, IsReadWhole) {
    EXPECT_EQ(Bytes("body"), Read("body"));
    EXPECT_EQ(Bytes(""), Read(""));
    EXPECT_EQ(Bytes(std::string("\0\xff\n", 3)), Read(std::string("\0\xff\n", 3)));
}

TEST(ASealedBody, IsReadWhereverItsDescriptorStands) {
    const TestFd fd = MemfdOf("body");
    ASSERT_EQ(4, lseek(fd.Get(), 0, SEEK_END));
    std::vector<char> body;

    EXPECT_EQ(0, ReadSealedBody(fd.Get(), body));

    EXPECT_EQ(Bytes("body"), body);
    EXPECT_EQ(4, lseek(fd.Get(), 0, SEEK_CUR));
}

TEST(ASealedBody, CannotBeReadThroughADescriptorThatOnlyWrites) {
    const TestFd fd = MemfdOf("body");
    const std::string itself = "/proc/self/fd/" + std::to_string(fd.Get());
    const TestFd writeOnly(open(itself.c_str(), O_WRONLY | O_CLOEXEC));
    std::vector<char> body;

    EXPECT_EQ(-EBADF, ReadSealedBody(writeOnly.Get(), body));
}

TEST(ASealedBody, IsMadeSealedForGoodAndReadsBackTheSame) {
    const OwnedFd fd = MakeSealedBody(Bytes("body"));

    ASSERT_GE(fd.Get(), 0);
    EXPECT_EQ(kEverySeal | F_SEAL_SEAL, SealsOf(fd.Get()));
    EXPECT_EQ("body", ContentOf(fd.Get()));
    EXPECT_EQ("", WhyNoSealedBody(fd.Get(), 4));
    EXPECT_NE(0, fcntl(fd.Get(), F_GETFD) & FD_CLOEXEC) << "a child would inherit it";
}

TEST(ASealedBody, MayBeMadeEmpty) {
    const OwnedFd fd = MakeSealedBody(Bytes(""));

    ASSERT_GE(fd.Get(), 0);
    EXPECT_EQ("", ContentOf(fd.Get()));
    EXPECT_EQ("", WhyNoSealedBody(fd.Get(), 0));
}
