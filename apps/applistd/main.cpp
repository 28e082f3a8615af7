// SPDX-License-Identifier: MIT

// Start order: the list is loaded, the object exported, the name owned, and only then is the
// service manager told that the daemon is ready. Whatever is started after it finds the whole list.

#include <systemd/sd-daemon.h>

#include <chrono>
#include <clocale>
#include <csignal>
#include <cstdint>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "applist/LocalAppListModel.h"
#include "applist/ServiceLimits.h"
#include "apps/applistd/ApplicationList.h"
#include "apps/applistd/Complain.h"
#include "apps/applistd/Console.h"
#include "apps/applistd/InstalledApplications.h"
#include "apps/applistd/ItemSource.h"
#include "apps/applistd/ItemsFile.h"
#include "apps/applistd/MainLoop.h"
#include "apps/applistd/Options.h"
#include "apps/common/ClosedStreams.h"
#include "bus/BusSelection.h"
#include "bus/TransportLimits.h"
#include "common/AppListLog.h"
#include "platform/LinuxLog.h"

namespace applist::daemon {
namespace {

constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

void ChooseBus(const Options& options) {
    if (!options.address.empty()) {
        SelectBusAddress(options.address);
    } else if (options.session) {
        SelectBus(BusKind::Session);
    } else if (options.system) {
        SelectBus(BusKind::System);
    }
}

std::unique_ptr<ItemSource> SourceFor(const Options& options, ApplicationList& list) {
    const auto publish = [&list](std::vector<RemoteAppListItem> all) {
        list.SetOwnItems(std::move(all));
    };
    if (!options.itemsFile.empty()) return std::make_unique<ItemsFile>(options.itemsFile, publish);
    return std::make_unique<InstalledApplications>(publish);
}

// The service manager compares the time with when it sent the signal, and takes the next READY=1
// for the end of this reload.
void Reload(ItemSource& source) {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    const std::int64_t time = std::chrono::duration_cast<std::chrono::microseconds>(now).count();
    sd_notify(0, ("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(time)).c_str());
    source.ReadAgain();
    sd_notify(0, "READY=1");
}

// The order of these objects matters: each uses those above it until it is destroyed.
void Serve(const Options& options) {
    MainLoop loop;
    ApplicationList list;
    const std::unique_ptr<ItemSource> source = SourceFor(options, list);
    // A malformed file throws here, before anything is on the bus.
    list.SetOwnItems(source->Read());
    LocalAppListModel service(&list);
    std::optional<Console> console;
    if (options.interactive) console.emplace(list, [&loop] { loop.Quit(); });

    APPLIST_LOG(logging::kInfo, "Publishing %d applications on %s", list.GetItemsCount(),
                SelectedBus().description.c_str());
    loop.OnHangup([&source] { Reload(*source); });
    sd_notify(0, "READY=1");
    loop.Run();
    sd_notify(0, "STOPPING=1");
}

int Main(int argc, char** argv) {
    FillClosedStreams();
    // Names and their order depend on the user's language.
    std::setlocale(LC_ALL, "");
    // When the reader of the log or of the console's output leaves, the service goes on.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        const std::optional<Options> options = ParseOptions(argc, argv);
        if (!options) return 0;
        if (options->verbose) SetMinimumLogPriority(logging::kDebug);
        SetServiceLimits(options->serviceLimits);
        SetTransportLimits(options->transportLimits);
        ChooseBus(*options);
        Serve(*options);
        return 0;
    } catch (const UsageError& error) {
        Complain(error.what());
        return kExitUsage;
    } catch (const std::bad_alloc&) {
        Complain("out of memory; free some, then start again");
        return kExitFailed;
    } catch (const std::exception& error) {
        Complain(error.what());
        return kExitFailed;
    }
}

}  // namespace

}  // namespace applist::daemon

int main(int argc, char** argv) {
    return applist::daemon::Main(argc, argv);
}
