// SPDX-License-Identifier: MIT

// The model when memory runs out: at each allocation in turn.

#include <cstddef>
#include <new>
#include <string>
#include <vector>

#include "adapters/qt/ListModelTest.h"
#include "support/RecordingAllocator.h"

using applist::RowChange;
using applist::qt::ListModel;

namespace {

using Changes = std::vector<RowChange>;

// Lets a test tell the model of changes as its partner does, without what else allocates on the
// way. An explicit instantiation may name what is private.
void Apply(ListModel& model, const Changes& changes);

template <void (ListModel::*kApply)(const Changes&)>
struct Access {
    friend void Apply(ListModel& model, const Changes& changes) { (model.*kApply)(changes); }
};

template struct Access<&ListModel::Apply>;

}  // namespace

class AListModelWithoutMemory : public ListModelTest {
protected:
    // Too long for a string to hold without memory of its own.
    AListModelWithoutMemory() {
        for (const char* id : {"a", "b", "c", "d", "e"}) {
            m_list.Add(std::string(40, 'n') + id, std::string(40, 'i') + id);
        }
        StartBoth();
        m_content = Content();
        Count();
    }

    // How many rows views have been told of. Needs no memory.
    void Count() {
        m_told = m_model->rowCount();
        QObject::connect(m_model.get(), &ListModel::rowsInserted,
                         [this](auto&, int first, int last) { m_told += last - first + 1; });
        QObject::connect(m_model.get(), &ListModel::rowsRemoved,
                         [this](auto&, int first, int last) { m_told -= last - first + 1; });
        QObject::connect(m_model.get(), &ListModel::modelReset,
                         [this] { m_told = m_model->rowCount(); });
    }

    // Steps of each kind. All of them together leave the list as it is, and so as the service has
    // it.
    static Changes Steps() {
        using Kind = RowChange::Kind;
        return {{Kind::Removed, 1, 2},
                {Kind::Moved, 0, 1, 2},
                {Kind::Moved, 2, 1, 0},
                {Kind::Inserted, 1, 2},
                {Kind::Renamed, 3, 2}};
    }

    // Returns false when it needs fewer than `nth` allocations.
    bool RunsOut(const Changes& changes, std::size_t nth) {
        const recording::FailingAllocation outOfMemory(nth);
        try {
            Apply(*m_model, changes);
        } catch (const std::bad_alloc&) {
            return true;
        }
        EXPECT_FALSE(outOfMemory.HasFailed()) << "nobody heard of allocation " << nth;
        return false;
    }

    std::string m_content;
    int m_told = 0;
};

TEST_F(AListModelWithoutMemory, ShowsTheListAsSoonAsThereIsMemoryAgain) {
    std::size_t nth = 1;
    for (; RunsOut(Steps(), nth); ++nth) {
        ASSERT_EQ(m_told, m_model->rowCount()) << "allocation " << nth;
        Apply(*m_model, {});
        ASSERT_EQ(m_content, Content()) << "allocation " << nth;
    }
    EXPECT_LT(5u, nth);
    EXPECT_EQ(m_content, Content());
}

TEST_F(AListModelWithoutMemory, BeginsAnewUntilThatGoesWell) {
    ASSERT_TRUE(RunsOut(Steps(), 2));
    std::size_t nth = 1;
    for (; RunsOut({}, nth); ++nth) {
        ASSERT_EQ(m_told, m_model->rowCount()) << "allocation " << nth;
    }

    EXPECT_LT(5u, nth);
    EXPECT_EQ(m_content, Content());
}
