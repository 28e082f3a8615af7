# SPDX-License-Identifier: MIT

"""Runs a test of the programs with the sandbox of a unit around the daemon: in_sandbox.py TEST

As root the whole test becomes a user without rights but those that the sandbox is set up with, which
gives them away: to make namespaces. Anybody else needs a kernel that lets users make them.
"""

import os
import shutil
import subprocess
import sys
import tempfile

import users
from users import OWNER

RIGHTS = "+sys_admin,+setpcap"


def as_the_daemons_user():
    """What to put in front of a command."""
    if os.geteuid() != 0:
        return []
    return ["setpriv", f"--reuid={OWNER.number}", f"--regid={OWNER.groups[0]}", "--clear-groups",
            f"--inh-caps={RIGHTS}", f"--ambient-caps={RIGHTS}"]


def _copied(programs, folder):
    """Copies in `folder`, as far from each other as the programs are: the sandbox may hide where
    those are, and then the first would not find the second."""
    root = os.path.commonpath(programs)
    copies = [os.path.join(folder, "programs", os.path.relpath(each, root)) for each in programs]
    for program, copy in zip(programs, copies):
        os.makedirs(os.path.dirname(copy), exist_ok=True)
        shutil.copy(program, copy)
    return copies


def run(*command, **more):
    """Runs a command as the user whom the sandbox is for, with a folder of its own."""
    with tempfile.TemporaryDirectory(prefix="applist-") as folder:
        if os.geteuid() == 0:
            os.chown(folder, OWNER.number, OWNER.groups[0])
        variables = dict(os.environ, TMPDIR=folder, HOME=folder)
        if "APPLIST_SANDBOXED_DESKTOP" in variables:
            programs = [os.path.realpath(variables[name])
                        for name in ("APPLIST_SANDBOXED", "APPLIST_SANDBOXED_DESKTOP")]
            variables["APPLIST_SANDBOXED"] = _copied(programs, folder)[0]
        return subprocess.run([*as_the_daemons_user(), *command], check=False, env=variables,
                              **more)


if __name__ == "__main__":
    if os.geteuid() == 0:
        users.enter_a_world_with_them()
    sys.exit(run(sys.executable, *sys.argv[1:]).returncode)
