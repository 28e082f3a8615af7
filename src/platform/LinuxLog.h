// SPDX-License-Identifier: MIT

// The open log. Its lines go to the journal, with their fields, when stderr is the journal, and to
// stderr otherwise, with control bytes made visible. The journal is told which program wrote them
// (SYSLOG_IDENTIFIER) and the tag that they were written with (TAG).
//
// Which lines: the errors, and in the journal also what an operator may want to see. APPLIST_LOG in
// the environment, set to debug, info or error, says otherwise; it is read at the first line.
//
// A reader that stops reading never stops the program: lines are lost then, and the next one that
// can be written is preceded by their number.
//
// Of a line that comes again and again the first is written. The others are counted, each second
// anew, and their number is told by a line such as "41 times more: LINE": before the next line of
// any kind once the second is over, and when the program exits. Up to 16 different lines may take
// turns; with more of them the oldest are forgotten, and written when they come again. The log has
// no timer: what is counted when a program falls silent is told late, and then with how long ago
// the last one was; what is counted when a program is killed is not told.

#pragma once

#include "common/Export.h"

namespace applist {

// Lines below `priority` (3 debug, 4 info, 6 error) cost a comparison from now on: they are neither
// formatted nor written. After a call the environment is not asked any more.
APPLIST_EXPORT void SetMinimumLogPriority(int priority);

}  // namespace applist
