// SPDX-License-Identifier: MIT

// What the open transport's declaration promises the channel. Nothing here builds one, so that no
// bus is needed: the channel calls these operations by slot and by overload.

#include "ipc/TesselDbusLocal.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/RecordingSlots.h"

using recording::SlotOf;
using recording::SlotsOf;
using std::string;
using Bytes = std::vector<char>;

static_assert(std::has_virtual_destructor<TesselDbusLocal>::value, "");
static_assert(!std::is_copy_constructible<TesselDbusLocal>::value, "an endpoint has one name");

static_assert(std::is_same<Bytes (TesselDbusLocal::*)(Bytes&),
                           decltype(&TesselDbusLocal::HandleMessage)>::value,
              "the buffer is the callee's to change");
static_assert(std::is_same<void (TesselDbusLocal::*)(Bytes&),
                           decltype(&TesselDbusLocal::HandleNotification)>::value,
              "the buffer is the callee's to change");
static_assert(std::is_same<void (TesselDbusLocal::*)(bool, const string&),
                           decltype(&TesselDbusLocal::HandleConnectionReady)>::value,
              "");

static_assert(std::is_void<decltype(std::declval<TesselDbusLocal&>().SendNotification(
                  std::declval<Bytes&>()))>::value,
              "no result is reported");
static_assert(std::is_void<decltype(std::declval<TesselDbusLocal&>().SendNotification(
                  std::declval<Bytes&>(), std::declval<const string&>()))>::value,
              "no result is reported");

TEST(TheSlotsOfTheOpenTransport, AreTheDestructorAndThenThreeEntryPoints) {
    EXPECT_EQ(2, SlotOf(&TesselDbusLocal::HandleMessage));
    EXPECT_EQ(3, SlotOf(&TesselDbusLocal::HandleNotification));
    EXPECT_EQ(4, SlotOf(&TesselDbusLocal::HandleConnectionReady));
    EXPECT_EQ(5, SlotsOf<TesselDbusLocal>());
}
