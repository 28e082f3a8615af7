// SPDX-License-Identifier: MIT

// The comparison that the reply with all items is held to.

#pragma once

namespace bench {

// Makes the reply to function 2002 in the dispatcher and its text by hand, in turns, and prints the
// ratios.
void PrintDispatcherRatios();

}  // namespace bench
