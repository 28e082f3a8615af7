# SPDX-License-Identifier: MIT

"""Programs in which one chosen call fails, by the library of FaultyLibc.cpp.

Every errno here is one that the call's man page names and that a kernel can answer to a right call.
"""

import errno
import mmap
import os
import struct
import tempfile
from typing import NamedTuple

LIBRARY = os.environ["APPLIST_FAULTY_LIBC"]

NO_DESCRIPTOR = ("EMFILE", "ENFILE", "ENOMEM")
ERRNOS = {
    "bind": ("EADDRINUSE", "ENOMEM"),
    "close": ("EINTR", "EIO"),
    "connect": ("EAGAIN", "ECONNREFUSED", "EACCES", "EINTR"),
    "dup": ("EMFILE",),
    "epoll_create1": NO_DESCRIPTOR,
    "epoll_ctl": ("ENOMEM", "ENOSPC"),
    "epoll_wait": ("EINTR",),
    "eventfd": NO_DESCRIPTOR,
    "fcntl": ("EMFILE", "EAGAIN", "EPERM"),
    "fstat": ("ENOMEM", "EOVERFLOW"),
    "ftruncate": ("EINTR", "EIO"),
    "getrandom": ("EINTR", "ENOSYS"),
    "getsockname": ("ENOBUFS",),
    "getsockopt": ("ENOMEM", "ENOPROTOOPT"),
    "inotify_add_watch": ("ENOSPC", "ENOMEM"),
    "inotify_init1": NO_DESCRIPTOR,
    "ioctl": ("ENOTTY",),
    "memfd_create": NO_DESCRIPTOR,
    "mmap": ("ENOMEM", "EAGAIN"),
    "open": ("EMFILE", "ENFILE", "ENOMEM", "EINTR", "EACCES"),
    "pipe2": ("EMFILE", "ENFILE"),
    "poll": ("EINTR", "ENOMEM"),
    "pread": ("EINTR", "EIO"),
    "prctl": ("EPERM",),
    "pthread_sigmask": ("EINVAL",),
    "read": ("EINTR", "EAGAIN", "EIO"),
    "readv": ("EINTR", "EIO"),
    "recv": ("EINTR", "EAGAIN", "ENOMEM"),
    "recvmsg": ("EINTR", "EAGAIN", "ENOMEM", "ECONNRESET"),
    "send": ("EINTR", "EAGAIN", "ENOBUFS", "ENOMEM"),
    "sendmsg": ("EINTR", "EAGAIN", "ENOBUFS", "ENOMEM", "EPIPE", "ECONNRESET"),
    "setsockopt": ("ENOMEM", "EPERM"),
    "signalfd": NO_DESCRIPTOR,
    "socket": ("EMFILE", "ENFILE", "ENOBUFS", "EACCES"),
    "socketpair": NO_DESCRIPTOR,
    "stat": ("ENOMEM", "EACCES"),
    "timerfd_create": NO_DESCRIPTOR,
    "timerfd_settime": ("EINVAL",),
    "write": ("EINTR", "EAGAIN", "EIO", "ENOSPC"),
    "writev": ("EINTR", "EAGAIN", "EIO"),
    "malloc": ("ENOMEM",),
}

FOREVER = 2**64 - 1

_HEAD = struct.Struct("=iiQQQq")
_ROW = struct.Struct("=24sQ")
_MOST_ROWS = 64


class Fault(NamedTuple):
    """The `nth` occurrence of `call` fails with `error`; with `lasts` all later ones do, too."""

    call: str
    error: str
    nth: int
    lasts: bool = False

    def __str__(self):
        return f"{self.call}:{self.error}:{self.nth}" + ("+" if self.lasts else "")


def faults_of(counts, kind, most):
    """Every fault of a kind, "calls" or "memory", in a program that has made `counts` of each call:
    up to the `most`-th occurrence of a call, and of all allocations."""
    return [Fault(call, error, nth) for call, count in counts.items()
            if count > 0 and (call == "malloc") == (kind == "memory") for error in ERRNOS[call]
            for nth in range(1, (count if kind == "memory" else most) + 1)]


class Faults:
    """What happens to the calls of one process: the one that is started with `variables`."""

    def __init__(self):
        descriptor, self._path = tempfile.mkstemp(prefix="applist-faults-")
        size = _HEAD.size + _MOST_ROWS * _ROW.size
        os.ftruncate(descriptor, size)
        self._shared = mmap.mmap(descriptor, size)
        os.close(descriptor)
        self.disarm()

    def remove(self):
        self._shared.close()
        os.remove(self._path)

    def variables(self):
        # Next to a sanitizer: it need not come first, does not see what new and delete pair up,
        # and leaves what libsystemd and GLib leak in a failure alone.
        options = "verify_asan_link_order=0:alloc_dealloc_mismatch=0:detect_leaks=0:exitcode=99"
        return {"LD_PRELOAD": LIBRARY, "APPLIST_FAULTS": self._path, "ASAN_OPTIONS": options}

    def forget(self):
        """For another process: counts from nothing."""
        names = self._rows()
        self._shared[_HEAD.size:] = bytes(len(self._shared) - _HEAD.size)
        self.disarm()
        for row, (name, _) in enumerate(names):
            _ROW.pack_into(self._shared, _HEAD.size + row * _ROW.size, name, 0)

    def disarm(self):
        rows = _HEAD.unpack_from(self._shared)[5]
        _HEAD.pack_into(self._shared, 0, -1, 0, 0, 0, 0, rows)

    def arm(self, fault):
        """Counts the occurrences from now on."""
        names = [name.rstrip(b"\0").decode() for name, _ in self._rows()]
        row = names.index(fault.call)
        first = self._rows()[row][1] + fault.nth
        last = FOREVER if fault.lasts else first
        _HEAD.pack_into(self._shared, 0, -1, getattr(errno, fault.error), first, last, 0,
                        len(names))
        struct.pack_into("=i", self._shared, 0, row)

    def failed(self):
        """How often the call has really failed since it was armed."""
        return _HEAD.unpack_from(self._shared)[4]

    def counts(self):
        """How often each call was made."""
        return {name.rstrip(b"\0").decode(): count for name, count in self._rows()}

    def _rows(self):
        rows = _HEAD.unpack_from(self._shared)[5]
        return [_ROW.unpack_from(self._shared, _HEAD.size + row * _ROW.size)
                for row in range(rows)]
