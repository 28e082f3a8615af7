# SPDX-License-Identifier: MIT

"""applistctl as a process: in a pipe, on a terminal, and while it goes on."""

import os
import signal
import subprocess
import sys
import tempfile
from typing import NamedTuple

from support import items
from support.case import AppTest
from support.processes import APPLISTD, DEADLINE, Output
from support.terminal import Terminal

APPLISTCTL = os.environ["APPLISTCTL"]

MAPS, MUSIC = ("Maps", "maps"), ("Music", "music")
TWO_ITEMS = "Maps\tmaps\nMusic\tmusic\n"


def environment(bus, **more):
    """The variables of a person who works on `bus`."""
    variables = dict(os.environ, **{"DBUS_SESSION_BUS_ADDRESS": bus.address,
                                    "LC_ALL": "C.UTF-8", "TERM": "xterm", **more})
    for name in ("NO_COLOR", "DBUS_STARTER_ADDRESS", "DBUS_STARTER_BUS_TYPE"):
        if name not in more:
            variables.pop(name, None)
    return variables


class Result(NamedTuple):
    status: int
    out: bytes
    err: str


class ConfiguredBus:
    """A dbus-daemon whose configuration is `config`. That and `files` stand in its folder, with
    {address}, {folder} and {daemon} filled in."""

    def __init__(self, config, **files):
        self._folder = tempfile.TemporaryDirectory(prefix="applistctl-bus-")
        self.address = f"unix:path={self._folder.name}/bus"
        self._log = open(self.path("log"), "w", encoding="utf-8")
        for name, text in dict(files, config=config).items():
            with open(self.path(name), "w", encoding="utf-8") as out:
                out.write(text.format(address=self.address, folder=self._folder.name,
                                      daemon=APPLISTD))
        self._process = subprocess.Popen(
            ["dbus-daemon", "--nofork", "--nopidfile", "--print-address",
             f"--config-file={self.path('config')}"],
            stdout=subprocess.PIPE, stderr=self._log, text=True)
        assert self._process.stdout.readline(), "dbus-daemon did not start"

    def log(self):
        """What the bus has said so far."""
        with open(self._log.name, encoding="utf-8") as log:
            return log.read()

    def path(self, name):
        return os.path.join(self._folder.name, name)

    def remove(self):
        self._process.terminate()
        self._process.wait(DEADLINE)
        self._process.stdout.close()
        self._log.close()
        self._folder.cleanup()


class ScriptedService:
    """A service of `bus` that does what it is told, see scripted_service.py."""

    def __init__(self, bus, *script):
        program = os.path.join(os.path.dirname(__file__), "scripted_service.py")
        self.process = subprocess.Popen([sys.executable, program, bus.address, *script], text=True,
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self._calls = Output(self.process.stdout)
        self._calls.wait_for("ready")

    def tell(self, *lines):
        """All at once."""
        self.process.stdin.write("".join(line + "\n" for line in lines))
        self.process.stdin.flush()

    def wait_for_call(self, function):
        self._calls.wait_for(str(function))

    def stop(self):
        self.process.stdin.close()
        return self.process.wait(DEADLINE)

    def all_calls(self):
        """Ends it, and returns the calls that were not waited for."""
        self.stop()
        return self._calls.rest()


class ToolTest(AppTest):
    """A bus, on it a service with two items, Maps (selected) and Music, and the tool."""

    ITEMS = TWO_ITEMS

    def setUp(self):
        super().setUp()
        self.daemon = None
        if self.ITEMS is not None:
            self.serve(self.ITEMS)

    def serve(self, text):
        self.daemon = self.start("--items", self.file(text))

    def script(self, *lines):
        service = ScriptedService(self.bus, *lines)
        self.addCleanup(service.stop)
        return service

    def run_tool(self, *arguments, stdin=b"", stdout=subprocess.PIPE, closed="", user=None,
                 **variables):
        """Runs the tool to its end: with pipes, with other files, or with a stream `closed` as a
        shell does it, <&- or >&-; as another `user` when that is given."""
        given = {"input": stdin} if isinstance(stdin, bytes) else {"stdin": stdin}
        done = subprocess.run(["sh", "-c", f'exec "$0" "$@" {closed}', APPLISTCTL, *arguments],
                              stdout=stdout, stderr=subprocess.PIPE,
                              env=environment(self.bus, **variables), timeout=DEADLINE,
                              check=False, user=user, **given)
        return Result(done.returncode, done.stdout or b"", done.stderr.decode())

    def output_of(self, *arguments, **more):
        """What a command that works prints; it has nothing else to say."""
        status, out, err = self.run_tool(*arguments, **more)
        self.assertEqual((status, err), (0, ""), out)
        return out.decode()

    def complaint_of(self, status, *arguments, out="", **more):
        """The one line that a command which ends with `status` says."""
        result = self.run_tool(*arguments, **more)
        self.assertEqual((result.status, result.out.decode()), (status, out), result.err)
        self.assertRegex(result.err, r"\Aapplistctl: [^\n]+\n\Z", "not one line")
        return result.err[len("applistctl: "):-1]

    def terminal(self, *arguments, columns=80, **variables):
        terminal = Terminal([APPLISTCTL, *arguments], environment(self.bus, **variables), columns)
        self.addCleanup(self._end, terminal.process)
        return terminal

    def on_terminal(self, *arguments, status=0, **more):
        """What a person sees of a command that ends by itself."""
        ended, seen = self.terminal(*arguments, **more).finish()
        self.assertEqual(ended, status, seen)
        return seen.decode()

    def popen(self, *arguments, stdout, restore_signals=True, **variables):
        process = subprocess.Popen([APPLISTCTL, *arguments], stdin=subprocess.DEVNULL,
                                   stdout=stdout, stderr=subprocess.PIPE, text=True,
                                   restore_signals=restore_signals,
                                   env=environment(self.bus, **variables))
        self.addCleanup(self._end, process)
        return process

    @staticmethod
    def _end(process):
        if process.poll() is None:
            process.send_signal(signal.SIGKILL)
            process.wait(DEADLINE)

    def watch(self, *arguments, ready="watching"):
        """A watch that has begun, or says that it waits."""
        return Watch(self.popen("watch", *arguments, stdout=subprocess.PIPE), ready)

    def all_items(self):
        return self.partner().all_items()


class Watch:
    def __init__(self, process, ready):
        self.process = process
        self.out = Output(process.stdout)
        self.err = Output(process.stderr)
        self.said = self.err.wait_for(ready)

    def next(self):
        """The next line, whatever it is."""
        return self.out.wait_for("")

    def interrupt(self):
        self.process.send_signal(signal.SIGINT)
        return self.wait()

    def wait(self):
        return self.process.wait(DEADLINE)


def item_bytes(name, unique_id):
    """The text of an item whose strings are bytes and need no escapes."""
    return name + b"\t" + unique_id + b"\n"


def add(partner, name, unique_id):
    partner.call(items.ADD_ITEM_AT_END, items.item(name, unique_id))
