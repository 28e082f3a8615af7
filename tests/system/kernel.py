# SPDX-License-Identifier: MIT

"""What the sandbox asks of the kernel, and Python 3.11 has no words for."""

import ctypes
import errno
import os

_LIBC = ctypes.CDLL(None, use_errno=True)

CLONE_NEWNS = 0x00020000
CLONE_NEWUTS = 0x04000000
CLONE_NEWIPC = 0x08000000
CLONE_NEWUSER = 0x10000000
CLONE_NEWNET = 0x40000000
CLONE_NEWCGROUP = 0x02000000
CLONE_NEWPID = 0x20000000
CLONE_ANY = (CLONE_NEWNS | CLONE_NEWUTS | CLONE_NEWIPC | CLONE_NEWUSER | CLONE_NEWNET |
             CLONE_NEWCGROUP | CLONE_NEWPID)

MS_RDONLY, MS_NOSUID, MS_NODEV, MS_NOEXEC = 1, 2, 4, 8
MS_BIND, MS_REC, MS_PRIVATE = 4096, 16384, 1 << 18

PR_SET_NO_NEW_PRIVS = 38
PR_CAPBSET_DROP = 24
PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL = 47, 4

_MOUNT_SETATTR = 442  # the same everywhere, as all numbers since 424
_AT_FDCWD, _AT_RECURSIVE, _MOUNT_ATTR_RDONLY = -100, 0x8000, 1
_CAPABILITY_VERSION_3 = 0x20080522
_KEYCTL_JOIN_SESSION_KEYRING = 1


def _checked(result, what):
    if result < 0:
        error = ctypes.get_errno()
        raise OSError(error, f"{what}: {os.strerror(error)}")
    return result


def _bytes(text):
    return None if text is None else os.fsencode(text)


def unshare(flags):
    _checked(_LIBC.unshare(flags), "unshare")


def mount(source, target, kind=None, flags=0, options=None):
    _checked(_LIBC.mount(_bytes(source), _bytes(target), _bytes(kind), ctypes.c_ulong(flags),
                         _bytes(options)), f"mount on {target}")


def make_read_only(path):
    """Everything that is mounted at `path` and below."""
    attributes = (ctypes.c_uint64 * 4)(_MOUNT_ATTR_RDONLY, 0, 0, 0)
    _checked(_LIBC.syscall(_MOUNT_SETATTR, _AT_FDCWD, _bytes(path), _AT_RECURSIVE, attributes,
                           ctypes.c_size_t(ctypes.sizeof(attributes))), f"read-only {path}")


def prctl(option, *arguments):
    padded = list(arguments) + [0] * (4 - len(arguments))
    _checked(_LIBC.prctl(option, *(ctypes.c_ulong(each) for each in padded)), f"prctl {option}")


def drop_capabilities():
    """All of them, for good."""
    for capability in range(64):
        try:
            prctl(PR_CAPBSET_DROP, capability)
        except OSError as error:
            if error.errno != errno.EINVAL:  # past the last one that this kernel knows
                raise
    prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL)
    header = (ctypes.c_uint32 * 2)(_CAPABILITY_VERSION_3, 0)
    none = (ctypes.c_uint32 * 6)()
    _checked(_LIBC.capset(header, none), "capset")


def join_new_keyring(keyctl):
    """`keyctl` is the call's number on this machine."""
    _checked(_LIBC.syscall(keyctl, _KEYCTL_JOIN_SESSION_KEYRING, None), "keyctl")
