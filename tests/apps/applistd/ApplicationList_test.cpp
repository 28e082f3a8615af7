// SPDX-License-Identifier: MIT

#include "apps/applistd/ApplicationList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "support/RecordingAllocator.h"

using namespace applist::daemon;

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// Writes down the events of a list, in the order in which they come.
class Events : public ItemSelectionListener, public ItemChangeListener, public ItemClickListener {
public:
    explicit Events(AppListModel& list) : m_list(list) {
        m_list.AddItemSelectionListener(this);
        m_list.AddItemChangeListener(this);
        m_list.AddItemClickedListener(this);
    }

    ~Events() override {
        m_list.RemoveItemSelectionListener(this);
        m_list.RemoveItemChangeListener(this);
        m_list.RemoveItemClickedListener(this);
    }

    void ItemSelected(AppListModel* from) override { Note("selection", from); }
    void ItemChanged(AppListModel* from) override { Note("change", from); }
    void ItemClicked(AppListModel* from) override { Note("click", from); }

    std::vector<std::string> Take() { return std::exchange(m_events, {}); }

private:
    void Note(const char* event, AppListModel* from) {
        m_events.push_back(from == &m_list ? event : "an event of another model");
    }

    AppListModel& m_list;
    std::vector<std::string> m_events;
};

RemoteAppListItem Item(const std::string& id) {
    return RemoteAppListItem("Name of " + id, id);
}

std::vector<std::string> Ids(AppListModel& list) {
    std::vector<std::string> ids;
    for (AppListItem* item : list.GetAllItems()) ids.push_back(item->GetUnigueId());
    return ids;
}

std::string SelectedId(AppListModel& list) {
    return list.GetSelection()->GetUnigueId();
}

void Select(AppListModel& list, const std::string& id) {
    RemoteAppListItem standIn("", id);
    list.SetSelection(&standIn);
}

}  // namespace

class AnEmptyApplicationList : public testing::Test {
protected:
    ApplicationList list;
    Events events{list};
    RemoteAppListItem x = Item("x");
    RemoteAppListItem y = Item("y");
};

TEST_F(AnEmptyApplicationList, TakesABatchWhollyOrNotAtAllWhenMemoryRunsOut) {
    const std::vector<AppListItem*> batch = {&x, &y, &x, &y, &x};
    bool isShort = true;
    for (std::size_t nth = 1; isShort; ++nth) {
        ApplicationList target;
        {
            const recording::FailingAllocation outOfMemory(nth);
            try {
                target.AddItems(batch);
            } catch (const std::bad_alloc&) {
            }
            isShort = outOfMemory.HasFailed();
        }
        EXPECT_EQ(target.GetItemsCount(), isShort ? 0 : 5) << "allocation " << nth;
    }
}

TEST_F(AnEmptyApplicationList, SelectsAnItemOfTwoEmptyStrings) {
    ASSERT_NE(list.GetSelection(), nullptr);
    EXPECT_EQ(list.GetSelection()->GetVisibleName(), "");
    EXPECT_EQ(list.GetSelection()->GetUnigueId(), "");
    EXPECT_EQ(list.GetItemsCount(), 0);
}

TEST_F(AnEmptyApplicationList, SelectsTheFirstItemThatIsAdded) {
    list.AddItems({&x, &y});
    EXPECT_EQ(SelectedId(list), "x");
    EXPECT_THAT(events.Take(), ElementsAre("change", "selection"));
}

TEST_F(AnEmptyApplicationList, SelectsTheFirstOwnItem) {
    list.SetOwnItems({Item("a"), Item("b")});
    EXPECT_EQ(SelectedId(list), "a");
    EXPECT_THAT(events.Take(), ElementsAre("change", "selection"));
}

TEST_F(AnEmptyApplicationList, SaysNothingWhenNothingIsAdded) {
    list.AddItems({});
    list.SetOwnItems({});
    EXPECT_THAT(events.Take(), IsEmpty());
}

TEST_F(AnEmptyApplicationList, SaysNothingWhenEmptiedAgain) {
    list.RemoveAllItems();
    EXPECT_THAT(events.Take(), IsEmpty());
}

TEST_F(AnEmptyApplicationList, DoesNotSelectAnItemThatIsNotInIt) {
    list.SetSelection(&x);
    EXPECT_EQ(SelectedId(list), "");
    EXPECT_THAT(events.Take(), IsEmpty());
}

TEST_F(AnEmptyApplicationList, LeavesNullPointersOut) {
    list.AddItems({nullptr, &x, nullptr});
    list.AddItemAtEnd(nullptr);
    list.SetSelection(nullptr);
    list.RemoveItem(nullptr);
    EXPECT_THAT(Ids(list), ElementsAre("x"));
}

TEST_F(AnEmptyApplicationList, SelectsTheOneItemOf20000ThatStays) {
    std::vector<RemoteAppListItem> many;
    for (int n = 0; n < 20000; ++n) many.push_back(Item(std::to_string(n)));
    list.SetOwnItems(many);

    list.SetOwnItems({many.back()});

    EXPECT_EQ("19999", SelectedId(list));
}

// Own items a, b and c, then the caller's x and y.
class AnApplicationListOfFive : public testing::Test {
protected:
    AnApplicationListOfFive() {
        list.SetOwnItems({Item("a"), Item("b"), Item("c")});
        list.AddItems({x.get(), y.get()});
        events.Take();
    }

    ApplicationList list;
    Events events{list};
    std::unique_ptr<RemoteAppListItem> x = std::make_unique<RemoteAppListItem>("X", "x");
    std::unique_ptr<RemoteAppListItem> y = std::make_unique<RemoteAppListItem>("Y", "y");
};

TEST_F(AnApplicationListOfFive, HasTheOwnItemsBeforeTheOthers) {
    EXPECT_THAT(Ids(list), ElementsAre("a", "b", "c", "x", "y"));
    EXPECT_EQ(list.GetItemsCount(), 5);
}

TEST_F(AnApplicationListOfFive, SelectsTheObjectThatAStandInMeans) {
    Select(list, "x");
    EXPECT_EQ(list.GetSelection(), x.get());
    EXPECT_THAT(events.Take(), ElementsAre("selection"));
}

TEST_F(AnApplicationListOfFive, SaysNothingWhenTheSelectedItemIsSelectedAgain) {
    Select(list, "a");
    EXPECT_THAT(events.Take(), IsEmpty());
}

TEST_F(AnApplicationListOfFive, KeepsItsSelectionWhenAnUnknownIdIsSelected) {
    Select(list, "b");
    Select(list, "nobody");
    EXPECT_EQ(SelectedId(list), "b");
    EXPECT_THAT(events.Take(), ElementsAre("selection"));
}

TEST_F(AnApplicationListOfFive, TellsOfAClickOnOneOfItsItems) {
    list.SetClicked(y.get());
    EXPECT_THAT(events.Take(), ElementsAre("click"));
}

TEST_F(AnApplicationListOfFive, SaysNothingOfAClickOnAnUnknownItem) {
    RemoteAppListItem unknown = Item("unknown");
    list.SetClicked(&unknown);
    EXPECT_THAT(events.Take(), IsEmpty());
}

TEST_F(AnApplicationListOfFive, NeverTouchesARemovedItemAgain) {
    list.SetSelection(x.get());
    list.RemoveItem(x.get());
    x.reset();
    EXPECT_THAT(Ids(list), ElementsAre("a", "b", "c", "y"));
    EXPECT_EQ(SelectedId(list), "y");
    Select(list, "a");
}

TEST_F(AnApplicationListOfFive, TellsOfARemovalWithoutASelectionThatDidNotMove) {
    list.RemoveItem(x.get());
    EXPECT_EQ(SelectedId(list), "a");
    EXPECT_THAT(events.Take(), ElementsAre("change"));
}

TEST_F(AnApplicationListOfFive, SelectsTheItemThatTakesTheSelectedOnesPlace) {
    Select(list, "c");
    events.Take();
    RemoteAppListItem standIn("", "c");
    list.RemoveItem(&standIn);
    EXPECT_EQ(SelectedId(list), "x");
    EXPECT_THAT(events.Take(), ElementsAre("change", "selection"));
}

TEST_F(AnApplicationListOfFive, SelectsTheLastItemWhenTheSelectedOneWasLast) {
    Select(list, "y");
    list.RemoveItem(y.get());
    EXPECT_EQ(SelectedId(list), "x");
}

TEST_F(AnApplicationListOfFive, IgnoresTheRemovalOfAnUnknownItem) {
    RemoteAppListItem unknown = Item("unknown");
    list.RemoveItem(&unknown);
    EXPECT_EQ(list.GetItemsCount(), 5);
    EXPECT_THAT(events.Take(), IsEmpty());
}

TEST_F(AnApplicationListOfFive, ReplacesAnItemInItsPlace) {
    RemoteAppListItem z = Item("z");
    list.ModifyItem(x.get(), &z);
    x.reset();
    EXPECT_THAT(Ids(list), ElementsAre("a", "b", "c", "z", "y"));
    EXPECT_THAT(events.Take(), ElementsAre("change"));
}

TEST_F(AnApplicationListOfFive, KeepsTheSelectionOnAReplacedItem) {
    list.SetSelection(x.get());
    events.Take();
    RemoteAppListItem z = Item("z");
    list.ModifyItem(x.get(), &z);
    EXPECT_EQ(list.GetSelection(), &z);
    EXPECT_THAT(events.Take(), ElementsAre("change", "selection"));
}

TEST_F(AnApplicationListOfFive, IgnoresTheReplacementOfAnUnknownItem) {
    RemoteAppListItem unknown = Item("unknown");
    RemoteAppListItem z = Item("z");
    list.ModifyItem(&unknown, &z);
    EXPECT_THAT(Ids(list), ElementsAre("a", "b", "c", "x", "y"));
    EXPECT_THAT(events.Take(), IsEmpty());
}

TEST_F(AnApplicationListOfFive, IsEmptyAfterARemoveAll) {
    list.RemoveAllItems();
    x.reset();
    y.reset();
    EXPECT_THAT(Ids(list), IsEmpty());
    EXPECT_EQ(SelectedId(list), "");
    EXPECT_THAT(events.Take(), ElementsAre("change", "selection"));
}

TEST_F(AnApplicationListOfFive, KeepsTheObjectsOfUnchangedOwnItems) {
    const std::vector<AppListItem*> before = list.GetAllItems();
    list.SetOwnItems({Item("a"), Item("b"), Item("c")});
    EXPECT_EQ(list.GetAllItems(), before);
    EXPECT_THAT(events.Take(), IsEmpty());
}

TEST_F(AnApplicationListOfFive, PutsANewOwnItemWhereItBelongs) {
    list.SetOwnItems({Item("a"), Item("aa"), Item("b"), Item("c")});
    EXPECT_THAT(Ids(list), ElementsAre("a", "aa", "b", "c", "x", "y"));
    EXPECT_THAT(events.Take(), ElementsAre("change"));
}

TEST_F(AnApplicationListOfFive, TellsOnceOfAnyNumberOfChangesToItsOwnItems) {
    list.SetOwnItems({RemoteAppListItem("Renamed", "b"), Item("d"), Item("e")});
    EXPECT_THAT(Ids(list), ElementsAre("b", "d", "e", "x", "y"));
    EXPECT_THAT(events.Take(), ElementsAre("change", "selection"));
}

TEST_F(AnApplicationListOfFive, KeepsTheSelectionWhenOtherOwnItemsComeAndGo) {
    Select(list, "b");
    events.Take();
    list.SetOwnItems({Item("0"), Item("b")});
    EXPECT_EQ(SelectedId(list), "b");
    EXPECT_THAT(events.Take(), ElementsAre("change"));
}

TEST_F(AnApplicationListOfFive, KeepsTheSelectionOnARenamedOwnItem) {
    Select(list, "b");
    events.Take();
    list.SetOwnItems({Item("a"), RemoteAppListItem("Renamed", "b"), Item("c")});
    EXPECT_EQ(SelectedId(list), "b");
    EXPECT_EQ(list.GetSelection()->GetVisibleName(), "Renamed");
    EXPECT_THAT(events.Take(), ElementsAre("change", "selection"));
}

TEST_F(AnApplicationListOfFive, SelectsTheNextItemThatStaysWhenTheSelectedOwnOneGoes) {
    Select(list, "b");
    list.SetOwnItems({Item("a")});
    EXPECT_EQ(SelectedId(list), "x");
}

TEST_F(AnApplicationListOfFive, SelectsTheLastItemWhenAllThatFollowedGoesToo) {
    list.RemoveItem(x.get());
    list.RemoveItem(y.get());
    Select(list, "b");
    list.SetOwnItems({Item("a")});
    EXPECT_EQ(SelectedId(list), "a");
}

TEST_F(AnApplicationListOfFive, DoesNotBringItsOwnItemsBackAfterARemoveAll) {
    list.RemoveAllItems();
    list.SetOwnItems({Item("a"), Item("b"), Item("c"), Item("d")});
    EXPECT_THAT(Ids(list), ElementsAre("d"));
}

TEST_F(AnApplicationListOfFive, BringsARemovedOwnItemBackWhenItIsInstalledAgain) {
    list.RemoveAllItems();
    list.SetOwnItems({Item("b"), Item("c")});
    list.SetOwnItems({Item("a"), Item("b"), Item("c")});
    EXPECT_THAT(Ids(list), ElementsAre("a"));
}

TEST_F(AnApplicationListOfFive, KeepsARemovedOwnItemAwayWhenItIsOnlyRenamed) {
    RemoteAppListItem standIn("", "b");
    list.RemoveItem(&standIn);
    list.SetOwnItems({Item("a"), RemoteAppListItem("Renamed", "b"), Item("c")});
    EXPECT_THAT(Ids(list), ElementsAre("a", "c", "x", "y"));
}

TEST_F(AnApplicationListOfFive, AddsASecondOwnItemOfAnIdThatItKnows) {
    list.SetOwnItems({Item("a"), Item("b"), RemoteAppListItem("Second", "b"), Item("c")});
    EXPECT_THAT(Ids(list), ElementsAre("a", "b", "b", "c", "x", "y"));
}

TEST_F(AnApplicationListOfFive, KeepsARemovedOwnItemAwayWhenASecondOneOfItsIdComes) {
    RemoteAppListItem standIn("", "b");
    list.RemoveItem(&standIn);
    list.SetOwnItems({Item("a"), Item("b"), RemoteAppListItem("Second", "b"), Item("c")});
    EXPECT_THAT(Ids(list), ElementsAre("a", "b", "c", "x", "y"));
    EXPECT_EQ(list.GetAllItems()[1]->GetVisibleName(), "Second");
}

TEST_F(AnApplicationListOfFive, ReplacesAnOwnItemByACallersItem) {
    RemoteAppListItem standIn("", "b");
    RemoteAppListItem z = Item("z");
    list.ModifyItem(&standIn, &z);
    EXPECT_THAT(Ids(list), ElementsAre("a", "z", "c", "x", "y"));
}

class AnApplicationListWithTwoEqualIds : public testing::Test {
protected:
    AnApplicationListWithTwoEqualIds() { list.AddItems({&first, &second, &other}); }

    ApplicationList list;
    RemoteAppListItem first{"First", "same"};
    RemoteAppListItem second{"Second", "same"};
    RemoteAppListItem other{"Other", "other"};
};

TEST_F(AnApplicationListWithTwoEqualIds, SelectsTheEarlierOneForAStandIn) {
    list.SetSelection(&other);
    Select(list, "same");
    EXPECT_EQ(list.GetSelection(), &first);
}

TEST_F(AnApplicationListWithTwoEqualIds, RemovesTheEarlierOneForAStandIn) {
    RemoteAppListItem standIn("", "same");
    list.RemoveItem(&standIn);
    EXPECT_THAT(list.GetAllItems(), ElementsAre(&second, &other));
}

TEST_F(AnApplicationListWithTwoEqualIds, RemovesTheVeryObjectThatItsOwnerTakesBack) {
    list.RemoveItem(&second);
    EXPECT_THAT(list.GetAllItems(), ElementsAre(&first, &other));
}

TEST_F(AnApplicationListWithTwoEqualIds, ForgetsEveryPlaceOfAnObjectThatWasAddedTwice) {
    list.AddItemAtEnd(&first);
    list.RemoveItem(&first);
    EXPECT_THAT(list.GetAllItems(), ElementsAre(&second, &other));
}

namespace {

// Runs what a test gives it, on every change.
class OnChange : public ItemChangeListener {
public:
    explicit OnChange(std::function<void()> run) : m_run(std::move(run)) {}
    void ItemChanged(AppListModel*) override { m_run(); }

private:
    std::function<void()> m_run;
};

}  // namespace

class AListenerOfAnApplicationList : public testing::Test {
protected:
    ApplicationList list;
    RemoteAppListItem x = Item("x");
    RemoteAppListItem y = Item("y");
    int heard = 0;
};

TEST_F(AListenerOfAnApplicationList, HearsOfAnEventOnceAlthoughItWasAddedTwice) {
    OnChange listener([this] { ++heard; });
    list.AddItemChangeListener(&listener);
    list.AddItemChangeListener(&listener);
    list.AddItemAtEnd(&x);
    EXPECT_EQ(heard, 1);
}

TEST_F(AListenerOfAnApplicationList, MayRemoveItself) {
    OnChange listener([&] {
        ++heard;
        list.RemoveItemChangeListener(&listener);
    });
    OnChange next([this] { heard += 10; });
    list.AddItemChangeListener(&listener);
    list.AddItemChangeListener(&next);
    list.AddItemAtEnd(&x);
    list.AddItemAtEnd(&y);
    EXPECT_EQ(heard, 21) << "the first one once, the next one both times";
}

TEST_F(AListenerOfAnApplicationList, IsNotCalledAfterAnotherOneRemovedIt) {
    OnChange removed([this] { ++heard; });
    OnChange remover([&] { list.RemoveItemChangeListener(&removed); });
    list.AddItemChangeListener(&remover);
    list.AddItemChangeListener(&removed);
    list.AddItemAtEnd(&x);
    EXPECT_EQ(heard, 0);
}

TEST_F(AListenerOfAnApplicationList, IsNotCalledForTheEventDuringWhichItWasAdded) {
    OnChange added([this] { ++heard; });
    OnChange adder([&] { list.AddItemChangeListener(&added); });
    list.AddItemChangeListener(&adder);
    list.AddItemAtEnd(&x);
    EXPECT_EQ(heard, 0);
    list.AddItemAtEnd(&y);
    EXPECT_EQ(heard, 1);
}

TEST_F(AListenerOfAnApplicationList, FindsTheListAlreadyChangedAndSelected) {
    std::vector<std::string> seen;
    OnChange listener([&] { seen = {SelectedId(list), Ids(list).front()}; });
    list.AddItemChangeListener(&listener);
    list.AddItemAtEnd(&x);
    EXPECT_THAT(seen, ElementsAre("x", "x"));
}

TEST_F(AListenerOfAnApplicationList, MayChangeTheListItself) {
    OnChange listener([&] {
        if (list.GetItemsCount() == 1) list.AddItemAtEnd(&y);
    });
    list.AddItemChangeListener(&listener);
    list.AddItemAtEnd(&x);
    EXPECT_THAT(Ids(list), ElementsAre("x", "y"));
}

TEST_F(AListenerOfAnApplicationList, MayStillReadAnOwnItemThatIsGone) {
    list.SetOwnItems({Item("a")});
    AppListItem* const own = list.GetSelection();
    std::string name;
    OnChange listener([&] { name = own->GetVisibleName(); });
    list.AddItemChangeListener(&listener);
    list.SetOwnItems({});
    EXPECT_EQ(name, "Name of a");
}
