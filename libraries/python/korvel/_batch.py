"""Computes many states per call."""

from __future__ import annotations

import ctypes
import weakref
from typing import Any, Callable, Mapping, NamedTuple, Optional, Sequence, Tuple, Union

import numpy as np
import numpy.typing as npt

from korvel import _batch_library as library
from korvel import _checks as checks
from korvel._arguments import States, Wrenches, armature_of, body_number, body_numbers
from korvel._arrays import FLOAT32, Array, as_float32, output_of, require_shape, results_of, view
from korvel._dynamics import Dynamics
from korvel._errors import Error
from korvel._robot import BODIES, COORDINATES, MASS_ENTRIES
from korvel._stand import Ground, Stand, StandSums, Verdict, shares_of

_coordinates = len(COORDINATES)
_entries = MASS_ENTRIES.shape[1]
_inertia_numbers = 10 * len(BODIES) + 1
_jacobian = (6, _coordinates)
_force_sums = np.dtype([("largest", np.float32, _coordinates), ("squares", np.float64, _coordinates)])
_stand_sums = np.dtype([("forces", _force_sums), ("least_margin", np.float32), ("unbearable", np.intp)], align=True)


Contact = Union[npt.ArrayLike, Mapping[str, npt.ArrayLike]]


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


class ForceSums(NamedTuple):
    """Sums over the generalized forces of many states."""

    largest: Array
    """``[30]``: the largest magnitude [N, N m], NaN if a force of any state is NaN."""
    squares: npt.NDArray[np.float64]
    """``[30]``: the sum of squares. Its last bit depends on the number of states alone."""


def _as_floats(verdict: Any) -> Any:
    """Returns a float32 view of int32 verdicts, because the library takes all outputs as float32."""
    if not isinstance(verdict, np.ndarray) or verdict.dtype != np.int32:
        raise Error("out.verdict: expected a numpy array of int32 to write to")
    return verdict.view(FLOAT32)


def _numbers(values: npt.ArrayLike, name: str, count: int) -> Array:
    numbers = as_float32(values, name)
    require_shape(numbers, name, (count,))
    return np.ascontiguousarray(numbers)


class Batch(Dynamics):
    """Computes many states at once, on several threads and with the processor's widest instructions.

    ``threads``
        Maximum number of threads per call; ``None``: one per available processor.
    ``instruction_set``
        ``"baseline"``, ``"avx2"`` or ``"avx512"``; ``None``: the value of the environment variable
        KORVEL_INSTRUCTION_SET or, if it is not set, the best of this processor.

    The interpreter's lock is released while states are computed, and threads may share a batch. In a forked child, a batch
    computes on the calling thread alone. Batches can be pickled, with their inertias. Unusable arguments raise ``Error``, and
    no result is written then. Operations have these arguments in common:

    ``q``, ``dq``, ``ddq``
        Coordinates, velocities and accelerations, all of shape ``[n, 30]`` or ``[30]``.
    ``wrenches``
        External wrenches by the names of bodies: force x, y, z [N], then moment [N m] about the body's origin, both in its
        frame; ``[6]`` for all states or ``[n, 6]``.
    ``armature``
        Rotor inertia of each joint behind its gear, ``[24]`` or one number for all [kg m^2].
    ``out``
        Existing arrays for the results, which are returned: the result of another call for as many states. They must not
        overlap the arguments.
    ``strict``
        Aligned arrays of float32 are not copied; C-contiguous ones are fastest. Other numbers are copied, or rejected if
        this is set.
    """

    def __init__(self, threads: Optional[int] = None, instruction_set: Optional[str] = None) -> None:
        self._asked = None if threads is None else checks.whole(threads, "threads"), instruction_set
        named = None if instruction_set is None else checks.text(instruction_set, "instruction_set")
        pointer = ctypes.c_void_p()
        library.check(library.create(pointer, self._asked[0] or 0, named))
        self._pointer = pointer.value
        # Batches are not destroyed when the interpreter ends, because threads that it does not wait for may be at work.
        weakref.finalize(self, library.destroy, pointer.value).atexit = False

    @property
    def threads(self) -> int:
        """The maximum number of threads per call."""
        return int(library.threads(self._pointer))

    @property
    def instruction_set(self) -> str:
        """The instruction set: ``"baseline"``, ``"avx2"`` or ``"avx512"``."""
        return str(library.instruction_set(self._pointer).decode())

    def __repr__(self) -> str:
        return f"<korvel.Batch: {self.threads} threads, {self.instruction_set}>"

    def __getstate__(self) -> Tuple[Optional[int], Optional[str], Array]:
        # The arguments of the constructor, because another machine has other processors.
        numbers = np.empty(_inertia_numbers, FLOAT32)
        library.check(library.get_inertias(self._pointer, numbers.ctypes.data))
        return (*self._asked, numbers)

    def __setstate__(self, state: Tuple[Optional[int], Optional[str], Array]) -> None:
        Batch.__init__(self, *state[:2])
        numbers = _numbers(state[2], "inertias", _inertia_numbers)
        library.check(library.set_inertias(self._pointer, numbers.ctypes.data))

    def set_inertia(self, body: str, mass: float, com: Sequence[float], inertia: Sequence[float]) -> None:
        """Replaces the inertia of a body, for this batch.

        ``mass`` [kg]; ``com``, the centre of mass x, y, z in the body's frame [m]; ``inertia``, xx, yx, yy, zx, zy, zz
        about the centre of mass [kg m^2]. Calls that other threads have started are not affected.
        """
        number, kilograms = body_number(body), checks.number(mass, "mass")
        centre, about_centre = _numbers(com, "com", 3), _numbers(inertia, "inertia", 6)
        library.check(library.set_inertia(self._pointer, number, kilograms, centre.ctypes.data, about_centre.ctypes.data))

    def _compute(self, operation: Callable[..., int], states: States, *arguments: Any) -> None:
        library.check(operation(self._pointer, *states.arguments, *arguments))

    def kinematics(self, q: npt.ArrayLike, jacobian: bool = False, out: Optional[Kinematics] = None, *,
                   bodies: Optional[Sequence[str]] = None, strict: bool = False) -> Kinematics:
        """Computes the poses of bodies and the centre of mass.

        ``jacobian`` adds the jacobian, as does an ``out`` that has one. ``bodies`` names the bodies whose poses are returned,
        in this order; ``None``: all.
        """
        states = States(strict, q=q)
        chosen = None if bodies is None else body_numbers(bodies)
        poses = (len(BODIES) if chosen is None else len(chosen), 3, 4)
        shapes = [poses, poses, (3,), (3,), _jacobian if jacobian or getattr(out, "jacobian", None) is not None else None]
        out, views = results_of(Kinematics, out, shapes, states.lead, states.arrays)
        self._compute(library.kinematics, states, library.KinematicsResults(views, chosen, len(chosen or ())))
        return out

    def mass(self, q: npt.ArrayLike, packed: bool = False, out: Optional[Array] = None, *,
             armature: Optional[npt.ArrayLike] = None, strict: bool = False) -> Array:
        """Computes mass matrices ``[n, 30, 30]`` [kg, kg m, kg m^2], with ``armature`` on the diagonal.

        ``packed`` returns ``[n, 240]`` instead: the entries that can differ from zero, each once, in the order of
        ``MASS_ENTRIES``.
        """
        states = States(strict, q=q)
        out = output_of(out, states.lead + ((_entries,) if packed else (_coordinates, _coordinates)), states.arrays)
        wanted = view(out, "out", 1 if packed else 2)
        self._compute(library.mass, states, armature_of(armature), wanted if packed else None, None if packed else wanted)
        return out

    def dynamics(self, q: npt.ArrayLike, dq: npt.ArrayLike, ddq: npt.ArrayLike,
                 wrenches: Optional[Wrenches] = None, out: Optional[Array] = None, *,
                 armature: Optional[npt.ArrayLike] = None, strict: bool = False) -> Array:
        """Computes generalized forces ``[n, 30]`` of a motion under gravity: the force [N] and the moment [N m] on the root
        in its frame, then the torques of the joints [N m], including those of ``armature``."""
        states = States(strict, q=q, dq=dq, ddq=ddq).with_wrenches(wrenches)
        out = output_of(out, states.shape, states.arrays)
        self._compute(library.dynamics, states, armature_of(armature), view(out), None)
        return out

    def dynamics_sums(self, q: npt.ArrayLike, dq: npt.ArrayLike, ddq: npt.ArrayLike,
                      wrenches: Optional[Wrenches] = None, *,
                      armature: Optional[npt.ArrayLike] = None, strict: bool = False) -> ForceSums:
        """Computes the largest magnitudes and the sums of squares of the forces that ``dynamics`` would return, over all
        states. They need no memory per state."""
        states = States(strict, q=q, dq=dq, ddq=ddq).with_wrenches(wrenches)
        sums = np.empty((), _force_sums)
        self._compute(library.dynamics, states, armature_of(armature), None, sums.ctypes)
        return ForceSums(sums["largest"], sums["squares"])

    def stand(self, q: npt.ArrayLike, dq: npt.ArrayLike, ddq: npt.ArrayLike, ground: Ground,
              contact: Optional[Contact] = None, out: Optional[Stand] = None, *, strict: bool = False) -> Stand:
        """Distributes the wrench that a motion requires over the soles in contact.

        ``contact`` has the share of each sole in the load, ``[n, soles]`` or ``[soles]`` for all states, or ``[n]`` by the
        names of bodies, as in ``Motion.contact``: 1 in contact, 0 lifted, between them just after touchdown or before
        lift-off. If a share is NaN or missing, a sole is in contact while its lowest corner is at most 5 mm above the ground
        and slower than 0.05 m/s.
        """
        states, soles = States(strict, q=q, dq=dq, ddq=ddq), len(checks.instance(ground, Ground, "ground").bodies)
        shares = shares_of(contact, ground, states)
        shapes = ((_coordinates,), (soles, 6), (soles, 2), (2,), (), (), ())
        floats = out if out is None else checks.instance(out, Stand, "out")._replace(verdict=_as_floats(out.verdict))
        others = states.arrays if shares is None else [*states.arrays, shares]
        floats, views = results_of(Stand, floats, shapes, states.lead, others)
        self._compute(library.stand, states, ground.described(shares), views, None)
        verdict = floats.verdict.view(np.int32)
        verdict[...] = np.nan_to_num(floats.verdict, nan=Verdict.NOT_FINITE)
        return floats._replace(verdict=verdict) if out is None else out

    def stand_sums(self, q: npt.ArrayLike, dq: npt.ArrayLike, ddq: npt.ArrayLike, ground: Ground,
                   contact: Optional[Contact] = None, *, strict: bool = False) -> StandSums:
        """Computes sums over all states of the results that ``stand`` would return. They need no memory per state."""
        states = States(strict, q=q, dq=dq, ddq=ddq)
        shares = shares_of(contact, checks.instance(ground, Ground, "ground"), states)
        sums = np.empty((), _stand_sums)
        self._compute(library.stand, states, ground.described(shares), None, sums.ctypes)
        return StandSums(sums["forces"]["largest"], sums["forces"]["squares"], float(sums["least_margin"]),
                         int(sums["unbearable"]))
