// SPDX-License-Identifier: MIT

#include <string>

#include "support/RecordingAllocator.h"
#include "support/RecordingLog.h"
#include "support/RecordingService.h"

using recording::Allocations;
using recording::AllocationsSoFar;
using recording::Frame;
using recording::QuietRecordingLog;
using recording::RecordingService;
using recording::Text;
using std::string;

namespace {

const std::size_t kHugeId = 1 << 20;

}  // namespace

// A registry of ids too long to live inside their strings: whoever copies one allocates.
class TheCostOfASearch : public RecordingService {
protected:
    void Hold(int items) {
        const QuietRecordingLog quiet;
        string payload;
        for (; items != 0; --items) payload += Text("", string(1000, 'i') + std::to_string(items));
        Call(APPLIST_ADD_ITEMS_FNC, payload);
    }

    static Allocations CostOf(int function, const string& payload) {
        const QuietRecordingLog quiet;
        std::vector<char> message = Frame(payload, function);
        const Allocations before = AllocationsSoFar();
        TesselDbusLocal::Newest()->HandleMessage(message);
        const Allocations after = AllocationsSoFar();
        return {after.blocks - before.blocks, after.bytes - before.bytes};
    }
};

TEST_F(TheCostOfASearch, DoesNotGrowWithTheRegistry) {
    const string absent = Text("", string(1000, 'i') + "absent");
    Hold(10);
    const Allocations few = CostOf(APPLIST_REMOVE_ITEM_FNC, absent);
    Hold(300);
    const Allocations many = CostOf(APPLIST_REMOVE_ITEM_FNC, absent);

    EXPECT_EQ(few.blocks, many.blocks);
    EXPECT_EQ(few.bytes, many.bytes);
}

TEST_F(TheCostOfASearch, IsOneCopyOfAHugeId) {
    Hold(300);

    const Allocations cost = CostOf(APPLIST_REMOVE_ITEM_FNC, Text("", string(kHugeId, 'h')));

    EXPECT_LE(cost.bytes, kHugeId + 4096);
}

TEST_F(TheCostOfASearch, IsOneCopyOfEachHugeStringOfAModification) {
    Hold(300);
    const string huge = Text(string(kHugeId, 'n'), string(kHugeId, 'h'));

    const Allocations cost = CostOf(APPLIST_MODIFY_ITEM_FNC, huge + huge);

    EXPECT_LE(cost.bytes, 4 * kHugeId + 4096);
}
