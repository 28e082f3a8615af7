// SPDX-License-Identifier: MIT

// The private parts of LocalAppListModel that no reply and no event shows.
//
// The language lets an explicit instantiation name a private member, and the members' exact types
// are written out there: a signature that changes is a compile error.
//
// Threads: the service's. Lifetime: the references are into the service.

#pragma once

#include <vector>

#include "applist/LocalAppListModel.h"

namespace recording {

// The items received from the partner.
std::vector<RemoteAppListItem*>& RegistryOf(LocalAppListModel& service);

// The wrapped model.
AppListModel*& WrappedModelOf(LocalAppListModel& service);

IPCApplist<TesselDbusLocal, LocalAppListModel>& ChannelOf(LocalAppListModel& service);

// PrivateRemoveItem and PrivateModifyItem, whose arguments are taken by value.
void RemoveFromRegistry(LocalAppListModel& service, RemoteAppListItem item);
void ReplaceInRegistry(LocalAppListModel& service, RemoteAppListItem oldItem,
                       RemoteAppListItem newItem);

}  // namespace recording
