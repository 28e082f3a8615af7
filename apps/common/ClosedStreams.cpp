// SPDX-License-Identifier: MIT

#include "apps/common/ClosedStreams.h"

#include <fcntl.h>
#include <unistd.h>

#include <initializer_list>

namespace applist {

// A new descriptor takes the lowest number that is free. libsystemd moves its own descriptors above
// the streams' numbers, but GLib's eventfd and inotify, files and memfds would stay there, and a
// line of the log would be written to one of them.
void FillClosedStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) >= 0) continue;
        // The wrong way round on purpose: using it fails, as using a closed stream does.
        open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

}  // namespace applist
