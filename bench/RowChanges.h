// SPDX-License-Identifier: MIT

// The comparison that finding the rows' changes is held to.

#pragma once

namespace bench {

// Finds what changed between two lists, and only whether something did, in turns, and prints the
// ratios.
void PrintRowChangesRatios();

}  // namespace bench
