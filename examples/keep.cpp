// SPDX-License-Identifier: MIT

// Keeps an item in the list that another process publishes: adds it each time that a service has
// come and the list does not have it, until it is told to stop.

#include <systemd/sd-event.h>

#include <exception>
#include <iostream>
#include <system_error>

#include "applist/RemoteAppListItem.h"
#include "partner/RemoteAppListModel.h"

class Keeper : public applist::ListReadListener, public applist::WriteListener {
public:
    void ListReadChanged(applist::RemoteAppListModel* list) override {
        if (list->IsListRead() && !IsIn(list)) list->AddItemAtEnd(&m_clock);
    }
    void WriteFailed(applist::RemoteAppListModel*, const applist::FailedWrite& write) override {
        std::cerr << write.Text() << '\n';
    }

private:
    bool IsIn(AppListModel* list) {
        for (AppListItem* item : list->GetAllItems()) {
            if (item->GetUnigueId() == m_clock.GetUnigueId()) return true;
        }
        return false;
    }

    RemoteAppListItem m_clock{"Clock", "clock"};
};

int main() try {
    sd_event* loop = nullptr;
    sd_event_default(&loop);
    sd_event_set_signal_exit(loop, 1);  // SIGTERM and SIGINT end the loop

    Keeper keeper;
    applist::RemoteAppListModel list;
    list.AddListReadListener(&keeper);
    list.AddWriteListener(&keeper);
    const int status = sd_event_loop(loop);
    sd_event_unref(loop);
    if (status < 0) throw std::system_error(-status, std::generic_category(), "the loop failed");
    return status;
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
