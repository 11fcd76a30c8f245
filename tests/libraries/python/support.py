"""Helpers that the tests of the Python package share."""

import os
import sys

try:
    import numpy as np
except ImportError:
    print("skipped: numpy is not installed")
    sys.exit(77)

HOST = os.environ["KORVEL_HOST"]
ROOT = os.environ["KORVEL_SOURCE"]
GRAVITY = 9.81
EPSILON = 2.0**-23


def random_states(n, seed):
    """Coordinates, velocities and accelerations: of an upright robot that may look anywhere, not faster than it is."""
    rng = np.random.default_rng(seed)
    q, dq, ddq = rng.uniform(-1.2, 1.2, (n, 30)), rng.uniform(-2, 2, (n, 30)), rng.uniform(-5, 5, (n, 30))
    return q.astype(np.float32), dq.astype(np.float32), ddq.astype(np.float32)


def mirror_images(names):
    """The index and the sign of the coordinate that a mirror across the plane of x and z shows in place of each."""
    twins = [names.index({"L": "R", "R": "L"}.get(name[0], name[0]) + name[1:]) for name in names]
    return twins, np.array([1 if name in ("x", "z") or name.lower().endswith("pitch") else -1 for name in names])
