"""Computes kinematics, mass matrices, inverse and forward dynamics, derivatives and ground contact for many states of one
humanoid robot.

A state has 30 coordinates, named in ``COORDINATES``: the root's position x, y, z [m] and its angles roll, pitch, yaw
[rad] about x, y and z of the orientation Rz Ry Rx, then 24 joint angles [rad]. Velocities are the root's linear [m/s]
and angular velocity [rad/s] in its own frame, then those of the joints; accelerations are their time derivatives.
Arrays of states are ``[n, 30]``, or ``[30]`` for a single one, with any strides.
Results are bit-identical to those of the loadable module except for signs of zeros, on every processor and with any number
of threads.

>>> import korvel, numpy
>>> batch = korvel.Batch()
>>> q = numpy.zeros((1000, 30), numpy.float32)
>>> batch.kinematics(q).com.shape
(1000, 3)
"""

from korvel._batch import Batch, ForceSums, Kinematics
from korvel._dynamics import Derivatives, Gradient, Momentum, by_euler
from korvel._errors import Error
from korvel._motion import Motion
from korvel._place import place_on
from korvel._recording import Calls, Recording
from korvel._robot import BODIES, COORDINATES, JOINTS, MASS_ENTRIES, PARENTS, POSITION_ENTRIES, VELOCITY_ENTRIES
from korvel._stand import Ground, Sole, Stand, StandSums, Verdict
from korvel._version import VERSION as __version__

__all__ = ["BODIES", "Batch", "COORDINATES", "Calls", "Derivatives", "Error", "ForceSums", "Gradient", "Ground",
           "JOINTS", "Kinematics", "MASS_ENTRIES", "Momentum", "Motion", "PARENTS", "POSITION_ENTRIES", "Recording",
           "Sole", "Stand", "StandSums", "VELOCITY_ENTRIES", "Verdict", "__version__", "by_euler", "place_on"]
