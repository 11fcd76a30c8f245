"""Results obey the laws that tie them together. The tests of the libraries compare numbers with a textbook."""

import json
import subprocess
import unittest

from support import HOST, np, random_states

import korvel

ARMATURE = 1e-3
H = 2**-6  # the step of differences [rad, rad/s]
BODIES = json.loads(subprocess.run([HOST, "info", "--json"], check=True, capture_output=True).stdout)["bodies"]


class Laws(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.batch = korvel.Batch()
        cls.states = random_states(20, 3)
        cls.q, cls.dq, cls.ddq = cls.states
        rng = np.random.default_rng(4)
        cls.weights = rng.uniform(-1, 1, cls.q.shape).astype(np.float32)
        cls.wrenches = {name: rng.uniform(-9, 9, (20, 6)).astype(np.float32) for name in ("LAnkleRoll", "HeadYaw")}

    def assertClose(self, found, expected, tolerance=1e-5):
        self.assertEqual(found.shape, expected.shape)
        self.assertLess(np.abs(found - expected).max() / np.abs(expected).max(), tolerance)

    def test_names_are_those_of_the_module(self):
        self.assertEqual(korvel.BODIES, tuple(body["name"] for body in BODIES))
        self.assertEqual(korvel.PARENTS, tuple(-1 if body["parent"] is None else body["parent"] for body in BODIES))
        self.assertEqual(korvel.JOINTS, korvel.BODIES[1:])
        self.assertEqual(korvel.COORDINATES, ("x", "y", "z", "roll", "pitch", "yaw", *korvel.JOINTS))

    def test_poses_in_the_root_are_those_in_the_world_of_a_root_at_its_origin(self):
        found, in_place = self.batch.kinematics(self.q), self.batch.kinematics(self.q * (np.arange(30) >= 6))
        self.assertClose(found.poses_root, in_place.poses_world)
        self.assertClose(found.com_root, in_place.com)

    def test_packed_entries_are_those_of_the_dense_matrices(self):
        M, dense = self.batch.mass(self.q), self.batch.dynamics_derivatives(*self.states)
        packed = self.batch.dynamics_derivatives(*self.states, packed=True)
        for found, of, (rows, columns) in (
                (self.batch.mass(self.q, packed=True), np.triu(M), korvel.MASS_ENTRIES),
                (packed.by_q, dense.by_q, korvel.POSITION_ENTRIES), (packed.by_dq, dense.by_dq, korvel.VELOCITY_ENTRIES)):
            rebuilt = np.zeros_like(of)
            rebuilt[:, rows, columns] = found
            np.testing.assert_array_equal(rebuilt, of)
        for rows, columns in (korvel.POSITION_ENTRIES, korvel.VELOCITY_ENTRIES):
            self.assertTrue((np.diff(30 * rows + columns) > 0).all(), "row by row")
        np.testing.assert_array_equal(M, M.swapaxes(1, 2))

    def test_wrenches_act_by_the_jacobian(self):
        poses = self.batch.kinematics(self.q).poses_world
        loaded, expected = self.batch.dynamics(*self.states, self.wrenches), self.batch.dynamics(*self.states).astype(float)
        for name, wrench in self.wrenches.items():
            R = poses[:, korvel.BODIES.index(name), :, :3]
            force, moment = (np.einsum("nij,nj->ni", R, part) for part in (wrench[:, :3], wrench[:, 3:]))
            expected -= np.einsum("nid,ni->nd", self.batch.body_jacobian(self.q, name), np.hstack([moment, force]))
        self.assertClose(loaded, expected)
        sums = self.batch.dynamics_sums(*self.states, self.wrenches)
        self.assertTrue((sums.largest == np.abs(loaded).max(0)).all())
        np.testing.assert_allclose(sums.squares, np.square(loaded.astype(float)).sum(0), 1e-12)

    def test_another_inertia_of_the_last_body_of_a_limb(self):
        mass, com, inertia = 1.5, [0.02, -0.03, 0.05], [0.1, 0.01, 0.2, 0.02, -0.01, 0.05]
        batch, joint = korvel.Batch(), korvel.COORDINATES.index("HeadPitch")
        batch.set_inertia("HeadPitch", mass, com, inertia)
        others = sum(body["mass"] for body in BODIES if body["name"] != "HeadPitch")
        M = batch.mass(self.q)[:, [0, joint], [0, joint]]
        self.assertClose(M, np.tile([others + mass, inertia[5] + mass * (com[0] ** 2 + com[1] ** 2)], (20, 1)))

    def test_derivatives_are_differences(self):
        found = self.batch.dynamics_derivatives(*self.states, self.wrenches)
        self.assertTrue((found.forces == self.batch.dynamics(*self.states, self.wrenches)).all())
        self.assertFalse(found.by_q[:, :, :3].any())
        for which, matrix in ((0, korvel.by_euler(self.q, found.by_q)), (1, found.by_dq)):
            for d, step in enumerate(H * np.eye(30, dtype=np.float32)):
                after, before = (self.batch.dynamics(*(array + sign * step * (i == which) for i, array in enumerate(self.states)),
                                                     self.wrenches).astype(float) for sign in (1, -1))
                difference = (after - before) / (2 * H)
                self.assertLess(np.abs(matrix[:, :, d] - difference).max(), 1e-3 * np.abs(matrix).max())

    def test_gradient_is_weights_times_derivatives(self):
        d = self.batch.dynamics_derivatives(*self.states, self.wrenches)
        g = self.batch.dynamics_gradient(*self.states, self.weights, self.wrenches)
        self.assertTrue((g.forces == d.forces).all())
        by_euler = korvel.by_euler(self.q, g.by_q)
        for found, matrix in ((g.by_q, d.by_q), (g.by_dq, d.by_dq), (g.by_ddq, self.batch.mass(self.q)),
                              (by_euler, korvel.by_euler(self.q, d.by_q))):
            self.assertClose(found, np.einsum("sf,sfc->sc", self.weights, matrix))
        self.assertClose(korvel.by_euler(self.q[0], g.by_q[0]), by_euler[0], 1e-12)

    def test_forward_dynamics_undoes_inverse_dynamics(self):
        lively = 10 * self.ddq
        forces = self.batch.dynamics(self.q, self.dq, lively, self.wrenches, armature=ARMATURE)
        residual = np.empty_like(self.q)
        ddq = self.batch.forward_dynamics(self.q, self.dq, forces, ARMATURE, self.wrenches, residual=residual)
        self.assertClose(ddq, lively, 1e-4)
        self.assertLess(np.abs(residual).max(), 1e-5 * np.abs(forces).max())
        rotors = np.full(24, ARMATURE)
        self.assertTrue((self.batch.forward_dynamics(self.q, self.dq, forces, rotors, self.wrenches) == ddq).all())
        heavier, rotors = self.batch.mass(self.q), np.linspace(ARMATURE, 2 * ARMATURE, 24, dtype=np.float32)
        heavier[:, range(6, 30), range(6, 30)] += rotors
        self.assertTrue((self.batch.mass(self.q, armature=rotors) == heavier).all())

    def test_momentum_and_its_rate_are_by_the_matrix(self):
        found = self.batch.momentum(*self.states)
        self.assertClose(found.momentum, np.einsum("sij,sj->si", found.matrix, self.dq))
        self.assertClose(np.einsum("sij,sj->si", found.matrix, self.ddq) + found.bias, found.rate)
        self.assertIsNone(self.batch.momentum(self.q, self.dq).rate)

    def test_jacobian_of_a_point_moves_and_accelerates_it(self):
        h, place, body = np.float32(2**-5), np.array([0.1, -0.2, 0.05]), korvel.BODIES.index("LWristYaw")
        rates = [array * (np.arange(30) >= 6) for array in (self.dq, self.ddq)]

        def places(t):
            pose = self.batch.kinematics(self.q + t * rates[0] + t * t / 2 * rates[1]).poses_world[:, body].astype(float)
            return pose[:, :, 3] + pose[:, :, :3] @ place

        before, now, after = (places(t) for t in (-h, 0, h))
        J = self.batch.body_jacobian(self.q, "LWristYaw", place)
        bias = self.batch.body_bias(self.q, rates[0], "LWristYaw", place)
        velocity, acceleration = (np.einsum("sij,sj->si", J, rate) for rate in rates)
        self.assertClose(velocity[:, 3:], (after - before) / (2 * float(h)), 1e-2)
        self.assertClose((acceleration + bias)[:, 3:], (before - 2 * now + after) / float(h) ** 2, 1e-2)


if __name__ == "__main__":
    unittest.main(verbosity=2)
