# SPDX-License-Identifier: MIT

"""The tutorial, typed line by line into a shell in an empty folder.

Of its blocks, `sh` is what the reader types, and `text` all that the commands before it print, in
this order unless it is marked otherwise. `cmake` and `cpp` from examples/own_project are what the
reader writes into a file: in CMakeLists.txt at its end, elsewhere as the whole file. All other
blocks are to be read.
"""

import os
import pathlib
import re
import shutil
import signal
import subprocess
import tempfile
import unittest
from typing import NamedTuple

import packages
from blocks import FENCE, origin
from support import items
from support.processes import DEADLINE, Output

ROOT = pathlib.Path(os.environ["APPLIST_SOURCES"])
OWN_PROJECT = "examples/own_project/"
TUTORIAL = (ROOT / "docs" / "tutorial.md").read_text(encoding="utf-8")

# What these print is not shown.
CHATTER = ("cmake ", "git ", "dbus-run-session ")
# A build from nothing, on a machine that is busy.
LONGEST_COMMAND = 400.0


class Typed(NamedTuple):
    commands: list
    shown: list = None  # what they print, if the tutorial shows it
    in_any_order: bool = False


class Written(NamedTuple):
    file: str
    text: str


def steps(document):
    """What the reader of a document does, one after the other."""
    done = []
    for block in FENCE.finditer(document):
        file = origin(block)
        if block["language"] == "sh":
            done.append(Typed(block["text"].splitlines()))
        elif block["language"] == "text":
            done[-1] = Typed(done[-1].commands, block["text"].splitlines(),
                             block["mark"] == "<!-- in any order -->")
        elif file is not None and file.startswith(OWN_PROJECT):
            done.append(Written(file[len(OWN_PROJECT):], block["text"]))
    return done


class Shell:
    """A shell that reads what is typed from a pipe, as do the shells that are started in it."""

    END = "the end of that:"

    def __init__(self, folder, environment):
        self.folder = folder
        self._process = subprocess.Popen(["bash"], cwd=folder, env=environment, text=True,
                                         stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                         stderr=subprocess.STDOUT, start_new_session=True)
        self._screen = Output(self._process.stdout)

    def type(self, command):
        """Returns the exit status of a command, and the lines on the screen until it was done."""
        self._process.stdin.write(f"{command}\nprintf '%s %s %s\\n' '{self.END}' $? \"$PWD\"\n")
        self._process.stdin.flush()
        seen = []
        while True:
            line = self.next_line(LONGEST_COMMAND)
            before, end, after = line.partition(self.END)
            if end:
                status, self.folder = after.split(maxsplit=1)
                return int(status), seen + ([before] if before else [])
            seen.append(line)

    def next_line(self, within=DEADLINE):
        """Returns the next line, without what a bus says for itself when it starts. It may say that
        in the middle of another line."""
        while True:
            line = re.sub(r"^dbus-daemon\[\d+\]: ", "", self._screen.wait_for("", within))
            if not line.startswith("[session uid="):
                return line

    def close(self):
        """Ends it, and returns its exit status and what was still to be read."""
        self._process.stdin.close()
        return self._process.wait(DEADLINE), self._screen.rest()

    def abandon(self):
        """Ends it with all that was started in it and runs still."""
        try:
            os.killpg(self._process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass  # all of them have ended
        self._process.wait(DEADLINE)
        self._process.stdin.close()


class Reader:
    """Does what a document says, and fails when something else happens than it shows."""

    def __init__(self, folder, environment, repository=None):
        self.shell = Shell(folder, environment)
        self._repository = repository

    def type(self, step):
        seen = []
        for command in step.commands:
            command = re.sub(r"\bREPOSITORY\b", str(self._repository), command)
            status, lines = self.shell.type(command)
            if status != 0:
                raise AssertionError(f"{command}: exit status {status}: " + "\n".join(lines))
            seen += lines
            if command.endswith("&"):
                seen += self._wait_for_a_service()
        if step.shown is None and any(each.startswith(CHATTER) for each in step.commands):
            return
        # What runs in the background may take its time.
        while len(seen) < len(step.shown or []):
            seen.append(self.shell.next_line())
        self._compare(step, seen)

    def _wait_for_a_service(self):
        """Whoever reads does not type so fast that a program has not come up yet. Returns what
        others wrote meanwhile."""
        status, seen = self.shell.type(
            f"gdbus wait --session --timeout {int(DEADLINE)} {items.BUS_NAME}")
        if status != 0:
            raise AssertionError("there is no service: " + "\n".join(seen))
        return seen

    @staticmethod
    def _compare(step, seen):
        shown = list(step.shown or [])
        seen = [line.rstrip() for line in seen]
        if step.in_any_order:
            shown, seen = sorted(shown), sorted(seen)
        if seen != shown:
            raise AssertionError("\n".join([*step.commands, "shows:", *seen, "instead of:", *shown]))

    def write(self, step):
        path = pathlib.Path(self.shell.folder) / step.file
        with open(path, "a" if path.name == "CMakeLists.txt" else "x", encoding="utf-8") as file:
            file.write(step.text)

    def do(self, step):
        if isinstance(step, Written):
            self.write(step)
        else:
            self.type(step)


class ReaderTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="tutorial-")
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        self.folder = self.root / "empty"
        self.folder.mkdir()

    def reader(self, repository=None):
        left = {"CMAKE_GENERATOR", "CMAKE_BUILD_TYPE", "APPLIST_LOG", "DBUS_SESSION_BUS_ADDRESS",
                "DBUS_STARTER_ADDRESS", "DBUS_STARTER_BUS_TYPE", "MAKEFLAGS"}
        environment = {name: value for name, value in os.environ.items() if name not in left}
        environment.update(CMAKE_BUILD_PARALLEL_LEVEL="2", LC_ALL="C.UTF-8")
        reader = Reader(self.folder, environment, repository)
        self.addCleanup(reader.shell.abandon)
        return reader


class TheTutorial(ReaderTest):
    def repository(self):
        """Returns a repository of what stands in the source tree, committed or not."""
        repository = self.root / "repository"
        names = []
        if (ROOT / ".git").exists():
            listed = subprocess.run(["git", "-C", ROOT, "ls-files", "-z", "-co",
                                     "--exclude-standard"], check=True, capture_output=True)
            names = listed.stdout.decode().split("\0")
        else:
            names = [path.relative_to(ROOT) for path in ROOT.rglob("*")
                     if path.relative_to(ROOT).parts[0] != "build"]
        for name in filter(None, names):
            if (ROOT / name).is_file():
                (repository / name).parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(ROOT / name, repository / name)
        commands = [["init", "-q"], ["add", "-A"],
                    ["-c", "user.name=a", "-c", "user.email=a@a.invalid", "commit", "-q", "-m", "a"]]
        for command in commands:
            subprocess.run(["git", "-C", repository, *command], check=True)
        return repository

    def test_can_be_followed_to_its_end_as_typed(self):
        reader = self.reader(self.repository())
        (install, *rest) = steps(TUTORIAL)
        self.assertGreater(len(rest), 30)
        for step in rest:
            reader.do(step)
        self.assertEqual(reader.shell.close(), (0, []))

        launcher = self.folder / "launcher"
        ours = (ROOT / OWN_PROJECT / "CMakeLists.txt").read_text(encoding="utf-8").split("\n\n")
        theirs = (launcher / "CMakeLists.txt").read_text(encoding="utf-8")
        self.assertEqual(theirs.split(), "\n".join(ours[1:]).split())
        self.check_packages(install, rest, launcher)

    def check_packages(self, install, rest, launcher):
        """All that was used is of the packages that the tutorial names, or of what these need."""
        named = install.commands[0].split()[2:]
        self.assertEqual(install.commands[0].split()[:2], ["apt-get", "install"])
        developers = set(re.findall(r"[a-z][a-z0-9.+-]+", " ".join(
            re.findall(r"^\w+_packages=\(([^)]*)\)", (ROOT / "dev").read_text(), re.M))))
        self.assertEqual([each for each in named if each not in developers], [])
        if shutil.which("dpkg-query") is None:
            print("not checked: which packages the tutorial takes; there is no dpkg-query here")
            return
        typed = [command for step in rest if isinstance(step, Typed) for command in step.commands]
        used = packages.programs_of(typed) | packages.headers_of(launcher)
        self.assertGreater(len(used), 200)
        self.assertEqual(packages.missing(used, named), [])


class TheReader(ReaderTest):
    """That it notices what is wrong with a document."""

    def do(self, document):
        reader = self.reader()
        for step in steps(document):
            reader.do(step)

    def test_accepts_what_is_shown(self):
        self.do("```sh\nprintf 'a\\nb\\n'\n```\n\n```text\na\nb\n```\n")

    def test_accepts_another_order_where_the_document_says_so(self):
        self.do("```sh\nprintf 'b\\na\\n'\n```\n\n<!-- in any order -->\n```text\na\nb\n```\n")

    def test_reports_another_order(self):
        with self.assertRaisesRegex(AssertionError, "instead of"):
            self.do("```sh\nprintf 'b\\na\\n'\n```\n\n```text\na\nb\n```\n")

    def test_reports_a_line_that_is_not_shown(self):
        for shown in ("", "\n```text\na\n```\n"):
            with self.assertRaisesRegex(AssertionError, "shows:\na\nb\n"):
                self.do("```sh\nprintf 'a\\nb\\n'\n```\n" + shown)

    def test_reports_a_command_that_fails(self):
        with self.assertRaisesRegex(AssertionError, "exit status 2: no"):
            self.do("```sh\n(echo no; exit 2)\n```\n")

    def test_writes_into_the_files_of_the_project_alone(self):
        block = "<!-- from {}/CMakeLists.txt -->\n```cmake\n{}\n```\n\n"
        self.do(block.format("examples/own_project", "a") + block.format("tests", "b") +
                block.format("examples/own_project", "c") + "```sh\ncat CMakeLists.txt\n```\n\n"
                "```text\na\nc\n```\n")


if __name__ == "__main__":
    unittest.main()
