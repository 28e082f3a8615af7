// SPDX-License-Identifier: MIT

#include "apps/applistd/ItemsFile.h"

#include <sys/stat.h>

#include <system_error>
#include <utility>

#include "apps/common/ItemLines.h"
#include "common/AppListLog.h"
#include "common/Guarded.h"

namespace applist::daemon {

namespace {

// Reading a pipe again would wait for a writer, or find it at its end and empty the list. A file
// that is missing for a while will be a regular one.
bool CanBeReadAgain(const std::string& path) {
    struct stat status;
    if (path == "-") return false;
    return stat(path.c_str(), &status) != 0 || S_ISREG(status.st_mode);
}

}  // namespace

ItemsFile::ItemsFile(std::string path, Listener changed)
    : m_path(std::move(path)), m_changed(std::move(changed)), m_quiet([this] { ReadAgain(); }) {
    if (CanBeReadAgain(m_path)) Watch();
}

std::vector<RemoteAppListItem> ItemsFile::Read() {
    return ReadItemFile(m_path);
}

void ItemsFile::ReadAgain() {
    m_quiet.Stop();
    Guarded("reading the items again, which stay as they were", [this] {
        if (!CanBeReadAgain(m_path)) {
            throw InputError(SourceName(m_path) + " is read once; name a regular file");
        }
        Watch();
        std::vector<RemoteAppListItem> all = Read();
        const std::size_t count = all.size();
        m_changed(std::move(all));
        APPLIST_LOG(logging::kInfo, "%zu items are in %s now", count, m_path.c_str());
    });
}

// Anew each time: by now the path may lead somewhere else. If that fails, the old watch is better
// than none.
void ItemsFile::Watch() {
    try {
        m_watch = std::make_unique<FileWatch>(m_path, [this] { m_quiet.Restart(); });
    } catch (const std::system_error& error) {
        APPLIST_LOG(logging::kError, "Changes of %s may not be noticed: %s; send SIGHUP after each",
                    m_path.c_str(), error.what());
    }
}

}  // namespace applist::daemon
