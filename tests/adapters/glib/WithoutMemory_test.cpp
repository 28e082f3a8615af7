// SPDX-License-Identifier: MIT

// The model when memory runs out: at each allocation in turn.

#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "adapters/glib/ListModelTest.h"
#include "adapters/glib/ListRows.h"
#include "support/RecordingAllocator.h"

using applist::ListRows;
using applist::RowChange;

namespace {

// Too long for a string to hold without memory of its own, and not all of them text.
RemoteAppListItem ItemOf(const std::string& name, const std::string& id) {
    return {std::string(40, 'n') + name + "\xff", std::string(40, 'i') + id};
}

}  // namespace

class RowsWithoutMemory : public ::testing::Test {
protected:
    using Changes = std::vector<RowChange>;

    // Removed, moved, inserted and renamed rows.
    static Changes Steps() {
        using Kind = RowChange::Kind;
        return {{Kind::Removed, 1, 1},
                {Kind::Moved, 0, 1, 4},
                {Kind::Renamed, 0, 1},
                {Kind::Inserted, 2, 2},
                {Kind::Renamed, 6, 1}};
    }

    RowsWithoutMemory() {
        for (const char* id : {"a", "b", "c", "d", "e", "f"}) m_before.push_back(ItemOf(id, id));
        m_after = {ItemOf("new c", "c"), ItemOf("d", "d"), ItemOf("x", "x"),    ItemOf("y", "y"),
                   ItemOf("e", "e"),     ItemOf("f", "f"), ItemOf("new a", "a")};
    }

    static std::vector<AppListItem*> Pointers(std::vector<RemoteAppListItem>& items) {
        std::vector<AppListItem*> pointers;
        pointers.reserve(items.size());
        for (RemoteAppListItem& item : items) pointers.push_back(&item);
        return pointers;
    }

    void StartWithItems() {
        const auto told = [this](std::size_t row, std::size_t removed, std::size_t added) {
            const recording::ExemptFromFailing exempt;
            const auto at = m_told.begin() + static_cast<std::ptrdiff_t>(row);
            m_told.erase(at, at + static_cast<std::ptrdiff_t>(removed));
            for (std::size_t each = row; each < row + added; ++each) {
                m_told.insert(m_told.begin() + static_cast<std::ptrdiff_t>(each), m_rows->At(each));
            }
        };
        m_told.clear();
        m_rows = std::make_unique<ListRows>(told);
        m_rows->Apply({{RowChange::Kind::Inserted, 0, m_before.size()}}, Pointers(m_before));
    }

    // Returns false when it needs fewer than `nth` allocations.
    bool RunsOut(const Changes& changes, std::size_t nth) {
        const std::vector<AppListItem*> items = Pointers(m_after);
        const recording::FailingAllocation outOfMemory(nth);
        try {
            m_rows->Apply(changes, items);
        } catch (const std::bad_alloc&) {
            return true;
        }
        EXPECT_FALSE(outOfMemory.HasFailed()) << "nobody heard of allocation " << nth;
        return false;
    }

    // What views were told, whatever has failed.
    bool AreWhatWasTold() const {
        if (m_told.size() != m_rows->Count()) return false;
        for (std::size_t row = 0; row < m_told.size(); ++row) {
            if (m_told[row] != m_rows->At(row)) return false;
        }
        return true;
    }
    std::vector<RemoteAppListItem> Shown() const {
        std::vector<RemoteAppListItem> shown;
        for (std::size_t row = 0; row < m_rows->Count(); ++row) {
            shown.push_back(applist::BytesOf(m_rows->At(row).get()));
        }
        return shown;
    }

    std::vector<RemoteAppListItem> m_before;
    std::vector<RemoteAppListItem> m_after;
    std::unique_ptr<ListRows> m_rows;
    std::vector<ListRows::Item> m_told;
};

TEST_F(RowsWithoutMemory, AreTheListsAsSoonAsThereIsMemoryAgain) {
    std::size_t nth = 1;
    for (StartWithItems(); RunsOut(Steps(), nth); StartWithItems()) {
        ASSERT_TRUE(AreWhatWasTold()) << "allocation " << nth;
        m_rows->Apply({}, Pointers(m_after));
        ASSERT_TRUE(AreWhatWasTold()) << "allocation " << nth;
        ASSERT_TRUE(Shown() == m_after) << "allocation " << nth;
        ++nth;
    }
    EXPECT_LT(10u, nth);
    EXPECT_TRUE(AreWhatWasTold());
    EXPECT_TRUE(Shown() == m_after);
}

TEST_F(RowsWithoutMemory, BeginAnewUntilThatGoesWell) {
    StartWithItems();
    ASSERT_TRUE(RunsOut(Steps(), 1));
    std::size_t nth = 1;
    for (; RunsOut({}, nth); ++nth) ASSERT_TRUE(AreWhatWasTold()) << "allocation " << nth;

    EXPECT_LT(10u, nth);
    EXPECT_TRUE(AreWhatWasTold());
    EXPECT_TRUE(Shown() == m_after);
}

class AListModelWithoutMemory : public ListModelTest {
protected:
    // Returns whether the `nth` allocation was made. What is thrown through GObject ends the test.
    bool StartModelWithout(std::size_t nth) {
        const recording::FailingAllocation outOfMemory(nth);
        StartModel();
        return outOfMemory.HasFailed();
    }
};

TEST_F(AListModelWithoutMemory, IsBuiltAndConnectsLater) {
    m_list.Add("Maps", "maps");
    StartService();
    std::size_t nth = 1;
    for (; StartModelWithout(nth); ++nth) {
        applist_model_retry(m_model);
        ASSERT_EQ(nullptr, applist_model_get_error(m_model)) << "allocation " << nth;
        ASSERT_TRUE(BecomesEqual()) << "allocation " << nth;
        g_clear_object(&m_model);
    }
    EXPECT_LT(10u, nth);
    EXPECT_TRUE(BecomesEqual());
}
