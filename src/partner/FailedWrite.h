// SPDX-License-Identifier: MIT

// A write of a partner that was not carried out, or may not have been, for a screen that shows so.

#pragma once

#include <cstddef>
#include <string>

#include "applist/RemoteAppListItem.h"
#include "common/Export.h"
#include "remote/RemoteError.h"

namespace applist {

struct APPLIST_EXPORT FailedWrite {
    enum class Operation { Select, Click, RemoveAll, Add, Remove, Replace };

    Operation operation;
    RemoteAppListItem item;  // to select, click, remove or replace, or the first one to add
    std::size_t count;       // of items to add; otherwise 1, and 0 for RemoveAll
    RemoteError error;       // why, for programs and logs

    // Returns a sentence for whoever looks at the screen, without a full stop, such as
    // "Maps was not selected: the list cannot be reached at the moment". It is printable
    // (common/PrintableText.h), and in English.
    std::string Text() const;
};

}  // namespace applist
