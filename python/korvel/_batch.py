"""Operations on many states."""

from __future__ import annotations

import ctypes
import math
import struct
import weakref
from typing import Dict, List, Mapping, NamedTuple, Optional, Sequence, Tuple

import numpy as np
import numpy.typing as npt

from korvel import _batch_library as library
from korvel._arguments import VIEW_SIZE, WRENCH, body_number, free, lead_of, loads_of, motion_of, take
from korvel._arrays import (FLOAT32, Array, View, address, addressof, as_float32, at, require_output, require_shape,
                            view, view_of_blocks)
from korvel._errors import Error
from korvel._robot import BODIES, COORDINATES, MASS_ENTRIES
from korvel._stand import Ground, Stand, StandSums

_coordinates = len(COORDINATES)
_entries = MASS_ENTRIES.shape[1]

_no_view: View = (0, 0, 0, 0)
_poses, _point, _jacobian, _matrix = (len(BODIES), 3, 4), (3,), (6, _coordinates), (_coordinates, _coordinates)
_shapes = (_poses, _poses, _point, _point, _jacobian)  # of Kinematics
# From state to state, in bytes, where there are no gaps.
_POSES, _POINT, _JACOBIAN = (FLOAT32.itemsize * math.prod(shape) for shape in (_poses, _point, _jacobian))
_STATE = FLOAT32.itemsize * _coordinates
_SIZES = (_POSES, _POSES, _POINT, _POINT, _JACOBIAN, _STATE)
# Two, four and six of korvel_batch_input and korvel_batch_output.
_pack_2 = struct.Struct("Pnnn" * 2).pack_into
_pack_4 = struct.Struct("Pnnn" * 4).pack_into
_pack_6 = struct.Struct("Pnnn" * 6).pack_into
_pack_wrench = WRENCH.pack_into
# korvel_batch_sole, and korvel_batch_ground.
_SOLE = struct.Struct("ifPn")
_GROUND = struct.Struct("fPnPnnn")
_force_sums = np.dtype([("largest", np.float32, _coordinates), ("squares", np.float64, _coordinates)])
_stand_sums = np.dtype([("forces", _force_sums), ("least_margin", np.float32), ("unbearable", np.intp)], align=True)
_empty = np.empty


class Kinematics(NamedTuple):
    """Where bodies are. Without the first axis for a single state."""

    poses_root: Array
    """``[n, 25, 3, 4]``: of each body [R | t] in the root, t in m; the root's own is the identity."""
    poses_world: Array
    """``[n, 25, 3, 4]``: the same in the world."""
    com_root: Array
    """``[n, 3]``: the robot's centre of mass in the root [m]."""
    com: Array
    """``[n, 3]``: the robot's centre of mass in the world [m]."""
    jacobian: Optional[Array] = None
    """``[n, 6, 30]`` where it was asked for. Column 6 + j is the motion of the bodies below joint j against the root per
    unit of its velocity, in root axes: rows 0 to 2 angular [-], rows 3 to 5 the linear motion of the point at the root's
    origin [m]. Columns 0 to 5 are the root's own motion and never change."""


class ForceSums(NamedTuple):
    """Generalized forces of many states, reduced."""

    largest: Array
    """``[30]``: the largest magnitude [N, N m]; not a number if a force of any state is none."""
    squares: npt.NDArray[np.float64]
    """``[30]``: the sum of squares. Its last bit depends on the number of states alone."""


# Mass [kg], centre of mass [m], inertia about it [kg m^2].
_Inertia = Tuple[float, Tuple[float, ...], Tuple[float, ...]]


class _Handle:
    """A korvel_batch that never changes, with the calls that have made it."""

    def __init__(self, threads: Optional[int], instruction_set: Optional[str], inertias: Dict[int, _Inertia]) -> None:
        self.threads, self.instruction_set, self.inertias = threads, instruction_set, inertias
        pointer = ctypes.c_void_p()
        named = None if instruction_set is None else instruction_set.encode()
        library.check(library.create(pointer, 0 if threads is None else threads, named))
        self.pointer = pointer.value
        # Not when the interpreter ends: threads that it does not wait for may be at work.
        weakref.finalize(self, library.destroy, pointer.value).atexit = False
        for body, (mass, com, inertia) in inertias.items():
            com_floats, inertia_floats = (ctypes.c_float * 3)(*com), (ctypes.c_float * 6)(*inertia)
            library.check(library.set_inertia(self.pointer, body, mass, ctypes.addressof(com_floats),
                                              ctypes.addressof(inertia_floats)))


class Batch:
    """Computes many states at once, on several threads and with the processor's widest instructions.

    ``threads``
        At most so many work on a call; ``None``: as many as the process may use.
    ``instruction_set``
        ``"baseline"``, ``"avx2"`` or ``"avx512"``; ``None``: that of the environment variable KORVEL_INSTRUCTION_SET
        or, without it, the best that the processor has.

    Arrays are read and written where they are, whatever their strides; fastest are C-contiguous ones. What is no array of
    float32 is refused, or copied with ``convert=True``. ``out`` takes results where they are to go; it must share no
    memory with arguments. The interpreter's lock is released while states are computed, and threads may share a batch.
    In a process that was forked off, a batch goes on with the calling thread alone. Batches can be pickled, with their
    inertias. Arguments that cannot be used raise ``Error``, and nothing is written then.
    """

    def __init__(self, threads: Optional[int] = None, instruction_set: Optional[str] = None) -> None:
        self._handle = _Handle(threads, instruction_set, {})

    @property
    def threads(self) -> int:
        """At most so many threads work on a call."""
        return int(library.threads(self._handle.pointer))

    @property
    def instruction_set(self) -> str:
        """``"baseline"``, ``"avx2"`` or ``"avx512"``."""
        return str(library.instruction_set(self._handle.pointer).decode())

    def __repr__(self) -> str:
        return f"<korvel.Batch: {self.threads} threads, {self.instruction_set}>"

    def __getstate__(self) -> Tuple[Optional[int], Optional[str], Dict[int, _Inertia]]:
        # What was asked for: another machine has other processors.
        return self._handle.threads, self._handle.instruction_set, self._handle.inertias

    def __setstate__(self, state: Tuple[Optional[int], Optional[str], Dict[int, _Inertia]]) -> None:
        self._handle = _Handle(*state)

    def set_inertia(self, body: str, mass: float, com: Sequence[float], inertia: Sequence[float]) -> None:
        """Gives a body another inertia, for this batch.

        ``mass`` [kg]; ``com``, the centre of mass x, y, z in the body's frame [m]; ``inertia``, xx, yx, yy, zx, zy, zz
        about the centre of mass [kg m^2]. Calls of other threads that have begun are not affected.
        """
        number = body_number(body)
        if len(com) != 3 or len(inertia) != 6:
            raise Error(f"expected 3 numbers of com and 6 of inertia, found {len(com)} and {len(inertia)}")
        last = self._handle
        inertias = {other: values for other, values in last.inertias.items() if other != number}
        inertias[number] = float(mass), tuple(map(float, com)), tuple(map(float, inertia))
        self._handle = _Handle(last.threads, last.instruction_set, inertias)

    def kinematics(self, q: npt.ArrayLike, jacobian: bool = False, out: Optional[Kinematics] = None, *,
                   convert: bool = False) -> Kinematics:
        """Poses of all bodies and centres of mass, of coordinates ``q [n, 30]`` or ``[30]``.

        ``jacobian`` asks for that too. ``out`` is what another call for as many states has returned: its arrays are
        written to, a jacobian if it has one, and it is returned.
        """
        q = as_float32(q, "q", convert)
        lead = lead_of(q)
        states = view(q)
        if out is None:
            out = Kinematics(_empty(lead + _poses, FLOAT32), _empty(lead + _poses, FLOAT32),
                             _empty(lead + _point, FLOAT32), _empty(lead + _point, FLOAT32),
                             _empty(lead + _jacobian, FLOAT32) if jacobian else None)
            begins: Optional[List[int]] = _begins(out)
        else:
            begins = _begins_if_as_returned(out, lead, jacobian, states)
        views = _views(out, lead, jacobian, q) if begins is None else (
            begins[0], _POSES, 4, 0, begins[1], _POSES, 4, 0, begins[2], _POINT, 4, 0, begins[3], _POINT, 4, 0,
            begins[4], _JACOBIAN, 4, 0)
        handle, memory = self._handle, take()
        try:
            _pack_6(memory.bytes, 0, *states, *views)
            status = library.kinematics(handle.pointer, lead[0] if lead else 1, memory.first, memory.second)
        finally:
            free.append(memory)
        if status:
            library.check(status)
        return out

    def mass(self, q: npt.ArrayLike, packed: bool = False, out: Optional[Array] = None, *,
             convert: bool = False) -> Array:
        """Generalized mass matrices ``[n, 30, 30]``, of coordinates ``q [n, 30]`` or ``[30]``.

        ``packed``: instead ``[n, 240]``, once the entries that can differ from zero, those of ``MASS_ENTRIES``. Units
        are kg, kg m and kg m^2, by the coordinates.
        """
        q = as_float32(q, "q", convert)
        lead = lead_of(q)
        shape = lead + ((_entries,) if packed else _matrix)
        if out is None:
            out = _empty(shape, FLOAT32)
        else:
            require_output(out, "out", shape, (q,))
        handle, memory = self._handle, take()
        try:
            _pack_2(memory.bytes, 0, *view(q), *(view(out) if packed else view_of_blocks(out, "out", 2)))
            status = library.mass(handle.pointer, lead[0] if lead else 1, memory.first, memory.second if packed else None,
                                  None if packed else memory.second)
        finally:
            free.append(memory)
        if status:
            library.check(status)
        return out

    def dynamics(self, q: npt.ArrayLike, dq: npt.ArrayLike, ddq: npt.ArrayLike,
                 wrenches: Optional[Mapping[str, npt.ArrayLike]] = None, out: Optional[Array] = None, *,
                 convert: bool = False) -> Array:
        """Generalized forces ``[n, 30]`` of a motion under gravity: the force [N] and the moment [N m] on the root in
        its frame, then the torques of the joints [N m].

        ``q``, ``dq``, ``ddq``
            Coordinates, velocities and accelerations, ``[n, 30]`` or ``[30]``, all alike.
        ``wrenches``
            What acts on bodies from outside, by their names: force x, y, z [N], then moment [N m] about the body's
            origin, both in its frame; ``[6]`` for all states or ``[n, 6]``.
        """
        q, dq, ddq = motion_of(q, dq, ddq, convert)
        loads = loads_of(wrenches, q.shape[:-1], convert) if wrenches else ()
        if out is None:
            out = _empty(q.shape, FLOAT32)
        else:
            require_output(out, "out", q.shape, (q, dq, ddq, *(values for _, values in loads)))
        self._dynamics(q, dq, ddq, loads, view(out), None)
        return out

    def dynamics_sums(self, q: npt.ArrayLike, dq: npt.ArrayLike, ddq: npt.ArrayLike,
                      wrenches: Optional[Mapping[str, npt.ArrayLike]] = None, *, convert: bool = False) -> ForceSums:
        """Of the forces that ``dynamics`` would return, the largest magnitudes and the sums of squares over all states,
        which need no memory for each of them."""
        q, dq, ddq = motion_of(q, dq, ddq, convert)
        loads = loads_of(wrenches, q.shape[:-1], convert) if wrenches else ()
        both = _empty(1, _force_sums)
        self._dynamics(q, dq, ddq, loads, _no_view, address(both))
        return ForceSums(both["largest"][0], both["squares"][0])

    def _dynamics(self, q: Array, dq: Array, ddq: Array, loads: Sequence[Tuple[int, Array]], forces: View,
                  sums: Optional[int]) -> None:
        handle, memory = self._handle, take()
        try:
            _pack_4(memory.bytes, 0, *view(q), *view(dq), *view(ddq), *forces)
            if loads:
                at_byte = 4 * VIEW_SIZE
                for body, values in loads:
                    _pack_wrench(memory.bytes, at_byte, body, *view(values))
                    at_byte += WRENCH.size
            status = library.dynamics(handle.pointer, q.shape[0] if q.ndim > 1 else 1, memory.first, memory.second,
                                      memory.third, memory.fifth, len(loads), memory.fourth, sums)
        finally:
            free.append(memory)
        if status:
            library.check(status)

    def stand(self, q: npt.ArrayLike, dq: npt.ArrayLike, ddq: npt.ArrayLike, ground: Ground,
              contact: Optional[npt.ArrayLike] = None, out: Optional[Stand] = None, *, convert: bool = False) -> Stand:
        """Distributes over the soles on the ground what a motion requires of it, ``q``, ``dq``, ``ddq`` as ``dynamics``
        takes them.

        ``contact``
            The share of each sole in the load, ``[n, soles]`` or ``[soles]`` for all states: 1 where it stands, 0 where
            it is lifted, between them just after touchdown or before lift-off. ``None``: a sole stands while its lowest
            corner is at most 5 mm above the ground and slower than 0.05 m/s.
        ``out``
            What another call for as many states and the same soles has returned: its arrays are written to.
        """
        q, dq, ddq = motion_of(q, dq, ddq, convert)
        lead, soles = q.shape[:-1], len(ground.bodies)
        shapes = [lead + rest for rest in ((_coordinates,), (soles, 6), (soles, 2), (2,), (), (), ())]
        if out is None:
            out = Stand(*(_empty(shape, FLOAT32) for shape in shapes))
        else:
            others = [q, dq, ddq]
            for name, array, shape in zip(out._fields, out, shapes):
                require_output(array, "out." + name, shape, others)
                others.append(array)
        views: List[int] = []
        for name, array, shape in zip(out._fields, out, shapes):
            numbers = len(shape) - len(lead)
            views += (view_of_blocks(array, "out." + name, numbers) if numbers else
                      (address(array), array.strides[0] if lead else 0, FLOAT32.itemsize, 0))
        results = struct.pack("Pnnn" * len(out), *views)
        self._stand(q, dq, ddq, ground, contact, convert, results, None)
        return out

    def stand_sums(self, q: npt.ArrayLike, dq: npt.ArrayLike, ddq: npt.ArrayLike, ground: Ground,
                   contact: Optional[npt.ArrayLike] = None, *, convert: bool = False) -> StandSums:
        """Of what ``stand`` would return the largest forces, the least margin and the number of states that do not stand,
        which need no memory for each state."""
        q, dq, ddq = motion_of(q, dq, ddq, convert)
        sums = _empty(1, _stand_sums)
        self._stand(q, dq, ddq, ground, contact, convert, None, address(sums))
        all_of = sums[0]
        return StandSums(all_of["forces"]["largest"], all_of["forces"]["squares"], float(all_of["least_margin"]),
                         int(all_of["unbearable"]))

    def _stand(self, q: Array, dq: Array, ddq: Array, ground: Ground, contact: Optional[npt.ArrayLike], convert: bool,
               results: Optional[bytes], sums: Optional[int]) -> None:
        numbers = ground.numbers()
        of_contact = _no_view
        if contact is not None:
            shares = as_float32(contact, "contact", convert)
            if shares.shape != (len(numbers),):
                require_shape(shares, "contact", (*q.shape[:-1], len(numbers)))
            of_contact = view(shares)
        soles = b"".join(_SOLE.pack(body, friction, address(corners), len(corners)) for body, friction, corners in numbers)
        soles_at = ctypes.create_string_buffer(soles, len(soles))
        described = _GROUND.pack(ground.height, ctypes.addressof(soles_at), len(numbers), *of_contact)
        handle, memory = self._handle, take()
        try:
            _pack_4(memory.bytes, 0, *view(q), *view(dq), *view(ddq), *_no_view)
            status = library.stand(handle.pointer, q.shape[0] if q.ndim > 1 else 1, memory.first, memory.second,
                                   memory.third, described, results, sums)
        finally:
            free.append(memory)
        if status:
            library.check(status)


def _begins(out: Kinematics) -> List[int]:
    return [0 if array is None else addressof(at(array)) for array in out]


def _begins_if_as_returned(out: Kinematics, lead: Tuple[int, ...], jacobian: bool, states: View) -> Optional[List[int]]:
    """Where results to be written to begin, if they are such as a call makes: that is seen in a quarter of the time."""
    n = lead[0] if lead else 1
    begin, to_next, step, _ = states
    try:
        for array, shape in zip(out, _shapes):
            if array is None:
                if jacobian or shape is not _jacobian:
                    return None
            elif array.dtype is not FLOAT32 or array.shape != lead + shape:
                return None
        begins = _begins(out)
    except (AttributeError, TypeError, ValueError, BufferError):
        return None
    if step != 4 or lead and to_next != _STATE:
        return None
    end = 0
    for begin, size in sorted(zip((*begins, begin), _SIZES)):
        if begin < end:
            return None
        if begin:
            end = begin + n * size
    return begins


def _views(out: Kinematics, lead: Tuple[int, ...], jacobian: bool, q: Array) -> Tuple[int, ...]:
    """Those of results that are given to be written to."""
    views: List[int] = []
    others = [q]
    for (name, array), shape in zip(out._asdict().items(), _shapes):
        if array is None and name == "jacobian" and not jacobian:
            views += _no_view
            continue
        require_output(array, "out." + name, lead + shape, others)
        others.append(array)
        views += view_of_blocks(array, "out." + name, len(shape))
    return tuple(views)
