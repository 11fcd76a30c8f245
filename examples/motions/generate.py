#!/usr/bin/env python3
"""Writes the example motions: squat.csv, wave.csv, weight_shift.csv, slow_step.csv and fast_step.csv.

Each file has a header row and 100 samples per second: the time [s], the root's position [m] and its roll, pitch and
yaw [rad] in the world, and the angles of the joints that move [rad]. All motions start and end at rest. The feet stay
flat and on the floor z = 0, where they are below the hips; in the steps the right one is lifted and put down ahead. The
fast step is the one in which the robot would fall.
"""

import argparse
import csv
import math
import pathlib

RATE = 100  # samples per second
HIP_HEIGHT_IN_TORSO = -0.085
THIGH = 0.1
SHANK = 0.1029
ANKLE_HEIGHT = 0.045  # of the ankle joint above the sole
STANDING = 0.195  # height of the hips above the ankles with nearly straight knees
ARM_DOWN = 1.4  # shoulder pitch; at zero the arms point forward


def glide(keys, t):
    """Value at time t of a curve through (time, value) keys: at rest in each key, C2 throughout."""
    if t <= keys[0][0]:
        return keys[0][1]
    for (t0, a), (t1, b) in zip(keys, keys[1:]):
        if t <= t1:
            s = (t - t0) / (t1 - t0)
            return a + (b - a) * s**3 * (10 - 15 * s + 6 * s**2)
    return keys[-1][1]


def leg(forward, y, up, lean):
    """Returns the angles of a leg whose ankle is `forward`, `y` to the left and `up` from its hip, in a torso that leans
    forward by `lean`. Its foot is flat unless both `y` and `lean` differ from zero.
    """
    x = forward * math.cos(lean) - up * math.sin(lean)
    z = forward * math.sin(lean) + up * math.cos(lean)
    hip_roll = math.atan2(y, -z)
    length = math.hypot(y, z)
    knee = math.acos((x**2 + length**2 - THIGH**2 - SHANK**2) / (2 * THIGH * SHANK))
    hip_pitch = math.atan2(-x, length) - math.atan2(SHANK * math.sin(knee), THIGH + SHANK * math.cos(knee))
    return {
        "HipRoll": hip_roll,
        "HipPitch": hip_pitch,
        "KneePitch": knee,
        "AnklePitch": -lean - hip_pitch - knee,
        "AnkleRoll": -hip_roll,
    }


def stand(forward=0.0, left=0.0, height=STANDING, lean=0.0, right_foot=(0.0, 0.0)):
    """Returns a stance with flat feet and the arms down. The hips are displaced by `forward` and `left` from above the
    first places of the ankles, at `height` over them; the torso leans forward by `lean`. Only one of `left` and `lean` may
    differ from zero: both together would turn the feet. The right foot is displaced forward and up.
    """
    legs = {side: leg(x - forward, -left, z - height, lean) for side, (x, z) in (("L", (0.0, 0.0)), ("R", right_foot))}
    return {
        "x": forward - HIP_HEIGHT_IN_TORSO * math.sin(lean),
        "y": left,
        "z": ANKLE_HEIGHT + height - HIP_HEIGHT_IN_TORSO * math.cos(lean),
        "roll": 0.0,
        "pitch": lean,
        "yaw": 0.0,
        "LShoulderPitch": ARM_DOWN,
        "RShoulderPitch": ARM_DOWN,
        **{side + joint: angle for side, angles in legs.items() for joint, angle in angles.items()},
    }


def squat(t):
    """Down to bent knees and up again, arms stretched forward for balance."""
    depth = glide([(0.5, 0), (2.5, 1), (3.5, 1), (5.5, 0)], t)
    arms = ARM_DOWN * (1 - depth)
    return {
        **stand(forward=-0.05 * depth, height=STANDING - 0.07 * depth, lean=0.5 * depth),
        "LShoulderPitch": arms,
        "RShoulderPitch": arms,
    }


def wave(t):
    """The right arm goes up, the forearm waves four times."""
    raised = glide([(0.5, 0), (1.5, 1), (5.0, 1), (6.0, 0)], t)
    swings = [(1.5 + 0.4 * i, (0.1, 1.1)[i % 2]) for i in range(9)]
    return {
        **stand(),
        "RShoulderPitch": ARM_DOWN - 2.6 * raised,
        "RShoulderRoll": -0.6 * raised,
        "RElbowYaw": 0.0,
        "RElbowRoll": glide([(0.5, 0)] + swings + [(6.0, 0)], t),
        "HeadYaw": -0.3 * raised,
    }


def weight_shift(t):
    """Moves the weight from both legs onto the left one, over to the right one, and back."""
    sway = glide([(0.5, 0), (2.0, 1), (2.5, 1), (5.0, -1), (5.5, -1), (7.0, 0)], t)
    return stand(left=0.066 * sway, height=0.185)


def slow_step(t):
    """Onto the left leg, a step forward with the right one, and the weight between the feet."""
    onto_left = glide([(0.5, 0), (2.0, 1), (4.5, 1), (6.0, 0)], t)
    swing = glide([(2.4, 0), (4.1, 1)], t)
    lift = glide([(2.2, 0), (3.1, 1), (3.4, 1), (4.3, 0)], t)
    hips = glide([(2.4, 0), (6.0, 1)], t)
    # A little beyond above the left ankle: the right foot is free before it is lifted.
    return stand(forward=0.03 * hips, left=0.072 * onto_left, height=0.18, right_foot=(0.06 * swing, 0.025 * lift))


def fast_step(t):
    """Makes the slow step in a fifth of the time, in which the robot falls."""
    return slow_step(5 * t)


def write(path, motion, duration):
    samples = [{"time": i / RATE, **motion(i / RATE)} for i in range(duration * RATE + 1)]
    with path.open("w", newline="") as file:
        rows = csv.DictWriter(file, samples[0].keys(), lineterminator="\n")
        rows.writeheader()
        # Adding zero turns -0.0 into 0.0.
        rows.writerows({name: f"{round(value, 8) + 0.0:.8f}" for name, value in row.items()} for row in samples)


def main():
    parser = argparse.ArgumentParser(description="Write the example motions.")
    parser.add_argument("directory", nargs="?", type=pathlib.Path, default=pathlib.Path(__file__).parent)
    directory = parser.parse_args().directory
    for motion, duration in ((squat, 6), (wave, 7), (weight_shift, 8), (slow_step, 7), (fast_step, 2)):
        write(directory / f"{motion.__name__}.csv", motion, duration)


if __name__ == "__main__":
    main()
