"""Threads, forks, copies."""

import contextlib
import os
import pickle
import signal
import sys
import threading
import time
import unittest

from support import np, random_states

import korvel

N = 2000


def instruction_sets():
    for name in ("baseline", "avx2", "avx512"):
        try:
            yield korvel.Batch(instruction_set=name).instruction_set
        except korvel.Error:
            pass


@contextlib.contextmanager
def switching_after(seconds):
    """For so long the interpreter keeps to a thread that does not give its lock back."""
    before = sys.getswitchinterval()
    sys.setswitchinterval(seconds)
    try:
        yield
    finally:
        sys.setswitchinterval(before)


def ends_well(work):
    """Whether work() holds in a child process, in time."""
    child = os.fork()
    if child == 0:
        signal.alarm(20)
        os._exit(0 if work() else 1)
    return os.waitpid(child, 0)[1] == 0


class Processes(unittest.TestCase):
    def setUp(self):
        self.batch = korvel.Batch(2)
        self.batch.set_inertia("HeadPitch", 1, [0.01, 0, 0.02], [1e-3, 0, 2e-3, 0, 0, 3e-3])
        self.states = random_states(N, 5)
        self.forces = self.batch.dynamics(*self.states)
        self.com = self.batch.kinematics(self.states[0]).com

    def is_same(self, batch):
        return (batch.dynamics(*self.states) == self.forces).all() and (
            batch.kinematics(self.states[0]).com == self.com).all()

    def test_results_depend_on_neither_threads_nor_instructions(self):
        names = list(instruction_sets())
        self.assertIn(korvel.Batch().instruction_set, names)
        self.assertEqual(korvel.Batch().threads, len(os.sched_getaffinity(0)))
        for name in names:
            for threads in (1, 3):
                batch = korvel.Batch(threads, name)
                self.assertEqual((batch.threads, batch.instruction_set), (threads, name))
                batch.__setstate__((threads, name, self.batch.__getstate__()[2]))
                self.assertTrue(self.is_same(batch), name)

    def test_copies_are_the_same(self):
        for copy in (pickle.loads(pickle.dumps(self.batch)), pickle.loads(pickle.dumps(self.batch, 0))):
            self.assertEqual((copy.threads, copy.instruction_set), (2, self.batch.instruction_set))
            self.assertTrue(self.is_same(copy))
            copy.set_inertia("HeadPitch", 2, [0, 0, 0], [1, 0, 1, 0, 0, 1])
            self.assertFalse(self.is_same(copy))
        self.assertTrue(self.is_same(self.batch))
        forced = korvel.Batch(3, "baseline")
        copy = pickle.loads(pickle.dumps(forced))
        self.assertEqual((copy.threads, copy.instruction_set), (3, "baseline"))
        k = pickle.loads(pickle.dumps(forced.kinematics(self.states[0][:3])))
        self.assertIsInstance(k, korvel.Kinematics)

    def test_threads_share_a_batch_whose_inertia_changes(self):
        other = [2, [0, 0, 0], [1, 0, 1, 0, 0, 1]]
        changed = pickle.loads(pickle.dumps(self.batch))
        changed.set_inertia("HeadPitch", *other)
        may_be = [self.forces, changed.dynamics(*self.states)]
        back = self.batch.__getstate__()[2][korvel.BODIES.index("HeadPitch")]
        strange = []

        def compute():
            for n in list(range(1, 40)) + [N] * 20:
                found = self.batch.dynamics(*(array[:n] for array in self.states))
                if not any((found == forces[:n]).all() for forces in may_be):
                    strange.append(n)

        callers = [threading.Thread(target=compute) for _ in range(4)]
        for caller in callers:
            caller.start()
        while any(caller.is_alive() for caller in callers):
            self.batch.set_inertia("HeadPitch", *other)
            self.batch.set_inertia("HeadPitch", *back)
        self.assertEqual(strange, [])
        self.assertTrue(self.is_same(self.batch))

    def test_threads_do_not_write_into_each_others_calls(self):
        wrong = []

        def compute(i):
            states = [np.roll(array[:50], i, 0) for array in self.states]
            expected = np.roll(self.forces[:50], i, 0)
            for k in range(2000):
                q, dq, ddq = (array[k % 40 : k % 40 + 3] for array in states)
                if not (self.batch.dynamics(q, dq, ddq) == expected[k % 40 : k % 40 + 3]).all():
                    wrong.append(i)

        with switching_after(1e-6):
            callers = [threading.Thread(target=compute, args=(i,)) for i in range(4)]
            for caller in callers:
                caller.start()
            for caller in callers:
                caller.join()
        self.assertEqual(wrong, [])

    def test_the_lock_of_the_interpreter_is_released(self):
        big = [np.tile(array, (200, 1)) for array in self.states]
        out = np.empty_like(big[0])
        batch, counted, done = korvel.Batch(1), [0], threading.Event()

        def count():
            while not done.is_set():
                counted[0] += 1
                time.sleep(0)  # Gives the lock back.

        # Nobody is asked for the lock: the other thread has it only while it is released.
        with switching_after(1000):
            counter = threading.Thread(target=count)
            counter.start()
            before = counted[0]
            batch.dynamics(*big, out=out)
            after = counted[0]
            done.set()
            counter.join()
        self.assertGreater(after, before)

    def test_a_child_goes_on_while_its_parent_computes(self):
        done = threading.Event()

        def keep_busy():
            while not done.is_set():
                korvel.Batch(2).dynamics(*self.states)

        busy = [threading.Thread(target=keep_busy) for _ in range(2)]
        for thread in busy:
            thread.start()
        try:
            for _ in range(8):
                self.assertTrue(ends_well(lambda: self.is_same(self.batch) and korvel.Batch(2).threads == 2))
        finally:
            done.set()
            for thread in busy:
                thread.join()
        self.assertTrue(self.is_same(self.batch))

    def test_a_grandchild_too(self):
        self.assertTrue(ends_well(lambda: self.is_same(self.batch) and ends_well(lambda: self.is_same(self.batch))))


if __name__ == "__main__":
    unittest.main(verbosity=2)
