// SPDX-License-Identifier: MIT

// The items in a file, and news about them.
//
// A file may be written in place, and is half-written then. So it is read again only after half a
// second without another change, or when changes have gone on for five seconds.
//
// Only a regular file can be read again: a pipe or standard input has been read to its end.

#pragma once

#include <memory>
#include <string>
#include <vector>

#include "apps/applistd/FileWatch.h"
#include "apps/applistd/ItemSource.h"
#include "apps/applistd/QuietTime.h"

namespace applist::daemon {

class ItemsFile : public ItemSource {
public:
    // Follows the file at `path` from now on, or takes standard input when that is "-". When the
    // kernel refuses to watch the file, that is logged, and its changes may not be noticed.
    ItemsFile(std::string path, Listener changed);

    // Throws InputError when the file cannot be read, or is malformed.
    std::vector<RemoteAppListItem> Read() override;

    void ReadAgain() override;

private:
    void Watch();

    std::string m_path;
    Listener m_changed;
    QuietTime m_quiet;
    std::unique_ptr<FileWatch> m_watch;  // null when there is none
};

}  // namespace applist::daemon
