// The open log. Its lines go to the journal, with their fields, when stderr is the journal, and to
// stderr otherwise, with control bytes made visible. A reader that stops reading never stops the
// program: lines are lost then, and the next one that can be written is preceded by their number.

#pragma once

namespace applist {

// Lines below `priority` (3 debug, 4 info, 6 error) cost a comparison from now on: they are neither
// formatted nor written. Without a call: 4.
void SetMinimumLogPriority(int priority);

}  // namespace applist
