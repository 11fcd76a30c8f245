"""Results obey the laws that tie them together. The tests of the libraries compare numbers with a textbook."""

import json
import subprocess
import unittest

from support import EPSILON, GRAVITY, HOST, np, random_states

import korvel


def described_bodies():
    return json.loads(subprocess.run([HOST, "info", "--json"], check=True, capture_output=True).stdout)["bodies"]


class Laws(unittest.TestCase):
    # Some ten roundings for each of ten bodies.
    ROUNDING = 100 * EPSILON

    @classmethod
    def setUpClass(cls):
        cls.states = random_states(12, 1)
        cls.batch = korvel.Batch()

    def assertClose(self, found, expected, scale=1.0):
        self.assertEqual(found.shape, expected.shape)
        self.assertLess(np.abs(found - expected).max() / scale, self.ROUNDING)

    def test_names_are_those_of_the_module(self):
        bodies = described_bodies()
        self.assertEqual(korvel.BODIES, tuple(body["name"] for body in bodies))
        self.assertEqual(korvel.PARENTS, tuple(-1 if body["parent"] is None else body["parent"] for body in bodies))
        self.assertEqual(korvel.JOINTS, korvel.BODIES[1:])
        self.assertEqual(korvel.COORDINATES, ("x", "y", "z", "roll", "pitch", "yaw", *korvel.JOINTS))

    def test_poses_in_the_world_are_those_in_the_root_moved(self):
        q = self.states[0].astype(float)
        k = self.batch.kinematics(self.states[0])
        (a, b, c), (d, e, f) = np.cos(q[:, 3:6]).T, np.sin(q[:, 3:6]).T
        R = np.stack([c * b, c * e * d - f * a, c * e * a + f * d, f * b, f * e * d + c * a, f * e * a - c * d, -e, b * d, b * a],
                     -1).reshape(-1, 1, 3, 3)
        moved = R @ k.poses_root
        moved[..., 3] += q[:, None, :3]
        self.assertClose(k.poses_world, moved, 3)
        self.assertClose(k.com, (R[:, 0] @ k.com_root[..., None])[..., 0] + q[:, :3], 3)

    def test_packed_mass_matrices_are_the_dense_ones(self):
        dense = self.batch.mass(self.states[0])
        packed = self.batch.mass(self.states[0], packed=True)
        rows, columns = korvel.MASS_ENTRIES
        unpacked = np.zeros_like(dense)
        unpacked[:, rows, columns] = unpacked[:, columns, rows] = packed
        self.assertTrue((unpacked == dense).all())

    def test_wrenches_act_by_the_jacobian(self):
        rng = np.random.default_rng(2)
        wrenches = {name: rng.uniform(-9, 9, (12, 6)).astype(np.float32) for name in ("LAnkleRoll", "HeadYaw")}
        poses = self.batch.kinematics(self.states[0]).poses_world
        loaded, expected = self.batch.dynamics(*self.states, wrenches), self.batch.dynamics(*self.states).astype(float)
        for name, wrench in wrenches.items():
            R = poses[:, korvel.BODIES.index(name), :, :3]
            force, moment = (np.einsum("nij,nj->ni", R, part) for part in (wrench[:, :3], wrench[:, 3:]))
            expected -= np.einsum("nid,ni->nd", self.batch.body_jacobian(self.states[0], name), np.hstack([moment, force]))
        self.assertClose(loaded, expected, np.abs(loaded).max())
        sums = self.batch.dynamics_sums(*self.states, wrenches)
        self.assertTrue((sums.largest == np.abs(loaded).max(0)).all())
        np.testing.assert_allclose(sums.squares, np.square(loaded.astype(float)).sum(0), 1e-12)

    def test_another_inertia_of_the_last_body_of_a_limb(self):
        q, dq, _ = self.states
        mass, com, inertia = 1.5, [0.02, -0.03, 0.05], [0.1, 0.01, 0.2, 0.02, -0.01, 0.05]
        batch = korvel.Batch()
        others = sum(body["mass"] for body in described_bodies() if body["name"] != "HeadPitch")
        batch.set_inertia("HeadPitch", mass, com, inertia)
        M = batch.mass(q)
        self.assertClose(M[:, 0, 0], np.full(len(q), others + mass), 6)
        joint = korvel.COORDINATES.index("HeadPitch")
        self.assertClose(M[:, joint, joint], np.full(len(q), inertia[5] + mass * (com[0] ** 2 + com[1] ** 2)))
        weight = batch.dynamics(q, 0 * dq, 0 * dq)[:, :3]
        self.assertClose(np.linalg.norm(weight, axis=1), M[:, 0, 0] * GRAVITY, 60)


if __name__ == "__main__":
    unittest.main(verbosity=2)
