"""Arrays as the C libraries see them."""

from __future__ import annotations

import ctypes
import math
from typing import Any, Callable, Sequence, Tuple

import numpy as np
import numpy.typing as npt

from korvel._errors import Error

Array = npt.NDArray[np.float32]

View = Tuple[int, int, int, int]
"""Address, and strides of states, numbers and tiles, in bytes."""

FLOAT32 = np.dtype(np.float32)
# Together where an array begins that is C-contiguous, writable and not empty, in a third of the time of array.ctypes.data.
at: Callable[[Any], ctypes.c_char] = ctypes.c_char.from_buffer
addressof = ctypes.addressof


def as_float32(values: npt.ArrayLike, name: str, convert: bool) -> Array:
    """An array of float32 as it is. Anything else is refused, or copied where that is asked for."""
    if isinstance(values, np.ndarray) and (values.dtype is FLOAT32 or values.dtype == FLOAT32):
        return values
    if not convert:
        found = values.dtype if isinstance(values, np.ndarray) else type(values).__name__
        raise Error(f"{name}: expected a numpy array of float32, found {found}; numpy.asarray({name}, numpy.float32) or "
                    "convert=True makes one, by a copy")
    try:
        return np.asarray(values).astype(FLOAT32, casting="same_kind")
    except (TypeError, ValueError) as error:
        raise Error(f"{name}: expected numbers: {error}") from error


def require_shape(array: Array, name: str, shape: Tuple[int, ...]) -> None:
    if array.shape != shape:
        raise Error(f"{name}: expected shape {list(shape)}, found {list(array.shape)}")


def require_output(out: object, name: str, shape: Tuple[int, ...], others: Sequence[Array]) -> None:
    """Refuses what results cannot be written to, or must not be."""
    if not isinstance(out, np.ndarray) or out.dtype != FLOAT32:
        raise Error(f"{name}: expected a numpy array of float32 to write to")
    require_shape(out, name, shape)
    if not out.flags.writeable:
        raise Error(f"{name}: expected an array to write to, found one that is read-only")
    for other in others:
        if np.may_share_memory(out, other) and np.shares_memory(out, other):
            raise Error(f"{name}: expected memory of its own, found some of another argument's")


def address(array: npt.NDArray[Any]) -> int:
    """Where an array that is not empty begins."""
    try:
        return addressof(at(array))
    except (TypeError, ValueError, BufferError):
        return array.ctypes.data


def view(array: Array) -> View:
    """Of states ``[n, numbers]`` or ``[numbers]``."""
    try:
        begin = addressof(at(array))
    except (TypeError, ValueError, BufferError):
        begin = array.ctypes.data
    strides = array.strides
    return begin, strides[0] if len(strides) > 1 else 0, strides[-1], 0


def view_of_blocks(array: Array, name: str, axes: int) -> View:
    """Of an array whose last axes are the numbers of a state."""
    strides = array.strides
    for axis in range(-2, -1 - axes, -1):
        if strides[axis] != strides[-1] * math.prod(array.shape[axis + 1:]):
            raise Error(f"{name}: expected the numbers of a state at even distances")
    return address(array), strides[0] if array.ndim > axes else 0, strides[-1], 0
