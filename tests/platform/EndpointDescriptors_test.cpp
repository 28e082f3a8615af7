// SPDX-License-Identifier: MIT

// Bodies in sealed memfds. What is refused is refused before the application hears of it, and the
// endpoint goes on; both are checked after each refusal.

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "support/EndpointTest.h"

class AnEndpointsMessageFd : public EndpointTest {
protected:
    void ExpectRefused(int fd, const std::string& reason) {
        const Answer answer = m_client->MessageFd(fd);
        EXPECT_EQ(kBadFd, answer.error);
        EXPECT_NE(std::string::npos, answer.text.find(reason)) << answer.text;
        EXPECT_EQ(Strings{}, m_endpoint->m_events);
        EXPECT_EQ("still there", m_client->Message("still there").body);
    }

    void ExpectTooLarge(std::uint64_t size) {
        const Answer answer = m_client->MessageFd(SparseMemfd(size).Get());
        EXPECT_EQ(kLimitsExceeded, answer.error);
        EXPECT_EQ("not executed: the request holds " + std::to_string(size) +
                      " bytes; send at most 67108864 in one call",
                  answer.text);
        EXPECT_EQ(Strings{}, m_endpoint->m_events);
    }

    std::unique_ptr<BusClient> m_client = NewClient();
};

ON_EVERY_BUS_AND_OVER_CHANNELS(AnEndpointsMessageFd);

TEST_P(AnEndpointsMessageFd, CarriesAMessageAndItsAnswerInMemfds) {
    m_endpoint->m_answer = [](const std::string& request) { return "answer to " + request; };
    const TestFd request = MemfdOf("a question");

    const Answer answer = m_client->MessageFd(request.Get());

    ASSERT_EQ("", answer.error) << answer.text;
    EXPECT_EQ("h", answer.signature);
    EXPECT_EQ("answer to a question", ContentOf(answer.fd->Get()));
    EXPECT_EQ(Strings{"message a question"}, m_endpoint->m_events);
}

TEST_P(AnEndpointsMessageFd, SealsTheAnswerForGood) {
    const TestFd request = MemfdOf("question");

    const Answer answer = m_client->MessageFd(request.Get());

    ASSERT_EQ("", answer.error) << answer.text;
    EXPECT_EQ(kEverySeal | F_SEAL_SEAL, SealsOf(answer.fd->Get()));
}

TEST_P(AnEndpointsMessageFd, CarriesBodiesThatAreShorterThanAnId) {
    for (const char* body : {"", "1", "12", "123"}) {
        const TestFd request = MemfdOf(body);
        const Answer answer = m_client->MessageFd(request.Get());
        ASSERT_EQ("", answer.error) << answer.text;
        EXPECT_EQ(body, ContentOf(answer.fd->Get()));
    }
}

TEST_P(AnEndpointsMessageFd, ReadsTheBodyFromItsStartWhereverTheDescriptorStands) {
    const TestFd request = MemfdOf("a question");
    ASSERT_EQ(5, lseek(request.Get(), 5, SEEK_SET));

    m_client->MessageFd(request.Get());

    EXPECT_EQ(Strings{"message a question"}, m_endpoint->m_events);
    EXPECT_EQ(5, lseek(request.Get(), 0, SEEK_CUR)) << "the sender's descriptor was moved";
}

TEST_P(AnEndpointsMessageFd, CarriesFortyMegabytesThatAreTooLargeForMessage) {
    std::string list;
    list.resize(40'000'000, 'x');
    m_endpoint->m_answer = [&](const std::string&) { return list; };
    EXPECT_EQ(kTooLarge, m_client->Message("the list").error);

    const TestFd request = MemfdOf("the list");
    const Answer answer = m_client->MessageFd(request.Get());

    ASSERT_EQ("", answer.error) << answer.text;
    EXPECT_TRUE(ContentOf(answer.fd->Get()) == list) << SizeOf(answer.fd->Get()) << " bytes came";
}

TEST_P(AnEndpointsMessageFd, TakesFurtherSealsThanItNeeds) {
    const TestFd request = MemfdOf("question", kEverySeal | F_SEAL_SEAL);

    EXPECT_EQ("", m_client->MessageFd(request.Get()).error);
}

TEST_P(AnEndpointsMessageFd, RefusesAPipe) {
    int ends[2];
    ASSERT_EQ(0, pipe2(ends, O_CLOEXEC));
    const TestFd reader(ends[0]);
    const TestFd writer(ends[1]);

    ExpectRefused(reader.Get(), "not a memfd");
}

TEST_P(AnEndpointsMessageFd, RefusesAFileOnDisk) {
    const TestFd file(open("/proc/self/exe", O_RDONLY | O_CLOEXEC));
    ASSERT_GE(file.Get(), 0);

    ExpectRefused(file.Get(), "not a memfd");
}

TEST_P(AnEndpointsMessageFd, RefusesAMemfdWithoutSeals) {
    const TestFd request = MemfdOf("question", 0);

    ExpectRefused(request.Get(), "not sealed");
}

TEST_P(AnEndpointsMessageFd, RefusesAMemfdThatLacksOneSeal) {
    for (const int missing : {F_SEAL_SHRINK, F_SEAL_GROW, F_SEAL_WRITE}) {
        const TestFd request = MemfdOf("question", kEverySeal & ~missing);
        ExpectRefused(request.Get(), "not sealed");
        m_endpoint->m_events.clear();
    }
}

TEST_P(AnEndpointsMessageFd, RefusesAMemfdThatMayOnlyBeWritten) {
    const TestFd request = MemfdOf("question");
    const std::string itself = "/proc/self/fd/" + std::to_string(request.Get());
    const TestFd writeOnly(open(itself.c_str(), O_WRONLY | O_CLOEXEC));
    ASSERT_GE(writeOnly.Get(), 0);

    ExpectRefused(writeOnly.Get(), "Bad file descriptor");
}

TEST_P(AnEndpointsMessageFd, RefusesSixtyFourMegabytesAndAByteWithoutReadingThem) {
    ExpectTooLarge((std::uint64_t{64} << 20) + 1);
}

TEST_P(AnEndpointsMessageFd, RefusesASizeThatDoesNotFitIntoMemoryAtAll) {
    ExpectTooLarge(std::uint64_t{1} << 45);
}

TEST_P(AnEndpointsMessageFd, RefusesAHoleOfManyMegabytesWithoutReadingIt) {
    m_endpoint->m_recordsBodies = false;

    const Answer answer = m_client->MessageFd(SparseMemfd(std::uint64_t{64} << 20).Get());

    EXPECT_EQ(kBadFd, answer.error);
    EXPECT_EQ("the memfd has holes: 0 of its 67108864 bytes are in memory; write all of them",
              answer.text);
    EXPECT_EQ(Strings{}, m_endpoint->m_events);
}

TEST_P(AnEndpointsMessageFd, KeepsNoDescriptorOfThoseThatItGotAndSent) {
    const TestFd good = MemfdOf("question");
    const TestFd bad = MemfdOf("question", 0);
    m_client->MessageFd(good.Get());
    m_client->MessageFd(bad.Get());
    const int before = dup(0);
    close(before);

    for (int round = 0; round < 100; ++round) {
        m_client->MessageFd(good.Get());
        m_client->MessageFd(bad.Get());
    }

    const TestFd after(dup(0));
    EXPECT_EQ(before, after.Get()) << "the lowest free descriptor has moved";
}

// ---- The largest, once: it takes three gigabytes of memory --------------------------------------

class AnEndpointWithAGigabyte : public EndpointTest {
protected:
    std::unique_ptr<BusClient> m_client = NewClient();
};

INSTANTIATE_TEST_SUITE_P(OnOneBus, AnEndpointWithAGigabyte,
                         ::testing::Values(BusVariety{BusProgram::Broker, BusLimits::BuiltIn}),
                         NameOfBus);

TEST_P(AnEndpointWithAGigabyte, TakesTheLargestRequestThatMessageFdMayCarry) {
    m_endpoint->m_recordsBodies = false;
    const TestFd request = FilledMemfd(std::uint64_t{64} << 20);

    const Answer answer = m_client->MessageFd(request.Get());

    EXPECT_EQ("", answer.error) << answer.text;
    EXPECT_EQ(Strings{"message of 67108864 bytes"}, m_endpoint->m_events);
}

TEST_P(AnEndpointWithAGigabyte, RefusesAnAnswerThatMessageFdCannotCarryEither) {
    m_endpoint->m_recordsBodies = false;
    m_endpoint->m_answerSize = (std::size_t{1} << 30) + 1;
    const TestFd request = MemfdOf("question");

    const Answer answer = m_client->MessageFd(request.Get());

    EXPECT_EQ(kTooLarge, answer.error);
    EXPECT_NE(std::string::npos, answer.text.find("1073741825 bytes")) << answer.text;
}
