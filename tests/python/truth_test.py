"""Results against a robot of point masses in double precision."""

import subprocess
import tempfile
import unittest

from support import EPSILON, HOST, PointRobot, np, random_states

import korvel


def robot():
    with tempfile.NamedTemporaryFile(suffix=".urdf") as file:
        subprocess.run([HOST, "export", "--urdf", file.name], check=True)
        return PointRobot(file.name, list(korvel.BODIES))


class Truth(unittest.TestCase):
    # Ten bodies one after the other, some ten roundings for each.
    ROUNDING = 100 * EPSILON

    @classmethod
    def setUpClass(cls):
        cls.robot = robot()
        cls.states = random_states(12, 1)
        cls.q, cls.dq, cls.ddq = (array.astype(float) for array in cls.states)
        cls.batch = korvel.Batch()

    def assertClose(self, found, expected, scale=1.0):
        self.assertEqual(found.shape, expected.shape)
        self.assertLess(np.abs(found - expected).max() / scale, self.ROUNDING)

    def test_names_are_those_of_the_tree(self):
        self.assertEqual(korvel.PARENTS, tuple(self.robot.parents))
        self.assertEqual(korvel.JOINTS, korvel.BODIES[1:])
        self.assertEqual(korvel.COORDINATES, ("x", "y", "z", "roll", "pitch", "yaw", *korvel.JOINTS))

    def test_poses_and_centres_of_mass(self):
        k = self.batch.kinematics(self.states[0])
        R, p = self.robot.moved(self.q, 0 * self.q, 0 * self.q, 0)
        self.assertClose(k.poses_world, np.concatenate([R, p[..., None]], -1), 3)
        to_root = np.swapaxes(R[:, :1], -1, -2)
        in_root = to_root @ (p - p[:, :1])[..., None]
        self.assertClose(k.poses_root, np.concatenate([to_root @ R, in_root], -1), 3)
        masses = np.array([m for _, m, _ in self.robot.points])
        com = masses @ self.robot.places([(b, at) for b, _, at in self.robot.points], (R, p)) / masses.sum()
        self.assertClose(k.com, com, 3)
        self.assertClose(k.com_root, (to_root[:, 0] @ (com - p[:, 0])[..., None])[..., 0], 3)

    def test_jacobian_has_the_motions_of_the_poses_in_the_root(self):
        jacobian = self.batch.kinematics(self.states[0], jacobian=True).jacobian
        root = np.broadcast_to(np.eye(3), (len(self.q), 3, 3)), np.zeros((len(self.q), 3))
        h = 1e-6
        for j in range(len(korvel.JOINTS)):
            (R0, p0), (R1, p1) = (self.robot.poses(root, self.q[:, 6:] + t * np.eye(24)[j]) for t in (-h, h))
            R, p = self.robot.poses(root, self.q[:, 6:])
            spin = (R1 - R0)[:, j + 1] / (2 * h) @ np.swapaxes(R[:, j + 1], -1, -2)
            w = np.stack([spin[:, 2, 1], spin[:, 0, 2], spin[:, 1, 0]], -1)
            v = (p1 - p0)[:, j + 1] / (2 * h) - np.cross(w, p[:, j + 1])
            self.assertClose(jacobian[:, :, 6 + j], np.concatenate([w, v], -1))
        self.assertTrue((jacobian[:, :, :6] == np.roll(np.eye(6), 3, 1)).all())

    def test_mass_matrices(self):
        expected = self.robot.mass(self.q)
        dense = self.batch.mass(self.states[0])
        self.assertClose(dense, expected, np.abs(expected).max())
        packed = self.batch.mass(self.states[0], packed=True)
        rows, columns = korvel.MASS_ENTRIES
        unpacked = np.zeros_like(dense)
        unpacked[:, rows, columns] = unpacked[:, columns, rows] = packed
        self.assertTrue((unpacked == dense).all())

    def test_forces(self):
        rng = np.random.default_rng(2)
        wrenches = {name: rng.uniform(-9, 9, (len(self.q), 6)).astype(np.float32) for name in ("LAnkleRoll", "HeadYaw")}
        for given in ({}, wrenches):
            expected = self.robot.forces(self.q, self.dq, self.ddq, given)
            found = self.batch.dynamics(*self.states, given)
            self.assertClose(found, expected, np.abs(expected).max())
        sums = self.batch.dynamics_sums(*self.states, wrenches)
        self.assertTrue((sums.largest == np.abs(found).max(0)).all())
        np.testing.assert_allclose(sums.squares, np.square(found.astype(float)).sum(0), 1e-12)

    def test_another_inertia(self):
        body, mass, com, half = 12, 1.5, np.array([0.02, -0.03, 0.05]), np.array([0.1, 0.2, 0.05])
        robot, (xx, yy, zz) = self.robot.pulled_apart(body, mass, com, half)
        batch = korvel.Batch()
        batch.set_inertia(korvel.BODIES[body], 9.0, [0, 0, 0], [1, 0, 1, 0, 0, 1])
        batch.set_inertia(korvel.BODIES[body], mass, com, [xx, 0, yy, 0, 0, zz])
        expected = robot.mass(self.q)
        self.assertClose(batch.mass(self.states[0]), expected, np.abs(expected).max())
        expected = robot.forces(self.q, self.dq, self.ddq, {})
        self.assertClose(batch.dynamics(*self.states), expected, np.abs(expected).max())


if __name__ == "__main__":
    unittest.main(verbosity=2)
