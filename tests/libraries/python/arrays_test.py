"""Arrays are read and written where they are, and nothing else is taken for one."""

import tracemalloc
import unittest

from support import MOTIONS, np, random_states

import korvel
from korvel import _memory

N = 700  # More than one stretch, and no multiple of a tile.
GROUND = korvel.Ground.read(MOTIONS / "soles.csv")
# Operations on coordinates, velocities, accelerations and a wrench.
OPERATIONS = {
    "kinematics": lambda batch, q, dq, ddq, w, **out: batch.kinematics(q, jacobian=True, **out),
    "mass": lambda batch, q, dq, ddq, w, **out: batch.mass(q, **out),
    "packed mass": lambda batch, q, dq, ddq, w, **out: batch.mass(q, packed=True, **out),
    "dynamics": lambda batch, q, dq, ddq, w, **out: batch.dynamics(q, dq, ddq, {"RAnkleRoll": w}, **out),
    "derivatives": lambda batch, q, dq, ddq, w, **out: batch.dynamics_derivatives(q, dq, ddq, {"RAnkleRoll": w}, **out),
    "gradient": lambda batch, q, dq, ddq, w, **out: batch.dynamics_gradient(q, dq, ddq, dq, {"RAnkleRoll": w}, **out),
    "forward dynamics": lambda batch, q, dq, ddq, w, **out: batch.forward_dynamics(q, dq, ddq, 1e-3, {"RAnkleRoll": w}, **out),
    "jacobian": lambda batch, q, dq, ddq, w, **out: batch.body_jacobian(q, "HeadPitch", **out),
    "stand": lambda batch, q, dq, ddq, w, **out: batch.stand(q, dq, ddq, GROUND, np.ones(2, np.float32), **out),
}


def layouts(array):
    """The same numbers in other places."""
    wide = np.full((len(array), 41), np.nan, np.float32)
    wide[:, 5:35] = array
    apart = np.full((2 * len(array), 60), np.nan, np.float32)
    apart[::2, ::2] = array
    read_only = array.copy()
    read_only.flags.writeable = False
    return {
        "columns": np.asfortranarray(array),
        "part of a table": wide[:, 5:35],
        "every other number of every other row": apart[::2, ::2],
        "upwards": array[::-1].copy()[::-1],
        "backwards": array[:, ::-1].copy()[:, ::-1],
        "read-only": read_only,
    }


class Arrays(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.batch = korvel.Batch(2)
        cls.states = random_states(N, 3)
        cls.wrench = np.random.default_rng(4).uniform(-5, 5, (N, 6)).astype(np.float32)
        cls.expected = {name: compute(cls.batch, *cls.states, cls.wrench) for name, compute in OPERATIONS.items()}

    def assertSame(self, found, expected, message=None):
        """Both are an array, or results of the same kind."""
        self.assertIs(type(found), type(expected))
        for one, other in zip(*(([results] if isinstance(results, np.ndarray) else results) for results in (found, expected)),
                              strict=True):
            np.testing.assert_array_equal(one, other, message)

    def assertEverythingIsSame(self, states, wrench, part=slice(None), message=None):
        for name, compute in OPERATIONS.items():
            results = self.expected[name]
            expected = results[part] if isinstance(results, np.ndarray) else type(results)(*(array[part] for array in results))
            self.assertSame(compute(self.batch, *states, wrench), expected, f"{name} {message}")

    def test_any_layout_is_read(self):
        for name, wrench in layouts(np.hstack([self.wrench] * 5)).items():
            self.assertEverythingIsSame([layouts(array)[name] for array in self.states], wrench[:, :6], message=name)

    def test_any_layout_is_written(self):
        for name, out in layouts(np.full((N, 30), np.nan, np.float32)).items():
            if name != "read-only":
                OPERATIONS["dynamics"](self.batch, *self.states, self.wrench, out=out)
                np.testing.assert_array_equal(out, self.expected["dynamics"], name)
        dense = np.zeros((N, 40, 40), np.float32)
        with self.assertRaisesRegex(korvel.Error, "out: expected the numbers of a state at even distances"):
            self.batch.mass(self.states[0], out=dense[:, :30, :30])
        self.assertFalse(dense.any())
        every_other = np.zeros((2 * N, 30, 30), np.float32)[::2]
        self.assertSame(self.batch.mass(self.states[0], out=every_other), self.expected["mass"])

    def test_results_are_written_over_those_before(self):
        for part in (slice(None), 7):
            states, wrench = [array[part] for array in self.states], self.wrench[part]
            for name, compute in OPERATIONS.items():
                out = compute(self.batch, states[1], *states[1:], wrench)
                self.assertIs(compute(self.batch, *states, wrench, out=out), out, name)
                self.assertSame(out, compute(self.batch, *states, wrench), name)
        without = self.batch.kinematics(self.states[1])
        self.assertIsNone(without.jacobian)
        self.assertSame(self.batch.kinematics(self.states[0], out=without), self.expected["kinematics"]._replace(jacobian=None))

    def test_a_single_state_and_what_is_the_same_in_all(self):
        for part in (slice(1), slice(5), slice(8), 7):
            self.assertEverythingIsSame([array[part] for array in self.states], self.wrench[part], part)
        q, dq, ddq = self.states
        same = self.batch.dynamics(q, np.broadcast_to(dq[0], q.shape), ddq, {"RAnkleRoll": self.wrench[0]})
        repeated = self.batch.dynamics(q, np.tile(dq[0], (N, 1)), ddq, {"RAnkleRoll": np.tile(self.wrench[0], (N, 1))})
        self.assertSame(same, repeated)

    def test_nothing_is_copied(self):
        q, dq, ddq = (np.asfortranarray(np.tile(array, (20, 1))) for array in self.states)
        out = np.empty_like(q)
        tracemalloc.start()
        self.addCleanup(tracemalloc.stop)
        self.batch.dynamics(q, dq, ddq, out=out)
        self.batch.dynamics_sums(q, dq, ddq)
        self.assertLess(tracemalloc.get_traced_memory()[1], q.nbytes / 20)

    def test_other_numbers_are_copied_unless_the_call_is_strict(self):
        q = self.states[0]
        for other in (q.astype(float), q[0].tolist(), q.astype(">f4"), np.zeros((2, 30), int)):
            with self.assertRaisesRegex(korvel.Error, r"q: .*strict=True"):
                self.batch.kinematics(other, strict=True)
            self.assertSame(self.batch.mass(other), self.batch.mass(np.array(other, np.float32), strict=True))
        for skip in ("i1", "S3"):
            odd = np.zeros(3, [("skip", skip), ("q", np.float32, 30)])["q"]
            odd[:] = np.linspace(0, 1, 90).reshape(3, 30)
            with self.assertRaisesRegex(korvel.Error, "multiple of 4"):
                self.batch.mass(odd, strict=True)
            copied, q = self.batch.dynamics(odd, odd, odd, {"Torso": odd[:, :6]}), odd.copy()
            self.assertSame(copied, self.batch.dynamics(q, q, q, {"Torso": q[:, :6]}))

    def test_poses_of_some_bodies(self):
        q, names = self.states[0], ["RAnkleRoll", "Torso", "LWristYaw"]
        numbers = [korvel.BODIES.index(name) for name in names]
        poses_root, poses_world, *others = self.expected["kinematics"]
        expected = korvel.Kinematics(poses_root[:, numbers], poses_world[:, numbers], *others)
        for some in (slice(None), slice(3), 7):
            self.assertSame(self.batch.kinematics(q[some], jacobian=True, bodies=names),
                            korvel.Kinematics(*(array[some] for array in expected)))
        again = korvel.Kinematics(*(np.full_like(array, 7, order="C") for array in expected[:4]))
        self.assertIs(self.batch.kinematics(q, bodies=names, out=again), again)
        self.assertSame(again, expected._replace(jacobian=None))

    def test_what_cannot_be_is_refused_and_nothing_is_written(self):
        batch, (q, dq, ddq), w = self.batch, self.states, self.wrench
        out, k = np.zeros_like(q), korvel.Kinematics(*map(np.zeros_like, self.expected["kinematics"]))
        stand = korvel.Stand(*map(np.zeros_like, self.expected["stand"]))
        read_only = layouts(out)["read-only"]
        shifted = np.frombuffer(bytearray(4 * 30 * N + 2), np.float32, 30 * N, offset=2).reshape(N, 30)
        for sentence, call in (
                ("q: expected shape", lambda: batch.kinematics(q[:, :29], out=k)),
                ("q: expected shape", lambda: batch.kinematics(q[None], out=k)),
                ("out.poses_root: expected shape", lambda: batch.kinematics(q, bodies=["Torso"], out=k)),
                ("out.jacobian: expected", lambda: batch.kinematics(q, True, out=k._replace(jacobian=None))),
                ("out.com: expected memory of its own", lambda: batch.kinematics(q, out=k._replace(com=k.com_root))),
                ("out: expected a Kinematics", lambda: batch.kinematics(q, out=tuple(k))),
                ("n is 0", lambda: batch.dynamics(q[:0], dq[:0], ddq[:0])),
                ("dq: expected shape", lambda: batch.dynamics(q, dq[:-1], ddq, out=out)),
                ("ddq: expected shape", lambda: batch.dynamics(q, dq, ddq[0], out=out)),
                ("forces: expected shape", lambda: batch.forward_dynamics(q, dq, ddq[:3], out=out)),
                ("weights: expected shape", lambda: batch.dynamics_gradient(q, dq, ddq, ddq[:, :29])),
                ("out: expected shape", lambda: batch.dynamics(q, dq, ddq, out=out[:, :29])),
                ("out: .* float32", lambda: batch.dynamics(q, dq, ddq, out=out.astype(float))),
                ("out: .* mask", lambda: batch.dynamics(q, dq, ddq, out=np.ma.array(out))),
                ("out: .* read-only", lambda: batch.dynamics(q, dq, ddq, out=read_only)),
                ("out: expected memory of its own", lambda: batch.dynamics(q, dq, ddq, out=dq)),
                ("out: expected memory of its own", lambda: batch.dynamics(q, dq, ddq, {"Torso": out[:, :6]}, out=out)),
                ("residual: expected memory of its own", lambda: batch.forward_dynamics(q, dq, ddq, out=out, residual=out)),
                ("q: data does not begin", lambda: batch.dynamics(shifted, dq, ddq, out=out, strict=True)),
                ("'Foot'", lambda: batch.dynamics(q, dq, ddq, {"Foot": w}, out=out)),
                ("wrench of Torso: expected shape", lambda: batch.dynamics(q, dq, ddq, {"Torso": w[:, :5]}, out=out)),
                ("wrench of Torso: .* float32", lambda: batch.dynamics(q, dq, ddq, {"Torso": [1] * 6}, out, strict=True)),
                ("out.zmp: expected shape", lambda: batch.stand(q, dq, ddq, GROUND, out=stand._replace(zmp=out))),
                ("out.residual: .* float32", lambda: batch.stand(
                    q, dq, ddq, GROUND, out=stand._replace(residual=stand.residual.astype(float)))),
                ("out.verdict: .* int32", lambda: batch.stand(q, dq, ddq, GROUND, out=stand._replace(verdict=stand.residual))),
                ("out.zmp: expected memory of its own", lambda: batch.stand(q, dq, ddq, GROUND, stand.zmp, stand))):
            with self.subTest(sentence), self.assertRaisesRegex(korvel.Error, sentence):
                call()
        self.assertFalse(any(array.any() for array in (out, read_only, *k, *stand)))
        self.assertEverythingIsSame(self.states, w, message="as before")


class Memory(unittest.TestCase):
    """Large results take the memory of freed ones, and of no others."""

    def test_freed_memory_is_used_again(self):
        batch = korvel.Batch(1)
        q = np.zeros((2000, 30), np.float32)
        q[:, 3] = np.linspace(-1, 1, len(q))
        expected = batch.kinematics(q).poses_world.copy()
        kept, addresses = [], set()
        for _ in range(6):
            found = batch.kinematics(q)
            addresses.add(found.poses_world.ctypes.data)
            # A view is enough to keep it.
            kept.append(found.poses_world[5:])
            del found
            batch.kinematics(-q)
        self.assertEqual(len(addresses), 6)
        for poses in kept:
            np.testing.assert_array_equal(poses, expected[5:])
        del kept, poses
        self.assertIn(batch.kinematics(q).poses_world.ctypes.data, addresses)
        self.assertTrue(batch.kinematics(q).poses_world.flags.writeable)

    def test_kept_memory_is_bounded(self):
        for size in range(1, 40):
            _memory.new_array((size, 1 << 18))
        self.assertLessEqual(sum(size * len(blocks) for size, blocks in _memory._kept.items()), 64 << 20)


if __name__ == "__main__":
    unittest.main(verbosity=2)
