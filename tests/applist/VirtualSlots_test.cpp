// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "AppList.h"
#include "applist/RemoteAppListItem.h"
#include "ipc/TesselDbusLocal.h"
#include "support/RecordingService.h"
#include "support/RecordingSlots.h"

using recording::SlotOf;
using recording::SlotsOf;
using std::string;
using Items = std::vector<AppListItem*>;
using Bytes = std::vector<char>;

// The compiler checks that what is called through a pointer has the pointer's type; a member
// function called as an ordinary one, which is what a call by slot is, has not.
#if defined(__clang__)
#define CALLS_BY_SLOT __attribute__((no_sanitize("function")))
#else
#define CALLS_BY_SLOT
#endif

namespace {

template <class Expected, class Actual>
constexpr bool IsExactly(Actual) {
    return std::is_same<Expected, Actual>::value;
}

// Every signature, spelled out: a changed constness, reference or result does not compile.
static_assert(
    IsExactly<void (ItemSelectionListener::*)(AppListModel*)>(&ItemSelectionListener::ItemSelected),
    "");
static_assert(
    IsExactly<void (ItemChangeListener::*)(AppListModel*)>(&ItemChangeListener::ItemChanged), "");
static_assert(
    IsExactly<void (ItemClickListener::*)(AppListModel*)>(&ItemClickListener::ItemClicked), "");
static_assert(IsExactly<string (AppListItem::*)()>(&AppListItem::GetVisibleName), "");
static_assert(IsExactly<string (AppListItem::*)()>(&AppListItem::GetUnigueId), "");

template <class Model>
constexpr bool HasTheModelsSignatures() {
    return IsExactly<void (Model::*)(AppListItem*)>(&Model::SetSelection) &&
           IsExactly<AppListItem* (Model::*)()>(&Model::GetSelection) &&
           IsExactly<Items (Model::*)()>(&Model::GetAllItems) &&
           IsExactly<void (Model::*)(AppListItem*)>(&Model::SetClicked) &&
           IsExactly<void (Model::*)()>(&Model::RemoveAllItems) &&
           IsExactly<void (Model::*)(const Items&)>(&Model::AddItems) &&
           IsExactly<void (Model::*)(AppListItem*)>(&Model::AddItemAtEnd) &&
           IsExactly<void (Model::*)(AppListItem*)>(&Model::RemoveItem) &&
           IsExactly<void (Model::*)(AppListItem*, AppListItem*)>(&Model::ModifyItem) &&
           IsExactly<int (Model::*)()>(&Model::GetItemsCount) &&
           IsExactly<void (Model::*)(ItemSelectionListener*)>(&Model::AddItemSelectionListener) &&
           IsExactly<void (Model::*)(ItemSelectionListener*)>(
               &Model::RemoveItemSelectionListener) &&
           IsExactly<void (Model::*)(ItemChangeListener*)>(&Model::AddItemChangeListener) &&
           IsExactly<void (Model::*)(ItemChangeListener*)>(&Model::RemoveItemChangeListener) &&
           IsExactly<void (Model::*)(ItemClickListener*)>(&Model::AddItemClickedListener) &&
           IsExactly<void (Model::*)(ItemClickListener*)>(&Model::RemoveItemClickedListener);
}

static_assert(HasTheModelsSignatures<AppListModel>(), "");
static_assert(HasTheModelsSignatures<LocalAppListModel>(), "all sixteen are overridden");

static_assert(IsExactly<string (RemoteAppListItem::*)()>(&RemoteAppListItem::GetVisibleName), "");
static_assert(IsExactly<string (RemoteAppListItem::*)()>(&RemoteAppListItem::GetUnigueId), "");

template <class Model>
std::vector<int> ModelSlots() {
    return {SlotOf(&Model::SetSelection),
            SlotOf(&Model::GetSelection),
            SlotOf(&Model::GetAllItems),
            SlotOf(&Model::SetClicked),
            SlotOf(&Model::RemoveAllItems),
            SlotOf(&Model::AddItems),
            SlotOf(&Model::AddItemAtEnd),
            SlotOf(&Model::RemoveItem),
            SlotOf(&Model::ModifyItem),
            SlotOf(&Model::GetItemsCount),
            SlotOf(&Model::AddItemSelectionListener),
            SlotOf(&Model::RemoveItemSelectionListener),
            SlotOf(&Model::AddItemChangeListener),
            SlotOf(&Model::RemoveItemChangeListener),
            SlotOf(&Model::AddItemClickedListener),
            SlotOf(&Model::RemoveItemClickedListener)};
}

const std::vector<int> kFirstSixteen = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};

}  // namespace

TEST(TheSlotsOfAModel, AreTheSixteenOperationsAndThenTheDestructor) {
    EXPECT_EQ(kFirstSixteen, ModelSlots<AppListModel>());
    EXPECT_EQ(18, SlotsOf<AppListModel>());
}

TEST(TheSlotsOfAnItem, AreNameIdAndThenTheDestructor) {
    EXPECT_EQ(0, SlotOf(&AppListItem::GetVisibleName));
    EXPECT_EQ(1, SlotOf(&AppListItem::GetUnigueId));
    EXPECT_EQ(4, SlotsOf<AppListItem>());
}

TEST(TheSlotsOfAReceivedItem, AreThoseOfAnItemAndNoMore) {
    EXPECT_EQ(0, SlotOf(&RemoteAppListItem::GetVisibleName));
    EXPECT_EQ(1, SlotOf(&RemoteAppListItem::GetUnigueId));
    EXPECT_EQ(4, SlotsOf<RemoteAppListItem>());
}

TEST(TheSlotsOfAListener, AreItsOneOperationAndThenTheDestructor) {
    EXPECT_EQ(0, SlotOf(&ItemSelectionListener::ItemSelected));
    EXPECT_EQ(3, SlotsOf<ItemSelectionListener>());
    EXPECT_EQ(0, SlotOf(&ItemChangeListener::ItemChanged));
    EXPECT_EQ(3, SlotsOf<ItemChangeListener>());
    EXPECT_EQ(0, SlotOf(&ItemClickListener::ItemClicked));
    EXPECT_EQ(3, SlotsOf<ItemClickListener>());
}

TEST(TheSlotsOfTheChannel, AreTheTransportsDestructorFirstAndThenItsThreeEntryPoints) {
    using Channel = IPCApplist<TesselDbusLocal, LocalAppListModel>;

    EXPECT_EQ(2, SlotOf(&Channel::HandleMessage));
    EXPECT_EQ(3, SlotOf(&Channel::HandleNotification));
    EXPECT_EQ(4, SlotOf(&Channel::HandleConnectionReady));
    EXPECT_EQ(5, SlotsOf<Channel>());
}

TEST(TheSlotsOfTheChannel, DoNotHoldItsOtherOperations) {
    using Channel = IPCApplist<TesselDbusLocal, LocalAppListModel>;

    EXPECT_EQ(-1, SlotOf(&Channel::RegisterOnMessage));
    EXPECT_EQ(
        -1, SlotOf(static_cast<void (Channel::*)(int, const string&)>(&Channel::SendNotification)));
}

TEST(TheSlotsOfTheService, AreThoseOfAModelFirst) {
    EXPECT_EQ(kFirstSixteen, ModelSlots<LocalAppListModel>());
}

// The three listener operations are private, so their slots are not asked for but called.
class TheServicesSlots : public recording::RecordingService {
protected:
    using EventProc = void (*)(LocalAppListModel*, AppListModel*);

    CALLS_BY_SLOT string WhatSlotDoes(std::size_t slot) {
        void** table;
        std::memcpy(&table, static_cast<const void*>(m_service.get()), sizeof(table));
        EventProc proc;
        std::memcpy(&proc, &table[slot], sizeof(proc));
        proc(m_service.get(), &m_model);
        return TakeEvents();
    }
};

TEST_F(TheServicesSlots, HoldTheListenerOperationsRightAfterTheDestructor) {
    EXPECT_NE(string::npos, WhatSlotDoes(18).find("send 02 00 00 00\n")) << "ItemSelected";
    EXPECT_NE(string::npos, WhatSlotDoes(19).find("send 01 00 00 00\n")) << "ItemChanged";
    EXPECT_NE(string::npos, WhatSlotDoes(20).find("send 03 00 00 00\n")) << "ItemClicked";
    EXPECT_EQ(21, SlotsOf<LocalAppListModel>());
}

TEST_F(TheServicesSlots, StartWithTheModelsTableAtTheObjectsOwnAddress) {
    const void* const object = m_service.get();

    EXPECT_EQ(object, static_cast<AppListModel*>(m_service.get()));
    EXPECT_EQ(static_cast<const char*>(object) + sizeof(void*),
              reinterpret_cast<const char*>(static_cast<ItemSelectionListener*>(m_service.get())));
    EXPECT_EQ(static_cast<const char*>(object) + 2 * sizeof(void*),
              reinterpret_cast<const char*>(static_cast<ItemChangeListener*>(m_service.get())));
    EXPECT_EQ(static_cast<const char*>(object) + 3 * sizeof(void*),
              reinterpret_cast<const char*>(static_cast<ItemClickListener*>(m_service.get())));
}
