// SPDX-License-Identifier: MIT

// What a call costs at its peak, above what is kept of it. A request costs three times its size at
// most: the transport's message, the buffer that the service is handed, and one copy. A reply costs
// twice its size: what it is made of, or the transport's message, and itself.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "applist/LocalAppListModel.h"
#include "common/AppListRemoteControl.h"
#include "ipc/TesselDbusLocal.h"
#include "support/PlainModel.h"
#include "support/RecordingAllocator.h"
#include "support/RecordingLog.h"
#include "support/RecordingService.h"

using recording::BytesInUse;
using recording::Frame;
using recording::PeakOfHeap;
using recording::PlainModel;
using recording::QuietRecordingLog;
using recording::Text;
using std::string;

namespace {

const std::size_t kHuge = 1 << 20;
const string kHugeText(kHuge, 'h');

// For the objects themselves, and for pieces of a fixed size.
const std::size_t kConstant = 80 << 10;

string EscapedText(std::size_t size) {
    string text;
    while (text.size() < size) text += "\\\\";
    return text;
}

string ManyItems() {
    string text;
    for (int item = 10000; item < 30000; ++item) {
        text += Text("A name of usual length", "org.example.item." + std::to_string(item));
    }
    return text;
}

}  // namespace

class TheMemory : public ::testing::Test {
protected:
    TheMemory() {
        recording::ForgetWatched();
        recording::ObserveDeletes(nullptr, nullptr);
        m_model.m_watches = false;
        m_service = std::make_unique<LocalAppListModel>(&m_model);
    }

    // Returns the peak, above what was there before and what is there after.
    static std::size_t PeakOf(int function, const string& payload) {
        std::vector<char> message = Frame(payload, function);
        const std::size_t before = BytesInUse();
        const PeakOfHeap peak;
        TesselDbusLocal::Newest()->HandleMessage(message);
        const std::size_t kept = BytesInUse() - before;
        return peak.Bytes() - kept;
    }

    static void Do(int function, const string& payload) { PeakOf(function, payload); }

    struct Reply {
        std::size_t peak;  // the reply itself included
        std::size_t size;
        std::size_t capacity;
    };

    static Reply ReplyOf(int function) {
        std::vector<char> message = Frame("", function);
        const PeakOfHeap peak;
        const std::vector<char> reply = TesselDbusLocal::Newest()->HandleMessage(message);
        return {peak.Bytes(), reply.size(), reply.capacity()};
    }

    static void ExpectTwiceItsSize(const Reply& reply) {
        EXPECT_LE(reply.peak, 2 * reply.size + kConstant) << "a reply of " << reply.size;
        EXPECT_LE(reply.capacity, reply.size + kConstant);
    }

    const QuietRecordingLog m_quiet;
    PlainModel m_model;
    std::unique_ptr<LocalAppListModel> m_service;
};

TEST_F(TheMemory, OfASelectionIsOneCopyOfTheRequest) {
    EXPECT_LE(PeakOf(APPLIST_SET_SELECTION_FNC, Text(kHugeText, "id")), kHuge + kConstant);
}

TEST_F(TheMemory, OfAnItemIsWhatIsKeptOfIt) {
    EXPECT_LE(PeakOf(APPLIST_ADD_ITEM_AT_END_FNC, Text(kHugeText, kHugeText)), kConstant);
}

TEST_F(TheMemory, OfABatchIsWhatIsKeptOfItAndAFewPointers) {
    EXPECT_LE(PeakOf(APPLIST_ADD_ITEMS_FNC, Text(kHugeText, "a") + Text(kHugeText, "b")),
              kConstant);
    const string many = ManyItems();
    EXPECT_LE(PeakOf(APPLIST_ADD_ITEMS_FNC, many), many.size() / 4);
}

TEST_F(TheMemory, ThatIsKeptOfAnItemIsThatOfItsStringsAndNotOfTheirText) {
    const string escaped = EscapedText(kHuge);
    const std::size_t before = BytesInUse();

    Do(APPLIST_ADD_ITEM_AT_END_FNC, Text(escaped, escaped));
    Do(APPLIST_ADD_ITEMS_FNC, Text(escaped, escaped));

    EXPECT_LE(BytesInUse() - before, 2 * kHuge + kConstant);
}

TEST_F(TheMemory, OfARemovalIsOneCopyOfTheRequest) {
    EXPECT_LE(PeakOf(APPLIST_REMOVE_ITEM_FNC, Text(kHugeText, kHugeText)), 2 * kHuge + kConstant);
}

// Its log line shows the stored item, but nobody asks the item for a copy.
TEST_F(TheMemory, OfARemovalIsNoMoreWhenTheItemIsThere) {
    Do(APPLIST_ADD_ITEM_AT_END_FNC, Text("", kHugeText));
    std::vector<char> message = Frame(Text("", kHugeText), APPLIST_REMOVE_ITEM_FNC);
    const PeakOfHeap peak;

    TesselDbusLocal::Newest()->HandleMessage(message);

    EXPECT_EQ(0, m_model.GetItemsCount());
    EXPECT_LE(peak.Bytes(), kHuge + kConstant);
}

TEST_F(TheMemory, OfAModificationIsOneCopyOfTheRequest) {
    Do(APPLIST_ADD_ITEM_AT_END_FNC, Text("", "a"));
    const string request = Text(kHugeText, "a") + Text(kHugeText, "b");

    EXPECT_LE(PeakOf(APPLIST_MODIFY_ITEM_FNC, request), request.size() + kConstant);
}

TEST_F(TheMemory, OfARequestThatIsNoItemIsNothing) {
    for (const string& text : {string(kHuge, '\n'), string(kHuge, '\t'), "x\n" + kHugeText}) {
        EXPECT_LE(PeakOf(APPLIST_ADD_ITEMS_FNC, text), kConstant);
        EXPECT_LE(PeakOf(APPLIST_ADD_ITEM_AT_END_FNC, text), kConstant);
    }
}

TEST_F(TheMemory, OfTheReplyWithTheSelectionIsTwiceItsSize) {
    m_model.Own(kHugeText, kHugeText);
    Do(APPLIST_SET_SELECTION_FNC, Text("", kHugeText));

    ExpectTwiceItsSize(ReplyOf(APPLIST_GET_SELECTION_FNC));
}

TEST_F(TheMemory, OfTheReplyWithTheListIsTwiceItsSize) {
    Do(APPLIST_ADD_ITEMS_FNC, ManyItems());
    ExpectTwiceItsSize(ReplyOf(APPLIST_GET_ALL_ITEMS_FNC));
}

TEST_F(TheMemory, OfTheReplyWithAListOfHugeItemsIsTwiceItsSize) {
    for (const char* id : {"a", "b", "c"}) {
        m_model.Own(kHugeText, id);
        ExpectTwiceItsSize(ReplyOf(APPLIST_GET_ALL_ITEMS_FNC));
    }
    m_model.Own(string(kHuge, '\\'), "d");
    ExpectTwiceItsSize(ReplyOf(APPLIST_GET_ALL_ITEMS_FNC));
}
