# SPDX-License-Identifier: MIT

"""Runs a test of the programs with the sandbox of a unit around the daemon: in_sandbox.py TEST

As root the whole test becomes a user without rights but those that the sandbox is set up with, which
gives them away: to make namespaces. Anybody else needs a kernel that lets users make them.
"""

import os
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


def run(*command, **more):
    """Runs a command as the user whom the sandbox is for, with a folder of its own."""
    with tempfile.TemporaryDirectory(prefix="applist-") as folder:
        if os.geteuid() == 0:
            os.chown(folder, OWNER.number, OWNER.groups[0])
        variables = dict(os.environ, TMPDIR=folder, HOME=folder)
        return subprocess.run([*as_the_daemons_user(), *command], check=False, env=variables,
                              **more)


if __name__ == "__main__":
    if os.geteuid() == 0:
        users.enter_a_world_with_them()
    sys.exit(run(sys.executable, *sys.argv[1:]).returncode)
