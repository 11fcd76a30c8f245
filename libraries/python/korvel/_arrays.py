"""Describes arrays for the C libraries."""

from __future__ import annotations

import ctypes
import math
from typing import Any, Iterable, List, Optional, Sequence, Tuple, Type, TypeVar

import numpy as np
import numpy.typing as npt

from korvel import _checks as checks
from korvel._errors import Error
from korvel._memory import new_array

Array = npt.NDArray[np.float32]
FLOAT32 = np.dtype(np.float32)
_Number = TypeVar("_Number", np.float32, np.float64)
_Results = TypeVar("_Results", bound=Tuple[Any, ...])


class View(ctypes.Structure):
    """korvel_batch_input and korvel_batch_output: an address, and the strides of states, numbers and tiles in bytes."""

    _fields_ = [("data", ctypes.c_void_p), ("state", ctypes.c_ssize_t), ("number", ctypes.c_ssize_t),
                ("tile", ctypes.c_ssize_t)]


def refuse_mask(values: object, name: str) -> None:
    if isinstance(values, np.ma.MaskedArray):
        raise Error(f"{name}: expected an array without a mask; numpy.ma.filled makes one")


def copied(values: npt.ArrayLike, name: str, kind: Type[_Number]) -> npt.NDArray[_Number]:
    """Returns a contiguous copy of real numbers in the precision of ``kind``."""
    refuse_mask(values, name)
    try:
        return np.asarray(values).astype(kind, order="C", casting="same_kind")
    except (TypeError, ValueError, OverflowError) as error:
        raise Error(f"{name}: expected numbers: {error}") from error


def as_float32(values: npt.ArrayLike, name: str, strict: bool = False) -> Array:
    """Returns an array of float32 unchanged. Other numbers are copied, or rejected if ``strict`` is set."""
    refuse_mask(values, name)
    if isinstance(values, np.ndarray) and values.dtype == FLOAT32 and (values.flags.aligned or strict):
        return values
    if strict:
        found = values.dtype if isinstance(values, np.ndarray) else type(values).__name__
        raise Error(f"{name}: expected a numpy array of float32, found {found}; without strict=True it is copied")
    return copied(values, name, np.float32)


def require_shape(array: Array, name: str, shape: Tuple[int, ...]) -> None:
    if array.shape != shape:
        raise Error(f"{name}: expected shape {list(shape)}, found {list(array.shape)}")


def require_output(out: object, name: str, shape: Tuple[int, ...], others: Iterable[Array]) -> None:
    """Rejects arrays that results cannot or must not be written to."""
    if not isinstance(out, np.ndarray) or isinstance(out, np.ma.MaskedArray) or out.dtype != FLOAT32:
        raise Error(f"{name}: expected a numpy array of float32 to write to, without a mask")
    require_shape(out, name, shape)
    if not out.flags.writeable:
        raise Error(f"{name}: expected an array to write to, found one that is read-only")
    for other in others:
        if np.may_share_memory(out, other) and np.shares_memory(out, other):
            raise Error(f"{name}: expected memory of its own, found some of another argument's")


def address(array: npt.NDArray[Any]) -> int:
    """Returns the address of an array. For contiguous, writable arrays this takes a third of the time of
    ``array.ctypes.data``."""
    try:
        return ctypes.addressof(ctypes.c_char.from_buffer(array))  # type: ignore[arg-type]
    except (TypeError, ValueError, BufferError):
        return array.ctypes.data


def view(array: Array, name: str = "", axes: int = 1) -> View:
    """Returns the view of an array whose last axes are the numbers of a state."""
    strides = array.strides
    for axis in range(-2, -1 - axes, -1):
        if strides[axis] != strides[-1] * math.prod(array.shape[axis + 1:]):
            raise Error(f"{name}: expected the numbers of a state at even distances")
    return View(address(array), strides[0] if array.ndim > axes else 0, strides[-1] if axes else FLOAT32.itemsize, 0)


def output_of(out: Optional[Array], shape: Tuple[int, ...], others: Iterable[Array], name: str = "out") -> Array:
    """Returns an array for a result: a new one or ``out``, which must not overlap ``others``."""
    if out is None:
        return new_array(shape)
    require_output(out, name, shape, others)
    return out


def results_of(kind: Type[_Results], out: Optional[_Results], shapes: Sequence[Optional[Tuple[int, ...]]],
               lead: Tuple[int, ...], others: Sequence[Array]) -> Tuple[_Results, ctypes.Array[View]]:
    """Returns results of a kind with their views: new arrays, or those of ``out``, which must not overlap each other or
    ``others``. A result without a shape is not computed."""
    if out is None:
        arrays: List[Any] = [None if shape is None else new_array(lead + shape) for shape in shapes]
        out = kind(*arrays)
    else:
        taken: List[Array] = list(others)
        names = getattr(checks.instance(out, kind, "out"), "_fields")
        for name, array, shape in zip(names, out, shapes):
            if shape is not None:
                require_output(array, "out." + name, lead + shape, taken)
                taken.append(array)
    views = [View() if shape is None else view(array, "out", len(shape)) for array, shape in zip(out, shapes)]
    return out, (View * len(views))(*views)
