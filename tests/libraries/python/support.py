"""Helpers that the tests of the Python package share."""

import os
import pathlib
import subprocess
import sys
import tempfile

try:
    import numpy as np
except ImportError:
    print("skipped: numpy is not installed")
    sys.exit(77)

HOST = os.environ["KORVEL_HOST"]
ROOT = pathlib.Path(os.environ["KORVEL_SOURCE"])
MOTIONS = ROOT / "examples" / "motions"


def columns_of(path):
    """The columns of a table of numbers by their names."""
    with open(path, encoding="ascii") as file:
        names = file.readline().strip().split(",")
        return dict(zip(names, np.loadtxt(file, delimiter=",").T))


def results_of(motion, *options):
    """The columns of the results that the host has for a motion."""
    with tempfile.TemporaryDirectory() as folder:
        results = os.path.join(folder, "results.csv")
        subprocess.run([HOST, "run", motion, "-o", results, *options], check=True, capture_output=True)
        return columns_of(results)


def random_states(n, seed):
    """Coordinates, velocities and accelerations: of an upright robot that may look anywhere, not faster than it is."""
    rng = np.random.default_rng(seed)
    q, dq, ddq = rng.uniform(-1.2, 1.2, (n, 30)), rng.uniform(-2, 2, (n, 30)), rng.uniform(-5, 5, (n, 30))
    return q.astype(np.float32), dq.astype(np.float32), ddq.astype(np.float32)
