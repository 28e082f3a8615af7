// SPDX-License-Identifier: MIT

#include <functional>
#include <utility>

#include "partner/bus/PartnerBusTest.h"

using applist::RemoteError;

class AWritingPartner : public PartnerBusTest {
protected:
    AWritingPartner() {
        StartService();
        StartPartner();
    }

    void Write(int number) {
        RemoteAppListItem item("Name " + std::to_string(number), "id" + std::to_string(number));
        m_model->AddItemAtEnd(&item);
    }
};

ON_BOTH_BUSES(AWritingPartner);

TEST_P(AWritingPartner, SeesItsWritesWhenItHasSynchronized) {
    for (int number = 0; number < 3; ++number) Write(number);
    RemoteAppListItem second("", "id1");
    m_model->SetSelection(&second);

    m_model->Synchronize();

    EXPECT_EQ("Name 0/id0 Name 1/id1 Name 2/id2 (id1)", DigestOf(*m_model));
    EXPECT_EQ(DigestOf(*m_model), m_service->Ask("content"));
}

// A bus refuses a connection's 129th open call.
TEST_P(AWritingPartner, SendsTenThousandWritesWithoutWaitingAndAllArrive) {
    m_model->SetTimeout(std::chrono::seconds(30));
    std::string expected;
    for (int number = 0; number < 10000; ++number) Write(number);

    m_model->Synchronize();

    ASSERT_EQ(10000, m_model->GetItemsCount());
    const auto items = m_model->GetAllItems();
    for (std::size_t at = 0; at < items.size(); ++at) {
        ASSERT_EQ("id" + std::to_string(at), items[at]->GetUnigueId());
    }
}

TEST_P(AWritingPartner, SendsWhatStillWaitsWhenItIsDestroyed) {
    for (int number = 0; number < 300; ++number) Write(number);
    EndPartner();

    StartPartner();
    EXPECT_TRUE(RunUntil([this] { return m_model->GetItemsCount() == 300; }));
}

namespace {

class OnChange : public ItemChangeListener {
public:
    explicit OnChange(std::function<void()> reaction) : m_reaction(std::move(reaction)) {}
    void ItemChanged(AppListModel*) override { m_reaction(); }

private:
    const std::function<void()> m_reaction;
};

}  // namespace

TEST_P(AWritingPartner, SendsWhatStillWaitsWhenAListenerDestroysIt) {
    m_model->Synchronize();
    OnChange last([this] {
        for (int number = 1; number < 300; ++number) Write(number);
        EndPartner();
    });
    m_model->AddItemChangeListener(&last);
    Write(0);
    ASSERT_TRUE(RunUntil([this] { return !m_model; }));

    StartPartner();
    ASSERT_TRUE(RunUntil([this] { return m_model->GetItemsCount() == 300; }));
    EXPECT_EQ("id299", m_model->GetAllItems().back()->GetUnigueId());
}

TEST_P(AWritingPartner, SendsManyItemsAtOnce) {
    std::vector<RemoteAppListItem> items;
    std::vector<AppListItem*> pointers;
    for (int number = 0; number < 20000; ++number) {
        items.emplace_back("Name " + std::to_string(number), "id" + std::to_string(number));
    }
    for (RemoteAppListItem& item : items) pointers.push_back(&item);

    m_model->AddItems(pointers);
    m_model->Synchronize();

    ASSERT_EQ(20000, m_model->GetItemsCount());
    EXPECT_EQ("id19999", m_model->GetAllItems().back()->GetUnigueId());
}

// One batch of `megabytes`, an item each.
void AddMegabytes(AppListModel& model, int megabytes) {
    std::vector<RemoteAppListItem> items;
    std::vector<AppListItem*> pointers;
    for (int number = 0; number < megabytes; ++number) {
        items.emplace_back(std::string(std::size_t{1} << 20, 'x'), "id" + std::to_string(number));
    }
    for (RemoteAppListItem& item : items) pointers.push_back(&item);
    model.AddItems(pointers);
}

TEST_P(AWritingPartner, SendsOneBatchOfAsMuchAsTheServiceTakes) {
    m_model->SetTimeout(std::chrono::seconds(30));
    m_model->Synchronize();

    AddMegabytes(*m_model, 63);
    m_model->Synchronize();

    EXPECT_EQ(63, m_model->GetItemsCount());
}

TEST_P(AWritingPartner, IsToldThatABatchOfMoreWasNotExecuted) {
    m_model->SetTimeout(std::chrono::seconds(30));
    m_model->Synchronize();
    AddMegabytes(*m_model, 65);

    try {
        m_model->Synchronize();
        FAIL() << "nothing was said";
    } catch (const RemoteError& error) {
        EXPECT_EQ(RemoteError::Cause::NotExecuted, error.GetCause());
        EXPECT_NE(std::string::npos, std::string(error.what()).find("at most 67108864 in one call"))
            << error.what();
    }
    m_model->Synchronize();
    EXPECT_EQ(0, m_model->GetItemsCount());
}

TEST_P(AWritingPartner, IsToldThatTheOutcomeIsUnknownWhenTheServiceIsKilledMeanwhile) {
    m_model->Synchronize();
    m_service->Stop();
    for (int number = 0; number < 10; ++number) Write(number);
    RunWhatIsReady();

    m_service->Kill();

    EXPECT_EQ("OutcomeUnknown", CauseOfSynchronize());
}

TEST_P(AWritingPartner, DoesNotRepeatAWriteWhoseOutcomeIsUnknown) {
    m_model->Synchronize();
    m_service->Stop();
    Write(1);
    RunWhatIsReady();
    m_service->Kill();
    ASSERT_TRUE(RunUntil([&] { return !m_model->IsServiceThere(); }));
    m_service.reset();
    StartService();
    ASSERT_TRUE(RunUntil([&] { return m_model->IsServiceThere(); }));

    EXPECT_EQ("OutcomeUnknown", CauseOfSynchronize());
    EXPECT_EQ("", CauseOfSynchronize());
    EXPECT_EQ("()", m_service->Ask("content"));
}

TEST_P(AWritingPartner, IsToldNoServiceForWhatWasNeverSent) {
    m_model->Synchronize();
    m_service->Kill();
    ASSERT_TRUE(RunUntil([&] { return !m_model->IsServiceThere(); }));

    Write(1);

    EXPECT_EQ("NoService", CauseOfSynchronize());
}

TEST_P(AWritingPartner, WaitsNoLongerThanItsTimeout) {
    m_model->Synchronize();
    m_service->Stop();
    m_model->SetTimeout(milliseconds(200));
    const auto start = std::chrono::steady_clock::now();

    EXPECT_EQ("TimedOut", CauseOfSynchronize());

    const auto time = std::chrono::steady_clock::now() - start;
    EXPECT_GE(time, milliseconds(200));
    EXPECT_LT(time, milliseconds(1500));
    m_service->Continue();
}

TEST_P(AWritingPartner, SynchronizesAlsoWhenItMayWaitForever) {
    m_model->SetTimeout(milliseconds::max());
    Write(1);

    EXPECT_EQ("", CauseOfSynchronize());
    EXPECT_EQ(1, m_model->GetItemsCount());
}

// The timeout of a call is the one that it was sent with: a longer one, set later, must not make
// its silence look like a service that left.
TEST_P(AWritingPartner, IsToldOfATimeoutAlsoWhenALongerOneWasSetMeanwhile) {
    m_model->Synchronize();
    m_service->Stop();
    m_model->SetTimeout(milliseconds(100));
    Write(1);
    m_model->SetTimeout(milliseconds(1000));

    EXPECT_EQ("TimedOut", CauseOfSynchronize());
    m_service->Continue();
}

TEST_P(AWritingPartner, GoesOnAfterATimeout) {
    m_model->Synchronize();
    m_service->Stop();
    m_model->SetTimeout(milliseconds(100));
    Write(1);
    EXPECT_EQ("TimedOut", CauseOfSynchronize());
    m_service->Continue();
    m_model->SetTimeout(milliseconds(5000));

    Write(2);
    const std::string cause = CauseOfSynchronize();
    EXPECT_TRUE(cause.empty() || cause == "TimedOut")
        << cause;  // the first write's, if not told yet
    EXPECT_EQ("", CauseOfSynchronize());
    EXPECT_EQ("Name 1/id1 Name 2/id2 ()", DigestOf(*m_model));
}

// ---- Policy -------------------------------------------------------------------------------------

namespace {

const char kNobodyCallsTheService[] =
    "<policy context=\"default\"><allow send_destination=\"*\"/><allow receive_sender=\"*\"/>"
    "<allow own=\"*\"/><deny send_destination=\"org.tessel.Local.Applist\"/></policy>";

}  // namespace

class ARefusedPartner : public PartnerBusTest {
protected:
    ARefusedPartner() : PartnerBusTest(kNobodyCallsTheService) {
        StartService();
        StartPartner();
    }
};

ON_BOTH_BUSES(ARefusedPartner);

TEST_P(ARefusedPartner, IsToldSoWhenItSynchronizes) {
    RemoteAppListItem item("Name", "id");
    m_model->AddItemAtEnd(&item);

    try {
        m_model->Synchronize();
        FAIL() << "did not throw";
    } catch (const RemoteError& error) {
        EXPECT_EQ("Refused", NameOf(error.GetCause())) << error.what();
        EXPECT_EQ(0u, std::string(error.what()).find("Applist: ")) << error.what();
        EXPECT_NE(std::string::npos, std::string(error.what()).find("policy")) << error.what();
    }
    EXPECT_EQ("()", m_service->Ask("content"));
}

TEST_P(ARefusedPartner, ShowsNoService) {
    EXPECT_EQ("Refused", CauseOfSynchronize());

    EXPECT_FALSE(m_model->IsServiceThere());
    EXPECT_EQ("()", DigestOf(*m_model));
}

// ---- Large lists --------------------------------------------------------------------------------

class ALargeList : public PartnerBusTest {
protected:
    // The service's list has `count` items, and the partner shows them.
    void Travels(int count) {
        StartService();
        const std::string digest = m_service->Ask("fill " + std::to_string(count));
        StartPartner();
        m_model->SetTimeout(std::chrono::seconds(30));
        m_model->Synchronize();
        EXPECT_EQ(digest, DigestOf(*m_model));
        EXPECT_EQ(count, m_model->GetItemsCount());
        EXPECT_TRUE(m_model->IsServiceThere());
    }
};

INSTANTIATE_TEST_SUITE_P(OnEveryBus, ALargeList, ::testing::ValuesIn(EveryBus()),
                         [](const auto& test) { return NameOf(test.param); });

TEST_P(ALargeList, OfAHundredItemsTravels) {
    Travels(100);
}

TEST_P(ALargeList, OfTenThousandItemsTravels) {
    Travels(10000);
}

TEST_P(ALargeList, IsFollowed) {
    Travels(10000);

    EXPECT_TRUE(Shows(m_service->Ask("add one"), kBack));
    EXPECT_TRUE(Shows(m_service->Ask("select one"), kBack));
}

// More bytes than one message of a bus with built-in limits may have.
class AVeryLargeList : public ALargeList {};

ON_BOTH_BUSES(AVeryLargeList);

TEST_P(AVeryLargeList, OfAMillionItemsTravels) {
    Travels(1000000);
}
