# SPDX-License-Identifier: MIT

"""A program under faults, from its start to its end."""

import os
import select
import subprocess
import tempfile

# What one at rest may do within OBSERVATION, and what is called a spin within LONGER.
OBSERVATION, AT_REST = 0.02, 60
LONGER, SPIN = 0.5, 1500


class Victim:
    """Begins as soon as it is made, with `fault` armed if there is one."""

    def __init__(self, arguments, faults, fault=None, stdout=subprocess.DEVNULL, **variables):
        faults.forget()
        if fault is not None:
            faults.arm(fault)
        self._faults = faults
        self._log = tempfile.TemporaryFile(mode="w+", prefix="applist-log-")
        self.process = subprocess.Popen(
            arguments, stdin=subprocess.DEVNULL, stdout=stdout, stderr=self._log, text=True,
            env={**os.environ, "LC_ALL": "C.UTF-8", **variables, **faults.variables()})
        self._end = os.pidfd_open(self.process.pid)

    def ends_within(self, seconds):
        """Waits for that, and returns whether it has; then its status can be asked for."""
        ended = bool(select.select([self._end], [], [], seconds)[0])
        if ended:
            self.process.wait()
        return ended

    def said(self):
        """What it has written to stderr."""
        self._log.seek(0)
        return self._log.read()

    def doing(self):
        """What the kernel says about each of its threads: what it waits in, and its time so far."""
        tasks = f"/proc/{self.process.pid}/task"
        told = []
        for task in os.listdir(tasks):
            with open(f"{tasks}/{task}/wchan", encoding="ascii") as wchan, \
                    open(f"{tasks}/{task}/stat", encoding="ascii") as stat:
                state, *rest = stat.read().rpartition(")")[2].split()
                times = " + ".join(rest[10:12])
                told.append(f"is {state} in {wchan.read() or '?'} after {times} ticks")
        return ", ".join(told)

    def spin(self):
        """What is wrong with how it rests, if anything."""
        for time_to_look, most in ((OBSERVATION, AT_REST), (LONGER, SPIN)):
            before = sum(self._faults.counts().values())
            self.ends_within(time_to_look)
            made = sum(self._faults.counts().values()) - before
            if made <= most:
                return ""
        return f"it spins: {made} calls in {LONGER} s of rest"

    def remove(self):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()
        os.close(self._end)
        self._log.close()
