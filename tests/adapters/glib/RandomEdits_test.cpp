// SPDX-License-Identifier: MIT

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "adapters/glib/ListModelTest.h"
#include "adapters/glib/ListModelTester.h"

namespace {

constexpr std::size_t kEdits = 100000;
constexpr std::size_t kMostItems = 60;

}  // namespace

class AListModelThatFollowsRandomEdits : public ListModelTest {
protected:
    AListModelThatFollowsRandomEdits() {
        StartBoth();
        m_tester = std::make_unique<ListModelTester>(G_LIST_MODEL(m_model));
    }

    std::size_t Random(std::size_t most) {
        return std::uniform_int_distribution<std::size_t>(0, most)(m_random);
    }
    std::size_t Count() { return static_cast<std::size_t>(m_list.GetItemsCount()); }
    std::string RandomId() { return m_list.GetAllItems()[Random(Count() - 1)]->GetUnigueId(); }
    std::string NextName() { return "Name " + std::to_string(++m_number); }

    void Insert() {
        const std::string name = NextName();
        m_list.Insert(Random(Count()), name, "id" + std::to_string(m_number));
    }
    void Edit() {
        const std::size_t what = Random(99);
        if (Count() == 0 || (what < 32 && Count() < kMostItems)) return Insert();
        if (what < 60) return m_list.RemoveAt(Random(Count() - 1));
        if (what < 75) return m_list.Rename(RandomId(), NextName());
        if (what < 90) return m_list.Move(Random(Count() - 1), Random(Count() - 1));
        if (what < 99) return m_list.Select(RandomId());
        m_list.RemoveAllItemsOfItsOwn();
    }

    void RestartService() {
        EndService();
        ASSERT_TRUE(RunMainLoopUntil([this] { return !applist_model_get_service_there(m_model); }));
        EXPECT_TRUE(m_tester->Shown().empty());
        m_tester->TakeCounts();
        StartService();
    }

    // One change of the list that is made of `edits`.
    void Change(std::size_t edits) {
        const ListModelTester::Rows before = m_tester->Shown();
        for (std::size_t edit = 0; edit < edits; ++edit) Edit();
        ASSERT_TRUE(BecomesEqual()) << Content() << "\n" << ContentOf(m_list);
        const ListModelTester::Counts counts = m_tester->TakeCounts();
        const ListModelTester::Bounds bounds = m_tester->BoundsSince(before);
        EXPECT_LE(bounds.least, counts.rows);
        EXPECT_GE(bounds.most, counts.rows);
        EXPECT_TRUE(!bounds.isOneRegion || counts.signals <= 1) << counts.signals;
        EXPECT_TRUE(m_tester->KeepsItemsOf(before));
        m_regions += bounds.isOneRegion ? 1 : 0;
    }

    std::mt19937 m_random{20261122};
    std::size_t m_number = 0;
    std::size_t m_regions = 0;
    std::unique_ptr<ListModelTester> m_tester;
};

// Few edits at a time leave much as it is, many leave little.
TEST_F(AListModelThatFollowsRandomEdits, IsWhatItToldOfAfterEachOfThem) {
    std::size_t restarts = 0;
    for (std::size_t done = 0; done < kEdits && !HasFailure();) {
        if (Random(9) == 0) {
            RestartService();
            ++restarts;
            ASSERT_TRUE(BecomesEqual());
            m_tester->TakeCounts();
        }
        const std::size_t edits = 1 + Random(Random(2) == 0 ? 5 : 900);
        Change(edits);
        done += edits;
    }
    m_tester.reset();

    EXPECT_LT(10u, restarts);
    EXPECT_LT(20u, m_regions);
}
