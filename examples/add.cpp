// SPDX-License-Identifier: MIT

// Adds an application to the list that another process publishes, selects it, and prints the list.

#include <exception>
#include <iostream>

#include "common/PrintableText.h"
#include "partner/RemoteAppListModel.h"

int main() try {
    applist::RemoteAppListModel list;
    RemoteAppListItem radio("Radio", "radio");
    list.AddItemAtEnd(&radio);
    list.SetSelection(&radio);
    list.Synchronize();  // until both were carried out, 5 s at most
    for (AppListItem* item : list.GetAllItems()) {
        std::cout << applist::PrintableText(item->GetVisibleName()) << '\n';
    }
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
