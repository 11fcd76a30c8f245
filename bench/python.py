#!/usr/bin/env python3
"""Times the Python package beside the C functions that it calls, one thread, in one run of shuffled turns.

Usage: PYTHONPATH=python KORVEL_LIBRARY_PATH=build/release bench/python.py

Of a single state, the time of a call in microseconds: through the package, and of that in C, the call by ctypes included,
with arguments that are ready. Of 4096 states, into arrays that are there, into new ones, and in C.
"""

import random
import statistics
import struct
import time

import numpy as np

import korvel
from korvel import _arguments, _batch_library
from korvel._arrays import view, view_of_blocks

TURNS = 41


def states(n):
    rng = np.random.default_rng(n)
    return [rng.uniform(-1, 1, (n, 30)).astype(np.float32) for _ in range(3)]


def in_c(batch, name, *views):
    """The C function with arguments that are ready."""
    memory, handle, n = _arguments.Memory(), batch._handle, views[0][0]
    for i, v in enumerate(views[1:]):
        struct.pack_into("Pnnn", memory.bytes, i * _arguments.VIEW_SIZE, *v)
    m = memory
    rest = {"kinematics": (m.first, m.second), "mass": (m.first, None, m.second),
            "dynamics": (m.first, m.second, m.third, None, 0, m.fourth, None)}[name]
    function = getattr(_batch_library, name)
    return lambda keep=(memory, handle): function(handle.pointer, n, *rest)


def operations(n):
    """Of each operation the ways to have it done."""
    batch = korvel.Batch(1)
    q, dq, ddq = states(n)
    k, H, f = batch.kinematics(q), batch.mass(q), batch.dynamics(q, dq, ddq)
    poses = [view_of_blocks(array, "", array.ndim - 1) for array in k[:4]]
    return {
        "kinematics": {"new arrays": lambda: batch.kinematics(q), "out=": lambda: batch.kinematics(q, out=k),
                       "C": in_c(batch, "kinematics", (n,), view(q), *poses, (0, 0, 0, 0))},
        "mass matrix, dense": {"new arrays": lambda: batch.mass(q), "out=": lambda: batch.mass(q, out=H),
                               "C": in_c(batch, "mass", (n,), view(q), view_of_blocks(H, "", 2))},
        "inverse dynamics": {"new arrays": lambda: batch.dynamics(q, dq, ddq),
                             "out=": lambda: batch.dynamics(q, dq, ddq, out=f),
                             "C": in_c(batch, "dynamics", (n,), view(q), view(dq), view(ddq), view(f))},
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
