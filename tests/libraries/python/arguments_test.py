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

from support import MOTIONS, ROOT, np

import korvel

WRONG = [object(), "text", b"bytes", "avx2\0x", "\ud800", 1.5, float("nan"), -1, 2**32 + 2, -2**70, 10**400, 1e300, 1j, True, [],
         {}, (), [[1], [1, 2]], ["a"] * 6, [None] * 3, {"Foot": 1}, {"Torso": 1}, {"Torso": (1, 2, 3)}, None, print, range(30),
         np.zeros(()), np.zeros((2, 2, 30), np.float32), np.array([object()] * 30), np.full(30, "x"), np.zeros(30, complex),
         np.zeros(30, "datetime64[s]"), np.zeros(30, [("a", float)]), np.ma.masked, np.ma.zeros((2, 30), np.float32)]


class Arguments(unittest.TestCase):
    def setUp(self):
        self.batch = korvel.Batch(1)
        self.q = np.zeros((2, 30), np.float32)
        self.ground = korvel.Ground.read(MOTIONS / "soles.csv")

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
        yield "Recording", korvel.Recording, dict(path=ROOT / "tests/recorder/data/motion.rec")

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
        batch, q, flat = self.batch, self.q, [[0, 0, 0], [1, 0, 0], [0, 1, 0]]
        masked, time, numbers = np.ma.masked_equal(q, 0), np.arange(5.0), np.zeros((5, 30))
        far, back, nan = numbers.copy(), time.copy(), numbers.copy()
        far[2, 9], back[3], nan[4, 0] = 1e39, 2, np.nan

        def ground(corners, body="HeadYaw"):
            return korvel.Ground({body: korvel.Sole(corners, 1)})

        def stand(contact):
            return batch.stand(q, q, q, self.ground, contact)

        for sentence, call in (
                ("threads", lambda: korvel.Batch(threads=2**32 + 2)),
                ("threads is -1", lambda: korvel.Batch(threads=-1)),
                ("null character", lambda: korvel.Batch(instruction_set="baseline\0x")),
                ("sse9", lambda: korvel.Batch(instruction_set="sse9")),
                ("q: .* mask", lambda: batch.mass(masked)),
                ("wrench of Torso: .* mask", lambda: batch.dynamics(q, q, q, {"Torso": masked[:, :6]})),
                ("armature: expected shape", lambda: batch.forward_dynamics(q, q, q, [1.0] * 23)),
                ("armature", lambda: batch.mass(q, armature=float("nan"))),
                ("com: .* mask", lambda: batch.set_inertia("Torso", 1, np.ma.masked_equal([0, 1, 2], 1), [1, 0, 1, 0, 0, 1])),
                ("mass is not above zero", lambda: batch.set_inertia("Torso", 0, [0] * 3, [0] * 6)),
                ("com: expected shape", lambda: batch.set_inertia("Torso", 1, [0] * 4, [0] * 6)),
                ("'Tail'", lambda: batch.body_jacobian(q, "Tail")),
                ("point: expected shape", lambda: batch.body_jacobian(q, "Torso", (0, 0))),
                ("by_q", lambda: korvel.by_euler(q, batch.dynamics_derivatives(q, q, q, packed=True).by_q)),
                ("1 to 25", lambda: batch.kinematics(q, bodies=[])),
                ("1 to 25", lambda: batch.kinematics(q, bodies="Torso")),
                ("1 to 25", lambda: batch.kinematics(q, bodies=["Torso"] * 26)),
                ("soles: expected at least one", lambda: korvel.Ground({})),
                ("'Foot'", lambda: ground(flat, "Foot")),
                ("corners of HeadYaw: expected shape", lambda: ground([1, 2, 3])),
                ("corners of HeadYaw: expected numbers", lambda: ground([["a"] * 3] * 3)),
                ("corner_count", lambda: batch.stand(q, q, q, ground(flat[:2]))),
                ("contact: expected shape", lambda: stand(np.ones(3, np.float32))),
                ("contact: .* sole, found HeadYaw", lambda: stand({"HeadYaw": 1})),
                ("contact of LAnkleRoll: expected shape", lambda: stand({"LAnkleRoll": q})),
                ("squat.csv:1: expected the columns body", lambda: korvel.Ground.read(MOTIONS / "squat.csv")),
                ("path: ", lambda: korvel.Motion.read(str(MOTIONS / "squat.csv") + "\0x")),
                *((f"cutoff: .*{cutoff}", lambda cutoff=cutoff: korvel.Motion.read(MOTIONS / "wave.csv", cutoff))
                  for cutoff in (0, -1, float("nan"), float("inf"))),
                ("cutoff", lambda: korvel.Motion.read(MOTIONS / "wave.csv", 1e-300)),
                ("cutoff", lambda: korvel.Motion.of(time, numbers, 0)),
                ("sample:2", lambda: korvel.Motion.of(time, far)),
                ("sample:3: expected a time above 2", lambda: korvel.Motion.of(back, numbers)),
                ("sample:4", lambda: korvel.Motion.of(time, nan)),
                ("q: expected a time", lambda: korvel.Motion.of(time[:4], numbers)),
                ("q: expected a time", lambda: korvel.Motion.of(time, numbers[:, 1:])),
                ("n is below 1", lambda: korvel.Motion.of([], np.zeros((0, 30)))),
                ("time: expected numbers", lambda: korvel.Motion.of("a", numbers)),
                ("pose: expected a rotation", lambda: korvel.place_on("Torso", q, np.zeros((3, 4)))),
                ("pose: expected a rotation", lambda: korvel.place_on("Torso", q, -np.eye(3, 4))),
                ("pose: .* finite", lambda: korvel.place_on("Torso", q, np.eye(3, 4) + [0, 0, 0, np.nan])),
                ("pose: expected shape", lambda: korvel.place_on("Torso", q, np.eye(4)))):
            with self.subTest(sentence), self.assertRaisesRegex(korvel.Error, sentence):
                call()

    def test_only_libraries_of_the_packages_version_are_loaded(self):
        with tempfile.TemporaryDirectory() as folder:
            package, libraries = pathlib.Path(folder) / "korvel", os.environ["KORVEL_LIBRARY_PATH"]
            shutil.copytree(pathlib.Path(korvel.__file__).parent, package, ignore=shutil.ignore_patterns("__pycache__"))
            shutil.copy(libraries + "/libkorvel_motion.so.0", folder + "/libkorvel_batch.so.0")

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
