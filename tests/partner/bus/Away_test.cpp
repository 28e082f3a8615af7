// SPDX-License-Identifier: MIT

// A partner that does not look at its loop for longer than its calls may take, as when it is busy,
// stopped or suspended, while its bus goes away. Whatever it sends when it looks again meets a dead
// connection, in the middle of what the bus library tells it of its overdue calls.

#include <poll.h>

#include <chrono>

#include "partner/bus/HostileService.h"
#include "partner/bus/PartnerBusTest.h"
#include "support/LibraryTimeout.h"

class APartnerThatIsAway : public PartnerBusTest {
protected:
    static constexpr milliseconds kTimeout{100};

    // Is away for longer than any call may take, and finds its bus gone.
    void BeAwayWhileTheBusGoes() const {
        m_bus->Kill();
        ASSERT_EQ(0, poll(nullptr, 0, static_cast<int>(2 * kTimeout.count())));
    }

    // The service that stood while the bus went is gone with it; another one appears.
    void ExpectThatItComesBack() {
        m_service.reset();
        m_bus->Start();
        StartService();
        EXPECT_TRUE(Shows(m_service->Ask("add maps"), kBack)) << WholeLog();
    }
};

ON_BOTH_BUSES(APartnerThatIsAway);

// Its own clock ends the call, and it asks whether the service is still there.
TEST_P(APartnerThatIsAway, LivesWithACallUnderWay) {
    StartService();
    StartPartner();
    ASSERT_TRUE(Shows(m_service->Ask("add maps"), kBack));
    m_model->SetTimeout(kTimeout);
    m_service->Stop();
    RemoteAppListItem item("Name of maps", "maps");
    m_model->SetSelection(&item);

    BeAwayWhileTheBusGoes();

    ExpectThatItComesBack();
}

// The library's clock ends the other calls: it tells each callback so, and the callback asks again.
TEST_P(APartnerThatIsAway, LivesWithoutAnAnswerToItsConnect) {
    const LibraryTimeout timeout(kTimeout);
    HostileService silent(m_bus->Address());
    silent.m_answerConnect = [](sd_bus_message*) { return 0; };
    StartPartner();
    ASSERT_TRUE(RunUntil([&] { return silent.CountOf("Connect") == 1; }));

    BeAwayWhileTheBusGoes();

    ExpectThatItComesBack();
}

TEST_P(APartnerThatIsAway, LivesWithoutAnAnswerToWhoTheServiceIs) {
    const LibraryTimeout timeout(kTimeout);
    StartService();
    StartPartner();

    BeAwayWhileTheBusGoes();

    ExpectThatItComesBack();
}
