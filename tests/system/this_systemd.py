# SPDX-License-Identifier: MIT

"""The systemd that is installed here."""

import re
import subprocess


def version():
    done = subprocess.run(["systemctl", "--version"], check=True, capture_output=True, text=True)
    return int(re.search(r"systemd (\d+)", done.stdout)[1])
