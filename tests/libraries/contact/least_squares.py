"""Verdicts and residuals of distributed wrenches against the non-negative least squares of SciPy.

Usage: least_squares.py CASES_PROGRAM

The round cones become pyramids of many edges within them, which understate friction by a factor of 1 - cos(pi / EDGES).
"""

import subprocess
import sys

try:
    import numpy as np
    from scipy.optimize import nnls
except ImportError:
    print("skipped: SciPy is not installed")
    sys.exit(77)

EDGES = 720
UNDERSTATED = 1 - np.cos(np.pi / EDGES)
FEASIBLE = 1e-3


def edge_wrenches(points, friction):
    angle = 2 * np.pi * np.arange(EDGES) / EDGES
    edges = np.stack([friction * np.cos(angle), friction * np.sin(angle), np.ones(EDGES)])
    columns = []
    for point in points:
        columns.append(np.vstack([edges, np.cross(point, edges.T).T]))
    return np.hstack(columns)


def main():
    lines = subprocess.run([sys.argv[1], "10000"], check=True, capture_output=True, text=True).stdout.splitlines()
    assert len(lines) == 10000
    borne = other_verdicts = 0
    for number, line in enumerate(lines):
        values = np.array(line.split(), dtype=float)
        wrench, friction, residual, points = values[:6], values[6], values[7], values[8:].reshape(-1, 3)
        _, least = nnls(edge_wrenches(points, friction), wrench)
        # The pyramids lack a share of the tangential forces, which are some weights at most; the dual is regularised.
        assert -1e-6 <= least - residual <= 1e-6 + 10 * UNDERSTATED * friction, (number, residual, least)
        borne += residual <= FEASIBLE
        other_verdicts += (residual <= FEASIBLE) != (least <= FEASIBLE)
    assert 2000 < borne < 8000, borne
    assert other_verdicts == 0, other_verdicts
    print(f"{len(lines)} wrenches, {borne} can be borne, all with the same verdict")


main()
