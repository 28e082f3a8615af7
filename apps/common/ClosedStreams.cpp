#include "apps/common/ClosedStreams.h"

#include <fcntl.h>
#include <unistd.h>

#include <initializer_list>

namespace applist {

// A new descriptor takes the lowest number that is free. libsystemd moves its own off the streams'
// numbers; GLib's eventfd and inotify, files and memfds stay there, and a line of the log would be
// written to one of them.
void FillClosedStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) >= 0) continue;
        open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

}  // namespace applist
