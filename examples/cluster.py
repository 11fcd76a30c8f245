#!/usr/bin/env python3
"""Tries millions of squats on many machines, with Dask.

A candidate is a number: a worker draws its knots from it, makes its states and keeps only what is wanted of them, so that a
task sends two numbers and returns a handful. Results are whole numbers and the least of pairs, which have no rounding, so
the answer does not depend on how the work is divided. A task that dies with its worker is done again by another.

    python3 examples/cluster.py                                two processes on this machine
    dask-scheduler &  dask-worker tcp://HOST:8786 ...          on each machine: korvel, and this folder in PYTHONPATH
    python3 examples/cluster.py --scheduler tcp://HOST:8786 --candidates 10000000

A task should take a second, because the scheduler spends about a millisecond on each; tasks of minutes leave workers idle at
the end. States are made where they are used: a state is 360 bytes, and a network of 10 Gbit/s carries fewer in a second than
one processor computes.

Needs numpy, scipy and dask's distributed.
"""

from __future__ import annotations

import argparse
import functools
import os
import pathlib
import sys
import time
from typing import Callable, List, NamedTuple, Tuple

import distributed
import korvel
import numpy as np

import optimise_squat as squat


class Answer(NamedTuple):
    """Results of candidates that can be combined without rounding."""

    best: Tuple[float, int]
    """The least peak torque of the knees [N m] of those that stand with a margin, and which it is."""
    stand: int
    """Number of these candidates."""
    states: int

    def __add__(self, other: Answer) -> Answer:  # type: ignore[override]
        return Answer(min(self.best, other.best), self.stand + other.stand, self.states + other.states)


NOTHING = Answer((float("inf"), -1), 0, 0)


def knots(seed: int, candidate: int) -> squat.Array:
    """Draws a candidate between the example and anywhere from numbers alone (J. K. Salmon et al., Parallel random numbers: as
    easy as 1, 2, 3, 2011)."""
    random = np.random.Generator(np.random.Philox(key=seed, counter=[0, 0, 0, candidate]))
    anywhere = random.uniform(squat.LOWEST, squat.HIGHEST)
    return squat.example() + random.random() ** 2 * (anywhere - squat.example())


@functools.lru_cache(maxsize=1)
def search() -> squat.Squats:
    """One for each process. A worker has one thread: there are as many workers as processors."""
    ground = korvel.Ground.read(squat.MOTIONS / "soles.csv")
    return squat.Squats(korvel.Batch(threads=1), ground, np.arange(0, squat.DURATION + 0.01, 0.04))


def evaluate(seed: int, first: int, last: int) -> Tuple[Answer, float]:
    """Evaluates the candidates first to last - 1. Returns their results and the seconds that it took."""
    start = time.perf_counter()
    stand = search().stands([knots(seed, candidate) for candidate in range(first, last)])
    each = (last - first, -1)
    peak = np.abs(stand.forces[:, squat.KNEES]).reshape(each).max(axis=1)
    stands = ((stand.residual <= 1e-3) & (stand.zmp_margin >= squat.MARGIN)).reshape(each).all(axis=1)
    least = min(((float(peak[i]), first + int(i)) for i in np.flatnonzero(stands)), default=NOTHING.best)
    return Answer(least, int(stands.sum()), len(stand.residual)), time.perf_counter() - start


def cut(candidates: int, task: int) -> List[Tuple[int, int]]:
    return [(first, min(first + task, candidates)) for first in range(0, candidates, task)]


def run(client: distributed.Client, candidates: int, task: int, seed: int,
        on_progress: Callable[[int], None] = lambda done: None) -> Tuple[Answer, float]:
    """Returns the answer, and the seconds of all workers together."""
    answer, busy = NOTHING, 0.0
    futures = client.map(functools.partial(evaluate, seed), *zip(*cut(candidates, task)), pure=False, retries=10)
    for done, future in enumerate(distributed.as_completed(futures), 1):
        part, seconds = future.result()
        answer, busy = answer + part, busy + seconds
        on_progress(done)
    return answer, busy


def main(arguments: List[str]) -> int:
    parser = argparse.ArgumentParser(description="Try many squats on many machines.")
    parser.add_argument("--scheduler", help="address of a running cluster; default: two processes on this machine")
    parser.add_argument("--candidates", type=int, default=20000, help="to try (%(default)s)")
    parser.add_argument("--task", type=int, default=500,
                        help="candidates of a task, 100 KB each (%(default)s)")
    parser.add_argument("--seed", type=int, default=1, help="(%(default)s)")
    options = parser.parse_args(arguments)
    if options.candidates < 1 or options.task < 1:
        parser.error("expected at least one candidate, and one of a task")

    here = str(pathlib.Path(__file__).resolve().parent)
    os.environ["PYTHONPATH"] = os.pathsep.join([here, os.environ.get("PYTHONPATH", "")])  # of processes on this machine
    scheduler = options.scheduler or distributed.LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None)
    with distributed.Client(scheduler) as client:
        client.wait_for_workers(1)
        # Workers load the robot before anything is timed.
        client.run(search)
        workers = len(client.scheduler_info()["workers"])
        start = time.perf_counter()
        answer, busy = run(client, options.candidates, options.task, options.seed)
        seconds = time.perf_counter() - start
    print(f"best is candidate {answer.best[1]}: knees {answer.best[0]:.3f} N m; {answer.stand} of {options.candidates} stand")
    print(f"{answer.states:,} states in {seconds:.1f} s on {workers} workers, {answer.states / seconds:,.0f} a second; "
          f"{100 * (1 - busy / (workers * seconds)):.1f} % of the workers' time was not spent on them")
    return 0


if __name__ == "__main__":
    import cluster  # by the name that workers know it by

    sys.exit(cluster.main(sys.argv[1:]))
