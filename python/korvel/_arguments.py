"""Arguments of the operations on many states: checked, and as the C library has them."""

from __future__ import annotations

import ctypes
import struct
from typing import List, Mapping, Tuple

import numpy as np
import numpy.typing as npt

from korvel._arrays import FLOAT32, Array, as_float32, require_shape
from korvel._errors import Error
from korvel._robot import BODIES, COORDINATES

_coordinates = len(COORDINATES)
_numbers = (_coordinates,)
_body_numbers = {name: number for number, name in enumerate(BODIES)}
_ndarray = np.ndarray

# korvel_batch_input and korvel_batch_output; korvel_batch_wrench.
VIEW_SIZE = struct.calcsize("Pnnn")
WRENCH = struct.Struct("iPnnn")


class Memory:
    """Where the arguments of a call stand."""

    def __init__(self) -> None:
        self.bytes = ctypes.create_string_buffer(6 * VIEW_SIZE + len(BODIES) * WRENCH.size)
        begin = ctypes.addressof(self.bytes)
        self.first, self.second, self.third, self.fourth, self.fifth = range(begin, begin + 5 * VIEW_SIZE, VIEW_SIZE)


# Taken out for a call and put back. Taking and putting are atomic, so that threads and signal handlers have their own.
free: List[Memory] = []


def take() -> Memory:
    try:
        return free.pop()
    except IndexError:
        return Memory()


def body_number(name: str) -> int:
    try:
        return _body_numbers[name]
    except KeyError:
        raise Error(f"expected the name of a body, found '{name}'; korvel.BODIES has them") from None


def lead_of(q: Array) -> Tuple[int, ...]:
    """What is before the coordinates: the number of states, or nothing."""
    shape = q.shape
    if not 1 <= len(shape) <= 2 or shape[-1] != _coordinates:
        raise Error(f"q: expected shape [n, {_coordinates}] or [{_coordinates}], found {list(shape)}")
    if shape[0] == 0:
        raise Error("n is 0: there must be at least one state")
    return shape[:-1]


def motion_of(q: npt.ArrayLike, dq: npt.ArrayLike, ddq: npt.ArrayLike, convert: bool) -> Tuple[Array, Array, Array]:
    if (isinstance(q, _ndarray) and isinstance(dq, _ndarray) and isinstance(ddq, _ndarray)
            and q.dtype is dq.dtype is ddq.dtype is FLOAT32 and q.shape == dq.shape == ddq.shape
            and q.shape[-1:] == _numbers and q.ndim < 3 and q.shape[0]):
        return q, dq, ddq  # In half the time, which is a tenth of that of a single state.
    q, dq, ddq = as_float32(q, "q", convert), as_float32(dq, "dq", convert), as_float32(ddq, "ddq", convert)
    lead_of(q)
    require_shape(dq, "dq", q.shape)
    require_shape(ddq, "ddq", q.shape)
    return q, dq, ddq


def loads_of(wrenches: Mapping[str, npt.ArrayLike], lead: Tuple[int, ...], convert: bool) -> List[Tuple[int, Array]]:
    """Numbers of bodies, and what acts on them."""
    loads = []
    each = (*lead, 6)
    for body, given in wrenches.items():
        # Names are put together for errors alone.
        values = given if isinstance(given, _ndarray) and given.dtype is FLOAT32 else as_float32(
            given, f"wrench of {body}", convert)
        if values.shape != (6,) and values.shape != each:
            require_shape(values, f"wrench of {body}", each)
        loads.append((body_number(body), values))
    return loads
