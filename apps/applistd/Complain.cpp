// SPDX-License-Identifier: MIT

#include "apps/applistd/Complain.h"

#include <unistd.h>

#include "apps/common/TellJournal.h"
#include "common/PrintableText.h"
#include "platform/WithoutWaiting.h"

namespace applist::daemon {

void Complain(const std::string& text) {
    if (TellJournal(text)) return;
    WriteWithoutWaiting(STDERR_FILENO, "applistd: " + PrintableText(text) + '\n');
}

}  // namespace applist::daemon
