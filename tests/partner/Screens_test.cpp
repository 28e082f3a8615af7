// SPDX-License-Identifier: MIT

// What a screen needs of a model beside the list: which rows changed, whether the list has been
// read, and which of its writes failed.

#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "partner/PairTest.h"

using applist::FailedWrite;
using applist::RemoteAppListModel;
using applist::RemoteError;
using applist::RowChange;
using Cause = RemoteError::Cause;
using Kind = RowChange::Kind;
using Operation = FailedWrite::Operation;
using Changes = std::vector<RowChange>;

namespace {

// Writes down what it is told, as everybody else in `told`, and may do something more.
class Screen : public applist::RowListener,
               public applist::ListReadListener,
               public applist::WriteListener {
public:
    explicit Screen(Strings& told) : m_told(told) {}

    void RowsChanged(RemoteAppListModel*, const Changes& changes) override {
        m_changes.push_back(changes);
        Tell("rows");
    }
    void ListReadChanged(RemoteAppListModel* model) override {
        Tell(model->IsListRead() ? "read" : "unread");
    }
    void WriteFailed(RemoteAppListModel*, const FailedWrite& write) override {
        m_failed.push_back(write);
        Tell("failed");
    }

    std::vector<Changes> m_changes;
    std::vector<FailedWrite> m_failed;
    std::function<void(const std::string& what)> m_onTold;

private:
    void Tell(const std::string& what) {
        m_told.push_back(what);
        if (m_onTold) m_onTold(what);
    }

    Strings& m_told;
};

}  // namespace

class AScreen : public PairTest {
protected:
    void StartPartner() {
        PairTest::StartPartner();
        ListenTo(*m_model);
    }

    void StartBoth() {
        StartService();
        StartPartner();
        m_bus.RunFor(Milliseconds(200));
        Take();
    }

    void ListenTo(RemoteAppListModel& model) {
        model.AddRowListener(&m_screen);
        model.AddListReadListener(&m_screen);
        model.AddWriteListener(&m_screen);
    }

    // What the screen and the witness were told since the last time, each in its order.
    Strings Take() {
        m_screen.m_changes.clear();
        return std::exchange(m_told, Strings());
    }

    const FailedWrite& OnlyFailure() {
        EXPECT_EQ(1u, m_screen.m_failed.size());
        if (m_screen.m_failed.empty()) throw std::runtime_error("nothing failed");
        return m_screen.m_failed.front();
    }

    RemoteAppListItem m_maps{"Maps", "maps"};
    RemoteAppListItem m_music{"Music", "music"};
    Strings m_told;
    Screen m_screen{m_told};
};

// ---- Rows ---------------------------------------------------------------------------------------

TEST_F(AScreen, IsToldOfTheRowsThatChangedAndOfNothingElse) {
    m_list.Add("Maps", "maps");
    StartBoth();

    m_list.Add("Music", "music");
    m_bus.RunFor(Milliseconds(200));
    EXPECT_EQ((std::vector<Changes>{{{Kind::Inserted, 1, 1}}}), m_screen.m_changes);
    EXPECT_EQ(Strings{"rows"}, Take());

    m_list.Remove("maps");
    m_bus.RunFor(Milliseconds(200));
    EXPECT_EQ((std::vector<Changes>{{{Kind::Removed, 0, 1}}}), m_screen.m_changes);
    EXPECT_EQ(Strings{"rows"}, Take());

    m_list.TellOfNothing();
    m_bus.RunFor(Milliseconds(200));
    EXPECT_EQ(Strings{}, Take());
}

TEST_F(AScreen, IsToldOfTheRowsWhenTheItemsAreAsTheyWillBe) {
    StartBoth();
    std::string seen;
    m_screen.m_onTold = [&](const std::string&) { seen = Replica(); };

    m_list.Add("Maps", "maps");
    m_bus.RunFor(Milliseconds(200));

    EXPECT_EQ("Maps/maps ()", seen);
}

TEST_F(AScreen, IsToldOfTheRowsBeforeTheItems) {
    StartBoth();
    m_witness->m_onTold = [&](const std::string& what) { m_told.push_back("then " + what); };

    m_list.Add("Maps", "maps");
    m_bus.RunFor(Milliseconds(200));

    EXPECT_EQ((Strings{"rows", "then changed"}), Take());
}

TEST_F(AScreen, IsToldThatAllRowsAreGoneWithTheService) {
    m_list.Add("Maps", "maps");
    m_list.Add("Music", "music");
    StartBoth();

    KillService();
    m_bus.Run();

    EXPECT_EQ((std::vector<Changes>{{{Kind::Removed, 0, 2}}}), m_screen.m_changes);
    EXPECT_EQ((Strings{"rows", "unread"}), Take());
}

TEST_F(AScreen, IsToldOfAllRowsWhenTheServiceIsBack) {
    m_list.Add("Maps", "maps");
    StartBoth();
    for (int round = 0; round < 3; ++round) {
        KillService();
        m_bus.Run();
        Take();

        StartService();
        m_bus.RunFor(Milliseconds(200));

        EXPECT_EQ((std::vector<Changes>{{{Kind::Inserted, 0, 1}}}), m_screen.m_changes);
    }
}

TEST_F(AScreen, ThatComesLateStartsFromTheRowsThatAreThere) {
    m_list.Add("Maps", "maps");
    StartService();
    PairTest::StartPartner();
    m_bus.RunFor(Milliseconds(200));
    ListenTo(*m_model);

    m_list.Add("Music", "music");
    m_bus.RunFor(Milliseconds(200));

    EXPECT_EQ((std::vector<Changes>{{{Kind::Inserted, 1, 1}}}), m_screen.m_changes);
}

TEST_F(AScreen, ThatIsRemovedIsToldNoMore) {
    StartBoth();
    m_model->RemoveRowListener(&m_screen);
    m_model->RemoveListReadListener(&m_screen);
    m_model->RemoveWriteListener(&m_screen);

    m_list.Add("Maps", "maps");
    m_bus.RunFor(Milliseconds(200));
    m_model->AddItemAtEnd(&m_music);
    KillService();
    m_bus.Run();

    EXPECT_EQ(Strings{}, Take());
}

// ---- Whether the list is read -------------------------------------------------------------------

TEST_F(AScreen, KnowsThatAListIsNotReadWithoutAService) {
    StartPartner();
    m_bus.RunFor(Milliseconds(2000));

    EXPECT_FALSE(m_model->IsListRead());
    EXPECT_EQ(Strings{}, Take());
}

TEST_F(AScreen, IsToldThatAnEmptyListIsRead) {
    StartService();
    StartPartner();
    m_bus.RunFor(Milliseconds(200));

    EXPECT_TRUE(m_model->IsListRead());
    EXPECT_EQ(Strings{"read"}, Take());
}

TEST_F(AScreen, SeesTheRowsOfAListThatItIsToldWasRead) {
    m_list.Add("Maps", "maps");
    StartService();
    StartPartner();
    m_bus.RunFor(Milliseconds(200));

    EXPECT_EQ((Strings{"rows", "read"}), Take());
}

TEST_F(AScreen, IsToldOnceThatAListIsRead) {
    StartBoth();

    for (int round = 0; round < 3; ++round) {
        m_list.TellOfNothing();
        m_bus.RunFor(Milliseconds(200));
        EXPECT_EQ("", CauseOfSynchronize());
    }

    EXPECT_EQ(Strings{}, Take());
}

TEST_F(AScreen, KnowsThatAListIsOnItsWay) {
    bool wasOnItsWay = false;
    StartService();
    StartPartner();
    m_bus.m_faults.beforeStep = [&] {
        if (m_model->IsServiceThere() && !m_model->IsListRead()) wasOnItsWay = true;
    };

    m_bus.RunFor(Milliseconds(200));

    EXPECT_TRUE(wasOnItsWay);
    EXPECT_TRUE(m_model->IsListRead());
}

TEST_F(AScreen, KnowsThatAListMayNotBeRead) {
    m_bus.m_faults.refuses = true;
    StartService();
    StartPartner();
    m_bus.RunFor(Milliseconds(2000));

    EXPECT_FALSE(m_model->IsListRead());
    EXPECT_EQ(Strings{}, Take());
}

TEST_F(AScreen, IsToldThatAnEmptyListIsReadNoMoreWhenTheServiceGoes) {
    StartBoth();

    KillService();
    m_bus.Run();

    EXPECT_FALSE(m_model->IsListRead());
    EXPECT_EQ(Strings{"unread"}, Take());
}

// ---- Writes that failed -------------------------------------------------------------------------

TEST_F(AScreen, IsNotToldOfAWriteThatWasCarriedOut) {
    StartBoth();

    m_model->AddItemAtEnd(&m_maps);
    m_bus.RunFor(Milliseconds(200));

    EXPECT_TRUE(m_screen.m_failed.empty());
}

TEST_F(AScreen, IsToldOfEachWriteThatFailedWithItsItem) {
    StartPartner();
    m_bus.RunFor(Milliseconds(200));

    m_model->SetSelection(&m_maps);
    m_model->SetClicked(&m_maps);
    m_model->RemoveAllItems();
    m_model->AddItems({&m_maps, &m_music});
    m_model->AddItems({});
    m_model->AddItemAtEnd(&m_maps);
    m_model->RemoveItem(&m_music);
    m_model->ModifyItem(&m_music, &m_maps);
    m_bus.RunFor(Milliseconds(200));

    const RemoteAppListItem none;
    const std::vector<FailedWrite> expected = {
        {Operation::Select, m_maps, 1, RemoteError(Cause::NoService, "")},
        {Operation::Click, m_maps, 1, RemoteError(Cause::NoService, "")},
        {Operation::RemoveAll, none, 0, RemoteError(Cause::NoService, "")},
        {Operation::Add, m_maps, 2, RemoteError(Cause::NoService, "")},
        {Operation::Add, none, 0, RemoteError(Cause::NoService, "")},
        {Operation::Add, m_maps, 1, RemoteError(Cause::NoService, "")},
        {Operation::Remove, m_music, 1, RemoteError(Cause::NoService, "")},
        {Operation::Replace, m_music, 1, RemoteError(Cause::NoService, "")},
    };
    ASSERT_EQ(expected.size(), m_screen.m_failed.size());
    for (std::size_t at = 0; at < expected.size(); ++at) {
        const FailedWrite& failed = m_screen.m_failed[at];
        EXPECT_EQ(expected[at].operation, failed.operation) << at;
        EXPECT_TRUE(expected[at].item == failed.item) << at;
        EXPECT_EQ(expected[at].count, failed.count) << at;
        EXPECT_EQ("NoService", NameOf(failed.error.GetCause())) << at;
    }
}

TEST_F(AScreen, IsToldOfAWriteThatIsNotAllowed) {
    StartBoth();
    m_bus.m_faults.refuses = true;

    m_model->SetSelection(&m_maps);
    m_bus.RunFor(Milliseconds(200));

    EXPECT_EQ(Cause::Refused, OnlyFailure().error.GetCause());
    EXPECT_EQ("Maps was not selected: you are not allowed to change the list",
              OnlyFailure().Text());
}

TEST_F(AScreen, IsToldOfAWriteThatMayHaveBeenCarriedOut) {
    StartBoth();

    m_model->RemoveItem(&m_maps);
    KillService();
    m_bus.RunFor(Milliseconds(200));

    EXPECT_EQ(Cause::OutcomeUnknown, OnlyFailure().error.GetCause());
    EXPECT_EQ("Maps may not have been removed: the list went away meanwhile", OnlyFailure().Text());
}

TEST_F(AScreen, IsToldFromInsideAWriteThatFindsNoRoom) {
    StartService();
    StartPartner();
    FillQueue();
    ASSERT_TRUE(m_screen.m_failed.empty());

    m_model->AddItemAtEnd(&m_maps);

    EXPECT_EQ(Cause::TooMuch, OnlyFailure().error.GetCause());
    EXPECT_EQ("Maps was not added: too much is waiting to be sent; try again",
              OnlyFailure().Text());
}

TEST_F(AScreen, IsToldAlsoOfWhatSynchronizeThrows) {
    StartPartner();
    m_bus.RunFor(Milliseconds(200));

    m_model->SetSelection(&m_maps);
    m_model->SetSelection(&m_music);

    EXPECT_EQ("NoService", CauseOfSynchronize());
    EXPECT_EQ(2u, m_screen.m_failed.size());
}

TEST_F(AScreen, MayDestroyTheModelInAnyOfItsCalls) {
    for (const std::string last : {"rows", "read", "unread", "failed"}) {
        m_list.Add("Maps", "maps");
        StartService();
        StartPartner();
        bool isLast = false;
        m_screen.m_onTold = [&](const std::string& what) {
            EXPECT_FALSE(isLast) << "told of " << what << " after its last call, of " << last;
            if (what != last) return;
            isLast = true;
            m_witness->Forget();
            m_model.reset();
        };

        m_bus.RunFor(Milliseconds(200));
        if (m_model) m_model->SetSelection(&m_maps);
        KillService();
        m_bus.Run();

        EXPECT_FALSE(m_model) << "never told of " << last;
        m_witness.reset();
        m_list.RemoveAllItems();
    }
}

TEST_F(AScreen, MayDestroyTheModelFromInsideAWriteThatFindsNoRoom) {
    StartService();
    StartPartner();
    FillQueue();
    m_screen.m_onTold = [&](const std::string&) {
        m_screen.m_onTold = nullptr;  // what waits fails with the model
        m_witness->Forget();
        m_model.reset();
    };

    m_model->AddItemAtEnd(&m_maps);

    EXPECT_FALSE(m_model);
}

// ---- The text of a failure ----------------------------------------------------------------------

namespace {

std::string TextOf(Operation operation, const RemoteAppListItem& item, std::size_t count,
                   Cause cause) {
    return FailedWrite{operation, item, count, RemoteError(cause, "for the log")}.Text();
}

std::string TextOfSelecting(const std::string& name, const std::string& id) {
    return TextOf(Operation::Select, RemoteAppListItem(name, id), 1, Cause::Refused);
}

}  // namespace

TEST(TheTextOfAFailedWrite, SaysWhatWasNotDone) {
    const RemoteAppListItem maps("Maps", "maps");
    const std::string why = ": the list cannot be reached at the moment";
    const auto textOf = [&](Operation operation, std::size_t count) {
        return TextOf(operation, maps, count, Cause::NoService);
    };

    EXPECT_EQ("Maps was not selected" + why, textOf(Operation::Select, 1));
    EXPECT_EQ("Maps was not clicked" + why, textOf(Operation::Click, 1));
    EXPECT_EQ("the list was not emptied" + why, textOf(Operation::RemoveAll, 0));
    EXPECT_EQ("Maps was not added" + why, textOf(Operation::Add, 1));
    EXPECT_EQ("2 items were not added" + why, textOf(Operation::Add, 2));
    EXPECT_EQ("Maps was not removed" + why, textOf(Operation::Remove, 1));
    EXPECT_EQ("Maps was not replaced" + why, textOf(Operation::Replace, 1));
}

TEST(TheTextOfAFailedWrite, SaysWhyAndWhetherItIsKnown) {
    const auto textOf = [](Cause cause) {
        return TextOf(Operation::Select, RemoteAppListItem("Maps", "maps"), 1, cause);
    };

    EXPECT_EQ("Maps may not have been selected: no answer came in time", textOf(Cause::TimedOut));
    EXPECT_EQ("Maps may not have been selected: the list went away meanwhile",
              textOf(Cause::OutcomeUnknown));
    EXPECT_EQ("Maps may not have been selected: the answer was not understood",
              textOf(Cause::NotUnderstood));
    EXPECT_EQ("Maps was not selected: the list reported an error", textOf(Cause::ServiceError));
    EXPECT_EQ("Maps was not selected: the list is too busy; try again", textOf(Cause::NotExecuted));
    EXPECT_EQ("Maps may not have been selected: an error of the system; the log may say more",
              textOf(Cause::Failed));
}

TEST(TheTextOfAFailedWrite, ShowsAnIdWithoutANameAndNeverNothing) {
    const std::string rest = " was not selected: you are not allowed to change the list";

    EXPECT_EQ("maps" + rest, TextOfSelecting("", "maps"));
    EXPECT_EQ("the item" + rest, TextOfSelecting("", ""));
}

TEST(TheTextOfAFailedWrite, IsPrintableAndShort) {
    const std::string rest = " was not selected: you are not allowed to change the list";

    EXPECT_EQ("\\x1b[31m\\xff" + rest, TextOfSelecting("\x1B[31m\xFF", "id"));
    EXPECT_EQ(std::string(100, 'n') + "…" + rest, TextOfSelecting(std::string(5000, 'n'), "id"));
    EXPECT_EQ(std::string(99, 'n') + "…" + rest,
              TextOfSelecting(std::string(99, 'n') + "ääää", "id"))
        << "no half a character";
}
