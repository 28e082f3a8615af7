# SPDX-License-Identifier: MIT

"""The files that a unit leaves a service: everything to be read, nothing to be written, and what is
none of its business not there."""

import errno
import os

import kernel
from kernel import MS_BIND, MS_NODEV, MS_NOEXEC, MS_NOSUID, MS_PRIVATE, MS_REC

_DEVICES = ("null", "zero", "full", "random", "urandom", "tty")
_LOCKED = MS_NOSUID | MS_NODEV | MS_NOEXEC


def begin():
    """What is mounted from now on is seen by nobody else."""
    kernel.mount(None, "/", flags=MS_REC | MS_PRIVATE)


def _cover(path, mode):
    if os.path.isdir(path):
        kernel.mount("tmpfs", path, "tmpfs", _LOCKED, f"mode={mode},size=64k")


def protect_home(how):
    if how == "yes":
        for path in ("/home", "/root", "/run/user"):
            _cover(path, "0000")


def private_tmp(kept):
    """Of what is in /tmp only the folder `kept` stays, which the test's files and sockets are in."""
    folder = os.open(kept, os.O_PATH | os.O_DIRECTORY)
    for path in ("/tmp", "/var/tmp"):
        _cover(path, "1777")
    os.makedirs(kept, exist_ok=True)
    kernel.mount(f"/proc/self/fd/{folder}", kept, flags=MS_BIND)
    os.close(folder)


def private_devices():
    folders = {name: os.open(f"/dev/{name}", os.O_PATH) for name in _DEVICES}
    kernel.mount("tmpfs", "/dev", "tmpfs", MS_NOSUID | MS_NOEXEC, "mode=0755,size=64k")
    for name, device in folders.items():
        with open(f"/dev/{name}", "wb"):
            pass
        kernel.mount(f"/proc/self/fd/{device}", f"/dev/{name}", flags=MS_BIND)
        os.close(device)


def own_processes_only():
    """Returns why not, where the kernel does not let it."""
    try:
        kernel.mount("proc", "/proc", "proc", _LOCKED, "hidepid=invisible,subset=pid")
    except OSError as error:
        if error.errno != errno.EPERM:
            raise
        return "only root may mount another /proc over the machine's own processes"
    return None


def read_only():
    kernel.make_read_only("/")
