#!/usr/bin/env python3
"""Finds a motion of all joints that stays within torque limits.

The root is held. Arms and legs move from rest to rest within half a second, each joint on a spline of fifth degree. L-BFGS
finds the splines with the least torques, and above all with none beyond its limit. Derivatives of that cost by the torques
are the weights of `dynamics_gradient`, and the matrices of the splines carry its results on to the 288 free numbers.

    python3 examples/smooth_motion.py --picture smooth.png

Needs numpy, scipy and, for the picture, matplotlib.
"""

from __future__ import annotations

import argparse
import pathlib
import sys
import time
from typing import Dict, List, Tuple

import korvel
import numpy as np
import numpy.typing as npt
from scipy.interpolate import BSpline
from scipy.optimize import minimize

Array = npt.NDArray[np.float64]
Floats = npt.NDArray[np.float32]

DURATION = 0.5  # [s]
SAMPLES, KNOTS, DEGREE = 500, 12, 5
REACH = {"ShoulderPitch": -1.2, "ElbowYaw": 0.6, "KneePitch": 1.0, "HipPitch": -0.5}  # [rad]
# Made up: the robot's model has none.
LIMITS = {"Hip": 1.5, "Knee": 1.0, "Ankle": 0.5, "Shoulder": 0.9, "Elbow": 0.3, "Wrist": 0.05, "Head": 0.2}  # [N m]
WITHIN, BEYOND = 0.1, 100.0  # what a torque costs: relative to its limit, squared, and what of it is beyond


def by_joint(values: Dict[str, float]) -> Array:
    """The value of the part of each joint's name that is among the keys; 0 without one."""
    return np.array([next((v for name, v in values.items() if name in joint), 0.0) for joint in korvel.JOINTS])


class Motion:
    """Splines of all joints. Free are the control points between those that rest at both ends."""

    def __init__(self) -> None:
        count = KNOTS + 6
        inner = np.linspace(0, DURATION, count - DEGREE + 1)
        knots = np.concatenate([np.zeros(DEGREE), inner, np.full(DEGREE, DURATION)])
        self.t = np.linspace(0, DURATION, SAMPLES)
        spline = BSpline(knots, np.eye(count), DEGREE)
        self.matrices = [spline(self.t, k) for k in range(3)]  # of positions, velocities, accelerations
        # Three equal control points at an end: velocity and acceleration are zero there.
        self.ends = np.zeros((count, len(korvel.JOINTS)))
        self.ends[-3:] = by_joint(REACH)

    def states(self, free: Array) -> List[Floats]:
        points = self.ends.copy()
        points[3:-3] = free.reshape(KNOTS, -1)
        states = np.zeros((3, SAMPLES, len(korvel.COORDINATES)), np.float32)
        states[:, :, 6:] = [matrix @ points for matrix in self.matrices]
        return list(states)

    def by_free(self, by_states: List[Floats]) -> Array:
        return sum(matrix[:, 3:-3].T @ by[:, 6:] for matrix, by in zip(self.matrices, by_states)).ravel()


def cost(torques: Array, limits: Array) -> Tuple[float, Array]:
    """The mean over all samples and its derivatives by the torques."""
    share = torques / limits
    beyond = np.maximum(np.abs(share) - 1, 0)
    value = (WITHIN * share**2 + BEYOND * beyond**2).sum() / len(torques)
    return float(value), 2 * (WITHIN * share + BEYOND * beyond * np.sign(share)) / limits / len(torques)


def draw(path: pathlib.Path, t: Array, before: Array, after: Array, limits: Array) -> None:
    from matplotlib.figure import Figure

    figure = Figure(figsize=(10, 3), layout="constrained")
    for axis, torques, title in zip(figure.subplots(1, 2, sharey=True), (before, after), ("before", "found")):
        axis.plot(t, torques / limits, linewidth=0.8)
        axis.axhspan(-1, 1, color="tab:green", alpha=0.12)
        axis.set(title=title, xlabel="time [s]", ylabel="torque / limit, 24 joints")
    figure.savefig(path, dpi=120)


def main(arguments: List[str]) -> int:
    parser = argparse.ArgumentParser(description="Find a motion within torque limits.")
    parser.add_argument("--picture", type=pathlib.Path, help="picture to write: torques before and after")
    options = parser.parse_args(arguments)

    batch, motion, limits = korvel.Batch(1), Motion(), by_joint(LIMITS)
    straight = np.outer(np.linspace(0, 1, KNOTS + 2)[1:-1], by_joint(REACH)).ravel()

    def torques(free: Array) -> Array:
        return batch.dynamics(*motion.states(free))[:, 6:].astype(float)

    def cost_and_gradient(free: Array) -> Tuple[float, Array]:
        q, dq, ddq = motion.states(free)
        weights = np.zeros_like(q)
        value, weights[:, 6:] = cost(torques(free), limits)
        gradient = batch.dynamics_gradient(q, dq, ddq, weights)
        return value, motion.by_free([gradient.by_q, gradient.by_dq, gradient.by_ddq])

    start = time.perf_counter()
    settings = {"maxiter": 400, "maxcor": 30, "ftol": 1e-12}
    found = minimize(cost_and_gradient, straight, jac=True, method="L-BFGS-B", options=settings)
    print(f"{found.nit} iterations, {found.nfev * SAMPLES} states, {time.perf_counter() - start:.1f} s")
    for name, free in (("straight", straight), ("found", found.x)):
        share = np.abs(torques(free)) / limits
        print(f"{name:9} cost {cost(torques(free), limits)[0]:8.4f}, largest torque {share.max():5.2f} of its limit")
    if options.picture:
        draw(options.picture, motion.t, torques(straight), torques(found.x), limits)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
