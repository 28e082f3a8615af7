// SPDX-License-Identifier: MIT

#include "bus/OwnedFd.h"

#include <unistd.h>

namespace applist {

OwnedFd::~OwnedFd() {
    if (m_fd >= 0) close(m_fd);
}

}  // namespace applist
