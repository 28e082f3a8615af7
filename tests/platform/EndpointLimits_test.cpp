// SPDX-License-Identifier: MIT

// The limits that an application may set, each at n - 1, n and n + 1.

#include "bus/TransportLimits.h"

#include "support/EndpointTest.h"

using applist::SetTransportLimits;
using applist::TransportLimits;

class AnEndpointWithLimitsOfItsOwn : public EndpointTest {
protected:
    AnEndpointWithLimitsOfItsOwn() {
        EndEndpoint();
        TransportLimits limits;
        limits.fdBytes = 5000;
        limits.fdRequestBytes = 4000;
        limits.requestBytes = 3000;
        limits.partners = 2;
        SetTransportLimits(limits);
        NewEndpoint();
        m_client = NewClient();
    }

    ~AnEndpointWithLimitsOfItsOwn() override { SetTransportLimits(TransportLimits()); }

    Answer Send(std::size_t size) {
        return m_client->MessageFd(MemfdOf(std::string(size, 'x')).Get());
    }

    Answer Receive(std::size_t size) {
        m_endpoint->m_answer = [size](const std::string&) { return std::string(size, 'x'); };
        return Send(1);
    }

    std::unique_ptr<BusClient> m_client;
};

ON_EVERY_BUS_AND_OVER_CHANNELS(AnEndpointWithLimitsOfItsOwn);

TEST_P(AnEndpointWithLimitsOfItsOwn, GivesThatManyChannels) {
    TransportLimits limits;
    limits.channels = 1;
    SetTransportLimits(limits);
    EndEndpoint();
    NewEndpoint();
    BusClient one(m_bus.Address());
    BusClient other(m_bus.Address());

    EXPECT_EQ("", one.TakeChannel().error);
    EXPECT_EQ(kLimitsExceeded, other.TakeChannel().error);
}

TEST_P(AnEndpointWithLimitsOfItsOwn, TakesADescriptorOfThatManyBytes) {
    EXPECT_EQ("", Send(3999).error);
    EXPECT_EQ("", Send(4000).error);

    const Answer answer = Send(4001);

    EXPECT_EQ(kLimitsExceeded, answer.error);
    EXPECT_EQ("not executed: the request holds 4001 bytes; send at most 4000 in one call",
              answer.text);
    EXPECT_EQ(2u, m_endpoint->m_events.size());
}

TEST_P(AnEndpointWithLimitsOfItsOwn, TakesAMessageOfThatManyBytes) {
    EXPECT_EQ("", m_client->Message(std::string(2999, 'x')).error);
    EXPECT_EQ("", m_client->Message(std::string(3000, 'x')).error);

    const Answer answer = m_client->Message(std::string(3001, 'x'));

    EXPECT_EQ(kLimitsExceeded, answer.error);
    EXPECT_EQ("not executed: the request holds 3001 bytes; send at most 3000 in one call",
              answer.text);
    EXPECT_EQ(2u, m_endpoint->m_events.size());
}

TEST_P(AnEndpointWithLimitsOfItsOwn, TakesANotificationOfThatManyBytes) {
    EXPECT_EQ("", m_client->Notify(std::string(3000, 'x')).error);
    EXPECT_EQ(kLimitsExceeded, m_client->Notify(std::string(3001, 'x')).error);
}

TEST_P(AnEndpointWithLimitsOfItsOwn, AnswersWithADescriptorOfThatManyBytes) {
    EXPECT_EQ(4999u, SizeOf(Receive(4999).fd->Get()));
    EXPECT_EQ(5000u, SizeOf(Receive(5000).fd->Get()));

    EXPECT_EQ(kTooLarge, Receive(5001).error);
}

TEST_P(AnEndpointWithLimitsOfItsOwn, TakesThatManyPartners) {
    const auto other = NewStranger();
    const auto third = NewStranger();
    EXPECT_EQ("", m_client->Connect().error);
    EXPECT_EQ("", other->Connect().error);

    EXPECT_EQ(kLimitsExceeded, third->Connect().error);
}

TEST_P(AnEndpointWithLimitsOfItsOwn, KeepsThoseThatItWasBuiltWith) {
    SetTransportLimits(TransportLimits());

    EXPECT_EQ(kLimitsExceeded, Send(4001).error);
}
