#!/usr/bin/env python3
"""Simulates the robot as it tumbles through the air with limp joints.

Forward dynamics gives the accelerations of each Runge-Kutta step. Without torques, neither the energy nor the angular
momentum about the centre of mass may change: their drift shows how good the simulation is. Each joint has the rotor
inertia of a servo behind its gear, without which single precision is too little for the light wrists.

    python3 examples/tumble.py --picture tumble.png

Needs numpy, scipy and, for the picture, matplotlib.
"""

from __future__ import annotations

import argparse
import pathlib
import sys
import time
from typing import List, NamedTuple

import korvel
import numpy as np
import numpy.typing as npt
from scipy.spatial.transform import Rotation

Array = npt.NDArray[np.float64]

ROTOR = 1e-3  # [kg m^2]
STEP, DURATION = 0.001, 2.0  # [s]
GRAVITY = 9.81
LIMP = np.zeros(30, np.float32)  # no torques, and no force on the root


class State(NamedTuple):
    p: Array  # the root's place in the world
    R: Rotation  # and its orientation
    angles: Array  # of the joints
    dq: Array  # all 30 velocities


def coordinates(state: State) -> npt.NDArray[np.float32]:
    return np.concatenate([state.p, state.R.as_euler("ZYX")[::-1], state.angles]).astype(np.float32)


def moved(state: State, dq: Array, ddq: Array, t: float) -> State:
    turn = Rotation.from_rotvec(t * dq[3:6])
    return State(state.p + t * state.R.apply(dq[:3]), state.R * turn, state.angles + t * dq[6:], state.dq + t * ddq)


def step(batch: korvel.Batch, state: State, t: float) -> State:
    """A Runge-Kutta step of fourth order for rates, of second order for how the root turns within it."""
    def acceleration(at: State) -> Array:
        q, dq = coordinates(at), at.dq.astype(np.float32)
        return batch.forward_dynamics(q, dq, LIMP, ROTOR).astype(float)

    stages, rates = [state], [acceleration(state)]
    for share in (t / 2, t / 2, t):
        stages.append(moved(state, stages[-1].dq, rates[-1], share))
        rates.append(acceleration(stages[-1]))
    weights = np.array([1, 2, 2, 1]) / 6
    return moved(state, weights @ [stage.dq for stage in stages], weights @ rates, t)


def energies(batch: korvel.Batch, q: npt.NDArray[np.float32], dq: npt.NDArray[np.float32]) -> Array:
    """Kinetic energy, that of the rotors included, and potential energy [J], as columns."""
    rates = dq.astype(float)
    mass = batch.mass(q, armature=ROTOR).astype(float)
    weight = GRAVITY * mass[:, 0, 0]
    kinetic = np.einsum("si,sij,sj->s", rates, mass, rates) / 2
    return np.stack([kinetic, weight * batch.kinematics(q).com[:, 2]], 1)


def main(arguments: List[str]) -> int:
    parser = argparse.ArgumentParser(description="Simulate the robot as it tumbles with limp joints.")
    parser.add_argument("--picture", type=pathlib.Path, help="picture to write")
    options = parser.parse_args(arguments)

    batch, start = korvel.Batch(1), time.perf_counter()
    dq = np.random.default_rng(1).uniform(-2, 2, 30)
    dq[:6] = 0, 0, 9, 1, 3, 1  # thrown upwards, with a spin
    states = [State(np.array([0, 0, 1.0]), Rotation.identity(), np.full(24, 0.2), dq)]
    for _ in range(round(DURATION / STEP)):
        states.append(step(batch, states[-1], STEP))
    seconds = time.perf_counter() - start

    q = np.stack([coordinates(state) for state in states])
    rates = np.stack([state.dq for state in states]).astype(np.float32)
    energy, momentum = energies(batch, q, rates), batch.momentum(q, rates).momentum[:, :3].astype(float)
    drift = np.ptp(energy.sum(1)) / energy[0, 0]
    print(f"{len(states) - 1} steps, {seconds:.1f} s")
    print(f"energy {energy[0].sum():.2f} J, {energy[0, 0]:.2f} J of it kinetic; the sum drifts by {100 * drift:.4f} % of that")
    if options.picture:
        from matplotlib.figure import Figure

        figure = Figure(figsize=(11, 3), layout="constrained")
        for axis, title, values, labels in zip(
                figure.subplots(1, 3), ("energy [J]", "angular momentum [kg m^2/s]", "joint angles [rad]"),
                (np.column_stack([energy, energy.sum(1)]), momentum, q[:, 6:]), (("kinetic", "potential", "sum"), "xyz", ())):
            lines = axis.plot(np.arange(len(states)) * STEP, values)
            axis.set(title=title, xlabel="time [s]")
            axis.grid(alpha=0.3)
            if labels:
                axis.legend(lines, labels)
        figure.savefig(options.picture, dpi=120)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
