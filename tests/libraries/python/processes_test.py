"""Threads and copies."""

import concurrent.futures
import ctypes
import os
import pickle
import sys
import threading
import time
import unittest
import weakref

from support import np, random_states

import korvel

N = 2000
HEAD = [1, [0.01, 0, 0.02], [1e-3, 0, 2e-3, 0, 0, 3e-3]]


class Processes(unittest.TestCase):
    def setUp(self):
        self.batch = korvel.Batch(2)
        self.batch.set_inertia("HeadPitch", *HEAD)
        self.states = random_states(N, 5)
        self.forces = self.batch.dynamics(*self.states)
        self.com = self.batch.kinematics(self.states[0]).com
        # How long the interpreter stays with a thread that does not release its lock.
        self.addCleanup(sys.setswitchinterval, sys.getswitchinterval())

    def is_same(self, batch):
        return (batch.dynamics(*self.states) == self.forces).all() and (
            batch.kinematics(self.states[0]).com == self.com).all()

    def test_results_depend_on_neither_threads_nor_instructions(self):
        self.assertEqual(korvel.Batch().threads, len(os.sched_getaffinity(0)))
        for name in ("baseline", "avx2", "avx512"):
            for threads in (1, 3):
                try:
                    batch = korvel.Batch(threads, name)
                except korvel.Error:
                    self.assertNotEqual(name, "baseline")
                    continue  # Not on this processor.
                self.assertEqual((batch.threads, batch.instruction_set), (threads, name))
                batch.set_inertia("HeadPitch", *HEAD)
                self.assertTrue(self.is_same(batch), name)

    def test_copies_are_the_same(self):
        forced = korvel.Batch(3, "baseline")
        forced.set_inertia("HeadPitch", *HEAD)
        for batch, protocol in ((self.batch, None), (self.batch, 0), (forced, None)):
            copy = pickle.loads(pickle.dumps(batch, protocol))
            self.assertEqual((copy.threads, copy.instruction_set), (batch.threads, batch.instruction_set))
            self.assertTrue(self.is_same(copy))
            copy.set_inertia("HeadPitch", 2, [0, 0, 0], [1, 0, 1, 0, 0, 1])
            self.assertFalse(self.is_same(copy))
            self.assertTrue(self.is_same(batch))
        self.assertIsInstance(pickle.loads(pickle.dumps(forced.kinematics(self.states[0][:3]))), korvel.Kinematics)

    def test_numbers_live_until_the_library_has_read_them(self):
        def spoil_at_its_end(frame, event, result):
            if event == "return" and isinstance(result, np.ndarray):
                weakref.finalize(result, ctypes.memset, result.ctypes.data, 255, result.nbytes)

        numbers = self.batch.__getstate__()[2].astype(">f4")
        batch = korvel.Batch(2)
        sys.setprofile(spoil_at_its_end)
        try:
            batch.__setstate__((2, None, numbers))
        finally:
            sys.setprofile(None)
        self.assertTrue(self.is_same(batch))

    def test_threads_do_not_write_into_each_others_calls(self):
        def is_right(i):
            parts = (slice(10 * i + k % 40, 10 * i + k % 40 + 3) for k in range(2000))
            return all((self.batch.dynamics(*(array[part] for array in self.states)) == self.forces[part]).all() for part in parts)

        sys.setswitchinterval(1e-6)
        with concurrent.futures.ThreadPoolExecutor(4) as callers:
            self.assertEqual(list(callers.map(is_right, range(4))), [True] * 4)

    def test_the_lock_of_the_interpreter_is_released(self):
        big = [np.tile(array, (200, 1)) for array in self.states]
        out = np.empty_like(big[0])
        batch, counted, done = korvel.Batch(1), [0], threading.Event()

        def count():
            while not done.is_set():
                counted[0] += 1
                time.sleep(0)  # Gives the lock back.

        # Nobody is asked for the lock: the other thread has it only while it is released.
        sys.setswitchinterval(1000)
        counter = threading.Thread(target=count)
        counter.start()
        before = counted[0]
        batch.dynamics(*big, out=out)
        after = counted[0]
        done.set()
        counter.join()
        self.assertGreater(after, before)


if __name__ == "__main__":
    unittest.main(verbosity=2)
