// SPDX-License-Identifier: MIT

// What the model alone does with an ApplistItem (adapters/glib/ApplistItem.h).

#pragma once

#include <string>

#include "adapters/glib/ApplistItem.h"
#include "applist/RemoteAppListItem.h"

namespace applist {

// Returns a new reference. The item keeps the bytes of both strings. Throws std::bad_alloc.
ApplistItem* NewItemObject(RemoteAppListItem bytes);

// These notify, unless nothing changes. The first one throws std::bad_alloc, and changes nothing
// then.
void SetNameOf(ApplistItem* item, const std::string& bytes);
void SetSelectedOf(ApplistItem* item, bool selected);

const RemoteAppListItem& BytesOf(ApplistItem* item);

}  // namespace applist
