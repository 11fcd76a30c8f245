"""Derivatives, forward dynamics, momentum and jacobians against laws and differences."""

import unittest

from support import GRAVITY, mirror_images, np, random_states

import korvel

ARMATURE = 1e-3


class Dynamics(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.batch = korvel.Batch()
        cls.states = random_states(20, 3)
        cls.q, cls.dq, cls.ddq = cls.states
        rng = np.random.default_rng(4)
        cls.weights = rng.uniform(-1, 1, cls.q.shape).astype(np.float32)
        cls.wrenches = {"LAnkleRoll": rng.uniform(-9, 9, (20, 6)).astype(np.float32)}

    def assertClose(self, found, expected, tolerance):
        self.assertEqual(found.shape, expected.shape)
        self.assertLess(np.abs(found - expected).max() / np.abs(expected).max(), tolerance)

    def test_gradient_is_weights_times_derivatives(self):
        d = self.batch.dynamics_derivatives(*self.states, self.wrenches)
        g = self.batch.dynamics_gradient(*self.states, self.weights, self.wrenches)
        forces = self.batch.dynamics(*self.states, self.wrenches)
        self.assertTrue((d.forces == forces).all() and (g.forces == forces).all())
        for found, matrix in ((g.by_q, d.by_q), (g.by_dq, d.by_dq), (g.by_ddq, self.batch.mass(self.q))):
            self.assertClose(found, np.einsum("sf,sfc->sc", self.weights, matrix), 1e-5)

    def test_by_euler_has_differences_by_roll_pitch_and_yaw(self):
        by_q = korvel.by_euler(self.q, self.batch.dynamics_derivatives(*self.states, self.wrenches).by_q)
        h = np.float32(2**-6)
        for d in range(30):
            step = np.zeros_like(self.q)
            step[:, d] = h
            after, before = (self.batch.dynamics(self.q + t * step, self.dq, self.ddq, self.wrenches).astype(float)
                             for t in (1, -1))
            self.assertLess(np.abs(by_q[:, :, d] - (after - before) / (2 * float(h))).max(), 1e-3 * np.abs(by_q).max())
        gradient = self.batch.dynamics_gradient(*self.states, self.weights, self.wrenches)
        self.assertClose(korvel.by_euler(self.q, gradient.by_q), np.einsum("sf,sfc->sc", self.weights, by_q), 1e-5)
        self.assertClose(korvel.by_euler(self.q[0], gradient.by_q[0]), korvel.by_euler(self.q, gradient.by_q)[0], 1e-12)

    def test_packed_entries_are_those_of_the_dense_matrices(self):
        dense = self.batch.dynamics_derivatives(*self.states)
        packed = self.batch.dynamics_derivatives(*self.states, packed=True)
        for found, of, entries in ((packed.by_q, dense.by_q, korvel.POSITION_ENTRIES),
                                   (packed.by_dq, dense.by_dq, korvel.VELOCITY_ENTRIES)):
            rebuilt = np.zeros_like(of)
            rebuilt[:, entries[0], entries[1]] = found
            self.assertTrue((rebuilt == of).all())
            self.assertTrue((np.diff(30 * entries[0] + entries[1]) > 0).all(), "row by row")

    def test_a_turn_of_the_root_changes_gravity_and_inertia_is_homogeneous_in_velocities(self):
        d, M = self.batch.dynamics_derivatives(*self.states), self.batch.mass(self.q)
        up = self.batch.kinematics(self.q).poses_world[:, 0, 2, :3]
        by_turn = GRAVITY * np.cross(up[:, None], np.eye(3)).swapaxes(1, 2)    # of the acceleration that acts like gravity
        self.assertClose(d.by_q[:, :, 3:6], M[:, :, :3] @ by_turn, 1e-5)
        self.assertFalse(d.by_q[:, :, :3].any())
        at_rest = self.batch.dynamics(self.q, np.zeros_like(self.dq), self.ddq)
        self.assertClose(np.einsum("sfc,sc->sf", d.by_dq, self.dq), 2 * (d.forces - at_rest), 1e-5)

    def test_mirrored_states_have_mirrored_derivatives(self):
        twins, signs = mirror_images(korvel.COORDINATES)
        d = self.batch.dynamics_derivatives(*self.states)
        image = self.batch.dynamics_derivatives(*((signs * array[:, twins]).astype(np.float32) for array in self.states))
        for found, expected in ((image.by_q, d.by_q), (image.by_dq, d.by_dq)):
            self.assertClose(np.outer(signs, signs) * found[:, twins][:, :, twins], expected, 1e-5)

    def test_forward_dynamics_undoes_inverse_dynamics(self):
        lively = 10 * self.ddq
        forces = self.batch.dynamics(self.q, self.dq, lively, self.wrenches, armature=ARMATURE)
        residual = np.empty_like(self.q)
        ddq = self.batch.forward_dynamics(self.q, self.dq, forces, ARMATURE, self.wrenches, residual=residual)
        self.assertClose(ddq, lively, 1e-4)
        self.assertLess(np.abs(residual).max(), 1e-5 * np.abs(forces).max())
        rotors = np.full(24, ARMATURE)
        self.assertTrue((self.batch.forward_dynamics(self.q, self.dq, forces, rotors, self.wrenches) == ddq).all())
        heavier = self.batch.mass(self.q)
        heavier[:, range(6, 30), range(6, 30)] += np.float32(ARMATURE)
        self.assertTrue((self.batch.mass(self.q, armature=ARMATURE) == heavier).all())

    def test_momentum_and_its_rate_are_by_the_matrix(self):
        found = self.batch.momentum(*self.states)
        self.assertClose(found.momentum, np.einsum("sij,sj->si", found.matrix, self.dq), 1e-5)
        self.assertClose(np.einsum("sij,sj->si", found.matrix, self.ddq) + found.bias, found.rate, 1e-5)
        self.assertIsNone(self.batch.momentum(self.q, self.dq).rate)

    def test_jacobian_of_a_point_moves_and_accelerates_it(self):
        h, place, body = np.float32(2**-5), np.array([0.1, -0.2, 0.05]), korvel.BODIES.index("LWristYaw")
        rates = [np.concatenate([np.zeros((20, 6), np.float32), array[:, 6:]], 1) for array in (self.dq, self.ddq)]

        def places(t):
            q = self.q + t * rates[0] + t * t / 2 * rates[1]
            pose = self.batch.kinematics(q).poses_world[:, body].astype(float)
            return pose[:, :, 3] + pose[:, :, :3] @ place

        before, now, after = (places(t) for t in (-h, 0, h))
        J = self.batch.body_jacobian(self.q, "LWristYaw", place)
        bias = self.batch.body_bias(self.q, rates[0], "LWristYaw", place)
        velocity, acceleration = (np.einsum("sij,sj->si", J, rate) for rate in rates)
        self.assertClose(velocity[:, 3:], (after - before) / (2 * float(h)), 1e-2)
        self.assertClose((acceleration + bias)[:, 3:], (before - 2 * now + after) / float(h) ** 2, 1e-2)

    def test_results_go_to_existing_arrays_of_single_states_too(self):
        for n in (slice(None), 7):
            states, weights = [array[n] for array in self.states], self.weights[n]
            for first, again in (
                    (self.batch.dynamics_derivatives(*states), lambda out: self.batch.dynamics_derivatives(*states, out=out)),
                    (self.batch.dynamics_gradient(*states, weights),
                     lambda out: self.batch.dynamics_gradient(*states, weights, out=out))):
                copies = [array.copy() for array in first]
                for array in first:
                    array.fill(0)
                self.assertIs(again(first), first)
                self.assertTrue(all((a == b).all() for a, b in zip(first, copies)))
            J = self.batch.body_jacobian(states[0], "HeadPitch")
            self.assertIs(self.batch.body_jacobian(states[0], "HeadPitch", out=J), J)

    def test_wrong_arguments_are_refused(self):
        q, dq, ddq = self.states
        for call, word in (
                (lambda: self.batch.dynamics_gradient(q, dq, ddq, self.weights[:, :29]), "weights"),
                (lambda: self.batch.dynamics_derivatives(q, dq, ddq, out=q), "out"),
                (lambda: self.batch.forward_dynamics(q, dq, ddq, [1.0] * 23), "armature"),
                (lambda: self.batch.forward_dynamics(q, dq, ddq, -1.0), "armature"),
                (lambda: self.batch.forward_dynamics(q, dq, ddq, out=ddq), "out"),
                (lambda: self.batch.forward_dynamics(q, dq, ddq[:3]), "forces: expected shape"),
                (lambda: self.batch.mass(q, armature=float("nan")), "armature"),
                (lambda: self.batch.body_jacobian(q, "Tail"), "Tail"),
                (lambda: self.batch.body_jacobian(q, "Torso", (0, 0)), "point"),
                (lambda: self.batch.body_jacobian(q, "Torso", (0, 0, float("inf"))), "place"),
                (lambda: self.batch.momentum(q, dq[:3]), "dq"),
                (lambda: korvel.by_euler(q, self.batch.dynamics_derivatives(q, dq, ddq, packed=True).by_q), "by_q")):
            with self.assertRaises(korvel.Error) as raised:
                call()
            self.assertIn(word, str(raised.exception))


if __name__ == "__main__":
    unittest.main(verbosity=2)
