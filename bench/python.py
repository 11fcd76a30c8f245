#!/usr/bin/env python3
"""Times the Python package beside the C functions that it calls, one thread, in one run of shuffled turns.

Usage: PYTHONPATH=libraries/python KORVEL_LIBRARY_PATH=build/release bench/python.py

Calls of one state and of 4096 states are timed in microseconds: through the package into new arrays and into existing
ones, and of the C function by ctypes with arguments that are ready.
"""

import argparse
import functools
import random
import statistics
import timeit

if __name__ == "__main__":  # Help needs neither numpy nor the libraries.
    argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter).parse_args()

import numpy as np

import korvel
from korvel import _batch_library as library
from korvel._arrays import View, view

TURNS = 41


def jobs(n):
    """Returns a function for each operation and each way to call it, the first of which is C with arguments that are ready."""
    batch, rng = korvel.Batch(1), np.random.default_rng(n)
    motion = [rng.uniform(-1, 1, (n, 30)).astype(np.float32) for _ in range(3)]
    pointer, views = batch._pointer, [view(array) for array in motion]
    found = {}
    for name, operation, inputs, function, arguments_of in (
            ("kinematics", batch.kinematics, 1, library.kinematics, lambda k: [library.KinematicsResults(
                (View * 5)(*(view(array, axes=array.ndim - 1) for array in k[:4])), None, 0)]),
            ("mass matrix, dense", batch.mass, 1, library.mass, lambda H: [None, None, view(H, axes=2)]),
            ("inverse dynamics", batch.dynamics, 3, library.dynamics, lambda f: [None, 0, None, view(f), None])):
        out = operation(*motion[:inputs])
        found[name, "C"] = functools.partial(function, pointer, n, *views[:inputs], *arguments_of(out))
        found[name, "new arrays"] = functools.partial(operation, *motion[:inputs])
        found[name, "out="] = functools.partial(operation, *motion[:inputs], out=out)
    return found


def main():
    for n, repeats in ((1, 2000), (4096, 3)):
        work = jobs(n)
        times = {job: [] for job in work}
        for _ in range(TURNS):
            for job in random.sample(list(work), len(work)):
                times[job].append(timeit.timeit(work[job], number=repeats) / repeats)
        print(f"{n} states, us per call, median (least)")
        for (operation, way), found in sorted(times.items()):
            median, in_c = statistics.median(found), statistics.median(times[operation, "C"])
            print(f"  {operation:20} {way:12}{1e6 * median:9.2f} ({1e6 * min(found):.2f}){median / in_c:8.3f} of C")


if __name__ == "__main__":
    main()
