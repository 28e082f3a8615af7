// SPDX-License-Identifier: MIT

// Each function of the service with each of its allocations failing in turn: alone, with the one
// after it, and with all that come after it. The list is as it was, and the caller is told; or all
// of it has happened, its event included.

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "applist/LocalAppListModel.h"
#include "common/AppListRemoteControl.h"
#include "ipc/TesselDbusLocal.h"
#include "support/PlainModel.h"
#include "support/RecordingAllocator.h"
#include "support/RecordingInside.h"
#include "support/RecordingJournal.h"
#include "support/RecordingLog.h"
#include "support/RecordingService.h"

using recording::BytesInUse;
using recording::FailingAllocation;
using recording::Frame;
using recording::Journal;
using recording::PlainModel;
using recording::QuietRecordingLog;
using recording::Text;
using std::string;

namespace {

const string kLong(40, 'x');  // too long to live inside a string

struct RemoteCall {
    const char* name;
    int id;
    string payload;
};

// How many allocations fail from the n-th on.
struct Shortage {
    const char* name;
    std::size_t failures;
};

void PrintTo(const RemoteCall& call, std::ostream* out) {
    *out << call.name;
}

void PrintTo(const Shortage& shortage, std::ostream* out) {
    *out << shortage.name;
}

const RemoteCall kCalls[] = {
    {"SetSelection", APPLIST_SET_SELECTION_FNC, Text("", kLong + "b")},
    {"GetSelection", APPLIST_GET_SELECTION_FNC, ""},
    {"GetAllItems", APPLIST_GET_ALL_ITEMS_FNC, ""},
    {"RemoveAllItems", APPLIST_REMOVE_ALL_ITEMS_FNC, ""},
    {"AddItems", APPLIST_ADD_ITEMS_FNC,
     Text(kLong, kLong + "own") + Text(kLong + "\\n", kLong + "\\t") + Text("", "")},
    {"AddItemAtEnd", APPLIST_ADD_ITEM_AT_END_FNC, Text(kLong, kLong + "own")},
    {"AddOfNoItem", APPLIST_ADD_ITEM_AT_END_FNC, "no item"},
    {"SetClicked", APPLIST_SET_CLICKED_FNC, Text(kLong, kLong)},
    {"RemoveItem", APPLIST_REMOVE_ITEM_FNC, Text("", kLong + "b")},
    {"ModifyItem", APPLIST_MODIFY_ITEM_FNC, Text("", kLong + "b") + Text(kLong, kLong + "own")},
    {"ModifyItemToATakenId", APPLIST_MODIFY_ITEM_FNC,
     Text("", kLong + "b") + Text(kLong, kLong + "c")},
};

const Shortage kShortages[] = {{"OneAllocation", 1}, {"TwoInARow", 2}, {"AllFromThere", 1u << 30}};

// The service around a list of one item of the application's and three of the partner's, the
// second of which is selected. Another with the application's id shall never be reached for it.
class World {
public:
    World() {
        Journal::Get().Restart();
        recording::ForgetWatched();
        recording::ObserveDeletes(nullptr, nullptr);
        m_model.Own(kLong, kLong + "own");
        m_service = std::make_unique<LocalAppListModel>(&m_model);
        Call(APPLIST_ADD_ITEMS_FNC, Text(kLong, kLong + "a") + Text(kLong, kLong + "b"));
        Call(APPLIST_ADD_ITEM_AT_END_FNC, Text(kLong, kLong + "c"));
        Call(APPLIST_SET_SELECTION_FNC, Text("", kLong + "b"));
        Journal::Get().Take();
    }
    ~World() {
        m_service.reset();
        EXPECT_EQ(0u, recording::WatchedCount()) << "items that the list was given were not freed";
        Journal::Get().Restart();
    }
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    static string Call(int id, const string& payload) {
        std::vector<char> message = Frame(payload, id);
        const std::vector<char> reply = TesselDbusLocal::Newest()->HandleMessage(message);
        return string(reply.begin(), reply.end());
    }

    // The received items of list and service, each in its order.
    std::vector<const AppListItem*> Listed() const { return m_model.Received(); }
    std::vector<const AppListItem*> Registered() {
        const std::vector<RemoteAppListItem*>& registry = recording::RegistryOf(*m_service);
        return std::vector<const AppListItem*>(registry.begin(), registry.end());
    }

    const QuietRecordingLog m_quiet;
    PlainModel m_model;
    std::unique_ptr<LocalAppListModel> m_service;
};

struct Outcome {
    bool isShort;  // of memory; false: the call made fewer allocations
    bool isTold;   // to the transport, by an exception
    string reply;
    string list;
    string events;
};

}  // namespace

class ACallThatRunsOutOfMemory : public ::testing::TestWithParam<std::tuple<RemoteCall, Shortage>> {
protected:
    // The n-th allocation fails; none does for 0.
    static Outcome CallWithout(std::size_t nth) {
        const RemoteCall& call = std::get<0>(GetParam());
        World world;
        std::vector<char> message = Frame(call.payload, call.id);
        Outcome outcome = Deliver(message, nth);
        World::Call(APPLIST_SET_CLICKED_FNC, "");  // there is memory again
        outcome.list = world.m_model.Content();
        outcome.events = Journal::Get().Take();
        EXPECT_EQ(world.Listed(), world.Registered()) << "allocation " << nth;
        return outcome;
    }

private:
    static Outcome Deliver(std::vector<char>& message, std::size_t nth) {
        const FailingAllocation shortage(nth, std::get<1>(GetParam()).failures);
        try {
            const std::vector<char> reply = TesselDbusLocal::Newest()->HandleMessage(message);
            const bool isShort = shortage.HasFailed();
            const recording::ExemptFromFailing exempt;
            return {isShort, false, string(reply.begin(), reply.end()), "", ""};
        } catch (const std::bad_alloc&) {
            return {true, true, "", "", ""};
        }
    }
};

TEST_P(ACallThatRunsOutOfMemory, IsExecutedWithItsEventOrNotAtAll) {
    const Outcome whole = CallWithout(0);
    const string untouched = World().m_model.Content();
    std::size_t nth = 1;
    for (Outcome outcome = CallWithout(nth); outcome.isShort; outcome = CallWithout(++nth)) {
        EXPECT_EQ(outcome.isTold ? "" : whole.reply, outcome.reply) << "allocation " << nth;
        EXPECT_EQ(outcome.isTold ? untouched : whole.list, outcome.list) << "allocation " << nth;
        EXPECT_EQ(outcome.isTold ? "" : whole.events, outcome.events) << "allocation " << nth;
        ASSERT_LT(nth, 1000u);
    }
}

TEST_P(ACallThatRunsOutOfMemory, LeaksNothing) {
    CallWithout(0);  // what is made once is made
    bool isShort = true;
    for (std::size_t nth = 1; isShort; ++nth) {
        const std::size_t before = BytesInUse();
        isShort = CallWithout(nth).isShort;
        EXPECT_EQ(before, BytesInUse()) << "allocation " << nth;
    }
}

INSTANTIATE_TEST_SUITE_P(Of, ACallThatRunsOutOfMemory,
                         ::testing::Combine(::testing::ValuesIn(kCalls),
                                            ::testing::ValuesIn(kShortages)),
                         [](const auto& test) {
                             return string(std::get<0>(test.param).name) + "Without" +
                                    std::get<1>(test.param).name;
                         });

class AnEventWithoutMemory : public ::testing::Test {
protected:
    // Plays the application, or the transport, while there is no memory at all.
    template <class Act>
    static string EventsOf(Act act) {
        const FailingAllocation outOfMemory(1, 1u << 30);
        act();
        const recording::ExemptFromFailing exempt;
        return Journal::Get().Take();
    }

    World m_world;
};

TEST_F(AnEventWithoutMemory, OfSelectionIsSent) {
    EXPECT_EQ("send 02 00 00 00\n", EventsOf([this] {
                  static_cast<ItemSelectionListener&>(*m_world.m_service).ItemSelected(nullptr);
              }));
}

TEST_F(AnEventWithoutMemory, OfChangeIsSentHoweverOftenThereIsOne) {
    EXPECT_EQ("send 01 00 00 00\nsend 01 00 00 00\n", EventsOf([this] {
                  ItemChangeListener& listener = *m_world.m_service;
                  listener.ItemChanged(nullptr);
                  listener.ItemChanged(nullptr);
              }));
}

TEST_F(AnEventWithoutMemory, OfAClickIsSent) {
    EXPECT_EQ("send 03 00 00 00\n", EventsOf([this] { m_world.m_model.SetClicked(nullptr); }));
}

TEST_F(AnEventWithoutMemory, OfConnectionIsSent) {
    EXPECT_EQ("send 04 00 00 00 to :1.7\n",
              EventsOf([] { TesselDbusLocal::Newest()->HandleConnectionReady(true, ":1.7"); }));
}

// A list that throws when its change is made already: the items that it has taken stay alive and
// in the partner's reach, the others are freed.
class AListThatFailsTooLate : public ::testing::Test {
protected:
    AListThatFailsTooLate() { m_world.m_model.m_failsTooLate = true; }

    void ExpectAgreementAfter(int function, const string& payload) {
        EXPECT_THROW(World::Call(function, payload), std::bad_alloc);
        EXPECT_EQ(m_world.Listed(), m_world.Registered());
    }

    World m_world;
};

TEST_F(AListThatFailsTooLate, AgreesWithTheServiceOnAnItem) {
    ExpectAgreementAfter(APPLIST_ADD_ITEM_AT_END_FNC, Text("A", "new"));
    EXPECT_EQ(4u, m_world.Listed().size());
}

TEST_F(AListThatFailsTooLate, AgreesWithTheServiceOnABatch) {
    ExpectAgreementAfter(APPLIST_ADD_ITEMS_FNC, Text("A", "new") + Text("B", "newer"));
    EXPECT_EQ(5u, m_world.Listed().size());
}

TEST_F(AListThatFailsTooLate, AgreesWithTheServiceOnAReplacement) {
    ExpectAgreementAfter(APPLIST_MODIFY_ITEM_FNC, Text("", kLong + "b") + Text("A", "new"));
    EXPECT_EQ(3u, m_world.Listed().size());
}
