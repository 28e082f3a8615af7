// SPDX-License-Identifier: MIT

// Start order: the list is loaded, the object exported, the name owned, and only then is the
// service manager told that the daemon is ready. Whatever is started after it finds the whole list.

#include "apps/applistd/Daemon.h"

#include <systemd/sd-daemon.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <exception>
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
#include "apps/common/ClosedStreams.h"
#include "apps/common/LastWords.h"
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

// The service manager compares the time with when it sent the signal, and takes the next READY=1
// for the end of this reload.
void Reload(ItemSource& source) {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    const std::int64_t time = std::chrono::duration_cast<std::chrono::microseconds>(now).count();
    sd_notify(0, ("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(time)).c_str());
    source.ReadAgain();
    sd_notify(0, "READY=1");
}

void Apply(const Options& options) {
    if (options.verbose) SetMinimumLogPriority(logging::kDebug);
    SetServiceLimits(options.serviceLimits);
    SetTransportLimits(options.transportLimits);
    ChooseBus(options);
}

}  // namespace

// The order of these objects matters: each uses those above it until it is destroyed.
void Serve(const Options& options, MainLoop& loop, const MakeSource& makeSource) {
    ApplicationList list;
    const std::unique_ptr<ItemSource> source = makeSource(
        [&list](std::vector<RemoteAppListItem> all) { list.SetOwnItems(std::move(all)); });
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

int RunDaemon(int argc, char** argv, const std::function<void(const Options&)>& publish) {
    EndWithoutMemory("applistd: out of memory; free some, then start again\n", kExitFailed);
    FillClosedStreams();
    // When the reader of the log or of the console's output leaves, the service goes on.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        const std::optional<Options> options = ParseOptions(argc, argv);
        if (!options) return 0;
        Apply(*options);
        publish(*options);
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

}  // namespace applist::daemon
