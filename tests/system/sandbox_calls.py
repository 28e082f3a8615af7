# SPDX-License-Identifier: MIT

"""The system calls that a unit leaves a service, as filters of the kernel."""

import errno
import os
import subprocess

import seccomp
from seccomp import ALLOW, ERRNO, MASKED_EQ, NE, Arg, Arch, Attr, SyscallFilter

import kernel

_AF_UNIX = 1
_PROT_WRITE, _PROT_EXEC = 2, 4
_SHM_EXEC = 0o100000
_SET_ID = (0o4000, 0o2000)
_O_CREAT = os.O_CREAT

# Where the mode is among a call's arguments; for those that open, only if they also create.
_MODES = {"chmod": 1, "fchmod": 1, "fchmodat": 2, "mkdir": 1, "mkdirat": 2, "mknod": 1,
          "mknodat": 2, "creat": 1}
_OPENING_MODES = {"open": (1, 2), "openat": (2, 3)}


def number_of(call):
    """The number of a call on this machine; negative for one that it does not have."""
    return seccomp.resolve_syscall(Arch(), call)


def _sets():
    """The calls of each of systemd's sets, which may hold other sets."""
    # It tells a service manager how it ended, and would do so in the name of the daemon.
    variables = {name: value for name, value in os.environ.items() if name != "NOTIFY_SOCKET"}
    listed = subprocess.run(["systemd-analyze", "--no-pager", "syscall-filter"], check=True,
                            env=variables, capture_output=True, text=True).stdout
    sets = {}
    current = None
    for line in listed.splitlines():
        word = line.strip()
        if line.startswith("@"):
            current = sets.setdefault(word, [])
        elif line.startswith("#"):
            current = None  # the calls of no set
        elif current is not None and word and not word.startswith("#"):
            current.append(word)
    return sets


def _expanded(name, sets):
    if not name.startswith("@"):
        return {name}
    return set().union(*(_expanded(each, sets) for each in sets[name]))


def allowed_calls(lines):
    """What the lines of SystemCallFilter= leave, the first of which allows."""
    sets = _sets()
    allowed = _expanded("@default", sets)
    for line in lines:
        named = set().union(*(_expanded(each, sets) for each in line.lstrip("~").split()))
        allowed = allowed - named if line.startswith("~") else allowed | named
    # systemd never takes those away: without them there would be no service.
    return allowed | _expanded("@default", sets)


def _add(filters, action, call, *conditions):
    if number_of(call) >= 0:
        filters.add_rule(action, call, *conditions)


def _refusing():
    """Lets everything through for which no rule is added."""
    filters = SyscallFilter(ALLOW)
    filters.set_attr(Attr.CTL_NNP, 1)
    return filters


def load_call_filter(lines):
    """Last: hardly anything that sets up a sandbox is allowed after it."""
    filters = SyscallFilter(ERRNO(errno.EPERM))
    for call in sorted(allowed_calls(lines)):
        _add(filters, ALLOW, call)
    filters.load()


def load_address_families():
    filters = _refusing()
    _add(filters, ERRNO(errno.EAFNOSUPPORT), "socket", Arg(0, NE, _AF_UNIX))
    filters.load()


def load_no_writable_code():
    filters = _refusing()
    both = _PROT_WRITE | _PROT_EXEC
    for call in ("mmap", "mmap2"):
        _add(filters, ERRNO(errno.EPERM), call, Arg(2, MASKED_EQ, both, both))
    for call in ("mprotect", "pkey_mprotect"):
        _add(filters, ERRNO(errno.EPERM), call, Arg(2, MASKED_EQ, _PROT_EXEC, _PROT_EXEC))
    _add(filters, ERRNO(errno.EPERM), "shmat", Arg(2, MASKED_EQ, _SHM_EXEC, _SHM_EXEC))
    filters.load()


def load_no_namespaces():
    filters = _refusing()
    for call in ("unshare", "setns"):
        _add(filters, ERRNO(errno.EPERM), call)
    # Its flags are in memory, where no filter sees them; the C library then uses clone.
    _add(filters, ERRNO(errno.ENOSYS), "clone3")
    for bit in range(32):
        if kernel.CLONE_ANY & 1 << bit:
            _add(filters, ERRNO(errno.EPERM), "clone", Arg(0, MASKED_EQ, 1 << bit, 1 << bit))
    filters.load()


def load_no_realtime():
    filters = _refusing()
    _add(filters, ERRNO(errno.EPERM), "sched_setscheduler", Arg(1, NE, os.SCHED_OTHER))
    _add(filters, ERRNO(errno.EPERM), "sched_setattr")
    filters.load()


def load_no_set_ids():
    filters = _refusing()
    for bit in _SET_ID:
        for call, place in _MODES.items():
            _add(filters, ERRNO(errno.EPERM), call, Arg(place, MASKED_EQ, bit, bit))
        for call, (flags, place) in _OPENING_MODES.items():
            _add(filters, ERRNO(errno.EPERM), call, Arg(flags, MASKED_EQ, _O_CREAT, _O_CREAT),
                 Arg(place, MASKED_EQ, bit, bit))
    _add(filters, ERRNO(errno.ENOSYS), "openat2")
    filters.load()


def load_locked_personality():
    filters = _refusing()
    _add(filters, ERRNO(errno.EPERM), "personality", Arg(0, NE, 0))
    filters.load()
