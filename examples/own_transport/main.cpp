// SPDX-License-Identifier: MIT

// Publishes a list over the transport beside this file, with a log of its own. The service is
// compiled unchanged; nothing is linked but the standard library.

#include <cstdarg>
#include <cstdio>

#include "../FixedList.h"
#include "applist/LocalAppListModel.h"
#include "common/AppListLog.h"

// The log: here stderr, without debug lines.
int PlatformLogPrint(int, int priority, const char*, const char* format, ...) {
    if (priority < applist::logging::kInfo) return 0;
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vfprintf(stderr, format, arguments);
    va_end(arguments);
    return length;
}

int main() {
    FixedList list{{"Maps", "maps"}, {"Music", "music"}, {"Phone", "phone"}};
    LocalAppListModel service(&list);
    return TesselDbusLocal::Run() ? 0 : 1;
}
