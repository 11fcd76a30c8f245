#!/usr/bin/env python3
"""Finds a squat that spares the knees.

The hips go down and up again as in examples/motions/squat.csv. Six values each, at six times from standing to the lowest
point, say how the torso leans, how far the hips move forward and how high the arms are. Cubic splines lie between them,
and the way up is the same backwards. The search wants the least mean square of the knees' torques with which the robot
stands throughout, its zero moment point no nearer to the edge of its soles than a margin. It follows derivatives: all
neighbours of a candidate are one batch, and every sample of each is a state that stands on the ground.

    python3 examples/optimise_squat.py                         prints what it finds
    python3 examples/optimise_squat.py -o best.csv --picture best.png
    korvel-host run best.csv --soles examples/motions/soles.csv -o best-results.csv

Needs numpy, scipy and, for the picture, matplotlib.
"""

from __future__ import annotations

import argparse
import functools
import pathlib
import sys
import time
from typing import Dict, List, Tuple

import korvel
import numpy as np
import numpy.typing as npt
from scipy.interpolate import CubicSpline
from scipy.optimize import least_squares

Array = npt.NDArray[np.float64]
Floats = npt.NDArray[np.float32]

HERE = pathlib.Path(__file__).resolve().parent
# The motions are beside this file in the source, and elsewhere when both are installed.
MOTIONS = next(folder for folder in (HERE / "motions", HERE.parents[2] / "korvel" / "motions") if folder.is_dir())
# The robot's legs [m], as examples/motions/generate.py has them.
HIP_HEIGHT_IN_TORSO, THIGH, SHANK, ANKLE_HEIGHT, STANDING = -0.085, 0.1, 0.1029, 0.045, 0.195
ARM_DOWN = 1.4  # [rad]

DEPTH = 0.07  # of the squat [m]
DOWN, LOW, UP, END = 0.5, 2.5, 3.5, 5.5  # when it goes down, is there, goes up, is there [s]
DURATION = 6.0
KNOTS = np.linspace(DOWN, LOW, 6)
# Lean of the torso [rad], the hips' way forward [m], shoulder pitch [rad].
NAMES = ("lean", "forward", "arms")
LOWEST, HIGHEST, AT_REST = (-0.2, -0.08, -1.5), (1.0, 0.08, 1.9), (0.0, 0.0, ARM_DOWN)
FROM_EXAMPLE = (0.5, -0.05, 0.0)  # at the lowest point of examples/motions/squat.csv

MARGIN = 0.02  # [m]
KNEES = [korvel.COORDINATES.index(side + "KneePitch") for side in "LR"]


def glide(share: Array) -> Array:
    """Goes from 0 to 1, at rest at both ends."""
    s = np.clip(share, 0, 1)
    return s**3 * (10 - 15 * s + 6 * s**2)


def mirrored(t: Array) -> Array:
    """The way up is the way down backwards."""
    return np.where(t > (LOW + UP) / 2, np.minimum(DOWN + END - t, LOW), np.minimum(t, LOW))


@functools.lru_cache(maxsize=None)
def spline_weights(knots: Tuple[float, ...], at: Tuple[float, ...], derivative: int, ends: str) -> Array:
    """The weights of the values at knots in a spline at other times, ``[times, knots]``. They are made once, because a
    spline for each candidate takes several times as long as its states."""
    weights: Array = CubicSpline(knots, np.eye(len(knots)), bc_type=ends)(at, derivative)
    return weights


def curves(candidates: Array, t: Array) -> Dict[str, Array]:
    """Returns the three free courses, ``[candidates, times]`` each, of candidates ``[candidates, 3 * knots]``."""
    values = candidates.reshape(len(candidates), len(NAMES), len(KNOTS))
    weights = spline_weights(tuple(KNOTS), tuple(np.maximum(mirrored(t), DOWN)), 0, "clamped")
    return {name: values[:, i] @ weights.T for i, name in enumerate(NAMES)}


def coordinates(candidates: Array, t: Array) -> Array:
    """Coordinates ``[candidates, times, 30]``: the feet stay flat where they are."""
    free = curves(candidates, t)
    lean, forward = free["lean"], free["forward"]
    height = STANDING - DEPTH * (glide((t - DOWN) / (LOW - DOWN)) - glide((t - UP) / (END - UP)))
    # The vector from hip to ankle, in the torso's axes.
    ankle_x = height * np.sin(lean) - forward * np.cos(lean)
    length = height * np.cos(lean) + forward * np.sin(lean)
    bend = (ankle_x**2 + length**2 - THIGH**2 - SHANK**2) / (2 * THIGH * SHANK)
    knee = np.arccos(np.clip(bend, -1, 1))
    hip = np.arctan2(-ankle_x, length) - np.arctan2(SHANK * np.sin(knee), THIGH + SHANK * np.cos(knee))
    q = np.zeros((len(candidates), len(t), len(korvel.COORDINATES)))
    values = {
        "x": forward - HIP_HEIGHT_IN_TORSO * np.sin(lean),
        "z": ANKLE_HEIGHT + height - HIP_HEIGHT_IN_TORSO * np.cos(lean),
        "pitch": lean,
        "HipPitch": hip,
        "KneePitch": knee,
        "AnklePitch": -lean - hip - knee,
        "ShoulderPitch": free["arms"],
    }
    for name, value in values.items():
        for column in [name] if name in korvel.COORDINATES else ["L" + name, "R" + name]:
            q[:, :, korvel.COORDINATES.index(column)] = value
    # Legs that are too short have no solution.
    q[np.abs(bend) > 1] = np.nan
    return q


def states(candidates: Array, t: Array) -> Tuple[Floats, Floats, Floats]:
    """Coordinates, velocities and accelerations ``[candidates * times, 30]``, as a batch takes them."""
    q = coordinates(candidates, t)
    reach = ~np.isnan(q).any(axis=(1, 2))
    within = np.where(reach[:, None, None], q, 0)
    moving = np.any(within, axis=(0, 1))
    rates, accelerations = np.zeros((2, *q.shape))
    for order, part in ((1, rates), (2, accelerations)):
        part[..., moving] = spline_weights(tuple(t), tuple(t), order, "not-a-knot") @ within[..., moving]
    # The root's rates are told in its own axes, which only pitch.
    pitch, turning = q[..., 4], rates[..., 4]
    c, s = np.cos(pitch), np.sin(pitch)
    dq, ddq = rates.copy(), accelerations.copy()
    for part, of in ((dq, rates), (ddq, accelerations)):
        part[..., 0] = c * of[..., 0] - s * of[..., 2]
        part[..., 2] = s * of[..., 0] + c * of[..., 2]
        part[..., 3], part[..., 4] = 0, of[..., 4]
    # The derivative of what is told in turning axes.
    ddq[..., 0] -= turning * dq[..., 2]
    ddq[..., 2] += turning * dq[..., 0]
    def rows(array: Array) -> Floats:
        return array.reshape(-1, q.shape[-1]).astype(np.float32)

    return rows(q), rows(dq), rows(ddq)


class Squats:
    """Computes the cost of candidates, and counts the evaluated states."""

    def __init__(self, batch: korvel.Batch, ground: korvel.Ground, t: Array) -> None:
        self.batch, self.ground, self.t, self.states = batch, ground, t, 0

    def stands(self, candidates: Array) -> korvel.Stand:
        q, dq, ddq = states(candidates, self.t)
        self.states += len(q)
        return self.batch.stand(q, dq, ddq, self.ground)

    def residuals(self, candidates: Array) -> Array:
        """``[candidates, numbers]`` whose squares count: the torques of the knees [N m], what is missing of the margin
        [cm] and of the stand."""
        stand = self.stands(candidates)
        each = (len(candidates), -1)
        return np.concatenate((stand.forces[:, KNEES].reshape(each),
                               100 * np.maximum(MARGIN - stand.zmp_margin, 0).reshape(each),
                               10 * np.maximum(stand.residual - 1e-3, 0).reshape(each)), axis=1, dtype=float)

    def derivatives(self, candidate: Array) -> Array:
        """``[numbers, values]``, by central differences."""
        steps = np.diag(1e-3 * (repeated(HIGHEST) - repeated(LOWEST)))
        ahead, back = np.split(self.residuals(np.concatenate((candidate + steps, candidate - steps))), 2)
        slopes: Array = ((ahead - back) / (2 * np.diag(steps))[:, None]).T
        return slopes

    def torques(self, candidate: Array) -> Floats:
        stand = self.stands(candidate[None])
        forces: Floats = stand.forces
        return forces


def repeated(values: Tuple[float, ...]) -> Array:
    """One number of each kind at all times."""
    return np.repeat(values, len(KNOTS))


def example() -> Array:
    """examples/motions/squat.csv as a candidate."""
    depth = glide((KNOTS - DOWN) / (LOW - DOWN))
    return np.concatenate([rest + (low - rest) * depth for rest, low in zip(AT_REST, FROM_EXAMPLE)])


def write_motion(path: pathlib.Path, candidate: Array, t: Array) -> None:
    q = coordinates(candidate[None], t)[0]
    moving = [i for i in range(q.shape[1]) if np.any(q[:, i])]
    header = ",".join(["time"] + [korvel.COORDINATES[i] for i in moving])
    np.savetxt(path, np.column_stack((t, q[:, moving])), fmt="%.8f", delimiter=",", header=header, comments="")


def draw(path: pathlib.Path, t: Array, before: Floats, after: Floats) -> None:
    import matplotlib
    matplotlib.use("Agg")
    import matplotlib.pyplot as plt

    figure, axes = plt.subplots(1, 3, figsize=(10, 3), sharey=True, layout="constrained")
    for axis, joint in zip(axes, ("HipPitch", "KneePitch", "AnklePitch")):
        column = korvel.COORDINATES.index("L" + joint)
        axis.plot(t, before[:, column], label="examples/motions/squat.csv")
        axis.plot(t, after[:, column], label="found")
        axis.set(title=f"L{joint}", xlabel="time [s]")
        axis.grid(alpha=0.3)
    axes[0].set_ylabel("torque [N m]")
    axes[0].legend()
    figure.savefig(path, dpi=120)


def main(arguments: List[str]) -> int:
    parser = argparse.ArgumentParser(description="Find a squat that spares the knees.")
    parser.add_argument("-o", "--output", type=pathlib.Path, help="motion file to write")
    parser.add_argument("--picture", type=pathlib.Path, help="picture to write: torques before and after")
    options = parser.parse_args(arguments)

    start = time.perf_counter()
    ground = korvel.Ground.read(MOTIONS / "soles.csv")
    search = Squats(korvel.Batch(), ground, np.arange(0, DURATION + 0.01, 0.04))
    found = least_squares(lambda candidate: search.residuals(candidate[None])[0], example(), search.derivatives,
                          bounds=(repeated(LOWEST), repeated(HIGHEST)), ftol=1e-2)
    seconds = time.perf_counter() - start

    # The samples are those that korvel-host runs.
    fine = Squats(search.batch, ground, np.arange(0, DURATION + 0.005, 0.01))
    for name, candidate in (("examples/motions/squat.csv", example()), ("found", found.x)):
        stand = fine.stands(candidate[None])
        print(f"{name:18} knees {np.abs(stand.forces[:, KNEES]).max():.4f} N m, margin "
              f"{1000 * stand.zmp_margin.min():.0f} mm, {'stands' if stand.residual.max() <= 1e-3 else 'cannot stand'}")
    print(f"{search.states:,} states in {seconds:.1f} s")
    if options.output:
        write_motion(options.output, found.x, fine.t)
    if options.picture:
        draw(options.picture, fine.t, fine.torques(example()), fine.torques(found.x))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
