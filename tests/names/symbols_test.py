#!/usr/bin/env python3
# SPDX-License-Identifier: MIT

"""Reads the symbols of every archive: whoever links one shares its names with it.

A name that is neither in namespace applist nor in the contract could be a name of the user's
program as well, and the linker would take two classes for one.

usage: symbols_test.py ARCHIVE...      (CXX in the environment)
"""

import os
import re
import subprocess
import sys
import tempfile
import unittest

# What the integrator implements, derives from or calls by its global name.
CONTRACT = {
    "AppListItem", "AppListModel", "ItemSelectionListener", "ItemChangeListener",
    "ItemClickListener", "LocalAppListModel", "RemoteAppListItem", "ApplistItemComparator",
    "IPCApplist", "TesselDbusLocal", "AppListRemoteControl", "PlatformLogPrint",
}
OURS = {"applist"} | CONTRACT
# What stands alone in the name of a symbol and names nothing: the words of C++, and those with
# which a demangler describes an expression.
WORDS = {
    "auto", "bool", "char", "char16_t", "char32_t", "const", "decltype", "delete", "double", "false",
    "float", "int", "long", "new", "noexcept", "nullptr", "operator", "short", "signed", "sizeof",
    "this", "true", "unsigned", "void", "volatile", "wchar_t",
}
LIBRARIES = {"std", "__gnu_cxx"}
# Of namespaces of their own, used by the programs alone.
PROGRAMS_LIBRARIES = {"nlohmann", "CLI"}
# Types of the system's C libraries, which are global in every program, and reserved names. After
# them the adapters' C functions and GObjects, which carry the project's name.
C_TYPES = re.compile(r"sd_\w+|_?G[A-Z]\w+|__\w+|inotify_event|iovec|pollfd|signalfd_siginfo|stat"
                     r"|applist_\w+|_?Applist(Item|Model)(Class)?")

DESCRIPTIONS = re.compile(
    r"^(vtable|VTT|typeinfo( name)?|guard variable|(non-)?virtual thunk"
    r"|reference temporary #\d+) (for|to) ")
DECORATIONS = re.compile(r"\[abi:\w+\]|\{\w+[^{}()]*#\d+\}|#\d+|\(anonymous namespace\)|'lambda\d*'")
LEADING_NAME = re.compile(r"(?<![\w:~])[A-Za-z_]\w*")
# Those of <new>, which stand in every object that builds in place.
PLACEMENT = re.compile(r"operator (new|delete)(\[\])?\([a-z *]+, void\*\)")
# AddressSanitizer's twin of a global variable.
TWIN = re.compile(r"^__odr_asan(_gen_|\.)")


def without_conditions(name):
    """Drops the expressions in a template's signature: a demangler leaves the names in them bare.
    Every type in them is one of the template's arguments as well."""
    pairs = {"(": ")", "<": ">"}
    while found := re.search(r"\bdecltype ?(\()|\bstd::enable_if(<)", name):
        opening = found[1] or found[2]
        depth, end = 1, found.end()
        while depth > 0:
            is_arrow = name[end - 1:end + 1] == "->"
            depth += (name[end] == opening) - (name[end] == pairs[opening] and not is_arrow)
            end += 1
        name = name[:found.start()] + name[end:]
    return name


class Symbol:
    def __init__(self, mangled, name, kind, archive):
        self.mangled = mangled
        self.name = name
        self.archive = archive
        # Of the weak ones the linker keeps any one.
        self.is_strong = kind.isupper() and kind not in "WVU"

    def is_stranger(self):
        """Whether it mentions a name that is not ours, not the contract's and not a library's, or
        is a global operator over types of the libraries alone."""
        name = DECORATIONS.sub("", DESCRIPTIONS.sub("", self.name)).replace("{lambda", "(")
        words = set(LEADING_NAME.findall(without_conditions(name)))
        known = OURS | LIBRARIES | WORDS | PROGRAMS_LIBRARIES
        if any(word not in known and not C_TYPES.fullmatch(word) for word in words):
            return True
        return (name.startswith("operator") and words.isdisjoint(OURS)
                and not PLACEMENT.fullmatch(name))


def symbols_of(archive):
    listing = subprocess.run([os.environ.get("NM", "nm"), "--defined-only", "--extern-only", "--format=posix", archive],
                             check=True, capture_output=True, text=True).stdout
    entries = [line.split() for line in listing.splitlines()]
    found = [(TWIN.sub("", entry[0]), entry[1]) for entry in entries
             if len(entry) > 2 and not entry[0].startswith("DW.ref.")]
    names = subprocess.run(["c++filt"], input="\n".join(mangled for mangled, _ in found),
                           check=True, capture_output=True, text=True).stdout.splitlines()
    return [Symbol(mangled, name, kind, os.path.basename(archive))
            for (mangled, kind), name in zip(found, names, strict=True)]


def strangers_in(symbols):
    return sorted({f"{symbol.archive}: {symbol.name}" for symbol in symbols if symbol.is_stranger()})


def defined_twice(symbols):
    homes = {}
    for symbol in symbols:
        if symbol.is_strong:
            homes.setdefault(symbol.name, set()).add(symbol.archive)
    return sorted(f"{name}: {', '.join(sorted(archives))}"
                  for name, archives in homes.items() if len(archives) > 1)


class OurArchives(unittest.TestCase):
    archives = []

    @classmethod
    def setUpClass(cls):
        cls.symbols = [symbol for archive in cls.archives for symbol in symbols_of(archive)]

    def test_define_something_each(self):
        for archive in self.archives:
            with self.subTest(archive=os.path.basename(archive)):
                self.assertIn("applist::", "".join(symbol.name for symbol in symbols_of(archive))
                              .replace("LocalAppListModel::", "applist::")
                              .replace("TesselDbusLocal::", "applist::")
                              .replace("applist_", "applist::"))

    def test_define_names_of_our_own_alone(self):
        self.assertEqual([], strangers_in(self.symbols))

    def test_define_each_thing_once(self):
        self.assertEqual([], defined_twice(self.symbols))

    def test_hold_the_item_in_one_place(self):
        homes = {symbol.archive for symbol in self.symbols
                 if symbol.name.startswith("RemoteAppListItem::") and symbol.is_strong}
        self.assertEqual({"libapplist_common.a"}, homes)


ALLOWED = """
#include <deque>
#include <functional>
#include <iosfwd>
#include <string>
class RemoteAppListItem { public: virtual ~RemoteAppListItem(); };
RemoteAppListItem::~RemoteAppListItem() {}
std::ostream& operator<<(std::ostream& out, const RemoteAppListItem&) { return out; }
struct sd_bus;
template <class Base, class T> struct IPCApplist { virtual void Send(void (T::*)(int)) {} };
namespace applist {
struct Notification { std::string text; };
std::string PrintableText(const std::string& text) { return text; }
void Keep(std::deque<Notification>& all, const Notification& one) { all.push_back(one); }
int Later(sd_bus*, std::function<int()> what) { return what(); }
int Now(int number) { return Later(nullptr, [number] { return number; }); }
}
template struct IPCApplist<RemoteAppListItem, applist::Notification>;
int PlatformLogPrint(int, int, const char*, const char*, ...) { return 0; }
"""

PLANTED = {
    "int Note(int number) { return number; }": "Note(int)",
    'extern "C" int note(int number) { return number; }': "note",
    "int g_count = 1;": "g_count",
    "#include <cstdlib>\n#include <new>\n"
    "void* operator new(std::size_t size) { return std::malloc(size); }": "operator new(",
    "struct Outbox { virtual ~Outbox(); }; Outbox::~Outbox() {}": "vtable for Outbox",
    "#include <deque>\nstruct Notification { long a[3]; };\n"
    "template class std::deque<Notification>;": "std::deque<Notification, ",
    "#include <memory>\nstruct Entry {};\nnamespace applist {"
    "std::unique_ptr<Entry> Made() { return {}; } void Take(Entry*) {} }": "applist::Take(Entry*)",
    "namespace applists { void Work() {} }": "applists::Work()",
    "namespace other { namespace applist { void Work() {} } }": "other::applist::Work()",
    "namespace applist { struct Item {}; }\n"
    "struct Any { template <class T> static void Of() {} };\n"
    "template void Any::Of<applist::Item>();": "void Any::Of<applist::Item>()",
}


class TheReading(unittest.TestCase):
    """Plants what it must find, so that silence means something."""

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def archive_of(self, name, source):
        compiled = os.path.join(self.folder.name, name + ".o")
        archive = os.path.join(self.folder.name, name + ".a")
        subprocess.run([os.environ["CXX"], "-std=c++17", "-O0", "-w", "-x", "c++", "-c", "-", "-o",
                        compiled], input=source, check=True, text=True)
        subprocess.run(["ar", "rcs", archive, compiled], check=True)
        return archive

    def test_lets_our_names_the_contract_and_the_standard_library_pass(self):
        symbols = symbols_of(self.archive_of("ours", ALLOWED))
        self.assertGreater(len(symbols), 20)
        self.assertEqual([], strangers_in(symbols))

    def test_finds_each_planted_name(self):
        for source, name in PLANTED.items():
            with self.subTest(name):
                found = strangers_in(symbols_of(self.archive_of("planted", source)))
                self.assertTrue(any(name in each for each in found), found)

    def test_finds_what_two_archives_define_and_lets_templates_pass(self):
        symbols = symbols_of(self.archive_of("one", ALLOWED)) + symbols_of(self.archive_of("two", ALLOWED))
        twice = defined_twice(symbols)
        self.assertIn("applist::Now(int): one.a, two.a", twice)
        self.assertFalse(any("push_back" in each for each in twice), twice)


if __name__ == "__main__":
    OurArchives.archives = sys.argv[1:]
    unittest.main(argv=sys.argv[:1], verbosity=2)
