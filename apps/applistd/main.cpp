// SPDX-License-Identifier: MIT

// The daemon with the items of a file. To list desktop entries it becomes another program, so that
// GLib, which reads them, is in the memory of those who want it alone.

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "apps/applistd/Daemon.h"
#include "apps/applistd/ItemsFile.h"

namespace applist::daemon {
namespace {

#ifdef APPLIST_DESKTOP_PROGRAM

// The same process from the service manager's view, with the same arguments and environment.
[[noreturn]] void BecomeDesktopProgram(char** argv) {
    // Where it lies is known from here: both may have been moved, and neither need be installed.
    std::error_code cause;
    const auto here = std::filesystem::read_symlink("/proc/self/exe", cause).parent_path();
    const std::string program = (here / APPLIST_DESKTOP_PROGRAM).lexically_normal().string();
    if (!cause) {
        execv(program.c_str(), argv);
        cause.assign(errno, std::generic_category());
    }
    throw std::runtime_error("cannot start " + program + ", which lists desktop entries: " +
                             cause.message() + "; install it, or give --items FILE");
}

#else

[[noreturn]] void BecomeDesktopProgram(char**) {
    throw UsageError("this applistd was built without desktop entries; give --items FILE");
}

#endif

void Publish(const Options& options, char** argv) {
    if (options.itemsFile.empty()) BecomeDesktopProgram(argv);
    MainLoop loop;
    Serve(options, loop, [&options](ItemSource::Listener changed) {
        return std::make_unique<ItemsFile>(options.itemsFile, std::move(changed));
    });
}

}  // namespace
}  // namespace applist::daemon

int main(int argc, char** argv) {
    return applist::daemon::RunDaemon(argc, argv, [argv](const applist::daemon::Options& options) {
        applist::daemon::Publish(options, argv);
    });
}
