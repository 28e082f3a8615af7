# SPDX-License-Identifier: MIT

"""Users of the tests' own: the daemon's, one of its group, and a stranger.

They are in a passwd and a group file that only this process and its children see, so nothing of the
machine changes.
"""

import ctypes
import os
import subprocess
import tempfile
from typing import NamedTuple

_CLONE_NEWNS = 0x00020000

_GROUP = 64980


class User(NamedTuple):
    name: str
    number: int
    groups: tuple

    def becoming(self):
        """What subprocess needs to start a program as this user."""
        return {"user": self.number, "group": self.groups[0], "extra_groups": self.groups[1:]}


OWNER = User("applist", 64980, (_GROUP,))
MEMBER = User("applist-member", 64981, (64981, _GROUP))
STRANGER = User("applist-stranger", 64982, (64982,))
EVERYBODY = (OWNER, MEMBER, STRANGER)


def _lines(path, added):
    """The lines of a file of the machine, but for those that `added` takes the place of."""
    names = {line.split(":")[0] for line in added}
    with open(path, encoding="utf-8") as file:
        return [line.rstrip("\n") for line in file if line.split(":")[0] not in names] + added


def _cover(path, lines):
    with tempfile.NamedTemporaryFile("w", encoding="utf-8", prefix="applist-users-") as file:
        file.write("".join(line + "\n" for line in lines))
        file.flush()
        os.chmod(file.name, 0o644)
        subprocess.run(["mount", "--bind", file.name, path], check=True)


def enter_a_world_with_them():
    """From now on this process and its children know these users. Raises what a person is to do
    where that is not possible."""
    if os.geteuid() != 0:
        raise PermissionError("this test acts as other users: run it as root")
    libc = ctypes.CDLL(None, use_errno=True)
    if libc.unshare(_CLONE_NEWNS) != 0:
        raise PermissionError(
            "this test needs a mount namespace, for users of its own, and may not have one: "
            f"{os.strerror(ctypes.get_errno())}. In a container, give it CAP_SYS_ADMIN")
    subprocess.run(["mount", "--make-rprivate", "/"], check=True)
    _cover("/etc/passwd", _lines("/etc/passwd", [
        f"{user.name}:x:{user.number}:{user.groups[0]}::/nonexistent:/usr/sbin/nologin"
        for user in EVERYBODY]))
    _cover("/etc/group", _lines("/etc/group", [
        f"{OWNER.name}:x:{_GROUP}:{MEMBER.name}"] + [
        f"{user.name}:x:{user.groups[0]}:" for user in (MEMBER, STRANGER)]))
