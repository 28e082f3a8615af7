# SPDX-License-Identifier: MIT

"""A machine of the tests' own, as far as installed applications go."""

import os
import tempfile

_ENTRY = """[Desktop Entry]
Type=Application
Name={name}
Exec={program}
{more}"""


class Machine:
    """A user's and a system's folder of desktop entries, with nothing else to be found."""

    def __init__(self):
        self._folder = tempfile.TemporaryDirectory(prefix="applistd-machine-")
        self.root = self._folder.name
        self.home = os.path.join(self.root, "home")
        self.user = os.path.join(self.home, "data")
        self.system = os.path.join(self.root, "system")
        for data in (self.user, self.system):
            os.makedirs(os.path.join(data, "applications"))

    def environment(self, **more):
        """The variables that keep a process to this machine's applications."""
        return dict({"HOME": self.home, "XDG_DATA_HOME": self.user,
                     "XDG_DATA_DIRS": self.system, "XDG_CONFIG_HOME": self.home,
                     "XDG_CONFIG_DIRS": self.system, "XDG_CURRENT_DESKTOP": "Tests",
                     "LANGUAGE": "", "LC_ALL": "C.UTF-8"}, **more)

    def path(self, entry):
        return os.path.join(self.system, "applications", entry)

    def install(self, entry, name, program="sh", more=""):
        """Puts an entry into place in one step, as a package manager does."""
        self.write(entry + ".new", _ENTRY.format(name=name, program=program, more=more))
        os.rename(self.path(entry + ".new"), self.path(entry))

    def uninstall(self, entry):
        os.remove(self.path(entry))

    def write(self, file, text):
        with open(self.path(file), "w", encoding="utf-8") as out:
            out.write(text)

    def remove(self):
        self._folder.cleanup()
