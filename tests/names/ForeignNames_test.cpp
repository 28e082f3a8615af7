// SPDX-License-Identifier: MIT

// The program's names stand ahead of ours, in the compiler's sight as in the linker's.
#include "names/ForeignNames.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "applist/LocalAppListModel.h"
#include "applist/RemoteAppListItem.h"
#include "bus/BusSelection.h"
#include "partner/EditableList.h"
#include "partner/RemoteAppListModel.h"
#include "support/PrivateBus.h"
#include "support/TestLoop.h"

namespace {

class AProgramWithOurNames : public ::testing::Test {
protected:
    AProgramWithOurNames() {
        applist::SelectBusAddress(m_bus.Address());
        m_service = std::make_unique<LocalAppListModel>(&m_list);
        m_model = std::make_unique<applist::RemoteAppListModel>();
    }

    ~AProgramWithOurNames() override {
        m_model.reset();
        m_list.ForgetPartnersItems();
        m_service.reset();
        applist::SelectBus(applist::BusKind::Automatic);
    }

    bool PartnerShowsTheList() {
        return RunUntil([this] { return ContentOf(*m_model) == ContentOf(m_list); });
    }

    // Adds an item and, in turn, edits the list in the other ways.
    void Edit(int count) {
        const std::string number = std::to_string(count);
        m_list.Add("Name " + number, "id" + number);
        if (count % 3 == 1) m_list.Select("id" + number);
        if (count % 4 == 2) m_list.Rename("id" + number, "Another " + number);
        if (count % 5 == 3) m_list.RemoveAt(0);
        if (count % 6 == 4) m_list.Move(0, 1);
        m_list.Click();
    }

    PrivateBus m_bus{{BusProgram::Daemon, BusLimits::Session}};
    EditableList m_list;
    std::unique_ptr<LocalAppListModel> m_service;
    std::unique_ptr<applist::RemoteAppListModel> m_model;
};

TEST_F(AProgramWithOurNames, PublishesAndFollowsAListBesideItsOwnObjects) {
    constexpr int kRounds = 5;
    constexpr int kEdits = 12;
    for (int round = 0; round < kRounds; ++round) {
        for (int edit = 0; edit < kEdits; ++edit) Edit(round * kEdits + edit);
        ASSERT_EQ(0, WrongAfterUse(round));
        ASSERT_TRUE(PartnerShowsTheList()) << "in round " << round;
    }
}

TEST_F(AProgramWithOurNames, WritesBesideItsOwnObjects) {
    RemoteAppListItem maps("Maps", "maps");
    m_model->AddItemAtEnd(&maps);
    m_model->SetSelection(&maps);
    EXPECT_EQ(0, WrongAfterUse(1));
    EXPECT_TRUE(RunUntil([this] { return ContentOf(*m_model) == "Maps/maps (maps)"; }));
}

TEST_F(AProgramWithOurNames, IsNotCalledInPlaceOfTheLibraries) {
    Edit(0);
    ASSERT_TRUE(PartnerShowsTheList());
    EXPECT_EQ(0, CallsOfForeignFunctions());
}

}  // namespace
