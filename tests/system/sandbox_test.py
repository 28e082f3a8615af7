# SPDX-License-Identifier: MIT

"""The sandbox around the daemon in the tests that are named sandboxed: that it is one, and what of
the units it does not have."""

import os
import sys
import textwrap
import unittest
from unittest import mock

import shipped
from in_sandbox import run
from sandbox import MANAGEMENT
from support.processes import DEADLINE
from users import OWNER

SANDBOX = os.path.join(os.path.dirname(__file__), "sandbox.py")

# Whatever the machine is, these take the service manager.
MANAGERS = {"DevicePolicy", "IPAddressDeny", "MemoryMax", "RemoveIPC", "TasksMax"}

# Tries everything that is forbidden, and says the error's name of each.
PROBE = """
    import ctypes, errno, mmap, os, socket, sys
    libc = ctypes.CDLL(None, use_errno=True)
    def tried(what, attempt):
        try:
            result = attempt()
            bad = isinstance(result, int) and result < 0
            print(what, errno.errorcode[ctypes.get_errno()] if bad else "allowed")
        except OSError as error:
            print(what, errno.errorcode[error.errno])
    def written(path):
        return lambda: open(path, "w").close()
    def sockets(family):
        return lambda: socket.socket(family, socket.SOCK_DGRAM).close()
    tried("socket-unix", sockets(socket.AF_UNIX))
    tried("socket-inet", sockets(socket.AF_INET))
    tried("socket-netlink", sockets(socket.AF_NETLINK))
    tried("write-tmp", written("/tmp/applist-probe"))
    tried("write-own", written(os.environ["TMPDIR"] + "/probe"))
    tried("write-usr", written("/usr/probe"))
    tried("write-null", written("/dev/null"))
    tried("read-home", lambda: os.listdir("/root"))
    tried("read-usr", lambda: len(os.listdir("/usr/share")))
    tried("memory-code", lambda: mmap.mmap(-1, 4096, prot=mmap.PROT_WRITE | mmap.PROT_EXEC))
    tried("memory", lambda: mmap.mmap(-1, 4096, prot=mmap.PROT_WRITE))
    tried("memfd", lambda: os.close(os.memfd_create("probe", os.MFD_ALLOW_SEALING)))
    tried("namespace", lambda: libc.unshare(0x10000000))
    tried("set-id", lambda: os.chmod("/proc/self/fd/1", 0o4755))
    tried("personality", lambda: libc.personality(0x0008000000 >> 7))
    tried("trace", lambda: libc.ptrace(16, os.getppid(), None, None))
    tried("clock", lambda: libc.clock_settime(0, (ctypes.c_long * 2)(0, 0)))
    tried("realtime", lambda: os.sched_setscheduler(0, os.SCHED_FIFO, os.sched_param(1)))
    tried("become-root", lambda: os.setuid(0))
    tried("host-name", lambda: libc.sethostname(b"probe", 5))
    print("folders-in-tmp", len(os.listdir("/tmp")))
    print("processes", len([each for each in os.listdir("/proc") if each.isdigit()]))
    for line in open("/proc/self/status"):
        if line.startswith(("Cap", "NoNewPrivs", "Seccomp:", "Uid")):
            print(*line.split()[:2])
"""

FORBIDDEN = {
    "socket-unix": "allowed", "socket-inet": "EAFNOSUPPORT", "socket-netlink": "EAFNOSUPPORT",
    "write-tmp": "EROFS", "write-own": "EROFS", "write-usr": "EROFS", "write-null": "allowed",
    "folders-in-tmp": "1", "read-home": "EACCES", "read-usr": "allowed",
    "memory-code": "EPERM", "memory": "allowed", "memfd": "allowed", "namespace": "EPERM", "set-id": "EPERM", "personality": "EPERM",
    "trace": "EPERM", "clock": "EPERM", "realtime": "EPERM", "become-root": "EPERM",
    "host-name": "EPERM", "CapInh:": "0" * 16, "CapPrm:": "0" * 16, "CapEff:": "0" * 16,
    "CapBnd:": "0" * 16, "CapAmb:": "0" * 16, "NoNewPrivs:": "1", "Seccomp:": "2"}


class ASandbox(unittest.TestCase):
    def setUp(self):
        # The daemon's program is a script here: it takes the place of the daemon.
        self.unit = os.path.join(os.environ["APPLIST_PACKAGING"], shipped.SYSTEM_UNIT)

    def output_of(self, program, *arguments):
        with mock.patch.dict(os.environ, APPLIST_SANDBOXED=program, APPLIST_SANDBOX_UNIT=self.unit):
            done = run(SANDBOX, *arguments, capture_output=True, text=True, timeout=DEADLINE)
        self.assertEqual(done.returncode, 0, done.stderr)
        return dict(line.split(maxsplit=1) for line in done.stdout.splitlines())

    def test_refuses_what_the_unit_forbids(self):
        tried = self.output_of(sys.executable, "-c", textwrap.dedent(PROBE))

        as_root = os.geteuid() == 0
        self.assertEqual(tried.pop("Uid:"), str(OWNER.number if as_root else os.geteuid()))
        alone = tried.pop("processes") == "1"
        self.assertEqual(alone, as_root, "whether it sees the processes of others")
        self.assertEqual(tried, FORBIDDEN)

    def test_says_what_it_does_not_have(self):
        report = self.output_of(sys.executable, "report")

        missing = {name.rstrip(":"): why for name, why in report.items() if why != "had"}
        for name, why in sorted(missing.items()):
            print(f"not had: {name}, as {why}")
        expected = set(MANAGERS)
        if os.geteuid() != 0:
            expected |= {"ProtectProc", "ProcSubset"}
        if os.environ["APPLIST_SANITIZED"] != "ON":
            expected.remove("MemoryMax")
        self.assertEqual(set(missing), expected)

    def test_knows_every_setting_of_both_units(self):
        known = set(self.output_of(sys.executable, "report"))
        for unit in (shipped.SYSTEM_UNIT, shipped.USER_UNIT):
            names = {name for name, _ in shipped.settings(unit, "Service")}
            self.assertEqual({name + ":" for name in names - MANAGEMENT} - known, set())


if __name__ == "__main__":
    unittest.main()
