#!/usr/bin/env python3
"""Times the Python package beside the C functions that it calls, one thread, in one run of shuffled turns.

Usage: PYTHONPATH=libraries/python KORVEL_LIBRARY_PATH=build/release bench/python.py

Of a single state, the time of a call in microseconds: through the package, and of that in C, the call by ctypes included,
with arguments that are ready. Of 4096 states, into arrays that are there, into new ones, and in C.
"""

import argparse
import random
import statistics
import time

if __name__ == "__main__":  # Help needs neither numpy nor the libraries.
    argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter).parse_args()

import numpy as np

import korvel
from korvel import _batch_library as library
from korvel._arrays import View, view

TURNS = 41


def states(n):
    rng = np.random.default_rng(n)
    return [rng.uniform(-1, 1, (n, 30)).astype(np.float32) for _ in range(3)]


def in_c(batch, n, function, *arguments):
    """The C function with arguments that are ready."""
    pointer = batch._pointer
    return lambda: function(pointer, n, *arguments)


def operations(n):
    """Returns the ways to do each operation."""
    batch = korvel.Batch(1)
    q, dq, ddq = states(n)
    k, H, f = batch.kinematics(q), batch.mass(q), batch.dynamics(q, dq, ddq)
    motion = [view(array) for array in (q, dq, ddq)]
    poses = (View * 5)(*(view(array, axes=array.ndim - 1) for array in k[:4]))
    return {
        "kinematics": {"new arrays": lambda: batch.kinematics(q), "out=": lambda: batch.kinematics(q, out=k),
                       "C": in_c(batch, n, library.kinematics, motion[0], library.KinematicsResults(poses, None, 0))},
        "mass matrix, dense": {"new arrays": lambda: batch.mass(q), "out=": lambda: batch.mass(q, out=H),
                               "C": in_c(batch, n, library.mass, motion[0], None, None, view(H, axes=2))},
        "inverse dynamics": {"new arrays": lambda: batch.dynamics(q, dq, ddq),
                             "out=": lambda: batch.dynamics(q, dq, ddq, out=f),
                             "C": in_c(batch, n, library.dynamics, *motion, None, 0, None, view(f), None)},
    }


def main():
    for n, repeats in ((1, 2000), (4096, 3)):
        jobs = [(operation, way, work) for operation, ways in operations(n).items() for way, work in ways.items()]
        times = {job[:2]: [] for job in jobs}
        for _ in range(TURNS):
            random.shuffle(jobs)
            for operation, way, work in jobs:
                begin = time.perf_counter()
                for _ in range(repeats):
                    work()
                times[operation, way].append((time.perf_counter() - begin) / repeats)
        print(f"{n} states, us per call, median (least)")
        for (operation, way), found in sorted(times.items()):
            in_c_takes = statistics.median(times[operation, "C"])
            print(f"  {operation:20} {way:12}{1e6 * statistics.median(found):9.2f} ({1e6 * min(found):.2f})"
                  f"{statistics.median(found) / in_c_takes:8.3f} of C")


if __name__ == "__main__":
    main()
