// SPDX-License-Identifier: MIT

#include "partner/PairTest.h"

using applist::RemoteAppListModel;

class ARemoteModel : public PairTest {};

TEST_F(ARemoteModel, IsEmptyWithoutAService) {
    StartPartner();
    m_bus.RunFor(Milliseconds(10000));

    EXPECT_EQ("()", Replica());
    EXPECT_EQ("", m_model->GetSelection()->GetVisibleName());
    EXPECT_EQ(0, m_model->GetItemsCount());
    EXPECT_FALSE(m_model->IsServiceThere());
    EXPECT_EQ(Strings{}, m_witness->Take());
}

TEST_F(ARemoteModel, ShowsTheListOfAServiceThatWasThereBefore) {
    m_list.Add("Maps", "maps");
    m_list.Add("Radio", "radio");
    m_list.Select("radio");
    StartService();
    StartPartner();
    m_bus.Run();

    EXPECT_EQ("Maps/maps Radio/radio (radio)", Replica());
    EXPECT_EQ(2, m_model->GetItemsCount());
    EXPECT_TRUE(m_model->IsServiceThere());
    EXPECT_EQ((Strings{"there", "changed", "selected"}), m_witness->Take());
}

TEST_F(ARemoteModel, ShowsTheListOfAServiceThatComesLater) {
    StartPartner();
    m_bus.RunFor(Milliseconds(60000));
    m_list.Add("Maps", "maps");
    StartService();
    m_bus.Run();

    EXPECT_EQ("Maps/maps ()", Replica());
    EXPECT_EQ((Strings{"there", "changed"}), m_witness->Take());
}

TEST_F(ARemoteModel, IsEmptyAgainAsSoonAsTheServiceIsGone) {
    m_list.Add("Maps", "maps");
    m_list.Select("maps");
    StartBoth();

    KillService();
    m_bus.Run();

    EXPECT_EQ("()", Replica());
    EXPECT_FALSE(m_model->IsServiceThere());
    EXPECT_EQ((Strings{"changed", "selected", "gone"}), m_witness->Take());
}

TEST_F(ARemoteModel, ShowsTheListAgainWhenTheServiceIsBack) {
    m_list.Add("Maps", "maps");
    StartBoth();
    KillService();
    m_bus.Run();
    m_witness->Take();

    m_list.Add("Radio", "radio");
    StartService();
    m_bus.RunFor(Milliseconds(2000));

    EXPECT_EQ("Maps/maps Radio/radio ()", Replica());
    EXPECT_EQ((Strings{"there", "changed"}), m_witness->Take());
}

TEST_F(ARemoteModel, ReadsAServiceThatComesBackInTheMiddleOfABurstWithinTwentyMilliseconds) {
    StartBoth();
    m_list.TellOfNothing();
    m_bus.Run();
    KillService();
    m_bus.Run();

    m_list.Add("Maps", "maps");
    StartService();
    m_bus.RunFor(Milliseconds(20));

    EXPECT_EQ("Maps/maps ()", Replica());
}

TEST_F(ARemoteModel, LosesAndFindsTheServiceWithTheBus) {
    m_list.Add("Maps", "maps");
    StartBoth();

    m_bus.LoseBus();
    EXPECT_EQ("()", Replica());
    m_bus.FindBus();
    m_bus.RunFor(Milliseconds(2000));

    EXPECT_EQ("Maps/maps ()", Replica());
    EXPECT_EQ((Strings{"changed", "gone", "there", "changed"}), m_witness->Take());
}

// What was answered before the service could be followed is no list without a service either.
TEST_F(ARemoteModel, IsEmptyAlsoAfterAServiceThatItNeverCouldFollow) {
    m_list.Add("Maps", "maps");
    StartService();
    StartPartner();
    m_bus.m_faults.losesSerials = true;
    m_bus.Run();
    ASSERT_FALSE(m_model->IsServiceThere());
    m_model->Synchronize();
    ASSERT_EQ("Maps/maps ()", Replica());

    KillService();
    m_bus.Run();

    EXPECT_EQ("()", Replica());
}

TEST_F(ARemoteModel, FollowsEveryEditOfTheList) {
    StartBoth();
    const auto shows = [&](const std::string& content) {
        m_bus.RunFor(Milliseconds(2000));
        return Replica() == content;
    };

    m_list.Add("Maps", "maps");
    EXPECT_TRUE(shows("Maps/maps ()")) << Replica();
    m_list.Insert(0, "Radio", "radio");
    EXPECT_TRUE(shows("Radio/radio Maps/maps ()")) << Replica();
    m_list.Rename("maps", "Karten");
    EXPECT_TRUE(shows("Radio/radio Karten/maps ()")) << Replica();
    m_list.Move(0, 1);
    EXPECT_TRUE(shows("Karten/maps Radio/radio ()")) << Replica();
    m_list.Select("radio");
    EXPECT_TRUE(shows("Karten/maps Radio/radio (radio)")) << Replica();
    m_list.Remove("radio");
    EXPECT_TRUE(shows("Karten/maps ()")) << Replica();
}

// A reader is in the middle of its list when an event comes; nothing may change under its hands.
TEST_F(ARemoteModel, ReadsTheSameUntilTheLoopHasRun) {
    m_list.Add("Maps", "maps");
    StartBoth();
    const auto items = m_model->GetAllItems();

    m_list.Remove("maps");
    m_list.Add("Radio", "radio");

    EXPECT_EQ(items, m_model->GetAllItems());
    EXPECT_EQ("Maps/maps ()", Replica());
}

TEST_F(ARemoteModel, ReadsWithoutWaitingWhileTheServiceStands) {
    m_list.Add("Maps", "maps");
    StartBoth();
    m_bus.m_faults.serviceStands = true;

    m_list.Add("Radio", "radio");
    m_bus.Run();
    const Milliseconds before = m_bus.Now();

    EXPECT_EQ("Maps/maps ()", Replica());
    EXPECT_EQ(1, m_model->GetItemsCount());
    EXPECT_EQ(before, m_bus.Now());
}

TEST_F(ARemoteModel, KeepsThePointersOfItemsThatDidNotChange) {
    m_list.Fill(5);
    StartBoth();
    const auto before = m_model->GetAllItems();

    m_list.Remove("id2");
    m_list.Insert(0, "New", "new");
    m_list.Rename("id3", "Renamed");
    m_bus.RunFor(Milliseconds(2000));

    const auto after = m_model->GetAllItems();
    ASSERT_EQ(5u, after.size()) << Replica();
    EXPECT_EQ(before[0], after[1]);
    EXPECT_EQ(before[1], after[2]);
    EXPECT_NE(before[3], after[3]) << "renamed";
    EXPECT_EQ(before[4], after[4]);
}

// ---- Writes -------------------------------------------------------------------------------------

TEST_F(ARemoteModel, SendsWritesAtOnceAndInOrder) {
    StartBoth();
    RemoteAppListItem maps("Maps", "maps");
    RemoteAppListItem radio("Radio", "radio");
    RemoteAppListItem karten("Karten", "karten");

    m_model->AddItemAtEnd(&maps);
    m_model->AddItems({&radio});
    m_model->SetSelection(&radio);
    m_model->ModifyItem(&maps, &karten);
    m_model->RemoveItem(&radio);
    m_model->SetClicked(&radio);
    m_model->RemoveAllItems();
    const Milliseconds before = m_bus.Now();
    while (m_bus.CountOf(2003) == 0 && m_bus.Step()) continue;

    std::vector<int> writes;
    for (const int id : m_bus.m_executed) {
        if (id != 2001 && id != 2002) writes.push_back(id);
    }
    EXPECT_EQ((std::vector<int>{2005, 2004, 2000, 2008, 2007, 2006, 2003}), writes);
    EXPECT_EQ(before, m_bus.Now());
}

TEST_F(ARemoteModel, ShowsItsOwnWritesWhenTheServiceHasCarriedThemOut) {
    StartBoth();
    RemoteAppListItem maps("Maps", "maps");

    m_model->AddItemAtEnd(&maps);
    EXPECT_EQ("()", Replica());
    m_model->SetSelection(&maps);
    m_bus.RunFor(Milliseconds(1000));

    EXPECT_EQ("Maps/maps (maps)", Replica());
}

TEST_F(ARemoteModel, CarriesItemsOfAnyBytes) {
    StartBoth();
    RemoteAppListItem item(std::string("a\0\t\n\\\xff", 6), std::string("\\t\n\0", 4));

    m_model->AddItemAtEnd(&item);
    m_bus.RunFor(Milliseconds(1000));

    ASSERT_EQ(1, m_model->GetItemsCount());
    EXPECT_EQ(item.GetVisibleName(), m_model->GetAllItems()[0]->GetVisibleName());
    EXPECT_EQ(item.GetUnigueId(), m_model->GetAllItems()[0]->GetUnigueId());
}

TEST_F(ARemoteModel, SendsWhatWasWrittenJustBeforeItWasDestroyed) {
    StartBoth();
    RemoteAppListItem maps("Maps", "maps");

    m_model->AddItemAtEnd(&maps);
    m_witness.reset();
    m_model.reset();
    m_bus.Run();

    EXPECT_EQ("Maps/maps ()", ContentOf(m_list));
}

TEST_F(ARemoteModel, SharesTheServiceWithOthers) {
    StartBoth();
    RemoteAppListModel other;
    RemoteAppListItem maps("Maps", "maps");

    other.AddItemAtEnd(&maps);
    m_bus.RunFor(Milliseconds(1000));

    EXPECT_EQ("Maps/maps ()", Replica());
    EXPECT_EQ("Maps/maps ()", ContentOf(other));
}
