# SPDX-License-Identifier: MIT

"""Which of Debian's packages a build made use of."""

import pathlib
import re
import subprocess

# Of the shell itself, and of what was built.
_NO_PROGRAMS = re.compile(r"^(cd|kill|wait|exit|printf|build/.*)$")


def programs_of(commands):
    """Returns the files of the programs in lines that are typed into a shell."""
    words = {part.split()[0] for line in commands for part in re.split(r"&&|\|", line)}
    names = {word for word in words if not _NO_PROGRAMS.match(word)} | {"c++", "make", "pkg-config"}
    return {str(pathlib.Path("/usr/bin") / name) for name in names}


def headers_of(folder):
    """Returns the headers from outside `folder` that the compiler has noted there."""
    found = set()
    for noted in pathlib.Path(folder).rglob("*.o.d"):
        words = re.split(r"[\s\\]+", noted.read_text(encoding="utf-8"))
        found.update(word for word in words if word.startswith("/"))
    return {path for path in found if not path.startswith(f"{folder}/")}


def _owners(paths):
    """Returns the package of each file. Some know theirs by its name before /usr was merged."""
    names = {}
    for path in paths:
        for each in (path, str(pathlib.Path(path).resolve())):
            names[each] = names[each.removeprefix("/usr")] = path
    listed = subprocess.run(["dpkg-query", "-S", *names], capture_output=True, text=True,
                            check=False).stdout
    owners = {path: f"no package, but {path}" for path in paths}
    for package, name in re.findall(r"^([^:,\s]+).*: (/.*)$", listed, re.M):
        owners[names[name]] = package
    return set(owners.values())


def _installed():
    """Returns what is installed: (package, what it needs, what it stands in for, essential)."""
    form = "${Package}\t${Pre-Depends}, ${Depends}\t${Provides}\t${Essential}\n"
    listed = subprocess.run(["dpkg-query", "-W", "-f", form], capture_output=True, text=True,
                            check=True).stdout
    return [line.split("\t") for line in listed.splitlines()]


def _names(relation):
    return re.findall(r"(?:^|[,|])\s*([a-z0-9][a-z0-9.+-]+)", relation)


def _brought_by(named):
    """Returns the packages that are there once those named have been installed."""
    needs, providers, wanted = {}, {}, list(named)
    for package, relation, provided, essential in _installed():
        needs.setdefault(package, []).extend(_names(relation))
        for name in _names(provided):
            providers.setdefault(name, []).append(package)
        if essential == "yes":
            wanted.append(package)
    brought = set()
    while wanted:
        package = wanted.pop()
        if package in brought:
            continue
        brought.add(package)
        wanted += needs.get(package, []) + providers.get(package, [])
    return brought


def missing(used, named):
    """Returns the packages of the files used that nobody has who installs those named alone."""
    return sorted(_owners(used) - _brought_by(named))
