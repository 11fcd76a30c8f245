"""Whatever is given for an argument, the answer is a result or one sentence of korvel.Error, and nothing crashes.

A path without a file raises FileNotFoundError.
"""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

from support import ROOT, np

import korvel

MOTIONS = pathlib.Path(ROOT) / "examples" / "motions"
RECORDING = pathlib.Path(ROOT) / "tests/recorder/data/motion.rec"
WRONG = [object(), "text", b"bytes", "avx2\0x", "\ud800", 1.5, float("nan"), -1, 2**32 + 2, -2**70, 10**400, 1e300, 1j, True, [],
         {}, (), [[1], [1, 2]], ["a"] * 6, [None] * 3, {"Foot": 1}, {"Torso": 1}, {"Torso": (1, 2, 3)}, dict, print, range(30),
         np.zeros(()), np.zeros((2, 2, 30), np.float32), np.array([object()] * 30), np.full(30, "x"), np.zeros(30, complex),
         np.zeros(30, "datetime64[s]"), np.zeros(30, [("a", float)]), np.ma.masked, np.ma.zeros((2, 30), np.float32)]


class Arguments(unittest.TestCase):
    def setUp(self):
        self.batch = korvel.Batch(1)
        self.q = np.zeros((2, 30), np.float32)
        self.ground = korvel.Ground.read(MOTIONS / "soles.csv")
        self.stand = self.batch.stand(self.q, self.q, self.q, self.ground)

    def calls(self):
        """Every function of the package with arguments that are right; those beside are passed on as they are."""
        batch, q, sole = self.batch, self.q, korvel.Sole([[0, 0, 0], [1, 0, 0], [0, 1, 0]], 1)
        motion = dict(q=q, dq=q, ddq=q)
        standing = dict(motion, ground=self.ground, contact=None)
        yield "Batch", korvel.Batch, dict(threads=1, instruction_set="baseline")
        yield "set_inertia", batch.set_inertia, dict(body="Torso", mass=1, com=[0] * 3, inertia=[1, 0, 1, 0, 0, 1])
        yield "kinematics", batch.kinematics, dict(q=q, out=None, bodies=None)
        yield "mass", batch.mass, dict(q=q, out=None)
        yield "dynamics", batch.dynamics, dict(motion, wrenches=None, out=None)
        yield "dynamics_sums", batch.dynamics_sums, dict(motion, wrenches=None)
        yield "stand", batch.stand, dict(standing, out=None)
        yield "stand_sums", batch.stand_sums, standing
        yield "kinematics strictly", lambda q: batch.kinematics(q, strict=True), dict(q=q)
        yield "Ground", korvel.Ground, dict(soles={"Torso": sole}, height=0)
        yield "Ground of soles", lambda corners, friction: korvel.Ground({"Torso": korvel.Sole(corners, friction)}), dict(
            corners=sole.corners, friction=1)
        yield "Ground.read", korvel.Ground.read, dict(path=MOTIONS / "soles.csv", height=0)
        yield "Motion.read", korvel.Motion.read, dict(path=MOTIONS / "squat.csv", cutoff=5)
        yield "Motion.of", korvel.Motion.of, dict(time=[0, 1], q=q, cutoff=5)
        yield "place_on", korvel.place_on, dict(body="LAnkleRoll", q=q, pose=np.eye(3, 4))
        yield "Recording", korvel.Recording, dict(path=RECORDING)

    def test_wrong_ones_are_errors_of_the_package(self):
        refused = 0
        for name, call, right in self.calls():
            call(**right)
            for argument in right:
                for number, wrong in enumerate(WRONG):
                    with self.subTest(function=name, argument=argument, wrong=number):
                        try:
                            call(**{**right, argument: wrong})
                        except korvel.Error as error:
                            refused += 1
                            self.assertLess(len(str(error)), 400)
                        except FileNotFoundError:
                            self.assertEqual(argument, "path")
        self.assertGreater(refused, 1000)

    def test_what_looks_right_and_is_not_is_refused(self):
        masked = np.ma.masked_equal(self.q, 0)
        cases = {
            "threads": lambda: korvel.Batch(threads=2**32 + 2),
            "null character": lambda: korvel.Batch(instruction_set="baseline\0x"),
            "path: ": lambda: korvel.Motion.read(str(MOTIONS / "squat.csv") + "\0x"),
            "q: .* mask": lambda: self.batch.mass(masked),
            "ddq: .* mask": lambda: self.batch.dynamics(self.q, self.q, masked),
            "wrench of Torso: .* mask": lambda: self.batch.dynamics(self.q, self.q, self.q, {"Torso": masked[:, :6]}),
            "out: .* mask": lambda: self.batch.dynamics(self.q, self.q, self.q, out=masked),
            "com: .* mask": lambda: self.batch.set_inertia("Torso", 1, np.ma.masked_equal([0, 1, 2], 1), [1, 0, 1, 0, 0, 1]),
            "out: expected a Kinematics": lambda: self.batch.kinematics(self.q, out=tuple(self.batch.kinematics(self.q))),
            "out.zmp: expected memory of its own": lambda: self.batch.stand(
                self.q, self.q, self.q, self.ground, contact=self.stand.zmp, out=self.stand),
            "squat.csv:1: expected the columns body": lambda: korvel.Ground.read(MOTIONS / "squat.csv"),
        }
        for sentence, call in cases.items():
            with self.subTest(sentence), self.assertRaisesRegex(korvel.Error, sentence):
                call()

    def test_float32_at_any_address_is_read(self):
        for dtype, offset in (([("skip", "i1"), ("q", np.float32, 30)], 0), ([("skip", "S3"), ("q", np.float32, 30)], 0)):
            odd = np.zeros(3, dtype)["q"]
            odd[:] = np.linspace(0, 1, 90).reshape(3, 30)
            with self.assertRaisesRegex(korvel.Error, "multiple of 4"):
                self.batch.mass(odd, strict=True)
            copied = self.batch.dynamics(odd, odd, odd, {"Torso": odd[:, :6]})
            q = odd.copy()
            np.testing.assert_array_equal(copied, self.batch.dynamics(q, q, q, {"Torso": q[:, :6]}))

    def test_only_libraries_of_the_packages_version_are_loaded(self):
        with tempfile.TemporaryDirectory() as folder:
            package = pathlib.Path(folder) / "korvel"
            shutil.copytree(pathlib.Path(korvel.__file__).parent, package, ignore=shutil.ignore_patterns("__pycache__"))
            libraries = os.environ["KORVEL_LIBRARY_PATH"]
            other = pathlib.Path(folder) / "libkorvel_batch.so.0"
            shutil.copy(pathlib.Path(libraries) / "libkorvel_motion.so.0", other)

            def error_of(path):
                python = subprocess.run([sys.executable, "-c", "import korvel"], capture_output=True, text=True, cwd=folder,
                                        env={**os.environ, "PYTHONPATH": folder, "KORVEL_LIBRARY_PATH": str(path)})
                return python.stderr.splitlines()[-1] if python.returncode else ""

            self.assertEqual(error_of(libraries), "")
            self.assertRegex(error_of(folder), "^ImportError: .*korvel_batch_version.*KORVEL_LIBRARY_PATH")
            (package / "_version.py").write_text('VERSION = "0.0.9"\n')
            self.assertRegex(error_of(libraries), "^ImportError: .*version 0.0.9, found version .*KORVEL_LIBRARY_PATH")


if __name__ == "__main__":
    unittest.main(verbosity=2)
