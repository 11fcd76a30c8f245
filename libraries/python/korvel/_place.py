"""Places the robot by one of its bodies."""

from __future__ import annotations

from typing import Optional

import numpy as np
import numpy.typing as npt

from korvel._arguments import body_number
from korvel._arrays import Array, as_float32, require_shape
from korvel._batch import Batch
from korvel._errors import Error
from korvel._robot import BODIES


def place_on(body: str, q: npt.ArrayLike, pose: Optional[npt.ArrayLike] = None) -> Array:
    """Returns a copy of coordinates ``q [n, 30]`` or ``[30]`` whose root is placed so that ``body`` has a given pose.

    ``pose`` is the pose [R | t] of the body in the world, ``[3, 4]`` for all states or ``[n, 3, 4]``. Without it the body
    keeps the pose that it has in the first state, as the foot of a robot that stands on it. The joint angles stay. At a
    pitch of 90 degrees the roll is 0.
    """
    result = np.array(as_float32(q, "q"))
    kinematics = Batch(threads=1).kinematics(result, bodies=[BODIES[body_number(body)]])
    in_root = kinematics.poses_root[..., 0, :, :].astype(np.float64)
    if pose is None:
        given = kinematics.poses_world.reshape(-1, 3, 4)[0].astype(np.float64)
    else:
        given = as_float32(pose, "pose").astype(np.float64)
        if given.shape != (3, 4):
            require_shape(given, "pose", (*result.shape[:-1], 3, 4))
        turn = given[..., :3]
        if not (np.abs(turn @ np.swapaxes(turn, -1, -2) - np.eye(3)) < 1e-3).all() or (np.linalg.det(turn) < 0).any():
            raise Error("pose: expected a rotation in the first three columns")
    R = given[..., :3] @ np.swapaxes(in_root[..., :3], -1, -2)
    result[..., :3] = given[..., 3] - (R @ in_root[..., 3:])[..., 0]
    result[..., 3] = np.arctan2(R[..., 2, 1], R[..., 2, 2])
    result[..., 4] = np.arctan2(-R[..., 2, 0], np.hypot(R[..., 2, 1], R[..., 2, 2]))
    result[..., 5] = np.arctan2(R[..., 1, 0], R[..., 0, 0])
    return result
