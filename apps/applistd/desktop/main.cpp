// SPDX-License-Identifier: MIT

// The daemon with the desktop entries of this machine, and with GLib, which reads them: what
// applistd becomes when it is to list these. It has read the command line and found it right.

#include <sys/prctl.h>

#include <clocale>
#include <memory>
#include <utility>

#include "apps/applistd/Daemon.h"
#include "apps/applistd/desktop/GLibMainLoop.h"
#include "apps/applistd/desktop/InstalledApplications.h"

namespace applist::daemon {
namespace {

void Publish(const Options& options) {
    if (!options.itemsFile.empty()) {
        throw UsageError("applistd-desktop lists desktop entries; for --items start applistd");
    }
    GLibMainLoop loop;
    Serve(options, loop, [](ItemSource::Listener changed) {
        return std::make_unique<InstalledApplications>(std::move(changed));
    });
}

}  // namespace
}  // namespace applist::daemon

int main(int argc, char** argv) {
    // Names and their order depend on the user's language.
    std::setlocale(LC_ALL, "");
    // It is still the same process, and whoever looks for it knows that name.
    prctl(PR_SET_NAME, "applistd");
    return applist::daemon::RunDaemon(argc, argv, &applist::daemon::Publish);
}
