// SPDX-License-Identifier: MIT

// Publishes a list from a program that waits with poll: for the sd-event loop that the transport
// uses, and for a key. The key is a signal here: SIGUSR1 selects the next application.

#include <poll.h>
#include <sys/signalfd.h>
#include <systemd/sd-event.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <exception>
#include <iostream>
#include <system_error>
#include <vector>

#include "FixedList.h"
#include "applist/LocalAppListModel.h"

static int OpenKey() {
    sigset_t key;
    sigemptyset(&key);
    sigaddset(&key, SIGUSR1);
    sigprocmask(SIG_BLOCK, &key, nullptr);
    return signalfd(-1, &key, SFD_CLOEXEC | SFD_NONBLOCK);
}

static bool IsPressed(int key) {
    signalfd_siginfo pressed;
    return read(key, &pressed, sizeof(pressed)) == sizeof(pressed);
}

static void SelectNext(FixedList& list) {
    const std::vector<AppListItem*> items = list.GetAllItems();
    if (items.empty()) return;
    const auto selected = std::find(items.begin(), items.end(), list.GetSelection());
    list.SetSelection(selected + 1 < items.end() ? selected[1] : items.front());
}

// Runs all that is due. Returns 0, or less if the loop has ended or failed.
static int RunWhatIsDue(sd_event* loop) {
    int result = 1;
    while (result > 0) result = sd_event_run(loop, 0);
    return result;
}

int main() try {
    sd_event* loop = nullptr;
    sd_event_default(&loop);
    sd_event_set_signal_exit(loop, 1);  // SIGTERM and SIGINT end the loop
    const int key = OpenKey();

    FixedList list{{"Maps", "maps"}, {"Music", "music"}, {"Phone", "phone"}};
    LocalAppListModel service(&list);
    pollfd watched[] = {{sd_event_get_fd(loop), POLLIN, 0}, {key, POLLIN, 0}};
    int result = 0;
    while ((result = RunWhatIsDue(loop)) == 0) {
        poll(watched, 2, -1);
        if (IsPressed(key)) SelectNext(list);
    }
    sd_event_unref(loop);
    if (result != -ESTALE)
        throw std::system_error(-result, std::generic_category(), "the loop failed");
    return 0;  // ended by a signal
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
