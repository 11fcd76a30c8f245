#!/usr/bin/env python3
"""The listings of the README and of docs/ run, and print what the documents show.

Usage: listings.py SOURCE BUILD

A `console` block has commands behind "$ " and their output, in which "..." stands for any lines. A `python` block goes
on with the names of those before it in its document, and a `text` block behind it is what it prints; if the line
before it names a file, "`NAME.py`:", it is saved under that name instead. A `cpp` or `c` block compiles behind the
declarations below, or is a whole file. A block behind a line that ends in a file's name, "`NAME`:", is saved there. A `sh` block installs, and is only looked at: its programs exist.
"""

import importlib.util
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE, BUILD = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
DOCUMENTS = [SOURCE / "README.md", *sorted((SOURCE / "docs").glob("*.md"))]
BLOCK = re.compile(r"(?:`([\w/.]+)`:\n\n)?^```(\w+)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
INCLUDES = ["-I" + str(SOURCE / directory) for directory in ("module", "libraries/batch")] + ["-isystem", "/usr/include/eigen3"]
FRAGMENTS = {
    "README.md": """#include "plugin/rigid_body_system.h"
void cycle(tesk::RigidBodySystem* robot, const QZ::Math::Transform& pose, const QZ::Math::Velocity6D& velocity,
           const QZ::Math::Velocity6D& acceleration, const Eigen::ArrayXf& q, const Eigen::ArrayXf& dq,
           const Eigen::ArrayXf& ddq, unsigned long left_foot, const std::vector<float>& wrench) {""",
    "controller.md": """#include "korvel/batch.h"
#include "plugin/rigid_body_system.h"
void quantities(const tesk::RigidBodySystem& robot, const korvel_batch* batch, const float* q, const float* dq,
                const float* ddq) {""",
}


def matches(shown, printed):
    """Returns whether the shown lines, with "..." for any lines, are those that were printed."""
    parts = [re.escape(part) for part in ("\n" + shown).split("\n...")]
    return re.fullmatch(r"(?:\n.*)*".join(parts) + r"\n*", "\n" + printed.rstrip("\n")) is not None


class Listings(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        shutil.copytree(SOURCE / "examples", self.folder / "examples")
        for library in ("libkorvel.so", "libkorvel_record.so"):
            shutil.copy(BUILD / library, self.folder)
        self.environment = {**os.environ, "PATH": f"{BUILD}:{os.environ['PATH']}", "KORVEL_LIBRARY_PATH": str(BUILD),
                            "PYTHONPATH": str(SOURCE / "libraries" / "python")}
        self.session = ""

    def run_there(self, command, **options):
        return subprocess.run(command, cwd=self.folder, env=self.environment, text=True, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, **options)

    def console(self, text):
        for command, shown in re.findall(r"^\$ ((?:.*\\\n)*.*)\n((?:(?!\$ ).*\n)*)", text, re.MULTILINE):
            if command.startswith("korvel-host report") and not (BUILD / "report.html").exists():
                continue
            ended = self.run_there(["bash", "-c", command])
            self.assertEqual(ended.returncode, 0, f"{command}\n{ended.stdout}")
            self.assertTrue(matches(shown.rstrip("\n"), ended.stdout), f"{command}\nshown:\n{shown}\nprinted:\n{ended.stdout}")

    def python(self, text, shown):
        before, self.session = self.session, self.session + text
        script = f"import contextlib, io\nwith contextlib.redirect_stdout(io.StringIO()):\n    exec({before!r})\n{text}"
        ended = self.run_there([sys.executable, "-c", script])
        self.assertEqual(ended.returncode, 0, ended.stdout)
        if shown is not None:
            self.assertTrue(matches(shown.rstrip("\n"), ended.stdout), f"shown:\n{shown}\nprinted:\n{ended.stdout}")

    def compiled(self, document, language, text):
        if "#include" not in text:
            text = f"{FRAGMENTS[document]}\n{text}\n  (void)0;\n}}\n"
        ended = self.run_there(["g++", "-std=c++17", "-fsyntax-only", *INCLUDES, "-x", "c++", "-"], input=text)
        self.assertEqual(ended.returncode, 0, f"{language}:\n{ended.stdout}")

    def sh(self, text):
        for program in re.findall(r"^(?:python3 )?((?:\./|tools/|examples/)[\w/.-]+)", text, re.MULTILINE):
            self.assertTrue((SOURCE / program).exists(), program)

    def listings_of(self, document):
        blocks = BLOCK.findall(document.read_text())
        for at, (name, language, text) in enumerate(blocks):
            follows = blocks[at + 1] if at + 1 < len(blocks) else ("", "", "")
            with self.subTest(document=document.name, text=text.splitlines()[0]):
                if language == "console":
                    self.console(text)
                elif name:
                    (self.folder / name).parent.mkdir(parents=True, exist_ok=True)
                    (self.folder / name).write_text(text)
                elif language == "python" and importlib.util.find_spec("numpy"):
                    self.python(text, follows[2] if follows[1] == "text" else None)
                elif language in ("c", "cpp"):
                    self.compiled(document.name, language, text)
                elif language == "sh":
                    self.sh(text)


    def test_a_host_brings_its_own_math_types(self):
        """Builds a host with the header that the guide shows and a library that has only the types."""
        guide = (SOURCE / "docs" / "embedding.md").read_text()
        header = next(text for name, _, text in BLOCK.findall(guide) if name == "my_include/qzmath/qzmath.h")
        (self.folder / "my_include" / "qzmath").mkdir(parents=True)
        (self.folder / "my_include" / "qzmath" / "qzmath.h").write_text(header)
        (self.folder / "my_math").mkdir()
        (self.folder / "my_math" / "types.h").write_text("""namespace QZ::Math {
struct Position3D { float x{}, y{}, z{}; };
struct Transform { float r00{1}, r01{}, r02{}, tx{}, r10{}, r11{1}, r12{}, ty{}, r20{}, r21{}, r22{1}, tz{}; };
struct Velocity6D { float x{}, y{}, z{}, wx{}, wy{}, wz{}; };
}""")
        ended = self.run_there(["g++", "-std=c++17", "-Imy_include", "-I.", *INCLUDES, "examples/minimal_host.cpp", "-o", "host"])
        self.assertEqual(ended.returncode, 0, ended.stdout)
        self.assertIn("kg", self.run_there(["./host", "./libkorvel.so"]).stdout)


for each in DOCUMENTS:
    name = "test_" + re.sub(r"\W", "_", str(each.relative_to(SOURCE))).lower()
    setattr(Listings, name, lambda self, document=each: self.listings_of(document))

if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
