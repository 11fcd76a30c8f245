#!/usr/bin/env python3
"""Finds a squat that spares the knees.

The hips go down and up again as in examples/motions/squat.csv. Splines through six values each, from standing to the
lowest point, say how the torso leans, how far the hips move forward and how high the arms are. The search minimises the
mean square of the knees' torques. The robot must stand throughout, and its zero moment point must keep a margin to the edge
of its soles. The search follows derivatives: all neighbours of a candidate are one batch.

    python3 examples/optimise_squat.py -o best.csv --picture best.png
    korvel-host run best.csv --soles examples/motions/soles.csv -o best-results.csv

Needs numpy, scipy and, for the picture, matplotlib.
"""

import argparse
import pathlib
import sys
import time
from typing import Dict, List, Sequence

import korvel
import numpy as np
import numpy.typing as npt
from scipy.interpolate import CubicSpline
from scipy.optimize import least_squares

Array = npt.NDArray[np.float64]

HERE = pathlib.Path(__file__).resolve().parent
# The motions are beside this file in the source, and elsewhere when both are installed.
MOTIONS = next(folder for folder in (HERE / "motions", HERE.parents[2] / "korvel" / "motions") if folder.is_dir())
# The robot's legs [m], as examples/motions/generate.py has them.
HIP_HEIGHT_IN_TORSO, THIGH, SHANK, ANKLE_HEIGHT, STANDING = -0.085, 0.1, 0.1029, 0.045, 0.195
DEPTH = 0.07  # of the squat [m]
DOWN, LOW, UP, END = 0.5, 2.5, 3.5, 5.5  # when it goes down, is there, goes up, is there [s]
DURATION = 6.0
KNOTS = np.linspace(DOWN, LOW, 6)
# Candidates have six values each of the torso's lean [rad], the hips' way forward [m] and the shoulders' pitch [rad]: bounds,
# and those of examples/motions/squat.csv at rest and at its lowest point.
LOWEST, HIGHEST, AT_REST, BENT = (np.repeat(values, len(KNOTS)) for values in (
    (-0.2, -0.08, -1.5), (1.0, 0.08, 1.9), (0.0, 0.0, 1.4), (0.5, -0.05, 0.0)))

MARGIN = 0.02  # [m]
KNEES = [korvel.COORDINATES.index(side + "KneePitch") for side in "LR"]


def glide(share: Array) -> Array:
    """Goes from 0 to 1, at rest at both ends."""
    s = np.clip(share, 0, 1)
    return s**3 * (10 - 15 * s + 6 * s**2)


def example() -> Array:
    """Returns examples/motions/squat.csv as a candidate."""
    depth = np.tile(glide((KNOTS - DOWN) / (LOW - DOWN)), 3)
    return (1 - depth) * AT_REST + depth * BENT


def coordinates(candidate: Array, t: Array) -> Array:
    """Returns coordinates ``[times, 30]`` with the feet flat on the ground. The way up is the way down backwards."""
    way = np.clip(np.where(t > (LOW + UP) / 2, DOWN + END - t, t), DOWN, LOW)
    lean, forward, arms = CubicSpline(KNOTS, candidate.reshape(3, -1), axis=1, bc_type="clamped")(way)
    # The hips are no higher than straight legs reach.
    height = np.minimum(STANDING - DEPTH * glide((way - DOWN) / (LOW - DOWN)), np.sqrt((THIGH + SHANK)**2 - forward**2))
    # The vector from hip to ankle, in the torso's axes.
    ankle_x = height * np.sin(lean) - forward * np.cos(lean)
    length = height * np.cos(lean) + forward * np.sin(lean)
    knee = np.arccos(np.minimum((ankle_x**2 + length**2 - THIGH**2 - SHANK**2) / (2 * THIGH * SHANK), 1))
    hip = np.arctan2(-ankle_x, length) - np.arctan2(SHANK * np.sin(knee), THIGH + SHANK * np.cos(knee))
    q = np.zeros((len(t), len(korvel.COORDINATES)))
    for column, value in {
        "x": forward - HIP_HEIGHT_IN_TORSO * np.sin(lean),
        "z": ANKLE_HEIGHT + height - HIP_HEIGHT_IN_TORSO * np.cos(lean),
        "pitch": lean,
        **{side + joint: angle for side in "LR" for joint, angle in (
            ("HipPitch", hip), ("KneePitch", knee), ("AnklePitch", -lean - hip - knee), ("ShoulderPitch", arms))},
    }.items():
        q[:, korvel.COORDINATES.index(column)] = value
    return q


class Squats:
    """Computes candidates on the ground."""

    def __init__(self, batch: korvel.Batch, ground: korvel.Ground, t: Array) -> None:
        self.batch, self.ground, self.t = batch, ground, t

    def stands(self, candidates: Sequence[Array]) -> korvel.Stand:
        """Returns the results of all samples, one candidate after the other."""
        motions = [korvel.Motion.of(self.t, coordinates(candidate, self.t)) for candidate in candidates]
        states = (np.concatenate(arrays) for arrays in zip(*((motion.q, motion.dq, motion.ddq) for motion in motions)))
        return self.batch.stand(*states, self.ground)

    def residuals(self, candidates: Sequence[Array]) -> Array:
        """Returns ``[candidates, numbers]`` whose squares count: the torques of the knees [N m], the missing part of the margin
        [cm], and the unsupported weight."""
        stand = self.stands(candidates)
        each = (len(candidates), -1)
        return np.concatenate((stand.forces[:, KNEES].reshape(each),
                               100 * np.maximum(MARGIN - stand.zmp_margin, 0).reshape(each),
                               10 * np.maximum(stand.residual - 1e-3, 0).reshape(each)), axis=1, dtype=float)

    def derivatives(self, candidate: Array) -> Array:
        """Returns ``[numbers, values]``, by central differences."""
        steps = np.diag(1e-3 * (HIGHEST - LOWEST))
        ahead, back = np.split(self.residuals([*(candidate + steps), *(candidate - steps)]), 2)
        slopes: Array = ((ahead - back) / (2 * np.diag(steps))[:, None]).T
        return slopes


def draw(path: pathlib.Path, t: Array, stands: Dict[str, korvel.Stand]) -> None:
    from matplotlib.figure import Figure

    figure = Figure(figsize=(10, 3), layout="constrained")
    for axis, joint in zip(figure.subplots(1, 3, sharey=True), ("LHipPitch", "LKneePitch", "LAnklePitch")):
        for name, stand in stands.items():
            axis.plot(t, stand.forces[:, korvel.COORDINATES.index(joint)], label=name)
        axis.set(title=joint, xlabel="time [s]", ylabel="torque [N m]")
        axis.grid(alpha=0.3)
    axis.legend()
    figure.savefig(path, dpi=120)


def main(arguments: List[str]) -> int:
    parser = argparse.ArgumentParser(description="Find a squat that spares the knees.")
    parser.add_argument("-o", "--output", type=pathlib.Path, help="motion file to write")
    parser.add_argument("--picture", type=pathlib.Path, help="picture to write: torques before and after")
    options = parser.parse_args(arguments)

    start = time.perf_counter()
    batch, ground = korvel.Batch(), korvel.Ground.read(MOTIONS / "soles.csv")
    search = Squats(batch, ground, np.arange(0, DURATION + 0.01, 0.04))
    found = least_squares(lambda candidate: search.residuals([candidate])[0], example(), search.derivatives,
                          bounds=(LOWEST, HIGHEST), ftol=1e-2)
    seconds = time.perf_counter() - start

    # The samples are those that korvel-host runs.
    fine = Squats(batch, ground, np.arange(0, DURATION + 0.005, 0.01))
    stands = {"examples/motions/squat.csv": fine.stands([example()]), "found": fine.stands([found.x])}
    for name, stand in stands.items():
        print(f"{name:18} knees {np.abs(stand.forces[:, KNEES]).max():.4f} N m, margin "
              f"{1000 * stand.zmp_margin.min():.0f} mm, {'stands' if stand.residual.max() <= 1e-3 else 'cannot stand'}")
    print(f"{(found.nfev + 2 * len(found.x) * found.njev) * len(search.t):,} states in {seconds:.1f} s")
    if options.output:
        table = np.column_stack((fine.t, coordinates(found.x, fine.t)))
        np.savetxt(options.output, table, "%.8f", ",", header=",".join(("time", *korvel.COORDINATES)), comments="")
    if options.picture:
        draw(options.picture, fine.t, stands)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
