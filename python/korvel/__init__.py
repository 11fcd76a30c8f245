"""Kinematics, mass matrices and inverse dynamics of many states of one humanoid robot at once.

A state has 30 coordinates, named in ``COORDINATES``: the root's position x, y, z [m] and its angles roll, pitch, yaw
[rad] about x, y and z of the orientation Rz Ry Rx, then 24 joint angles [rad]. Velocities are the root's linear [m/s]
and angular velocity [rad/s] in its own frame, then those of the joints; accelerations are their time derivatives.
Arrays of states are ``[n, 30]``, or ``[30]`` for a single one, of float32 and with any strides; they are read where they
are. Results have the bits of the loadable module, signs of zeros apart, on every processor and whatever the number of
threads.

>>> import korvel, numpy
>>> batch = korvel.Batch()
>>> q = numpy.zeros((1000, 30), numpy.float32)
>>> batch.kinematics(q).com.shape
(1000, 3)
"""

from korvel._batch import Batch, ForceSums, Kinematics
from korvel._errors import Error
from korvel._motion import Motion
from korvel._recording import Calls, Recording
from korvel._robot import BODIES, COORDINATES, JOINTS, MASS_ENTRIES, PARENTS
from korvel._stand import Ground, Sole, Stand, StandSums, Verdict

__all__ = [
    "BODIES",
    "Batch",
    "COORDINATES",
    "Calls",
    "Error",
    "ForceSums",
    "Ground",
    "JOINTS",
    "Kinematics",
    "MASS_ENTRIES",
    "Motion",
    "PARENTS",
    "Recording",
    "Sole",
    "Stand",
    "StandSums",
    "Verdict",
]
