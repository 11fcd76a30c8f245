"""Places the robot by one of its bodies."""

from __future__ import annotations

from typing import Optional

import numpy as np
import numpy.typing as npt

from korvel._arguments import body_number, lead_of
from korvel._arrays import copied, require_shape
from korvel._batch import Batch
from korvel._errors import Error
from korvel._robot import COORDINATES, PARENTS

_Numbers = npt.NDArray[np.float64]


def place_on(body: str, q: npt.ArrayLike, pose: Optional[npt.ArrayLike] = None) -> _Numbers:
    """Returns a copy of coordinates ``q [n, 30]`` or ``[30]`` whose root is placed so that ``body`` has a given pose.

    ``pose`` is the pose [R | t] of the body in the world, ``[3, 4]`` for all states or ``[n, 3, 4]``. Without it the body
    keeps the pose that it has in the first state, as the foot of a robot that stands on it. The result has double
    precision, for ``Motion.of``; joint angles are those given. At a pitch of 90 degrees the roll is 0.
    """
    number, result = body_number(body), copied(q, "q", np.float64)
    lead = lead_of(result)
    in_root = _pose_in_root(number, result[..., 6:])
    if pose is None:
        first = result.reshape(-1, len(COORDINATES))[0]
        given = _root_pose(first) @ in_root.reshape(-1, 4, 4)[0]
    else:
        given = copied(pose, "pose", np.float64)
        if given.shape != (3, 4):
            require_shape(given, "pose", (*lead, 3, 4))
        turn = given[..., :3]
        is_rotation = (np.abs(turn @ np.swapaxes(turn, -1, -2) - np.eye(3)) < 1e-3).all() and (np.linalg.det(turn) > 0).all()
        if not is_rotation or not np.isfinite(given).all():
            raise Error("pose: expected a rotation in the first three columns and finite numbers")
        given = _four_rows(given)
    root = given @ np.linalg.inv(in_root)
    result[..., :3] = root[..., :3, 3]
    result[..., 3] = np.arctan2(root[..., 2, 1], root[..., 2, 2])
    result[..., 4] = np.arctan2(-root[..., 2, 0], np.hypot(root[..., 2, 1], root[..., 2, 2]))
    result[..., 5] = np.arctan2(root[..., 1, 0], root[..., 0, 0])
    return result


def _pose_in_root(body: int, angles: _Numbers) -> _Numbers:
    """Returns the pose of a body in double precision, because accelerations come from differences of poses."""
    at_zero = _four_rows(Batch(threads=1).kinematics(np.zeros(len(COORDINATES))).poses_root.astype(np.float64))
    pose = np.eye(4)
    while body > 0:
        in_parent = np.linalg.inv(at_zero[PARENTS[body]]) @ at_zero[body]
        pose = in_parent @ _turn(2, angles[..., body - 1]) @ pose
        body = PARENTS[body]
    return np.broadcast_to(pose, (*angles.shape[:-1], 4, 4))


def _root_pose(q: _Numbers) -> _Numbers:
    pose = _turn(2, q[5]) @ _turn(1, q[4]) @ _turn(0, q[3])
    pose[:3, 3] = q[:3]
    return pose


def _four_rows(pose: _Numbers) -> _Numbers:
    return np.concatenate([pose, np.broadcast_to([[0.0, 0, 0, 1]], (*pose.shape[:-2], 1, 4))], axis=-2)


def _turn(axis: int, angle: _Numbers) -> _Numbers:
    """Returns the rotation about an axis as a homogeneous transform, 4 x 4."""
    result = np.zeros((*np.shape(angle), 4, 4)) + np.eye(4)
    i, j = (axis + 1) % 3, (axis + 2) % 3
    result[..., i, i] = result[..., j, j] = np.cos(angle)
    result[..., j, i] = np.sin(angle)
    result[..., i, j] = -result[..., j, i]
    return result
