#!/usr/bin/env python3
"""What the documents say of the tree, of the validator and of the results holds.

Usage: documents.py KORVEL_HOST
"""

import collections
import os
import pathlib
import re
import subprocess
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
HOST = sys.argv[1]
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


def place(directory):
    """Returns the place of an included directory: at the root, below module/ or below libraries/."""
    return next(str(root.relative_to(ROOT) / directory) for root in (ROOT, ROOT / "module", ROOT / "libraries")
                if (root / directory).is_dir())


def checks():
    listing = subprocess.run([HOST, "validate", "--list"], capture_output=True, text=True, check=True).stdout
    return [line.split()[1] for line in listing.splitlines()]


class Architecture(unittest.TestCase):
    rooms = {CODE.findall(name)[0]: set(CODE.findall(sees)) for name, _, sees in rows(section("ARCHITECTURE.md", "## Layers"))}

    def test_every_folder_of_the_product_is_a_room(self):
        folders = {str(file.parent.relative_to(ROOT)) for file in tracked() if file.suffix in (".h", ".cpp")}
        product = {f for f in folders if f.split("/")[0] in ("contract", "host", "libraries", "module", "recorder", "validator")}
        self.assertEqual(product, set(self.rooms))

    def test_a_room_sees_what_the_table_says(self):
        for room, sees in self.rooms.items():
            seen = set()
            for file in (ROOT / room).glob("*.*"):
                if file.suffix in (".h", ".cpp"):
                    seen |= {place(directory) for directory in INCLUDE.findall(file.read_text())}
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


class Language(unittest.TestCase):
    """Phrases that readers stumble over are not used."""

    PHRASES = re.compile(r"can(not)? be stood|\bspans?\b|weight is missing|\b(most|least) load\b|friction that would"
                         r"|performs? again|promises held|ended in order|\brooms?\b|\bdoors?\b|that flies|seeded states"
                         r"|that it comes from|the machine before|machine's mood|\b(is|are) none\b|that (is|are) there\b"
                         r"|that there (cannot|can|is|are)|tells? more|whoever|somebody|nobody|by way of|\bsome \d"
                         r"|\blikewise\b|not a number|\bborne\b|\bbears?\b", re.IGNORECASE)
    HEADERS = ("libraries/batch/korvel/batch.h", "libraries/batch/korvel/batch.hpp",
               "libraries/batch/korvel/batch_dynamics.h", "libraries/motion/korvel/motion.h",
               "module/plugin/rigid_body_system.h")

    def test_no_odd_phrase_is_used(self):
        texts = {name: text_of(name) for name in self.HEADERS}
        for file in tracked():
            if file.suffix in (".md", ".1") and file.name != "CONTRIBUTING.md":
                texts[str(file.relative_to(ROOT))] = file.read_text()
        for command in ("", "info", "run", "report", "replay", "export", "soak", "validate"):
            asked = [HOST, *command.split(), "--help"]
            texts[f"help of {command}"] = subprocess.run(asked, capture_output=True, text=True, check=True).stdout
        self.assertGreater(len(texts), 30)
        for name, text in texts.items():
            self.assertEqual([found[0] for found in self.PHRASES.finditer(text)], [], name)


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


class Commands(unittest.TestCase):
    def test_each_has_help(self):
        commands = [file for file in tracked() if file.parent.name in ("tools", "bench") and os.access(file, os.X_OK)]
        self.assertGreater(len(commands), 10)
        for command in commands:
            shown = subprocess.run([command, "--help"], capture_output=True, text=True, timeout=60, stdin=subprocess.DEVNULL)
            self.assertEqual((shown.returncode, shown.stderr), (0, ""), command)
            self.assertGreater(len(shown.stdout.split()), 10, command)


class Figures(unittest.TestCase):
    def test_checks_are_counted(self):
        groups = collections.Counter(check.split(".")[0] for check in checks())
        text = text_of("RELIABILITY.md")
        named = re.findall(r"`([a-z-]+)\.\*`, (\d+) checks", text)
        self.assertGreaterEqual(len(named), 4)
        for group, count in named:
            self.assertEqual(int(count), groups[group], group)
        self.assertIn(f"each of {sum(groups.values())} checks", text)

    def test_recorded_bits_are_those_of_the_documents(self):
        states = re.search(r"results for ([\d,]+) states", text_of("tests/proofs/bits.sh"))[1]
        for document in ("RELIABILITY.md", "CONTRIBUTING.md"):
            self.assertIn(f"{states} states", text_of(document), document)


class Results(unittest.TestCase):
    def test_reference_has_every_quantity(self):
        source = text_of("host/run/columns.cpp")
        quantities = re.findall(r'const Quantity \w+\{\s*"(\w+)",\s+"([^"]+)",\s+"([^"]+)"', source)
        self.assertGreaterEqual(len(quantities), 6)
        table = rows(section("docs/motion-files.md", "## Results"))
        self.assertEqual([(CODE.findall(name)[0], unit, meaning) for name, unit, meaning in table], quantities)

    def test_manual_has_every_quantity(self):
        manual = text_of("docs/korvel-host.1").split(".SS Results\n")[1].split("\n.SS ")[0]
        source = text_of("host/run/columns.cpp")
        for name in re.findall(r'const Quantity \w+\{\s*"(\w+)"', source):
            self.assertRegex(manual, rf"(?m)^\.I[RB]? {name}(_\w+)?\b", name)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
