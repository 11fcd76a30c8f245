"""States on the ground against what the host finds for whole motions, and against closed forms."""

import os
import pickle
import tempfile
import unittest

from support import MOTIONS, columns_of, np, results_of

import korvel

SOLES = MOTIONS / "soles.csv"


class Standing(unittest.TestCase):
    batch, ground = korvel.Batch(), korvel.Ground.read(SOLES)

    def assertStandsAsTheHostHasIt(self, path, contact, some=slice(None)):
        """Loads and torques are those of the host in some samples, and the others in all."""
        motion, results, weight = korvel.Motion.read(path), results_of(path, "--soles", SOLES), 5.30535 * 9.81
        stand = self.batch.stand(motion.q, motion.dq, motion.ddq, self.ground, contact)
        borne = results["feasible"] == 1
        self.assertEqual((stand.residual <= 1e-3).tolist(), borne.tolist())
        self.assertEqual((stand.verdict == korvel.Verdict.STANDS).tolist(), borne.tolist())

        def assertNear(found, names, bound, where=some):
            expected = np.stack([results[name] for name in names], -1)
            self.assertLess(np.abs(found - expected)[where].max(initial=0), bound, names)

        assertNear(stand.zmp, ["zmp_x", "zmp_y"], 2e-5, borne)
        assertNear(stand.zmp_margin[:, None], ["zmp_margin"], 2e-5, borne)
        for i, body in enumerate(self.ground.bodies):
            assertNear(stand.loads[:, i, :3], [f"{body}_force_{axis}" for axis in "xyz"], 2e-5 * weight)
            assertNear(stand.loads[:, i, 3:], [f"{body}_moment_{axis}" for axis in "xyz"], 2e-5 * weight * 0.1)
            assertNear(stand.pressure[:, i], [f"{body}_cop_{axis}" for axis in "xy"], 2e-5)
        assertNear(stand.forces[:, 6:], [joint + "_torque" for joint in korvel.JOINTS], 2e-4)
        return borne.all()

    def test_motions_stand_as_the_host_has_them(self):
        for name, stands in (("squat.csv", True), ("weight_shift.csv", True), ("fast_step.csv", False)):
            path = MOTIONS / name
            results = results_of(path, "--soles", SOLES)
            contact = np.stack([results[body + "_contact"] for body in self.ground.bodies], -1).astype(np.float32)
            # Shares near touchdown and lift-off are a matter of time, which states do not know.
            always = np.full(len(contact), (contact == contact[0]).all())
            self.assertEqual(self.assertStandsAsTheHostHasIt(path, contact, always), stands)

    def test_columns_of_contact_say_when_soles_stand(self):
        left, right = self.ground.bodies
        step = columns_of(MOTIONS / "slow_step.csv")
        time = step["time"]
        lifted = (time > 1.3) & (time < 2.1)
        for columns in ({left: 1, right: 1 - lifted}, {right: 1 - lifted}, {left: time < 1, right: 1}, {left: 0}, {}):
            with self.subTest(columns=list(columns)), tempfile.TemporaryDirectory() as folder:
                path = os.path.join(folder, "motion.csv")
                table = {**step, **{f"{body}_contact": np.broadcast_to(column, time.shape) for body, column in columns.items()}}
                np.savetxt(path, np.stack(list(table.values()), -1), "%.12g", ",", header=",".join(table), comments="")
                motion = korvel.Motion.read(path)
                self.assertEqual(motion.contact.keys(), columns.keys())
                if right in columns:
                    self.assertStandsAsTheHostHasIt(path, motion.contact)

    def test_shares_that_are_unknown_are_seen(self):
        q, dq, ddq = (np.tile(array, (40, 1)) for array in np.zeros((3, 30), np.float32))
        q[:, 2] = 0.335 + np.linspace(-0.01, 0.01, 40)
        seen = self.batch.stand(q, dq, ddq, self.ground)
        nan = np.full((40, 2), np.nan, np.float32)
        left, right = self.ground.bodies
        one = self.batch.stand(q, dq, ddq, self.ground, {right: 0.0})
        for contact, stand in ((nan, seen), ({}, seen), ({left: nan[:, 0]}, seen), (np.array([np.nan, 0], np.float32), one)):
            for found, expected in zip(self.batch.stand(q, dq, ddq, self.ground, contact), stand):
                np.testing.assert_array_equal(found, expected)
        self.assertGreater(len(np.unique(seen.verdict)), 1)
        self.assertFalse(one.loads[:, 1].any())

    def test_sums_are_those_of_all_states(self):
        q, rest = (np.zeros((3, 30), np.float32) for _ in range(2))
        q[:, 2] = 0.335
        stand, sums = (compute(q, rest, rest, self.ground) for compute in (self.batch.stand, self.batch.stand_sums))
        self.assertTrue((stand.verdict == korvel.Verdict.STANDS).all())
        self.assertEqual((sums.unbearable, sums.least_margin), (0, stand.zmp_margin.min()))
        self.assertTrue(np.array_equal(sums.largest, np.abs(stand.forces).max(0)))

    def test_a_state_that_is_not_finite_says_so(self):
        q, rest = (np.zeros((5, 30)) for _ in range(2))
        q[:, 2] = 1
        q[3, 9] = np.nan
        verdict = self.batch.stand(q, rest, rest, self.ground, np.zeros(2)).verdict
        self.assertEqual(verdict.tolist(), [korvel.Verdict.NOTHING_BEARS] * 3 + [korvel.Verdict.NOT_FINITE, 1])
        self.assertEqual(korvel.Verdict(self.batch.stand(q[3], rest[3], rest[3], self.ground).verdict), -1)

    def test_grounds_are_copied_whole(self):
        other = pickle.loads(pickle.dumps(korvel.Ground(self.ground.soles, 0.5)))
        self.assertEqual((other.bodies, other.height), (self.ground.bodies, 0.5))
        self.assertEqual(other.soles, self.ground.soles)


if __name__ == "__main__":
    unittest.main()
