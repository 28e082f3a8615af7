// SPDX-License-Identifier: MIT

#include "apps/common/TellJournal.h"

#include "common/AppListLog.h"
#include "common/PrintableText.h"
#include "platform/LogSinks.h"

namespace applist {

// Past the log, which may have been told to write no errors either.
bool TellJournal(const std::string& text) {
    if (!LogGoesToTheJournal()) return false;
    const LogLine line = {logging::kError, "applist", text, logging::BaseName(__FILE__),
                          __func__,        __LINE__};
    return WriteLogLine(line, PrintableText(text)) >= 0;
}

}  // namespace applist
