"""The results of kinematics."""

from __future__ import annotations

from typing import NamedTuple, Optional

from korvel._arrays import Array


class Kinematics(NamedTuple):
    """Poses of bodies and centres of mass. A single state has no first axis."""

    poses_root: Array
    """``[n, 25, 3, 4]``: the pose [R | t] of each body in the root, t in m; the root's own is the identity. With
    ``bodies`` the second axis has the chosen bodies."""
    poses_world: Array
    """``[n, 25, 3, 4]``: the same in the world."""
    com_root: Array
    """``[n, 3]``: the robot's centre of mass in the root [m]."""
    com: Array
    """``[n, 3]``: the robot's centre of mass in the world [m]."""
    jacobian: Optional[Array] = None
    """``[n, 6, 30]`` if it was requested. Column 6 + j is the motion of the bodies below joint j against the root per
    unit of its velocity, in root axes: rows 0 to 2 angular [-], rows 3 to 5 the linear motion of the point at the root's
    origin [m]. Columns 0 to 5 are the root's own motion and never change."""
