#!/usr/bin/python3
# SPDX-License-Identifier: MIT

"""Runs a program under what a unit says of its service, as far as that can be had without systemd:
the program in APPLIST_SANDBOXED, with the arguments that are given, under the unit in
APPLIST_SANDBOX_UNIT. It keeps its process number, its streams and its environment, so a test can put
this in the place of the program.

What cannot be had is told, and why, by `report`, for which nothing is run.
"""

import os
import resource
import sys

import kernel
import sandbox_calls as calls
import sandbox_places as places

# How a service is started and watched, not what it may do.
MANAGEMENT = {"Type", "BusName", "ExecStart", "ExecReload", "WatchdogSec", "Restart", "RestartSec",
              "RestartPreventExitStatus", "TimeoutStopSec", "SystemCallErrorNumber"}

UNITS = {"K": 2 ** 10, "M": 2 ** 20, "G": 2 ** 30}


def read_unit(path):
    """The settings of its service, each with its values."""
    with open(path, encoding="utf-8") as unit:
        lines = unit.read().split("[Service]")[1].split("\n[")[0].splitlines()
    settings = {}
    for line in lines:
        if "=" in line and not line.startswith("#"):
            name, value = line.split("=", 1)
            settings.setdefault(name, []).append(value)
    return settings


def _may_mount():
    with open("/proc/self/status", encoding="ascii") as status:
        (effective,) = [line.split()[1] for line in status if line.startswith("CapEff:")]
    return bool(int(effective, 16) & 1 << 21)  # CAP_SYS_ADMIN


class Sandbox:
    """What a unit asks for, applied in the order in which it still can be."""

    def __init__(self, settings):
        self._settings = settings
        self._left = set(settings) - MANAGEMENT
        self.missing = {}

    def _takes(self, name):
        """Whether the unit has this setting, which is taken care of now."""
        self._left.discard(name)
        return name in self._settings

    def _value(self, name):
        return self._settings[name][-1]

    def _without(self, name, why):
        if self._takes(name):
            self.missing[name] = why

    def apply(self):
        self._accept_what_needs_the_manager()
        self._separate()
        self._restrict_places()
        self._restrict_memory()
        self._restrict_self()
        self._restrict_calls()
        if self._left:
            raise NotImplementedError(f"the sandbox does not know {sorted(self._left)}")

    def _accept_what_needs_the_manager(self):
        for name in ("User", "Group"):
            # The test runs as another user already, unless the one who runs it is no root.
            if self._takes(name) and os.geteuid() == 0:
                self.missing[name] = "the program is to run as whoever runs the test, which is root"
        self._without("TasksMax", "it takes a cgroup")
        self._without("DevicePolicy", "it takes a cgroup; PrivateDevices= leaves no device")
        self._without("IPAddressDeny", "it takes a cgroup; PrivateNetwork= leaves no address")
        self._without("RemoveIPC", "the manager does it afterwards; PrivateIPC= leaves nothing")

    def _separate(self):
        """Namespaces: by the right to make them, or by one of users, which gives it."""
        flags = kernel.CLONE_NEWNS
        for name, flag in (("PrivateMounts", kernel.CLONE_NEWNS),
                           ("PrivateNetwork", kernel.CLONE_NEWNET),
                           ("PrivateIPC", kernel.CLONE_NEWIPC),
                           ("ProtectHostname", kernel.CLONE_NEWUTS)):
            if self._takes(name):
                flags |= flag
        self._has_own_users = not _may_mount()
        try:
            if self._has_own_users:
                self._have_own_users()
            kernel.unshare(flags)
        except PermissionError as error:
            sys.exit(f"a sandbox takes namespaces, and none can be made here ({error}): run this as "
                     "root with CAP_SYS_ADMIN, or on a kernel that lets users make them")
        places.begin()

    def _have_own_users(self):
        user, group = os.geteuid(), os.getegid()
        kernel.unshare(kernel.CLONE_NEWUSER)
        for file, text in (("setgroups", "deny"), ("uid_map", f"{user} {user} 1"),
                           ("gid_map", f"{group} {group} 1")):
            with open(f"/proc/self/{file}", "w", encoding="ascii") as out:
                out.write(text)

    def _restrict_places(self):
        if self._takes("ProtectHome"):
            places.protect_home(self._value("ProtectHome"))
        if self._takes("PrivateTmp"):
            places.private_tmp(os.environ["TMPDIR"])
        if self._takes("PrivateDevices"):
            places.private_devices()
        if self._takes("ProtectSystem"):
            # And with it the kernel's files, which a program without rights cannot write anyway.
            places.read_only()
            for name in ("ProtectControlGroups", "ProtectKernelTunables"):
                self._takes(name)
        # Afterwards, as users of its own are written down there.
        hidden = [name for name in ("ProtectProc", "ProcSubset") if self._takes(name)]
        why = places.own_processes_only() if hidden else None
        if why is not None:
            self.missing.update(dict.fromkeys(hidden, why))

    def _restrict_memory(self):
        if not self._takes("MemoryMax"):
            return
        if os.environ.get("APPLIST_SANITIZED") == "ON":
            self.missing["MemoryMax"] = ("it takes a cgroup; a limit of the address space, which "
                                         "is tried in its place, is too little for sanitizers")
            return
        limit = int(self._value("MemoryMax")[:-1]) * UNITS[self._value("MemoryMax")[-1]]
        resource.setrlimit(resource.RLIMIT_AS, (limit, limit))

    def _restrict_self(self):
        if self._takes("UMask"):
            os.umask(int(self._value("UMask"), 8))
        if self._takes("KeyringMode"):
            kernel.join_new_keyring(calls.number_of("keyctl"))
        if self._takes("PrivateUsers") and not self._has_own_users:
            self._have_own_users()
        if self._takes("CapabilityBoundingSet"):
            kernel.drop_capabilities()
        if self._takes("NoNewPrivileges"):
            kernel.prctl(kernel.PR_SET_NO_NEW_PRIVS, 1)

    def _restrict_calls(self):
        for name, load in (("RestrictAddressFamilies", calls.load_address_families),
                           ("MemoryDenyWriteExecute", calls.load_no_writable_code),
                           ("RestrictNamespaces", calls.load_no_namespaces),
                           ("RestrictRealtime", calls.load_no_realtime),
                           ("RestrictSUIDSGID", calls.load_no_set_ids),
                           ("LockPersonality", calls.load_locked_personality)):
            if self._takes(name):
                load()
        # What libseccomp makes always refuses the calls of another architecture.
        self._takes("SystemCallArchitectures")
        # Capabilities are gone, and the calls themselves are none that the filter leaves.
        for name in ("ProtectClock", "ProtectKernelLogs", "ProtectKernelModules"):
            self._takes(name)
        if self._takes("SystemCallFilter"):
            calls.load_call_filter(self._settings["SystemCallFilter"])


def main():
    settings = read_unit(os.environ["APPLIST_SANDBOX_UNIT"])
    program = os.open(os.environ["APPLIST_SANDBOXED"], os.O_PATH | os.O_CLOEXEC)
    sandbox = Sandbox(settings)
    sandbox.apply()
    if sys.argv[1:] == ["report"]:
        for name in sorted(set(settings) - MANAGEMENT):
            print(f"{name}: {sandbox.missing.get(name, 'had')}")
        return
    # To look for leaks it would have to trace itself, which the filter does not allow.
    options = os.environ.get("ASAN_OPTIONS", "")
    os.environ["ASAN_OPTIONS"] = f"{options}:detect_leaks=0".lstrip(":")
    os.execv(f"/proc/self/fd/{program}", [os.environ["APPLIST_SANDBOXED"], *sys.argv[1:]])


if __name__ == "__main__":
    main()
