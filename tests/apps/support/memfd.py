# SPDX-License-Identifier: MIT

"""Descriptors of memory, which carry what is too large for a message."""

import fcntl
import os


def sealed(content):
    """A file on memory that holds `content` and that nobody can change."""
    memfd = os.fdopen(os.memfd_create("request", os.MFD_ALLOW_SEALING), "wb")
    memfd.write(content)
    memfd.flush()
    fcntl.fcntl(memfd, fcntl.F_ADD_SEALS,
                fcntl.F_SEAL_SHRINK | fcntl.F_SEAL_GROW | fcntl.F_SEAL_WRITE)
    return memfd


def content_of(descriptor):
    """All that is behind `descriptor`, which is closed."""
    try:
        return os.pread(descriptor, os.fstat(descriptor).st_size, 0)
    finally:
        os.close(descriptor)
