// SPDX-License-Identifier: MIT

// Shows the list that another process publishes, and every change to it, until it is told to stop.

#include <systemd/sd-event.h>

#include <exception>
#include <iostream>
#include <system_error>

#include "common/PrintableText.h"
#include "partner/RemoteAppListModel.h"

// Names are bytes that somebody else chose: on a terminal, show what could harm it as \xNN.
std::string NameOf(AppListItem* item) {
    return applist::PrintableText(item->GetVisibleName());
}

class Screen : public ItemChangeListener,
               public ItemSelectionListener,
               public applist::ServiceListener {
public:
    void ItemChanged(AppListModel* list) override {
        std::cout << "items:";
        for (AppListItem* item : list->GetAllItems()) std::cout << ' ' << NameOf(item);
        std::cout << std::endl;
    }
    void ItemSelected(AppListModel* list) override {
        std::cout << "selected: " << NameOf(list->GetSelection()) << std::endl;
    }
    void ServiceChanged(applist::RemoteAppListModel* list) override {
        std::cout << "service: " << (list->IsServiceThere() ? "there" : "gone") << std::endl;
    }
};

int main() try {
    sd_event* loop = nullptr;
    sd_event_default(&loop);
    sd_event_set_signal_exit(loop, 1);  // SIGTERM and SIGINT end the loop

    Screen screen;
    applist::RemoteAppListModel list;
    list.AddItemChangeListener(&screen);
    list.AddItemSelectionListener(&screen);
    list.AddServiceListener(&screen);
    const int status = sd_event_loop(loop);
    sd_event_unref(loop);
    if (status < 0) throw std::system_error(-status, std::generic_category(), "the loop failed");
    return status;
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
