// SPDX-License-Identifier: MIT

#include "partner/PairTest.h"
#include "partner/Replica.h"

using applist::RemoteError;
using applist::Replica;

// What a test has the service answer, and when.
class ScriptedService : public TesselDbusLocal {
public:
    ScriptedService() : TesselDbusLocal("Applist") {}

    std::vector<char> HandleMessage(std::vector<char>& data) override {
        const int id = pair::Bus::Get().m_executed.back();
        if (id == m_throwsAt) throw std::runtime_error("no");
        data.resize(data.size() - 4);
        if (id == 2002) return Bytes(m_list);
        if (id == 2001) return Bytes(m_selection);
        return {};
    }
    void HandleNotification(std::vector<char>&) override {}
    void HandleConnectionReady(bool, const std::string&) override {}

    // Tells the partners that the list has changed.
    void TellOfChange() {
        std::vector<char> body{1, 0, 0, 0};
        SendNotification(body);
    }

    std::string m_list = "Maps\tmaps\n";
    std::string m_selection = "Maps\tmaps\n";
    int m_throwsAt = 0;

private:
    static std::vector<char> Bytes(const std::string& text) { return {text.begin(), text.end()}; }
};

class Synchronizing : public PairTest {
protected:
    void Write() { m_model->AddItemAtEnd(&m_item); }

    std::string TextOfSynchronize() {
        try {
            m_model->Synchronize();
            return "";
        } catch (const RemoteError& error) {
            return error.what();
        }
    }

    // The service dies when it is asked for the list.
    void KillServiceAtTheNextFetch() {
        m_bus.m_faults.beforeStep = [this] {
            if (m_bus.CountOf(2002) > 0 && m_service) KillService();
        };
    }

    RemoteAppListItem m_item{"Maps", "maps"};
};

TEST_F(Synchronizing, ReturnsWhenTheWritesWereExecutedAndTheReplicaShowsThem) {
    StartBoth();

    Write();
    m_model->SetSelection(&m_item);
    m_model->Synchronize();

    EXPECT_EQ("Maps/maps (maps)", ContentOf(m_list));
    EXPECT_EQ("Maps/maps (maps)", Replica());
    EXPECT_EQ((Strings{"changed", "selected"}), m_witness->Take());
}

TEST_F(Synchronizing, TakesNoTimeWhenTheServiceAnswers) {
    StartBoth();
    const Milliseconds before = m_bus.Now();

    Write();
    m_model->Synchronize();

    EXPECT_EQ(before, m_bus.Now());
}

TEST_F(Synchronizing, WorksRightAfterTheModelWasBuilt) {
    StartService();
    StartPartner();

    Write();
    m_model->Synchronize();

    EXPECT_EQ("Maps/maps ()", Replica());
}

// After a restart a partner draws a time to wait before it reads; who waits for it does not.
TEST_F(Synchronizing, TakesNoTimeAfterARestart) {
    m_list.Add("Radio", "radio");
    StartBoth();
    for (int count = 0; count < 50; ++count) {
        EndService();
        StartService();
        m_bus.Run();
        const Milliseconds before = m_bus.Now();
        m_model->Synchronize();
        EXPECT_EQ("Radio/radio ()", Replica());
        EXPECT_EQ(before, m_bus.Now());
    }
}

TEST_F(Synchronizing, TakesNoTimeInABurst) {
    StartBoth();
    for (int count = 0; count < 10; ++count) {
        m_list.TellOfNothing();
        m_bus.Run();
    }
    const Milliseconds before = m_bus.Now();

    Write();
    m_model->Synchronize();

    EXPECT_EQ("Maps/maps ()", Replica());
    EXPECT_EQ(before, m_bus.Now());
}

TEST_F(Synchronizing, DoesNotMakeTheListenersHearAnythingTwice) {
    StartBoth();

    Write();
    m_model->Synchronize();
    m_bus.RunFor(Milliseconds(5000));

    EXPECT_EQ(Strings{"changed"}, m_witness->Take());
}

TEST_F(Synchronizing, ThrowsNoServiceWhenThereIsNone) {
    StartPartner();
    m_bus.Run();

    Write();

    EXPECT_EQ("NoService", CauseOfSynchronize());
    EXPECT_EQ("NoService", CauseOfSynchronize()) << "also without a write";
}

TEST_F(Synchronizing, WaitsForTheNewsThatThereIsNoService) {
    StartPartner();

    Write();

    EXPECT_EQ("NoService", CauseOfSynchronize());
}

TEST_F(Synchronizing, ThrowsRefusedWhenThePolicyRefuses) {
    m_bus.m_faults.refuses = true;
    StartService();
    StartPartner();
    m_bus.Run();

    Write();

    EXPECT_EQ("Refused", CauseOfSynchronize());
}

TEST_F(Synchronizing, ThrowsTimedOutWhenTheServiceStandsForTheWholeTimeout) {
    StartBoth();
    m_bus.m_faults.serviceStands = true;
    const Milliseconds before = m_bus.Now();

    Write();

    EXPECT_EQ("TimedOut", CauseOfSynchronize());
    EXPECT_EQ(Milliseconds(5000), m_bus.Now() - before);
}

TEST_F(Synchronizing, TakesTheTimeoutThatWasSet) {
    StartBoth();
    m_bus.m_faults.serviceStands = true;
    m_model->SetTimeout(Milliseconds(70));
    const Milliseconds before = m_bus.Now();

    EXPECT_EQ("TimedOut", CauseOfSynchronize());
    EXPECT_EQ(Milliseconds(70), m_bus.Now() - before);
}

TEST_F(Synchronizing, KeepsTheReplicaWhenTheServiceStands) {
    m_list.Add("Radio", "radio");
    StartBoth();
    m_bus.m_faults.serviceStands = true;

    EXPECT_EQ("TimedOut", CauseOfSynchronize());

    EXPECT_EQ("Radio/radio ()", Replica());
    EXPECT_TRUE(m_model->IsServiceThere());
    EXPECT_EQ(Strings{}, m_witness->Take());
}

TEST_F(Synchronizing, ThrowsOutcomeUnknownWhenTheServiceWentAwayWithAWriteUnderWay) {
    StartBoth();

    Write();
    KillService();

    EXPECT_EQ("OutcomeUnknown", CauseOfSynchronize());
}

TEST_F(Synchronizing, ThrowsOutcomeUnknownAlsoWhenTheServiceIsBackAlready) {
    StartBoth();

    Write();
    KillService();
    StartService();
    m_bus.RunFor(Milliseconds(2000));

    EXPECT_EQ("OutcomeUnknown", CauseOfSynchronize());
    EXPECT_EQ(0u, m_bus.CountOf(2005)) << "a write was sent a second time";
    EXPECT_EQ("", CauseOfSynchronize()) << "it is told once";
}

// Executed, but the reply is lost: sending it again would add a second item.
TEST_F(Synchronizing, NeverSendsAWriteAgainWhoseReplyWasLost) {
    StartBoth();
    Write();
    while (m_bus.CountOf(2005) == 0 && m_bus.Step()) continue;

    m_bus.LoseBus();
    m_bus.FindBus();
    m_bus.RunFor(Milliseconds(10000));

    EXPECT_EQ("OutcomeUnknown", CauseOfSynchronize());
    EXPECT_EQ(1u, m_bus.CountOf(2005));
    EXPECT_EQ("Maps/maps ()", Replica());
}

TEST_F(Synchronizing, ThrowsNoServiceWhenOnlyTheReadingWasUnderWay) {
    StartBoth();
    KillServiceAtTheNextFetch();

    EXPECT_EQ("NoService", CauseOfSynchronize());
}

TEST_F(Synchronizing, SaysThatTheWritesWereCarriedOutWhenOnlyTheReadingAfterThemFailed) {
    StartBoth();
    Write();
    m_bus.RunFor(Milliseconds(200));
    m_bus.m_executed.clear();
    KillServiceAtTheNextFetch();

    EXPECT_EQ(
        "Applist: the service went away after it had carried out the writes; wait until it is "
        "back, "
        "or start it",
        TextOfSynchronize());
}

TEST_F(Synchronizing, SaysNothingOfWritesThatThereWereNot) {
    StartBoth();
    Write();
    m_model->Synchronize();
    m_bus.m_executed.clear();

    m_bus.m_faults.serviceStands = true;
    EXPECT_EQ("Applist: no answer in time; try again, or allow more time", TextOfSynchronize());

    m_bus.m_faults.serviceStands = false;
    m_bus.Run();
    m_bus.m_executed.clear();
    KillServiceAtTheNextFetch();
    EXPECT_EQ("Applist: the service went away; wait until it is back, or start it",
              TextOfSynchronize());
}

TEST_F(Synchronizing, ThrowsTooMuchWhenTooMuchWaits) {
    StartService();
    StartPartner();

    FillQueue();
    Write();

    EXPECT_EQ("TooMuch", CauseOfSynchronize());
    m_bus.Run();
    EXPECT_EQ(0u, m_bus.CountOf(2005));
}

TEST_F(Synchronizing, TellsHowManyMoreWritesFailed) {
    StartPartner();
    m_bus.Run();

    for (int count = 0; count < 3; ++count) Write();

    try {
        m_model->Synchronize();
        FAIL() << "did not throw";
    } catch (const RemoteError& error) {
        EXPECT_NE(std::string::npos, std::string(error.what()).find("2 more writes"))
            << error.what();
    }
}

TEST_F(Synchronizing, TellsOfOneMoreWriteInTheSingular) {
    StartPartner();
    m_bus.Run();

    for (int count = 0; count < 2; ++count) Write();

    const std::string text = TextOfSynchronize();
    EXPECT_NE(std::string::npos, text.find("(and 1 more write failed)")) << text;
}

TEST_F(Synchronizing, NamesTheEndpointInEveryError) {
    StartPartner();
    m_bus.Run();

    try {
        m_model->Synchronize();
        FAIL() << "did not throw";
    } catch (const RemoteError& error) {
        EXPECT_EQ(0u, std::string(error.what()).find("Applist: ")) << error.what();
    }
}

TEST_F(Synchronizing, ForgetsAFailureThatItHasTold) {
    StartPartner();
    m_bus.Run();
    Write();
    EXPECT_EQ("NoService", CauseOfSynchronize());

    StartService();
    m_bus.RunFor(Milliseconds(1000));

    EXPECT_EQ("", CauseOfSynchronize());
}

// ---- What the service answers -------------------------------------------------------------------

class AServiceThatMisbehaves : public PairTest {
protected:
    AServiceThatMisbehaves() {
        StartPartner();
        m_bus.RunFor(Milliseconds(1000));
        EXPECT_EQ("Maps/maps (maps)", Replica());
        m_witness->Take();
        m_bus.m_executed.clear();
    }

    ~AServiceThatMisbehaves() override {
        m_witness.reset();
        m_model.reset();
    }

    // The last good replica stays, nobody is told anything, and the operator finds a line.
    void ExpectTheLastGoodReplica() {
        m_scripted.TellOfChange();
        m_bus.RunFor(Milliseconds(1000));
        EXPECT_EQ("Maps/maps (maps)", Replica());
        EXPECT_EQ(Strings{}, m_witness->Take());
        EXPECT_TRUE(m_model->IsServiceThere());
    }

    ScriptedService m_scripted;
};

TEST_F(AServiceThatMisbehaves, LeavesTheReplicaAloneWithTextThatIsNoItem) {
    m_scripted.m_list = "nonsense\n";
    ExpectTheLastGoodReplica();
    EXPECT_EQ(1u, ErrorsLogged("not a list of items")) << WholeLog();
    EXPECT_EQ("NotUnderstood", CauseOfSynchronize());
}

TEST_F(AServiceThatMisbehaves, LeavesTheReplicaAloneWithHalfAnItem) {
    m_scripted.m_list = "Maps\tmaps\nRadio\tra";
    ExpectTheLastGoodReplica();
    EXPECT_EQ("NotUnderstood", CauseOfSynchronize());
}

TEST_F(AServiceThatMisbehaves, LeavesTheReplicaAloneWithoutASelection) {
    m_scripted.m_selection = "";
    ExpectTheLastGoodReplica();
    EXPECT_EQ("NotUnderstood", CauseOfSynchronize());
}

TEST_F(AServiceThatMisbehaves, LeavesTheReplicaAloneWithTooManyItems) {
    m_scripted.m_list.clear();
    for (std::size_t count = 0; count <= Replica::kMaxItems; ++count) m_scripted.m_list += "\t\n";
    ExpectTheLastGoodReplica();
}

TEST_F(AServiceThatMisbehaves, LeavesTheReplicaAloneWithAnError) {
    m_scripted.m_throwsAt = 2002;
    ExpectTheLastGoodReplica();
    EXPECT_EQ("ServiceError", CauseOfSynchronize());
}

TEST_F(AServiceThatMisbehaves, LeavesTheReplicaAloneWithAnErrorInsteadOfTheSelection) {
    m_scripted.m_list = "Radio\tradio\n";
    m_scripted.m_throwsAt = 2001;
    ExpectTheLastGoodReplica();
}

TEST_F(AServiceThatMisbehaves, IsReportedOnceNotWithEveryAttempt) {
    m_scripted.m_list = "nonsense\n";
    m_scripted.TellOfChange();
    m_bus.RunFor(Milliseconds(60000));

    EXPECT_EQ(1u, ErrorsLogged("not a list of items")) << WholeLog();
}

TEST_F(AServiceThatMisbehaves, IsShownAgainSoonAfterItCameToItsSenses) {
    m_scripted.m_throwsAt = 2002;
    m_scripted.TellOfChange();
    m_bus.RunFor(Milliseconds(60000));

    m_scripted.m_throwsAt = 0;
    m_scripted.m_list = "Radio\tradio\n";
    m_scripted.m_selection = "Radio\tradio\n";
    m_bus.RunFor(Milliseconds(5000));

    EXPECT_EQ("Radio/radio (radio)", Replica());
    EXPECT_EQ((Strings{"changed", "selected"}), m_witness->Take());
}

// What the event told of had been put off until the end of a pause.
TEST_F(AServiceThatMisbehaves, IsReadAgainAfterAnEventWhenSynchronizeFailedToReadInItsStead) {
    m_scripted.m_list = "Radio\tradio\n";
    m_scripted.TellOfChange();
    m_bus.Run();
    ASSERT_EQ("Radio/radio (maps)", Replica());
    m_scripted.m_list = "Phone\tphone\n";
    m_scripted.TellOfChange();
    m_bus.Run();
    m_scripted.m_throwsAt = 2002;
    ASSERT_EQ("ServiceError", CauseOfSynchronize());

    m_scripted.m_throwsAt = 0;
    m_bus.RunFor(Milliseconds(5000));

    EXPECT_EQ("Phone/phone (maps)", Replica());
}

TEST_F(AServiceThatMisbehaves, IsAskedFourTimesInTheFirstSecondAndThenOnceASecond) {
    m_scripted.m_throwsAt = 2002;
    m_scripted.TellOfChange();
    m_bus.RunFor(Milliseconds(1000));
    EXPECT_EQ(4u, m_bus.CountOf(2002));

    m_bus.RunFor(Milliseconds(59000));
    EXPECT_LE(m_bus.CountOf(2002), 4u + 59u);
    EXPECT_GE(m_bus.CountOf(2002), 4u + 50u);
}

TEST_F(AServiceThatMisbehaves, IsReadAgainSoonAfterASingleFailure) {
    m_scripted.m_throwsAt = 2002;
    m_scripted.m_list = "Radio\tradio\n";
    m_scripted.TellOfChange();
    m_bus.Run();
    m_scripted.m_throwsAt = 0;

    m_bus.RunFor(Milliseconds(100));

    EXPECT_EQ("Radio/radio (maps)", Replica());
}

TEST_F(AServiceThatMisbehaves, LeavesTheReplicaAloneWithASelectionAloneThatIsNoItem) {
    m_scripted.m_selection = "nonsense\n";
    std::vector<char> event{2, 0, 0, 0};
    m_scripted.SendNotification(event);
    m_bus.RunFor(Milliseconds(1000));

    EXPECT_EQ("Maps/maps (maps)", Replica());
    EXPECT_EQ(1u, ErrorsLogged("not a list of items")) << WholeLog();
}

TEST_F(AServiceThatMisbehaves, MakesAFailingWriteKnown) {
    m_scripted.m_throwsAt = 2005;
    RemoteAppListItem item("Radio", "radio");

    m_model->AddItemAtEnd(&item);

    EXPECT_EQ("ServiceError", CauseOfSynchronize());
}
