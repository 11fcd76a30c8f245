#!/usr/bin/env python3
"""What the documents say of the tree, of the validator and of the results holds.

Usage: documents.py KORVEL_HOST MODULE BUILD

BUILD is the configuration and the compiler, "Release GNU".
"""

import collections
import pathlib
import re
import subprocess
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
HOST, MODULE, BUILD = sys.argv[1:4]
INCLUDE = re.compile(r'^#include "([^"]+)/[^/"]+"', re.MULTILINE)
CODE = re.compile(r"`([^`\n]+)`")
MOST_FILES = 20


def text_of(name):
    return (ROOT / name).read_text()


def section(name, heading):
    """The text below a heading, up to the next of its level or above."""
    level = heading.split()[0]
    after = text_of(name).split(f"\n{heading}\n", 1)[1]
    return re.split(rf"\n#{{1,{len(level)}}} ", after)[0]


def rows(text):
    """The cells of a table's rows below its head."""
    lines = [line for line in text.splitlines() if line.startswith("|")]
    return [[cell.strip() for cell in re.split(r"(?<!\\)\|", line)[1:-1]] for line in lines[2:]]


def tracked():
    """Files of the tree: those of the repository, or all but builds where there is none."""
    listing = subprocess.run(["git", "-C", ROOT, "ls-files"], capture_output=True, text=True)
    if listing.returncode == 0:
        return [ROOT / file for file in listing.stdout.splitlines() if (ROOT / file).exists()]
    return [file for file in ROOT.rglob("*") if file.is_file() and "build" not in file.relative_to(ROOT).parts]


def checks():
    listing = subprocess.run([HOST, "validate", "--list"], capture_output=True, text=True, check=True).stdout
    return [line.split()[1] for line in listing.splitlines()]


class Architecture(unittest.TestCase):
    rooms = {CODE.findall(name)[0]: set(CODE.findall(sees)) for name, _, sees in rows(section("ARCHITECTURE.md", "## Layers"))}

    def test_every_folder_of_the_product_is_a_room(self):
        folders = {str(file.parent.relative_to(ROOT)) for file in tracked() if file.suffix in (".h", ".cpp")}
        product = {f for f in folders if f.split("/")[0] in ("metapod", "plugin", "qzmath", "states", "allocations", "host", "contact", "batch", "motion", "recording", "record")}
        self.assertEqual(product, set(self.rooms))

    def test_a_room_sees_what_the_table_says(self):
        for room, sees in self.rooms.items():
            seen = set()
            for file in (ROOT / room).glob("*.*"):
                if file.suffix in (".h", ".cpp"):
                    seen |= set(INCLUDE.findall(file.read_text()))
            self.assertEqual(seen - {room}, sees, room)

    def test_arrows_point_one_way(self):
        below = {}

        def depth(room, path=()):
            self.assertNotIn(room, path, "a circle")
            if room not in below:
                below[room] = 1 + max([depth(other, path + (room,)) for other in self.rooms[room]], default=0)
            return below[room]

        for room in self.rooms:
            depth(room)

    def test_no_folder_has_more_files_than_one_finds_a_door_among(self):
        count = collections.Counter(file.parent for file in tracked())
        crowded = {str(folder): n for folder, n in count.items() if n > MOST_FILES}
        self.assertFalse(crowded)


class Paths(unittest.TestCase):
    def test_named_files_are_there(self):
        """A path is in backticks and has a slash; a word in capitals stands for a name, build/ is not there yet."""
        for document in ("ARCHITECTURE.md", "CONTRIBUTING.md", "RELIABILITY.md", "PERFORMANCE.md"):
            for code in CODE.findall(text_of(document)):
                path = code.split()[0]
                if not re.fullmatch(r"\.?[\w.-]+(/[\w.-]+)+/?", path) or path.startswith("build/"):
                    continue
                pattern = re.sub(r"\b[A-Z]{2,}\b", "*", path)
                self.assertTrue(list(ROOT.glob(pattern)), f"{document}: {path}")


class Recipes(unittest.TestCase):
    MOST = {"A column of the results": 3, "A law of the validator": 3, "A subcommand": 4}

    def test_each_names_its_files_and_what_proves_it(self):
        recipes = re.split(r"\n### ", section("CONTRIBUTING.md", "## Where do I change it?"))[1:]
        self.assertEqual(len(recipes), 6)
        for recipe in recipes:
            title, _, body = recipe.partition("\n")
            files = re.findall(r"^\d+\. `([^`]+)`", body, re.MULTILINE)
            self.assertTrue(files, title)
            self.assertIn("Proved by", body, title)
            self.assertLessEqual(len(files), self.MOST.get(title, len(files)), title)


class Figures(unittest.TestCase):
    def test_checks_are_counted(self):
        groups = collections.Counter(check.split(".")[0] for check in checks())
        text = text_of("RELIABILITY.md")
        named = re.findall(r"`([a-z-]+)\.\*`, (\d+) checks", text)
        self.assertGreaterEqual(len(named), 4)
        for group, count in named:
            self.assertEqual(int(count), groups[group], group)
        self.assertIn(f"each of {sum(groups.values())} checks", text)

    def test_operations_are_counted(self):
        seen = subprocess.run([HOST, "validate", MODULE, "--only", "^real-time.allocates-nothing$"], capture_output=True,
                              text=True).stdout
        # Builds with a sanitizer do not count, and say so.
        if not seen.splitlines()[1].startswith("not possible"):
            operations = re.search(r"by (\d+) operations", seen)
            self.assertIn(f"; {operations[1]} operations", text_of("RELIABILITY.md"))
        interface = text_of("plugin/interface.abi").split("class-decl name='RigidBodySystem'")[1].split("</class-decl>")[0]
        virtual = len(re.findall(r"vtable-offset='\d", interface))
        self.assertIn(f"| {virtual} functions unchanged |", text_of("RELIABILITY.md"))

    def test_stack_is_that_of_what_ships(self):
        seen = subprocess.run([HOST, "validate", MODULE, "--only", "^real-time.needs-little-stack$"], capture_output=True,
                              text=True).stdout
        # Other compilers and levels need more or less.
        if BUILD == "Release GNU" and not seen.splitlines()[1].startswith("not possible"):
            stack = re.search(r"at most (\d+) bytes", seen)
            self.assertIn(f"at most {stack[1]} bytes", text_of("RELIABILITY.md"))

    def test_recorded_bits_are_those_of_the_documents(self):
        states = re.search(r"results for ([\d,]+) states", text_of("tests/proofs/bits.sh"))[1]
        for document in ("RELIABILITY.md", "CONTRIBUTING.md"):
            self.assertIn(f"{states} states", text_of(document), document)


class Results(unittest.TestCase):
    def test_readme_has_every_quantity(self):
        source = text_of("host/results/columns.cpp")
        quantities = re.findall(r'const Quantity \w+\{\s*"(\w+)",\s+"([^"]+)",\s+"([^"]+)"', source)
        self.assertGreaterEqual(len(quantities), 6)
        table = [row for row in rows(section("README.md", "## Motion files"))]
        self.assertEqual([(CODE.findall(name)[0], unit, meaning) for name, unit, meaning in table], quantities)

    def test_manual_has_every_quantity(self):
        manual = text_of("docs/korvel-host.1").split(".SS Results\n")[1].split("\n.SS ")[0]
        source = text_of("host/results/columns.cpp")
        for name in re.findall(r'const Quantity \w+\{\s*"(\w+)"', source):
            self.assertRegex(manual, rf"(?m)^\.I[RB]? {name}(_\w+)?\b", name)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
