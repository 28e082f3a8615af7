// SPDX-License-Identifier: MIT

#include "common/ListenerList.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "support/RecordingAllocator.h"

using applist::ListenerList;

namespace {

struct Listener {
    std::function<void()> onTold;
    int told = 0;
};

class AListOfListeners : public ::testing::Test {
protected:
    void TellAll() {
        m_list->ForEach([](Listener* listener) {
            ++listener->told;
            if (listener->onTold) listener->onTold();
        });
    }

    std::string Told() const {
        return std::to_string(m_first.told) + std::to_string(m_second.told) +
               std::to_string(m_third.told);
    }

    void AddAll() {
        for (Listener* listener : {&m_first, &m_second, &m_third}) m_list->Add(listener);
    }

    std::unique_ptr<ListenerList<Listener>> m_list = std::make_unique<ListenerList<Listener>>();
    Listener m_first;
    Listener m_second;
    Listener m_third;
};

}  // namespace

TEST_F(AListOfListeners, TellsEachOnceHoweverOftenItWasAdded) {
    AddAll();
    AddAll();

    TellAll();

    EXPECT_EQ("111", Told());
}

TEST_F(AListOfListeners, TellsNobodyWhoWasRemovedMeanwhile) {
    AddAll();
    m_first.onTold = [&] {
        m_list->Remove(&m_first);
        m_list->Remove(&m_second);
    };

    TellAll();
    TellAll();

    EXPECT_EQ("102", Told());
}

TEST_F(AListOfListeners, TellsWhoIsAddedMeanwhileTheNextTime) {
    m_list->Add(&m_first);
    m_first.onTold = [&] { m_list->Add(&m_second); };

    TellAll();
    EXPECT_EQ("100", Told());
    TellAll();

    EXPECT_EQ("210", Told());
}

TEST_F(AListOfListeners, MayBeToldOfSomethingElseMeanwhile) {
    AddAll();
    m_second.onTold = [&] {
        m_second.onTold = nullptr;
        m_list->Remove(&m_first);
        TellAll();
        m_list->Add(&m_first);
    };

    TellAll();
    EXPECT_EQ("122", Told());
    TellAll();

    EXPECT_EQ("233", Told());
}

TEST_F(AListOfListeners, TellsNobodyMoreOnceItIsGone) {
    AddAll();
    m_first.onTold = [&] { m_list.reset(); };

    TellAll();

    EXPECT_EQ("100", Told());
}

// What they are told may be that items go, which must not go untold.
TEST_F(AListOfListeners, NeedsNoMemoryToTell) {
    AddAll();
    m_first.onTold = [&] { m_list->Remove(&m_second); };

    const recording::FailingAllocation outOfMemory(1);
    TellAll();

    EXPECT_FALSE(outOfMemory.HasFailed());
    EXPECT_EQ(1, m_third.told);
}
