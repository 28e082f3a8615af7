// SPDX-License-Identifier: MIT

// What writes are made of, and what they cost.

#include <functional>
#include <new>

#include "common/ItemText.h"
#include "partner/PairTest.h"
#include "support/RecordingAllocator.h"

namespace {

// Too long for a string to hold without memory of its own.
const std::string kLong(40, 'n');

using Write = std::function<void(applist::RemoteAppListModel&)>;

enum class Outcome { kThrown, kAccepted, kNothingFailed };

Outcome RunOut(const Write& write, applist::RemoteAppListModel& model, std::size_t nth) {
    const recording::FailingAllocation outOfMemory(nth);
    try {
        write(model);
    } catch (const std::bad_alloc&) {
        return Outcome::kThrown;
    }
    return outOfMemory.HasFailed() ? Outcome::kAccepted : Outcome::kNothingFailed;
}

}  // namespace

class AWriteWithoutMemory : public PairTest {
protected:
    AWriteWithoutMemory() { StartBoth(); }

    // Makes the write without memory for its first allocation, or its second, and so on, until it
    // needs no more and is sent. Before, it sends nothing, and says so: at once, or, when the
    // transport has taken it, by Synchronize.
    void FailEachAllocationOf(const Write& write) {
        for (std::size_t nth = 1;; ++nth) {
            m_bus.m_executed.clear();
            const Outcome outcome = RunOut(write, *m_model, nth);
            m_bus.Run();
            if (outcome == Outcome::kNothingFailed) break;
            ASSERT_EQ(std::vector<int>(), m_bus.m_executed) << "allocation " << nth;
            if (outcome == Outcome::kAccepted) {
                ASSERT_NE("", CauseOfSynchronize()) << "nobody heard of allocation " << nth;
            }
            ASSERT_LT(nth, 1000u);
        }
    }

    std::string ServicesList() {
        std::string list;
        for (AppListItem* item : m_list.GetAllItems()) {
            list += item->GetVisibleName() + "/" + item->GetUnigueId() + " ";
        }
        return list;
    }

    RemoteAppListItem m_one = RemoteAppListItem(kLong + "\t", kLong + "1");
    RemoteAppListItem m_two = RemoteAppListItem(kLong, kLong + "2");
    RemoteAppListItem m_three = RemoteAppListItem("short", kLong + "\n");
};

TEST_F(AWriteWithoutMemory, AddsAllItemsOrNone) {
    FailEachAllocationOf([this](applist::RemoteAppListModel& model) {
        model.AddItems({&m_one, &m_two, &m_three});
    });

    EXPECT_EQ(kLong + "\t/" + kLong + "1 " + kLong + "/" + kLong + "2 short/" + kLong + "\n ",
              ServicesList());
}

TEST_F(AWriteWithoutMemory, AddsTheWholeItemOrNone) {
    FailEachAllocationOf(
        [this](applist::RemoteAppListModel& model) { model.AddItemAtEnd(&m_one); });

    EXPECT_EQ(kLong + "\t/" + kLong + "1 ", ServicesList());
}

TEST_F(AWriteWithoutMemory, ReplacesByTheWholeItemOrNotAtAll) {
    m_model->AddItemAtEnd(&m_one);
    m_bus.Run();

    FailEachAllocationOf(
        [this](applist::RemoteAppListModel& model) { model.ModifyItem(&m_one, &m_two); });

    EXPECT_EQ(kLong + "/" + kLong + "2 ", ServicesList());
}

TEST_F(AWriteWithoutMemory, SelectsAndRemovesTheItemThatWasMeantOrNone) {
    m_model->AddItems({&m_one, &m_two});
    m_bus.Run();

    FailEachAllocationOf(
        [this](applist::RemoteAppListModel& model) { model.SetSelection(&m_two); });
    EXPECT_EQ(kLong + "2", m_list.GetSelection()->GetUnigueId());
    FailEachAllocationOf([this](applist::RemoteAppListModel& model) { model.RemoveItem(&m_one); });
    EXPECT_EQ(kLong + "/" + kLong + "2 ", ServicesList());
}

class ALongBatch : public PairTest {};

// The strings are short enough to need no memory, so all of it is the message's. The bytes of all
// allocations are no fewer than what was in use at the worst moment.
TEST_F(ALongBatch, IsMadeInTheMemoryOfItsTextAndHandedOnWithoutACopy) {
    std::vector<RemoteAppListItem> owned(100000, RemoteAppListItem("name\t", "id"));
    std::vector<AppListItem*> items;
    for (RemoteAppListItem& item : owned) items.push_back(&item);
    StartPartner();
    const std::size_t before = recording::AllocationsSoFar().bytes;

    m_model->AddItems(items);

    const std::size_t taken = recording::AllocationsSoFar().bytes - before;
    const std::size_t text = items.size() * applist::ItemText::SizeOf("name\t", "id");
    EXPECT_GE(taken, text);
    EXPECT_LT(taken, text + 4096);
}
