# SPDX-License-Identifier: MIT

"""A machine of the tests' own: systemd as process 1 of new namespaces, over a copy of this machine
of which nothing is kept, with what was built installed. Of this machine's units none is started.

Needs root, namespaces, and a cgroup2 in which groups can be made.
"""

import glob
import os
import select
import shutil
import subprocess
import sys
import tempfile
import time

import shipped
from support.processes import APPLISTD, DEADLINE
from users import EVERYBODY, MEMBER, OWNER

# What a manager of either kind needs to come up and to go.
UNITS = ("basic.target", "default.target", "exit.target", "paths.target", "shutdown.target",
         "sockets.target", "systemd-exit.service", "timers.target")
SYSTEM_UNITS = ("final.target", "sysinit.target", "systemd-journald.service",
                "systemd-journald.socket", "umount.target")

BUS_SOCKET = """[Unit]
DefaultDependencies=no
[Socket]
ListenStream={address}
"""

BUS_SERVICE = """[Unit]
DefaultDependencies=no
Requires=dbus.socket
After=dbus.socket
[Service]
Type=notify
Sockets=dbus.socket
ExecStart={program}
"""

# How each bus program is started, for the system and for a user.
BUS_PROGRAMS = {
    "dbus-daemon": ("/usr/bin/dbus-daemon --config-file=/usr/share/dbus-1/{config}.conf "
                    "--address=systemd: --nofork --nopidfile --systemd-activation"),
    "dbus-broker": "/usr/bin/dbus-broker-launch --scope {scope}",
}
BUS_CONFIGS = {"system": "system", "user": "session"}

# dbus-broker does not start without a journal; this one keeps to itself.
JOURNAL = """[Journal]
Storage=volatile
Audit=no
ReadKMsg=no
"""

TRIAL = """[Unit]
DefaultDependencies=no
Wants=systemd-journald.service sysinit.target dbus.socket user-manager.service
After=systemd-journald.service sysinit.target dbus.socket user-manager.service
[Service]
Type=oneshot
{environment}
ExecStart={python} {program}
ExecStopPost=/bin/sh -c 'exec systemctl --no-block exit "$EXIT_STATUS"'
StandardOutput=append:/out/said
StandardError=append:/out/said
"""

USERS = """[Unit]
DefaultDependencies=no
[Service]
Type=oneshot
ExecStart=/bin/systemd-sysusers applist.conf
ExecStart=/bin/install -d -o {member} -g {member} -m 700 /run/user/{number}
ExecStart=/bin/chown -R {member}:{member} /home/{member}
"""

USER_MANAGER = """[Unit]
DefaultDependencies=no
Requires=users.service
After=users.service systemd-journald.service
[Service]
Type=notify
User={member}
Environment=XDG_RUNTIME_DIR=/run/user/{number}
WorkingDirectory=/home/{member}
ExecStart=/lib/systemd/systemd --user
Delegate=yes
KillSignal=SIGKILL
"""

# What a sanitizer does at the end, looking for leaks, no sandbox allows.
SANITIZED = """[Service]
Environment=ASAN_OPTIONS=detect_leaks=0
"""

BOOT = """set -e
mount --make-rprivate /
mount -t tmpfs tmpfs {folder}/machine
cd {folder}/machine
mkdir up work root
# No layer may lie in another one.
cp -a {folder}/stage .
mount -t overlay overlay -o lowerdir=stage:/,upperdir=up,workdir=work root
cd root
for empty in run tmp dev etc/systemd/system etc/systemd/user \
        usr/lib/systemd/system-generators \
        usr/lib/systemd/user-generators; do
    mkdir -p $empty
    mount -t tmpfs -o mode=755 tmpfs $empty
done
chmod 1777 tmp
mkdir out dev/shm dev/pts
mount --bind {folder}/out out
mount -t tmpfs tmpfs dev/shm
mount -t devpts -o newinstance,ptmxmode=666 devpts dev/pts
ln -s pts/ptmx dev/ptmx
for device in null zero full random urandom tty; do
    touch dev/$device
    mount --bind /dev/$device dev/$device
done
mount -t proc proc proc
mount --bind proc/sys proc/sys
mount -o remount,bind,ro proc/sys
mount -t sysfs -o ro sysfs sys
mount -t cgroup2 cgroup2 sys/fs/cgroup
mount --bind {folder}/units/system usr/lib/systemd/system
mount --bind {folder}/units/user usr/lib/systemd/user
for kept in {kept}; do
    mkdir -p ./$kept
    mount --bind $kept ./$kept
done
# No chroot, in which nobody may make namespaces of users.
mkdir tmp/before
pivot_root . tmp/before
umount -l tmp/before
rmdir tmp/before
touch out/mounted
export container=applist
exec /lib/systemd/systemd --system --unit=trial.service --log-target=${{APPLIST_MACHINE_LOG-null}}
"""


class CannotBoot(Exception):
    """Says what this machine lacks."""


def _own_cgroup():
    """The folder of this process's group in the unified hierarchy."""
    with open("/proc/self/mountinfo", encoding="utf-8") as mounts:
        places = [line.split()[4] for line in mounts if " - cgroup2 " in line]
    with open("/proc/self/cgroup", encoding="utf-8") as groups:
        own = [line.strip()[len("0::"):] for line in groups if line.startswith("0::")]
    if not places or not own:
        raise CannotBoot("there is no cgroup2 here")
    return os.path.join(places[-1], own[0].lstrip("/"))


def _write(folder, name, text):
    path = os.path.join(folder, name)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w", encoding="utf-8") as out:
        out.write(text)


class Machine:
    """Runs one program of this machine's on the other one, as root."""

    def __init__(self, build, cmake, bus_program):
        self._folder = tempfile.mkdtemp(prefix="applist-machine-")
        self._build = build
        self._bus_program = bus_program
        for name in ("machine", "out", "stage", "units"):
            os.mkdir(self._path(name))
        self._install(cmake)
        self._write_units("system", "/run/dbus/system_bus_socket")
        self._write_units("user", "%t/bus")

    def _path(self, *names):
        return os.path.join(self._folder, *names)

    def remove(self):
        shutil.rmtree(self._folder)

    def _install(self, cmake):
        stage = self._path("stage")
        subprocess.run([cmake, "--install", self._build, "--component", "programs"], check=True,
                       env=dict(os.environ, DESTDIR=stage), stdout=subprocess.DEVNULL)
        daemon = stage + shipped.DAEMON
        if not os.path.exists(daemon):
            os.makedirs(os.path.dirname(daemon), exist_ok=True)
            shutil.copy(APPLISTD, daemon)
        # Where a bus looks, wherever the rest is installed.
        (policy,) = glob.glob(f"{stage}/**/dbus-1/system.d/*.conf", recursive=True)
        os.makedirs(f"{stage}/etc/dbus-1/system.d")
        shutil.copy(policy, f"{stage}/etc/dbus-1/system.d")
        entry = "[Desktop Entry]\nType=Application\nExec=sh\nName="
        _write(stage, "usr/local/share/applications/of-the-machine.desktop",
               entry + "Of the machine\n")
        _write(stage, f"home/{MEMBER.name}/.local/share/applications/of-the-user.desktop",
               entry + "Of the user\n")
        # At the end nobody waits for what the machine would still tidy up.
        _write(stage, "etc/systemd/system.conf.d/trial.conf", "[Manager]\nDefaultTimeoutStopSec=2\n")
        _write(stage, "etc/systemd/journald.conf.d/trial.conf", JOURNAL)
        self._add_users(stage)

    @staticmethod
    def _add_users(stage):
        """All but the daemon's, which comes with what is installed."""
        others = [user for user in EVERYBODY if user is not OWNER]
        for file, line in (("passwd", "{0}:x:{1}:{1}::/home/{0}:/bin/sh"), ("group", "{0}:x:{1}:")):
            with open(f"/etc/{file}", encoding="utf-8") as machines:
                lines = machines.read().splitlines()
            lines += [line.format(user.name, user.number) for user in others]
            _write(stage, f"etc/{file}", "".join(each + "\n" for each in lines))

    def _write_units(self, scope, address):
        folder = self._path("units", scope)
        os.mkdir(folder)
        for unit in UNITS:
            shutil.copy(f"/usr/lib/systemd/{scope}/{unit}", folder)
        _write(folder, "basic.target.d/bus.conf", "[Unit]\nWants=dbus.socket\nAfter=dbus.socket\n")
        _write(folder, "dbus.socket", BUS_SOCKET.format(address=address))
        program = BUS_PROGRAMS[self._bus_program].format(scope=scope, config=BUS_CONFIGS[scope])
        _write(folder, "dbus.service", BUS_SERVICE.format(program=program))
        if os.environ["APPLIST_SANITIZED"] == "ON":
            _write(folder, "applistd.service.d/sanitized.conf", SANITIZED)

    def run(self, program, environment, timeout):
        """Returns the exit status of the program, and what it said."""
        folder = self._path("units", "system")
        member = {"member": MEMBER.name, "number": MEMBER.number}
        for unit in SYSTEM_UNITS:
            shutil.copy(f"/usr/lib/systemd/system/{unit}", folder)
        _write(folder, "users.service", USERS.format(**member))
        _write(folder, "user-manager.service", USER_MANAGER.format(**member))
        _write(folder, "trial.service", TRIAL.format(
            python=sys.executable, program=program,
            environment="\n".join(f'Environment="{name}={value}"'
                                  for name, value in environment.items())))
        status, why = self._boot(BOOT.format(folder=self._folder, kept=" ".join(
            (os.path.dirname(os.path.dirname(os.path.dirname(program))), self._build))), timeout)
        if not os.path.exists(self._path("out", "mounted")):
            raise CannotBoot(why)
        try:
            with open(self._path("out", "said"), encoding="utf-8") as said:
                return status, said.read()
        except FileNotFoundError:
            return status, f"nothing was tried: {why}"

    def _boot(self, script, timeout):
        group = os.path.join(_own_cgroup(), f"applist-{os.getpid()}")
        try:
            os.mkdir(group)
        except OSError as error:
            raise CannotBoot(f"no cgroup can be made here: {error}") from error
        try:
            done = subprocess.run(
                ["sh", "-c", 'echo $$ > "$0/cgroup.procs"; exec "$@"', group, "unshare", "--mount",
                 "--pid", "--fork", "--kill-child", "--uts", "--ipc", "--net", "--cgroup", "sh",
                 "-c", script], check=False, stdin=subprocess.DEVNULL, timeout=timeout,
                stderr=subprocess.PIPE, text=True)
            return done.returncode, done.stderr
        except subprocess.TimeoutExpired:
            return "late", "it did not end"
        finally:
            self._remove_group(group)

    @staticmethod
    def _remove_group(group):
        """Once nobody is in it: process 1 takes all others with it, but not at once."""
        with open(os.path.join(group, "cgroup.events"), encoding="ascii") as events:
            poll = select.poll()
            poll.register(events, select.POLLPRI)
            end = time.monotonic() + DEADLINE
            while "populated 0" not in events.read() and time.monotonic() < end:
                poll.poll(1000)
                events.seek(0)
        for path, _, _ in os.walk(group, topdown=False):
            os.rmdir(path)
