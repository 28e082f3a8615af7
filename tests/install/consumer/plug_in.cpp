// SPDX-License-Identifier: MIT

#include <exception>

#include "partner/RemoteAppListModel.h"

extern "C" __attribute__((visibility("default"))) int CountItems() try {
    applist::RemoteAppListModel list;
    list.Synchronize();
    return list.GetItemsCount();
} catch (const std::exception&) {
    return -1;
}
