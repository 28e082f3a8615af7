// SPDX-License-Identifier: MIT

// What the model alone does with an ApplistItem (adapters/glib/ApplistItem.h).

#pragma once

#include <string>

#include "adapters/glib/ApplistItem.h"
#include "applist/RemoteAppListItem.h"

namespace applist {

// Returns a new reference. The item keeps the bytes of both strings.
ApplistItem* NewItemObject(RemoteAppListItem bytes);

// These notify, unless nothing changes.
void SetNameOf(ApplistItem* item, const std::string& bytes);
void SetSelectedOf(ApplistItem* item, bool selected);

const RemoteAppListItem& BytesOf(ApplistItem* item);

// Returns `bytes` as ApplistItem shows them.
std::string ShownText(const std::string& bytes);

}  // namespace applist
