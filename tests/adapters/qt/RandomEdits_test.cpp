// SPDX-License-Identifier: MIT

// 100,000 random edits of a list whose service goes and comes back, under Qt's own checks of a
// model. The partner reads at most once a frame, so that many edits become one reading of the list,
// and many steps.

#include <QAbstractItemModelTester>
#include <random>
#include <string>

#include "adapters/qt/ListModelTest.h"
#include "adapters/qt/MirrorView.h"

using applist::qt::ListModel;

class AListModelUnderRandomEdits : public ListModelTest {
protected:
    static constexpr int kEdits = 100000;
    static constexpr std::size_t kMostItems = 60;

    std::size_t Below(std::size_t end) {
        return std::uniform_int_distribution<std::size_t>(0, end - 1)(m_random);
    }

    // Few enough that an id comes back, and that now and then two items have one.
    std::string AnyId() { return "id" + std::to_string(Below(3 * kMostItems)); }
    std::string AnyName() { return "Name " + std::to_string(Below(1000)); }

    void Edit() {
        const std::size_t count = m_list.GetAllItems().size();
        const std::size_t kind = Below(100);
        if (count == 0 || (kind < 30 && count < kMostItems)) {
            m_list.Insert(Below(count + 1), AnyName(), AnyId());
        } else if (kind < 55) {
            m_list.RemoveAt(Below(count));
        } else if (kind < 75) {
            m_list.Move(Below(count), Below(count));
        } else if (kind < 90) {
            m_list.Rename(m_list.GetAllItems()[Below(count)]->GetUnigueId(), AnyName());
        } else if (kind < 99) {
            m_list.Select(AnyId());
        } else {
            EditAll();
        }
    }

    void EditAll() {
        const std::size_t count = m_list.GetAllItems().size();
        if (Below(2) == 0) return m_list.RemoveAllItemsOfItsOwn();
        for (std::size_t place = 0; place < count; ++place) m_list.Move(place, Below(count));
    }

    // Now and then nobody sees that it was gone.
    ::testing::AssertionResult RestartsService() {
        EndService();
        const auto isSeen = Below(2) == 0 ? ::testing::AssertionSuccess() : Shows("()");
        StartService();
        return isSeen;
    }

    std::mt19937 m_random{1};
};

TEST_F(AListModelUnderRandomEdits, TellsEveryStep) {
    StartBoth();
    QAbstractItemModelTester checks(m_model.get(),
                                    QAbstractItemModelTester::FailureReportingMode::Fatal);
    const MirrorView mirror(*m_model, {Qt::DisplayRole, ListModel::NameRole, ListModel::IdRole,
                                       ListModel::SelectedRole});
    int restarts = 0;
    for (int edits = 0; edits < kEdits;) {
        for (std::size_t batch = 1 + Below(200); batch > 0; --batch, ++edits) Edit();
        if (Below(20) == 0) {
            ASSERT_TRUE(RestartsService());
            ++restarts;
        }
        ASSERT_TRUE(Shows(::ContentOf(m_list))) << "after " << edits << " edits";
        ASSERT_TRUE(mirror.IsTrue()) << "after " << edits << " edits";
    }
    EXPECT_EQ(mirror.Resets(), 0);
    EXPECT_GT(mirror.Moves(), 1000);
    EXPECT_GT(restarts, 10);
}
