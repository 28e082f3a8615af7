// SPDX-License-Identifier: MIT

// The comparison that the item text is held to.

#pragma once

namespace bench {

// Reads and writes with the item's stream operators and by hand, in turns, and prints the ratios.
void PrintItemTextRatios();

}  // namespace bench
