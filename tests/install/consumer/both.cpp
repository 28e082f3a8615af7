// SPDX-License-Identifier: MIT

// A service and a partner in one program, which chooses the bus once for both, and whose log is its
// own.

#include <systemd/sd-event.h>

#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "FixedList.h"
#include "applist/LocalAppListModel.h"
#include "bus/BusSelection.h"
#include "partner/RemoteAppListModel.h"
#include "platform/PlatformLog.h"

namespace {

int linesLogged = 0;

}  // namespace

int PlatformLogPrint(int, int, const char*, const char* format, ...) {
    ++linesLogged;
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vfprintf(stderr, format, arguments);
    va_end(arguments);
    return length;
}

int main(int, char** arguments) try {
    applist::SelectBusAddress(arguments[1]);

    FixedList list{{"Maps", "maps"}, {"Music", "music"}};
    LocalAppListModel service(&list);
    applist::RemoteAppListModel partner;
    sd_event* loop = nullptr;
    sd_event_default(&loop);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (partner.GetItemsCount() != 2 && std::chrono::steady_clock::now() < deadline) {
        sd_event_run(loop, 100000);
    }
    sd_event_unref(loop);
    std::printf("%d items, %s\n", partner.GetItemsCount(),
                linesLogged > 0 ? "and a log of its own" : "nothing logged");
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return EXIT_FAILURE;
}
