// SPDX-License-Identifier: MIT

// Publishes three applications until it is told to stop.

#include <systemd/sd-event.h>

#include <exception>
#include <iostream>

#include "FixedList.h"
#include "applist/LocalAppListModel.h"

int main() try {
    sd_event* loop = nullptr;
    sd_event_default(&loop);
    sd_event_set_signal_exit(loop, 1);  // SIGTERM and SIGINT end the loop

    FixedList list{{"Maps", "maps"}, {"Music", "music"}, {"Phone", "phone"}};
    LocalAppListModel service(&list);
    const int status = sd_event_loop(loop);
    sd_event_unref(loop);
    return status;
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
