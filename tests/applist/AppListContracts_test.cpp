// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <type_traits>

#include "AppList.h"
#include "support/RecordingModel.h"

using recording::RecordingModel;
using std::string;

namespace {

template <class Interface>
constexpr bool IsBareInterface() {
    // Nothing but the pointer to the table of virtual operations: no data, no base.
    return std::is_abstract<Interface>::value && sizeof(Interface) == sizeof(void*) &&
           std::has_virtual_destructor<Interface>::value;
}

static_assert(IsBareInterface<ItemSelectionListener>(), "");
static_assert(IsBareInterface<ItemChangeListener>(), "");
static_assert(IsBareInterface<ItemClickListener>(), "");
static_assert(IsBareInterface<AppListItem>(), "");
static_assert(IsBareInterface<AppListModel>(), "");

// Sets a flag when its own destructor runs, whatever it is destroyed as.
template <class Base>
class Flagging : public Base {
public:
    explicit Flagging(bool& isGone) : m_isGone(isGone) {}
    ~Flagging() override { m_isGone = true; }

private:
    bool& m_isGone;
};

class FlaggingItem : public Flagging<AppListItem> {
public:
    using Flagging::Flagging;
    string GetVisibleName() override { return ""; }
    string GetUnigueId() override { return ""; }
};

class FlaggingListener : public Flagging<ItemChangeListener> {
public:
    using Flagging::Flagging;
    void ItemChanged(AppListModel*) override {}
};

}  // namespace

TEST(AConcreteItem, IsDestroyedWholeThroughItsInterface) {
    bool isGone = false;
    AppListItem* const item = new FlaggingItem(isGone);

    delete item;

    EXPECT_TRUE(isGone);
}

TEST(AConcreteModel, IsDestroyedWholeThroughItsInterface) {
    bool isGone = false;
    AppListModel* const model = new Flagging<RecordingModel>(isGone);

    delete model;

    EXPECT_TRUE(isGone);
}

TEST(AConcreteListener, IsDestroyedWholeThroughItsInterface) {
    bool isGone = false;
    ItemChangeListener* const listener = new FlaggingListener(isGone);

    delete listener;

    EXPECT_TRUE(isGone);
}

TEST(AConcreteModel, DoesNotTouchAnItemThatWasDeletedAfterItsRemoval) {
    RecordingModel model;
    auto item = std::make_unique<recording::OwnItem>("Maps", "maps");
    model.AddItemAtEnd(item.get());
    model.SetSelection(item.get());

    model.RemoveItem(item.get());
    item.reset();

    recording::OwnItem standIn("Maps", "maps");
    model.SetSelection(&standIn);
    EXPECT_EQ("", model.GetSelection()->GetUnigueId());
    EXPECT_TRUE(model.GetAllItems().empty());
    EXPECT_EQ("", model.Content());
}
