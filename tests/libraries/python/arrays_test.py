"""Arrays are read and written where they are, and nothing else is taken for one."""

import tracemalloc
import unittest

from support import np, random_states

import korvel
from korvel import _memory

N = 700  # More than one stretch, and no multiple of a tile.


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


def everything(batch, q, dq, ddq, wrench):
    k = batch.kinematics(q, jacobian=True)
    return [*k, batch.mass(q), batch.mass(q, packed=True), batch.dynamics(q, dq, ddq, {"RAnkleRoll": wrench})]


class Arrays(unittest.TestCase):
    def setUp(self):
        self.batch = korvel.Batch(2)
        self.states = random_states(N, 3)
        self.wrench = np.random.default_rng(4).uniform(-5, 5, (N, 6)).astype(np.float32)
        self.expected = everything(self.batch, *self.states, self.wrench)

    def assertSame(self, found, expected, message=None):
        for one, other in zip(found, expected, strict=True):
            np.testing.assert_array_equal(one, other, message)

    def test_any_layout_is_read(self):
        for name, wrench in layouts(np.hstack([self.wrench] * 5)).items():
            q, dq, ddq = (layouts(array)[name] for array in self.states)
            self.assertSame(everything(self.batch, q, dq, ddq, wrench[:, :6]), self.expected, name)

    def test_any_layout_is_written(self):
        states = self.states
        for name, out in layouts(np.full((N, 30), np.nan, np.float32)).items():
            if name == "read-only":
                continue
            returned = self.batch.dynamics(*states, {"RAnkleRoll": self.wrench}, out=out)
            self.assertIs(returned, out)
            np.testing.assert_array_equal(out, self.expected[-1], name)
        dense = np.zeros((N, 40, 40), np.float32)
        with self.assertRaisesRegex(korvel.Error, "out: expected the numbers of a state at even distances"):
            self.batch.mass(states[0], out=dense[:, :30, :30])
        self.assertFalse(dense.any())
        every_other = np.zeros((2 * N, 30, 30), np.float32)[::2]
        self.assertSame([self.batch.mass(states[0], out=every_other)], [self.expected[5]])
        packed = np.zeros((N, 240), np.float32)
        self.assertIs(self.batch.mass(states[0], packed=True, out=packed), packed)
        self.assertSame([packed], [self.expected[6]])

    def test_kinematics_are_written_over_those_before(self):
        k = self.batch.kinematics(self.states[1], jacobian=True)
        arrays = list(k)
        self.assertIs(self.batch.kinematics(self.states[0], out=k), k)
        self.assertTrue(all(one is other for one, other in zip(k, arrays)))
        self.assertSame(k, self.expected[:5])
        without = self.batch.kinematics(self.states[0])
        self.assertIsNone(without.jacobian)
        self.assertSame(self.batch.kinematics(self.states[0], out=without)[:4], self.expected[:4])

    def test_a_single_state_and_what_is_the_same_in_all(self):
        for n in (1, 5, 8):
            some = [array[:n] for array in self.states]
            self.assertSame(everything(self.batch, *some, self.wrench[:n]), [array[:n] for array in self.expected])
        one = [array[7] for array in self.states]
        self.assertSame(everything(self.batch, *one, self.wrench[7]), [array[7] for array in self.expected])
        q, dq, ddq = self.states
        same = self.batch.dynamics(q, np.broadcast_to(dq[0], q.shape), ddq, {"RAnkleRoll": self.wrench[0]})
        repeated = self.batch.dynamics(q, np.tile(dq[0], (N, 1)), ddq, {"RAnkleRoll": np.tile(self.wrench[0], (N, 1))})
        self.assertSame([same], [repeated])

    def test_nothing_is_copied(self):
        q, dq, ddq = (np.asfortranarray(np.tile(array, (20, 1))) for array in self.states)
        out = np.empty_like(q)
        tracemalloc.start()
        try:
            self.batch.dynamics(q, dq, ddq, out=out)
            self.batch.dynamics_sums(q, dq, ddq)
            _, peak = tracemalloc.get_traced_memory()
        finally:
            tracemalloc.stop()
        self.assertLess(peak, q.nbytes / 20)

    def test_other_numbers_are_copied_unless_the_call_is_strict(self):
        q = self.states[0]
        for other in (q.astype(float), q[0].tolist(), q.astype(">f4"), np.zeros((2, 30), int)):
            with self.assertRaisesRegex(korvel.Error, r"q: .*strict=True"):
                self.batch.kinematics(other, strict=True)
            copied = self.batch.kinematics(other)
            self.assertSame(copied[:4], self.batch.kinematics(np.array(other, np.float32), strict=True)[:4])
        for other in (q + 1j, [["x"] * 30], None, object()):
            with self.assertRaises(korvel.Error):
                self.batch.kinematics(other)

    def test_poses_of_some_bodies(self):
        q = self.states[0]
        names = ["RAnkleRoll", "Torso", "LWristYaw"]
        numbers = [korvel.BODIES.index(name) for name in names]
        everything_of = self.batch.kinematics(q, jacobian=True)
        for some in (slice(None), slice(3), 7):
            k = self.batch.kinematics(q[some], jacobian=True, bodies=names)
            self.assertSame(k, [array[some][..., numbers, :, :] if array.ndim == 4 else array[some]
                                for array in everything_of])
        again = korvel.Kinematics(*(None if array is None else np.full_like(array, 7)
                                    for array in self.batch.kinematics(q, bodies=names)))
        self.assertIs(self.batch.kinematics(q, bodies=names, out=again), again)
        self.assertSame([again.poses_world], [everything_of.poses_world[:, numbers]])
        self.assertIsNone(again.jacobian)
        for wrong, sentence in (([], "1 to 25"), ("Torso", "1 to 25"), (["Foot"], "'Foot'"), (["Torso"] * 26, "1 to 25")):
            with self.assertRaisesRegex(korvel.Error, sentence):
                self.batch.kinematics(q, bodies=wrong)
        with self.assertRaisesRegex(korvel.Error, "out.poses_root: expected shape"):
            self.batch.kinematics(q, bodies=names[:2], out=again)

    def test_what_cannot_be_is_refused_and_nothing_is_written(self):
        batch, (q, dq, ddq), w = self.batch, self.states, self.wrench
        zero = np.zeros_like
        out, k = zero(q), korvel.Kinematics(*map(zero, self.expected[:5]))
        read_only = zero(q)
        read_only.flags.writeable = False
        shifted = np.frombuffer(bytearray(4 * 30 * N + 2), np.float32, 30 * N, offset=2).reshape(N, 30)
        cases = [
            ("q: expected shape", lambda: batch.kinematics(q[:, :29], out=k)),
            ("q: expected shape", lambda: batch.kinematics(q[None], out=k)),
            ("out.poses_root: expected shape", lambda: batch.kinematics(q[:5], out=k)),
            ("out.jacobian: expected", lambda: batch.kinematics(q, True, out=k._replace(jacobian=None))),
            ("out.com: expected memory of its own", lambda: batch.kinematics(q, out=k._replace(com=k.com_root))),
            ("n is 0", lambda: batch.mass(q[:0])),
            ("n is 0", lambda: batch.dynamics(q[:0], dq[:0], ddq[:0])),
            ("dq: expected shape", lambda: batch.dynamics(q, dq[:-1], ddq, out=out)),
            ("ddq: expected shape", lambda: batch.dynamics(q, dq, ddq[0], out=out)),
            ("out: expected shape", lambda: batch.dynamics(q, dq, ddq, out=out[:, :29])),
            ("out: .* float32", lambda: batch.dynamics(q, dq, ddq, out=out.astype(float))),
            ("out: .* float32", lambda: batch.dynamics(q, dq, ddq, out=out.tolist())),
            ("out: .* read-only", lambda: batch.dynamics(q, dq, ddq, out=read_only)),
            ("out: expected memory of its own", lambda: batch.dynamics(q, dq, ddq, out=dq)),
            ("q: data does not begin", lambda: batch.dynamics(shifted, dq, ddq, out=out, strict=True)),
            ("'Foot'", lambda: batch.dynamics(q, dq, ddq, {"Foot": w}, out=out)),
            ("wrench of Torso: expected shape", lambda: batch.dynamics(q, dq, ddq, {"Torso": w[:, :5]}, out=out)),
            ("wrench of Torso: .* float32", lambda: batch.dynamics(q, dq, ddq, {"Torso": [1] * 6}, out, strict=True)),
            ("mass is not above zero", lambda: batch.set_inertia("Torso", 0, [0] * 3, [0] * 6)),
            ("com is not finite", lambda: batch.set_inertia("Torso", 1, [np.nan] * 3, [0] * 6)),
            ("com: expected shape", lambda: batch.set_inertia("Torso", 1, [0] * 4, [0] * 6)),
            ("'Foot'", lambda: batch.set_inertia("Foot", 1, [0] * 3, [0] * 6)),
            ("threads is -1", lambda: korvel.Batch(threads=-1)),
            ("sse9", lambda: korvel.Batch(instruction_set="sse9")),
        ]
        for sentence, call in cases:
            with self.subTest(sentence), self.assertRaisesRegex(korvel.Error, sentence):
                call()
        self.assertFalse(out.any() or read_only.any() or any(array.any() for array in k))
        self.assertSame(everything(batch, q, dq, ddq, w), self.expected, "as before")


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
