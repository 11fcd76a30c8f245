"""States on the ground against what the host finds for whole motions, and against closed forms."""

import os
import pickle
import subprocess
import tempfile
import unittest

from support import GRAVITY, HOST, ROOT, np

import korvel

MOTIONS = os.path.join(ROOT, "motions")
SOLES = os.path.join(MOTIONS, "soles.csv")


def results_of(name):
    """The motion, and the columns of the host's results by their names."""
    motion = os.path.join(MOTIONS, name)
    with tempfile.TemporaryDirectory() as folder:
        results = os.path.join(folder, "results.csv")
        subprocess.run([HOST, "run", motion, "--soles", SOLES, "-o", results], check=True, capture_output=True)
        with open(results, encoding="ascii") as file:
            names = file.readline().strip().split(",")
            table = np.loadtxt(file, delimiter=",")
    return korvel.Motion.read(motion), dict(zip(names, table.T))


class Standing(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.batch = korvel.Batch()
        cls.ground = korvel.Ground.read(SOLES)

    def test_motions_stand_as_the_host_has_them(self):
        weight = 5.30535 * GRAVITY
        for name, stands in (("squat.csv", True), ("weight_shift.csv", True), ("fast_step.csv", False)):
            motion, results = results_of(name)
            contact = np.stack([results[body + "_contact"] for body in self.ground.bodies], -1).astype(np.float32)
            # Shares near touchdown and lift-off are a matter of time, which states do not know.
            whole = (contact == contact[0]).all()
            stand = self.batch.stand(motion.q, motion.dq, motion.ddq, self.ground, contact)
            self.assertEqual(bool((stand.verdict == korvel.Verdict.STANDS).all()), stands)
            self.assertEqual((stand.residual <= 1e-3).tolist(), results["feasible"].astype(bool).tolist())
            zmp = np.stack([results["zmp_x"], results["zmp_y"]], -1)
            some = results["feasible"] == 1
            self.assertLess(np.abs(stand.zmp - zmp)[some].max(), 2e-5)
            self.assertLess(np.abs(stand.zmp_margin - results["zmp_margin"])[some].max(), 2e-5)
            if not whole:
                continue
            for i, body in enumerate(self.ground.bodies):
                force = np.stack([results[f"{body}_force_{axis}"] for axis in "xyz"], -1)
                moment = np.stack([results[f"{body}_moment_{axis}"] for axis in "xyz"], -1)
                self.assertLess(np.abs(stand.loads[:, i, :3] - force).max(), 2e-5 * weight)
                self.assertLess(np.abs(stand.loads[:, i, 3:] - moment).max(), 2e-5 * weight * 0.1)
                pressure = np.stack([results[f"{body}_cop_{axis}"] for axis in "xy"], -1)
                self.assertLess(np.abs(stand.pressure[:, i] - pressure).max(), 2e-5)
            torques = np.stack([results[joint + "_torque"] for joint in korvel.JOINTS], -1)
            self.assertLess(np.abs(stand.forces[:, 6:] - torques).max(), 2e-4)

    def test_at_rest_the_ground_bears_the_weight(self):
        q = np.zeros((3, 30), np.float32)
        k = self.batch.kinematics(q)
        foot = korvel.BODIES.index("LAnkleRoll")
        q[:, 2] = 0.045 - k.poses_world[0, foot, 2, 3]
        rest = np.zeros_like(q)
        stand = self.batch.stand(q, rest, rest, self.ground)
        com = self.batch.kinematics(q).com
        self.assertTrue((stand.verdict == korvel.Verdict.STANDS).all())
        weight = self.batch.mass(q)[:, 0, 0] * GRAVITY
        self.assertLess(np.abs(stand.loads[:, :, 2].sum(1) - weight).max(), 1e-3)
        self.assertLess(np.abs(stand.zmp - com[:, :2]).max(), 2e-5)
        # One state, and sums, are the same numbers.
        one = self.batch.stand(q[0], rest[0], rest[0], self.ground, np.ones(2, np.float32))
        for single, each in zip(one, stand):
            self.assertTrue(np.array_equal(single, each[0]))
        sums = self.batch.stand_sums(q, rest, rest, self.ground)
        self.assertEqual((sums.unbearable, sums.least_margin), (0, stand.zmp_margin.min()))
        self.assertTrue(np.array_equal(sums.largest, np.abs(stand.forces).max(0)))
        # In the air it hangs by its root.
        falls = self.batch.stand(q, rest, rest, self.ground, np.zeros(2, np.float32))
        self.assertTrue((falls.verdict == korvel.Verdict.NOTHING_BEARS).all())
        self.assertLess(np.abs(falls.forces[:, 2] - weight).max(), 1e-3)

    def test_results_go_where_they_are_told_to(self):
        motion = korvel.Motion.read(os.path.join(MOTIONS, "squat.csv"))
        arguments = motion.q, motion.dq, motion.ddq, self.ground
        expected = self.batch.stand(*arguments)
        out = korvel.Stand(*(np.full_like(array, 7) for array in expected))
        self.assertIs(self.batch.stand(*arguments, out=out), out)
        for found, right in zip(out, expected):
            self.assertTrue(np.array_equal(found, right))
        for spoilt in (out._replace(zmp=out.zmp[1:]), out._replace(loads=out.forces), out._replace(verdict=out.residual),
                       out._replace(residual=out.residual.astype(float))):
            with self.assertRaises(korvel.Error):
                self.batch.stand(*arguments, out=spoilt)

    def test_grounds_that_are_none_are_refused_in_a_sentence(self):
        flat = [[0, 0, 0], [1, 0, 0], [0, 1, 0]]
        for soles, word in (({}, "at least one"), ({"Foot": korvel.Sole(flat, 1)}, "Foot"),
                            ({"HeadYaw": korvel.Sole([1, 2, 3], 1)}, "shape"),
                            ({"HeadYaw": korvel.Sole([["a"] * 3] * 3, 1)}, "numbers")):
            with self.assertRaisesRegex(korvel.Error, word):
                korvel.Ground(soles)
        q = np.zeros(30, np.float32)
        for sole, word in ((korvel.Sole(flat, -1), "friction"), (korvel.Sole(flat[:2], 1), "corner_count")):
            with self.assertRaisesRegex(korvel.Error, word):
                self.batch.stand(q, q, q, korvel.Ground({"HeadYaw": sole}))
        with self.assertRaisesRegex(korvel.Error, "contact"):
            self.batch.stand(q, q, q, self.ground, np.ones(3, np.float32))
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "soles.csv")
            for text, word in (("", ":1: "), ("body,x,y,z\n", ":1: "), ("body,x,y,z,friction\n", "corner"),
                               ("body,x,y,z,friction\nFoot,1,2,3,1\n", ":2: "),
                               ("body,x,y,z,friction\nHeadYaw,1,2,b,1\n", ":2: .*number"),
                               ("body,x,y,z,friction\nHeadYaw,1,2,3,1\nHeadYaw,1,2,4,2\n", ":3: .*friction")):
                with open(path, "w", encoding="ascii") as file:
                    file.write(text)
                with self.assertRaisesRegex(korvel.Error, word):
                    korvel.Ground.read(path)

    def test_grounds_are_copied_whole(self):
        other = pickle.loads(pickle.dumps(korvel.Ground(self.ground.soles, 0.5)))
        self.assertEqual((other.bodies, other.height), (self.ground.bodies, 0.5))
        self.assertEqual(other.soles, self.ground.soles)


if __name__ == "__main__":
    unittest.main()
