// SPDX-License-Identifier: MIT

#include <algorithm>
#include <new>
#include <stdexcept>

#include "partner/PairTest.h"
#include "support/RecordingAllocator.h"

using applist::RemoteAppListModel;
using applist::RemoteError;
using applist::ServiceListener;

class AListenerOfARemoteModel : public PairTest {
protected:
    // All that the model tells without a change of the service: items, selection and a click.
    void ChangeAll() {
        m_list.Add("New", "new");
        m_list.Select("new");
        m_list.Click();
    }
};

TEST_F(AListenerOfARemoteModel, IsToldOnceOfAChangeOfTheItems) {
    StartBoth();

    m_list.Add("Maps", "maps");
    m_bus.RunFor(Milliseconds(10000));

    EXPECT_EQ(Strings{"changed"}, m_witness->Take());
}

TEST_F(AListenerOfARemoteModel, IsToldOnceOfAChangeOfTheSelection) {
    m_list.Add("Maps", "maps");
    StartBoth();

    m_list.Select("maps");
    m_bus.RunFor(Milliseconds(10000));

    EXPECT_EQ(Strings{"selected"}, m_witness->Take());
}

TEST_F(AListenerOfARemoteModel, IsToldOfEveryClickAndOfNothingElseThen) {
    StartBoth();

    m_list.Click();
    m_list.Click();
    m_bus.RunFor(Milliseconds(10000));

    EXPECT_EQ((Strings{"clicked", "clicked"}), m_witness->Take());
}

TEST_F(AListenerOfARemoteModel, IsNotToldOfAnEventWithoutAChange) {
    m_list.Add("Maps", "maps");
    StartBoth();

    m_list.TellOfNothing();
    m_bus.RunFor(Milliseconds(10000));

    EXPECT_EQ(1u, Fetches());
    EXPECT_EQ(Strings{}, m_witness->Take());
}

TEST_F(AListenerOfARemoteModel, IsNotToldOfAChangeThatWasTakenBackBeforeItWasSeen) {
    StartBoth();

    m_list.Add("Maps", "maps");
    m_list.Remove("maps");
    m_bus.RunFor(Milliseconds(10000));

    EXPECT_EQ(Strings{}, m_witness->Take());
}

TEST_F(AListenerOfARemoteModel, IsNotToldAgainWhenTheServiceAnnouncesItself) {
    m_list.Add("Maps", "maps");
    StartBoth();

    m_bus.ConnectAgain();
    m_bus.RunFor(Milliseconds(10000));

    EXPECT_EQ(Strings{}, m_witness->Take());
    EXPECT_EQ("Maps/maps ()", Replica());
}

TEST_F(AListenerOfARemoteModel, SeesTheNewListAndCanStillLookAtTheOldItems) {
    m_list.Add("Maps", "maps");
    m_list.Select("maps");
    StartBoth();
    AppListItem* const old = m_model->GetSelection();
    Strings seen;
    m_witness->m_onTold = [&](const std::string& what) {
        seen.push_back(what + " " + Replica() + " " + old->GetUnigueId());
    };

    m_list.Remove("maps");
    m_bus.RunFor(Milliseconds(1000));

    EXPECT_EQ((Strings{"changed () maps", "selected () maps"}), seen);
}

TEST_F(AListenerOfARemoteModel, CanStillLookAtTheOldItemsWhenTheServiceIsGone) {
    m_list.Add("Maps", "maps");
    StartBoth();
    AppListItem* const old = m_model->GetAllItems()[0];
    Strings seen;
    m_witness->m_onTold = [&](const std::string& what) {
        seen.push_back(what + " " + old->GetUnigueId());
    };

    KillService();
    m_bus.Run();

    EXPECT_EQ((Strings{"changed maps", "gone maps"}), seen);
}

// The selection may be an item that is not in the list; whoever holds it hears before it goes.
TEST_F(AListenerOfARemoteModel, CanStillLookAtASelectionOutsideTheListThatIsRenamed) {
    StartBoth();
    m_list.SelectOutside("Old", "x");
    m_bus.RunFor(Milliseconds(1000));
    m_witness->Take();
    AppListItem* held = m_model->GetSelection();
    Strings seen;
    m_witness->m_onTold = [&](const std::string& what) {
        seen.push_back(what + " " + held->GetVisibleName());
        held = m_model->GetSelection();
    };

    m_list.SelectOutside("New", "x");
    m_bus.RunFor(Milliseconds(1000));

    EXPECT_EQ(Strings{"selected Old"}, seen);
    EXPECT_EQ("New", held->GetVisibleName());
}

// Its items are freed when all have been told.
TEST_F(AListenerOfARemoteModel, IsToldAlsoWhenTheOneBeforeItThrows) {
    StartBoth();
    Witness second(*m_model);
    m_witness->m_onTold = [](const std::string&) { throw std::runtime_error("cannot draw"); };

    ChangeAll();
    m_bus.RunFor(Milliseconds(2000));
    KillService();
    m_bus.Run();

    EXPECT_EQ((Strings{"clicked", "changed", "selected", "changed", "selected", "gone"}),
              second.Take());
    EXPECT_EQ(6u, ErrorsLogged("cannot draw")) << WholeLog();
}

TEST_F(AListenerOfARemoteModel, IsToldOnceAlsoWhenItWasAddedTwice) {
    StartBoth();
    m_model->AddItemChangeListener(m_witness.get());

    m_list.Add("Maps", "maps");
    m_bus.RunFor(Milliseconds(1000));

    EXPECT_EQ(Strings{"changed"}, m_witness->Take());
}

// ---- From inside its call -----------------------------------------------------------------------

// One of what a listener may do from inside its call.
enum class Deed { RemovesItself, RemovesTheNext, AddsAnother, Writes, Waits, DestroysTheModel };
enum class Inside { TheLoop, Synchronize };

struct Reentry {
    std::string during;  // which call
    Deed deed;
    Inside inside;
};

std::ostream& operator<<(std::ostream& out, const Reentry& reentry) {
    const char* const deeds[] = {"RemovesItself", "RemovesTheNext", "AddsAnother",
                                 "Writes",        "Waits",          "DestroysTheModel"};
    std::string during = reentry.during;
    during[0] = static_cast<char>(std::toupper(during[0]));
    return out << deeds[static_cast<int>(reentry.deed)] << "When" << during
               << (reentry.inside == Inside::Synchronize ? "InsideSynchronize" : "");
}

class AListenerThatDoesMore : public AListenerOfARemoteModel,
                              public ::testing::WithParamInterface<Reentry> {
protected:
    void StartTwoListeners() {
        m_list.Add("Maps", "maps");
        m_list.Select("maps");
        if (GetParam().during == "there") {
            StartPartner();
        } else {
            StartBoth();
        }
        m_second = std::make_unique<Witness>(*m_model);
        m_witness->m_onTold = [this](const std::string& what) {
            if (what != GetParam().during || m_done) return;
            m_done = true;
            Do(GetParam().deed);
        };
    }

    void Do(Deed deed) {
        switch (deed) {
            case Deed::RemovesItself: return m_witness->StopListening();
            case Deed::RemovesTheNext: return m_second->StopListening();
            case Deed::AddsAnother: m_added = std::make_unique<Witness>(*m_model); return;
            case Deed::Writes: return m_model->AddItemAtEnd(&m_item);
            case Deed::Waits: m_cause = CauseOfSynchronize(); return;
            case Deed::DestroysTheModel: return DestroyTheModel();
        }
    }

    void DestroyTheModel() {
        m_witness->Forget();
        m_second->Forget();
        m_model.reset();
    }

    // Makes the model tell what this test is about.
    void Cause() {
        const std::string& during = GetParam().during;
        if (during == "changed") m_list.Add("New", "new");
        if (during == "selected") {
            m_list.Add("New", "new");
            m_list.Select("new");
        }
        if (during == "clicked") m_list.Click();
        if (during == "there") StartService();
        if (during == "gone") KillService();
        if (GetParam().inside == Inside::TheLoop) return m_bus.RunFor(Milliseconds(5000));
        try {
            m_model->Synchronize();
        } catch (const RemoteError&) {
            // The service or the model is gone: other tests are about what is thrown then.
        }
        m_bus.RunFor(Milliseconds(5000));
    }

    bool SecondWasTold() const {
        const Strings& told = m_second->m_told;
        return std::find(told.begin(), told.end(), GetParam().during) != told.end();
    }

    std::unique_ptr<Witness> m_second;
    std::unique_ptr<Witness> m_added;
    RemoteAppListItem m_item{"Written", "written"};
    std::string m_cause = "did not throw";
    bool m_done = false;
};

TEST_P(AListenerThatDoesMore, DoesNoHarm) {
    const Deed deed = GetParam().deed;
    StartTwoListeners();

    Cause();

    ASSERT_TRUE(m_done) << "never told of it";
    const bool silences = deed == Deed::RemovesTheNext || deed == Deed::DestroysTheModel;
    EXPECT_EQ(!silences, SecondWasTold());
    if (deed == Deed::AddsAnother) {
        EXPECT_EQ(0, std::count(m_added->m_told.begin(), m_added->m_told.end(), GetParam().during))
            << "one added now is not called now";
    }
    if (deed == Deed::Writes && m_service != nullptr) {
        EXPECT_NE(std::string::npos, ContentOf(m_list).find("Written/written"));
    }
    if (deed == Deed::Waits) {
        EXPECT_EQ("Failed", m_cause);
    }
    if (m_model && m_service) {
        EXPECT_EQ(ContentOf(m_list), Replica());
    }
    m_added.reset();
    m_second.reset();
}

std::vector<Reentry> EveryReentry() {
    std::vector<Reentry> all;
    for (const char* during : {"changed", "selected", "clicked", "there", "gone"}) {
        for (int deed = 0; deed <= static_cast<int>(Deed::DestroysTheModel); ++deed) {
            for (const Inside inside : {Inside::TheLoop, Inside::Synchronize}) {
                all.push_back({during, static_cast<Deed>(deed), inside});
            }
        }
    }
    return all;
}

INSTANTIATE_TEST_SUITE_P(FromInsideItsCall, AListenerThatDoesMore,
                         ::testing::ValuesIn(EveryReentry()), ::testing::PrintToStringParamName());

// A service that goes is told in up to three calls; each may be the last.
TEST_F(AListenerOfARemoteModel, MayDestroyTheModelInAnyOfTheCallsThatTellThatTheServiceIsGone) {
    for (const std::string last : {"changed", "selected", "gone"}) {
        m_list.Add("Maps", "maps");
        m_list.Select("maps");
        StartBoth();
        Strings told;
        m_witness->m_onTold = [&](const std::string& what) {
            told.push_back(what);
            if (what != last) return;
            m_witness->Forget();
            m_model.reset();
        };

        KillService();
        m_bus.Run();

        EXPECT_FALSE(m_model) << "never told that it " << last;
        EXPECT_EQ(last, told.back()) << "told more than its last call";
        m_witness.reset();
        m_list.RemoveAllItems();
    }
}

// Two replies that are there at once are told one after the other, so that nobody is told of a
// change that it has seen already.
TEST_F(AListenerOfARemoteModel, IsToldOfOneChangeAfterTheOtherAlsoWhenItWritesInBetween) {
    StartBoth();
    Witness second(*m_model);
    RemoteAppListItem item("Written", "written");
    Strings order;
    int told = 0;
    m_witness->m_onTold = [&](const std::string&) {
        order.push_back("first sees " + Replica());
        if (++told == 1) m_model->AddItemAtEnd(&item);
    };
    second.m_onTold = [&](const std::string&) { order.push_back("second sees " + Replica()); };

    m_list.Add("Maps", "maps");
    m_bus.RunFor(Milliseconds(2000));

    EXPECT_EQ((Strings{"first sees Maps/maps ()", "second sees Maps/maps ()",
                       "first sees Maps/maps Written/written ()",
                       "second sees Maps/maps Written/written ()"}),
              order);
}

// Needs no memory itself.
class AServiceListenerWithoutMemory : public PairTest, public ServiceListener {
protected:
    void ServiceChanged(RemoteAppListModel* model) override { m_isThere = model->IsServiceThere(); }

    // Returns whether the `nth` allocation, counted from the service's being there, was made. It
    // may have been the bus's, which then throws.
    bool FailOne(std::size_t nth) {
        StartService();
        const recording::FailingAllocation outOfMemory(nth);
        try {
            m_bus.Run();
        } catch (const std::bad_alloc&) {
        }
        return outOfMemory.HasFailed();
    }

    bool m_isThere = false;
};

TEST_F(AServiceListenerWithoutMemory, IsToldOfTheServiceWhicheverAllocationFails) {
    for (std::size_t nth = 1, failed = 1; failed != 0; ++nth) {
        m_isThere = false;
        m_model = std::make_unique<RemoteAppListModel>();
        m_model->AddServiceListener(this);
        failed = FailOne(nth) ? 1 : 0;

        EXPECT_EQ(m_model->IsServiceThere(), m_isThere) << "without allocation " << nth;

        m_model.reset();
        EndService();
        m_bus.Run();
    }
}
