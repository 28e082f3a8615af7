// SPDX-License-Identifier: MIT

// Either a result on stdout, or one line on stderr and a status that a script can test.

#include <unistd.h>

#include <csignal>
#include <exception>
#include <new>
#include <optional>
#include <string>

#include "apps/applistctl/Commands.h"
#include "apps/applistctl/Failure.h"
#include "apps/applistctl/Host.h"
#include "apps/applistctl/TextWidth.h"
#include "apps/common/ClosedStreams.h"
#include "apps/common/LastWords.h"
#include "apps/common/ReadText.h"
#include "apps/common/TellJournal.h"
#include "apps/common/WriteText.h"
#include "bus/BusSelection.h"
#include "common/AppListLog.h"
#include "platform/LinuxLog.h"
#include "remote/RemoteError.h"

namespace applist::ctl {
namespace {

// Every line has been written by the time its call returns, and nothing has to be undone. So an
// interrupt may end the process anywhere, also in the middle of a wait.
extern "C" void OnInterrupt(int) {
    _exit(kInterrupted);
}

void SetUpSignals() {
    // A shell starts background jobs with SIGINT ignored, and Ctrl-C must not end them.
    if (std::signal(SIGINT, OnInterrupt) == SIG_IGN) std::signal(SIGINT, SIG_IGN);
    // When the reader of a pipe leaves, it ends us as it ends any filter, even if we were started
    // with the signal ignored.
    std::signal(SIGPIPE, SIG_DFL);
}

void ChooseBus(const Options& options) {
    SetBusTimeout(options.busTimeout);
    if (!options.host.empty()) {
        SelectBus(BusOf(options.host, options.session ? RemoteBus::Session : RemoteBus::System,
                        options.busTimeout));
    } else if (!options.address.empty()) {
        SelectBusAddress(options.address);
    } else if (options.session) {
        SelectBus(BusKind::Session);
    } else if (options.system) {
        SelectBus(BusKind::System);
    }
}

// A failure is one in the journal, too.
void Tell(const std::string& text) {
    if (!TellJournal(text)) Note(text);
}

ExitStatus StatusOf(RemoteError::Cause cause) {
    switch (cause) {
        case RemoteError::Cause::NoService:
        case RemoteError::Cause::TimedOut:
        case RemoteError::Cause::OutcomeUnknown: return kNoService;
        case RemoteError::Cause::Refused: return kRefused;
        default: return kNotDone;
    }
}

// What this tool adds to the library's advice. Chosen by the cause and never by searching the text,
// which may change.
std::string HintFor(const RemoteError& error, const Options& options) {
    switch (error.GetCause()) {
        case RemoteError::Cause::NoService:
            return std::string(options.wait ? "" : ", or wait for it with --wait") +
                   ", or name its bus: --session, --system, --address, --host";
        case RemoteError::Cause::TimedOut: return " with --timeout";
        default: return std::string();
    }
}

int Run(const Options& options) {
    try {
        // Without --verbose nothing is logged: the one line on stderr is ours.
        SetMinimumLogPriority(options.verbose ? logging::kDebug : logging::kError + 1);
        ChooseBus(options);
        RunCommand(options, Output(options));
        return kDone;
    } catch (const RemoteError& error) {
        Tell(error.what() + HintFor(error, options));
        return StatusOf(error.GetCause());
    } catch (const TransportError& error) {
        Tell(error.what());
        return kNoService;
    }
}

int RunCommandLine(int argc, char** argv) {
    try {
        const std::optional<Options> options = ParseOptions(argc, argv);
        return options ? Run(*options) : kDone;
    } catch (const Failure& failure) {
        Tell(failure.what());
        return failure.Status();
    } catch (const InputError& error) {
        Tell(error.what());
        return kWrongUsage;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        Tell(error.what());
        return kNotDone;
    }
}

constexpr char kOutOfMemory[] =
    "applistctl: out of memory; free some, then look at the list: an edit may have been carried "
    "out\n";

int Main(int argc, char** argv) {
    EndWithoutMemory(kOutOfMemory, kNotDone);
    FillClosedStreams();
    UseUtf8Locale();
    SetUpSignals();
    try {
        return RunCommandLine(argc, argv);
    } catch (const std::bad_alloc&) {
        // Also when it was to say something else that memory did not suffice for.
        WriteText(STDERR_FILENO, kOutOfMemory);
        return kNotDone;
    }
}

}  // namespace

}  // namespace applist::ctl

int main(int argc, char** argv) {
    return applist::ctl::Main(argc, argv);
}
