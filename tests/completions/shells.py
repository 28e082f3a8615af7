# SPDX-License-Identifier: MIT

"""Real shells that have the programs' completions from where those are installed.

Each is driven in two ways: `offered` are the words that it offers at the end of a line, and
`Person` types lines at its terminal, TABs included.
"""

import os
import re
import subprocess

from support.processes import DEADLINE
from support.terminal import Terminal

_PROMPT = "ready> "

# Tells what is offered, by way of the function that bash has been told to call.
_BASH = r"""
source /usr/share/bash-completion/bash_completion
COMP_LINE=$1 COMP_POINT=${#1} COMP_TYPE=9
program=${1%% *} word=${1##*[ =]}
_completion_loader "$program"
before=${1% *}
"_$program" "$program" "$word" "${before##* }"
printf '%s\n' "${COMPREPLY[@]}"
"""

_FISH = r"complete -C $argv[1] | string replace -r '\t.*' ''"

# Notes down what is offered, and offers it.
_ZSHRC = r"""
PS1='%s' LISTMAX=1000
autoload -Uz compinit && compinit -u -D
compadd() {
  local -a noted
  if [[ -n $NOTED && ${@[1,(i)(-|--)]} != *-(O|A|D)\ * ]]; then
    builtin compadd -A noted "$@"
    print -rl -- $noted >> $NOTED
  fi
  builtin compadd "$@"
}
""" % _PROMPT


class _Shell:
    def __init__(self, prefix, home, variables):
        self.home = home
        self.variables = dict(variables, HOME=home, XDG_DATA_DIRS=f"{prefix}/share:/usr/share",
                              XDG_CONFIG_HOME=os.path.join(home, "config"), TERM="xterm")
        for name in ("XDG_DATA_HOME", "ZDOTDIR", "BASH_ENV", "ENV"):
            self.variables.pop(name, None)

    def write(self, name, text):
        path = os.path.join(self.home, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)

    def close(self):
        """Ends what runs still."""

    def lines(self, *command):
        done = subprocess.run(command, env=self.variables, cwd=self.home, capture_output=True,
                              text=True, timeout=DEADLINE, check=False)
        assert done.stderr == "", f"{command}: {done.stderr}"
        return set(done.stdout.split("\n")) - {""}


class Bash(_Shell):
    def __init__(self, *where):
        super().__init__(*where)
        self.write("rc", f"source /usr/share/bash-completion/bash_completion\nPS1='{_PROMPT}'\n"
                         "bind 'set enable-bracketed-paste off'\n")
        self.interactive = ["bash", "--noprofile", "--rcfile", os.path.join(self.home, "rc"), "-i"]

    def offered(self, line):
        return self.lines("bash", "--noprofile", "--norc", "-c", _BASH, "bash", line)


class Zsh(_Shell):
    def __init__(self, prefix, *where):
        super().__init__(prefix, *where)
        self.write(".zshrc", f"fpath=({prefix}/share/zsh/site-functions $fpath)\n" + _ZSHRC)
        self.interactive = ["zsh", "-i", "--no-global-rcs"]
        self._person = None

    def offered(self, line):
        noted = os.path.join(self.home, "noted")
        if self._person is None:
            self._person = Person(self, NOTED=noted)
        self.write("noted", "")
        # Emptied, the line is not carried out.
        self._person.run(line + "\t\x15true")
        with open(noted, encoding="utf-8") as file:
            return {word.removesuffix("=") for word in file.read().split("\n")} - {""}

    def close(self):
        if self._person is not None:
            self._person.leave()


class Fish(_Shell):
    def __init__(self, *where):
        super().__init__(*where)
        self.write("config/fish/config.fish",
                   f"set fish_greeting\nfunction fish_prompt; printf '%s' '{_PROMPT}'; end\n")
        self.interactive = ["fish", "-i"]

    def offered(self, line):
        # Options may take their value with a = or without.
        words = self.lines("fish", "-c", _FISH, line)
        return {re.sub(r"^(--[a-z-]+)=$", r"\1", word) for word in words}


class Person:
    """Somebody at a shell's terminal."""

    def __init__(self, shell, **variables):
        self._terminal = Terminal(["env", f"--chdir={shell.home}", *shell.interactive],
                                  dict(shell.variables, **variables), columns=500, rows=200)
        self._terminal.read_past(_PROMPT.encode())

    def type(self, text):
        """Types `text` and a command that says when all of it has been done."""
        self._terminal.type(text.encode())

    def run(self, text):
        """Types a line with its TABs, sends it off, and waits until it was carried out."""
        self.type(text + "; echo do''ne\r")
        self._terminal.read_past(b"done\r\n")
        self._terminal.read_past(_PROMPT.encode())

    def leave(self):
        self.type("exit\r")
        return self._terminal.finish()
