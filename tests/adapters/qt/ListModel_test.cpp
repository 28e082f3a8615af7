// SPDX-License-Identifier: MIT

#include "adapters/qt/ListModel.h"

#include <QSortFilterProxyModel>
#include <QStringList>
#include <string>
#include <vector>

#include "adapters/qt/ListModelTest.h"
#include "partner/RemoteAppListModel.h"

using applist::qt::ListModel;

namespace {

// What writeFailed said.
class Complaints {
public:
    explicit Complaints(ListModel& model) {
        QObject::connect(&model, &ListModel::writeFailed, &m_context,
                         [this](const QString& message) { m_all += message; });
    }
    const QStringList& All() const { return m_all; }
    bool Come() const {
        return RunQtUntil([this] { return !m_all.isEmpty(); });
    }

private:
    QObject m_context;
    QStringList m_all;
};

}  // namespace

class AListModel : public ListModelTest {
protected:
    AListModel() {
        m_list.Add("Maps", "maps");
        m_list.Add("Music", "music");
        m_list.Select("music");
    }
};

TEST_F(AListModel, ShowsTheServicesItemsAndItsSelection) {
    StartBoth();
    EXPECT_EQ(Content(), "Maps/maps Music/music (music)");
    EXPECT_EQ(m_model->selection(), "music");
    EXPECT_EQ(m_model->selectedRow(), 1);
    EXPECT_EQ(m_model->index(0).data(Qt::DisplayRole), "Maps");
}

TEST_F(AListModel, NamesItsRolesForQml) {
    StartModel();
    const QHash<int, QByteArray> expected{{ListModel::NameRole, "name"},
                                          {ListModel::IdRole, "id"},
                                          {ListModel::SelectedRole, "selected"}};
    EXPECT_EQ(m_model->roleNames(), expected);
}

TEST_F(AListModel, HasNoRowsAndNoDataBelowOrBesideItsRows) {
    StartBoth();
    EXPECT_EQ(m_model->rowCount(m_model->index(0)), 0);
    EXPECT_FALSE(m_model->index(0).data(Qt::DecorationRole).isValid());
    EXPECT_FALSE(m_model->data(QModelIndex(), ListModel::NameRole).isValid());
}

TEST_F(AListModel, TellsAServiceThatIsGoneFromAListThatIsOnItsWay) {
    StartModel();
    QStringList states;
    const auto note = [&] {
        states += QString(m_model->isServiceThere() ? "there" : "gone") +
                  (m_model->isLoading() ? ", loading" : "") +
                  (m_model->rowCount() > 0 ? ", rows" : "");
    };
    QObject::connect(m_model.get(), &ListModel::serviceThereChanged, m_model.get(), note);
    QObject::connect(m_model.get(), &ListModel::loadingChanged, m_model.get(), note);
    EXPECT_FALSE(m_model->isServiceThere());
    StartService();
    ASSERT_TRUE(IsReadSoon());
    EndService();
    ASSERT_TRUE(RunQtUntil([&] { return !m_model->isServiceThere(); }));
    states.removeDuplicates();
    EXPECT_EQ(states.join("; ").toStdString(), "there, loading; there, rows; gone");
    EXPECT_EQ(Content(), "()");
    EXPECT_EQ(m_model->selectedRow(), -1);
    EXPECT_EQ(m_model->selection(), "");
}

TEST_F(AListModel, IsEmptyAndNotLoadingWhenTheListIsEmpty) {
    m_list.RemoveAllItemsOfItsOwn();
    StartBoth();
    EXPECT_EQ(Content(), "()");
    EXPECT_FALSE(m_model->isLoading());
}

TEST_F(AListModel, FollowsEditsAndTheSelection) {
    StartBoth();
    m_list.Insert(0, "Clock", "clock");
    m_list.Rename("maps", "Maps 2");
    m_list.Move(2, 0);
    EXPECT_TRUE(Shows("Music/music Clock/clock Maps 2/maps (music)"));
    EXPECT_EQ(m_model->selectedRow(), 0);
    m_list.Select("maps");
    EXPECT_TRUE(Shows("Music/music Clock/clock Maps 2/maps (maps)"));
}

TEST_F(AListModel, TellsThatItsSelectedRowMovesWhileTheSelectionStays) {
    StartBoth();
    int rows = 0;
    int selections = 0;
    QObject::connect(m_model.get(), &ListModel::selectedRowChanged, [&] { ++rows; });
    QObject::connect(m_model.get(), &ListModel::selectionChanged, [&] { ++selections; });
    m_list.Insert(0, "Clock", "clock");
    ASSERT_TRUE(Shows("Clock/clock Maps/maps Music/music (music)"));
    EXPECT_EQ(m_model->selectedRow(), 2);
    EXPECT_EQ(rows, 1);
    EXPECT_EQ(selections, 0);
}

// Each of more steps than a thousand would cost a view that has many rows more than all rows do.
TEST_F(AListModel, BeginsAnewWhereItWouldTakeTooManySteps) {
    m_list.Fill(3000);
    StartBoth();
    int resets = 0;
    QObject::connect(m_model.get(), &ListModel::modelReset, m_model.get(), [&] { ++resets; });
    for (std::size_t row = 3000; row > 0; row -= 2) m_list.RemoveAt(row - 1);
    EXPECT_TRUE(RunQtUntil([&] { return m_model->rowCount() == m_list.GetItemsCount(); }));
    EXPECT_EQ(resets, 1);

    m_list.Add("Radio", "radio");
    m_list.Select("radio");
    EXPECT_TRUE(RunQtUntil([&] { return m_model->selection() == "radio"; }));
    EXPECT_EQ(m_model->selectedRow(), m_list.GetItemsCount() - 1);
    EXPECT_EQ(resets, 1);
}

TEST_F(AListModel, Selects) {
    StartBoth();
    m_model->select("maps");
    EXPECT_TRUE(Shows("Maps/maps Music/music (maps)"));
    m_model->selectAt(1);
    EXPECT_TRUE(Shows("Maps/maps Music/music (music)"));
}

TEST_F(AListModel, SelectsThroughAModelBetween) {
    StartBoth();
    QSortFilterProxyModel found;
    found.setSourceModel(m_model.get());
    found.setFilterFixedString("Ma");
    ASSERT_EQ(ContentOf(found), "Maps/maps ()");
    EXPECT_TRUE(found.setData(found.index(0, 0), true, ListModel::SelectedRole));
    EXPECT_TRUE(RunQtUntil([&] { return ContentOf(found) == "Maps/maps (maps)"; }));
}

TEST_F(AListModel, SetsNothingElse) {
    StartBoth();
    EXPECT_FALSE(m_model->setData(m_model->index(0), false, ListModel::SelectedRole));
    EXPECT_FALSE(m_model->setData(m_model->index(0), "Other", ListModel::NameRole));
    EXPECT_FALSE(m_model->setData(QModelIndex(), true, ListModel::SelectedRole));
}

TEST_F(AListModel, AppendsReplacesAndRemoves) {
    StartBoth();
    m_model->append("Radio", "radio");
    m_model->append("Video", "video");
    EXPECT_TRUE(ServiceHas("Maps/maps Music/music Radio/radio Video/video (music)"));
    EXPECT_TRUE(Shows("Maps/maps Music/music Radio/radio Video/video (music)"));
    m_model->replace("radio", "Tuner", "tuner");
    m_model->remove("video");
    EXPECT_TRUE(Shows("Maps/maps Music/music Tuner/tuner (music)"));
    m_model->replaceAt(2, "Film", "film");
    EXPECT_TRUE(Shows("Maps/maps Music/music Film/film (music)"));
    m_model->removeAt(2);
    EXPECT_TRUE(Shows("Maps/maps Music/music (music)"));
}

TEST_F(AListModel, LeavesRowsAloneThatAreNotThere) {
    StartBoth();
    Complaints complaints(*m_model);
    for (const int row : {-1, 2}) {
        m_model->selectAt(row);
        m_model->removeAt(row);
        m_model->replaceAt(row, "Film", "film");
    }
    m_model->append("Last", "last");
    EXPECT_TRUE(Shows("Maps/maps Music/music Last/last (music)"));
    EXPECT_EQ(complaints.All(), QStringList());
}

TEST_F(AListModel, ShowsBytesThatAreNoTextAndSelectsTheirItem) {
    m_list.Add("N\xff", "\xfe");
    StartBoth();
    EXPECT_EQ(Content(), "Maps/maps Music/music N\uFFFD/\uFFFD (music)");
    m_model->select("\uFFFD");
    EXPECT_TRUE(ServiceHas("Maps/maps Music/music N\xff/\xfe (\xfe)"));
    EXPECT_TRUE(RunQtUntil([&] { return m_model->selectedRow() == 2; }));
    EXPECT_EQ(m_model->selection(), "\uFFFD");
}

TEST_F(AListModel, SelectsTheRightOneOfTwoIdsThatLookAlike) {
    m_list.Add("One", "\xfe");
    m_list.Add("Two", "\xff");
    m_list.Add("Three", "\uFFFD");
    StartBoth();
    for (const int row : {2, 3, 4}) {
        m_model->selectAt(row);
        EXPECT_TRUE(RunQtUntil([&] { return m_model->selectedRow() == row; })) << row;
    }
    EXPECT_EQ(::ContentOf(m_list).substr(::ContentOf(m_list).find('(')), "(\uFFFD)");
}

TEST_F(AListModel, PrefersTheIdWhoseBytesAreThoseThatItIsGiven) {
    m_list.Add("One", "\xfe");
    m_list.Add("Two", "\uFFFD");
    StartBoth();
    m_model->select("\uFFFD");
    EXPECT_TRUE(RunQtUntil([&] { return m_model->selectedRow() == 3; }));
}

TEST_F(AListModel, KeepsZeroBytesAndLineEnds) {
    m_list.Add(std::string("a\0b", 3), std::string("\n\0", 2));
    StartBoth();
    EXPECT_EQ(m_model->index(2).data(ListModel::NameRole), QString("a") + QChar(0) + "b");
    m_model->select(m_model->index(2).data(ListModel::IdRole).toString());
    EXPECT_TRUE(RunQtUntil([&] { return m_model->selectedRow() == 2; }));
}

TEST_F(AListModel, SelectsTheFirstOfTwoEqualIds) {
    m_list.Add("Other maps", "maps");
    StartBoth();
    m_model->selectAt(2);
    EXPECT_TRUE(RunQtUntil([&] { return m_model->selectedRow() == 0; }));
    EXPECT_EQ(Content(), "Maps/maps Music/music Other maps/maps (maps)");
}

TEST_F(AListModel, TellsWhichWriteFailedWhenThereIsNoService) {
    StartModel();
    Complaints complaints(*m_model);
    m_model->append("Radio", "radio");
    ASSERT_TRUE(complaints.Come());
    EXPECT_EQ(complaints.All(),
              QStringList("Radio was not added: the list cannot be reached at the moment"));
}

TEST_F(AListModel, TellsInItsOwnWordsOfAWriteForAnItemThatItShows) {
    StartBoth();
    Complaints complaints(*m_model);
    EndService();
    m_model->selectAt(0);
    ASSERT_TRUE(complaints.Come());
    EXPECT_TRUE(complaints.All().front().startsWith("Maps ")) << complaints.All()[0].toStdString();
}

TEST_F(AListModel, CanBeDestroyedOnceItsSignalHasReturned) {
    StartService();
    auto* const model = new ListModel;
    bool isGone = false;
    QObject::connect(model, &QObject::destroyed, [&] { isGone = true; });
    QObject::connect(model, &QAbstractItemModel::rowsInserted, model, &QObject::deleteLater);
    EXPECT_TRUE(RunQtUntil([&] { return isGone; }));
}

TEST_F(AListModel, ComesBackAfterTheService) {
    StartBoth();
    EndService();
    ASSERT_TRUE(Shows("()"));
    StartService();
    EXPECT_TRUE(Shows("Maps/maps Music/music (music)"));
}

TEST_F(AListModel, SaysWhyThereIsNoBusAndFindsItLater) {
    m_bus.Kill();
    StartModel();
    Complaints complaints(*m_model);
    EXPECT_TRUE(m_model->error().contains(QString::fromStdString(m_bus.Address())))
        << m_model->error().toStdString();
    EXPECT_EQ(m_model->remote(), nullptr);
    EXPECT_FALSE(m_model->isServiceThere());
    m_model->select("maps");
    EXPECT_EQ(complaints.All(),
              QStringList("maps was not selected: the list cannot be reached at the moment"));
    m_bus.Start();
    ASSERT_TRUE(RunQtUntil([&] { return m_model->error().isEmpty(); }));
    StartService();
    EXPECT_TRUE(Shows("Maps/maps Music/music (music)"));
}
