"""Checks the arguments of operations on many states and converts them for the C library."""

from __future__ import annotations

import ctypes
from collections.abc import Mapping, Sequence
from typing import Any, Dict, List, Optional, Tuple

import numpy as np
import numpy.typing as npt

from korvel import _batch_library as library
from korvel._arrays import Array, as_float32, require_shape, view
from korvel._checks import found, instance
from korvel._errors import Error
from korvel._robot import BODIES, COORDINATES, JOINTS

_coordinates, _joints = len(COORDINATES), len(JOINTS)
Wrenches = Mapping[str, npt.ArrayLike]
_body_numbers = {name: number for number, name in enumerate(BODIES)}


def body_number(name: str) -> int:
    try:
        return _body_numbers[name]
    except (KeyError, TypeError):
        raise Error(f"expected the name of a body, found {found(name)}; korvel.BODIES has them") from None


def body_numbers(names: Sequence[str]) -> ctypes.Array[ctypes.c_int]:
    if isinstance(names, str) or not isinstance(names, Sequence) or not 1 <= len(names) <= len(BODIES):
        raise Error(f"bodies: expected a list of 1 to {len(BODIES)} names of bodies, found {found(names)}")
    return (ctypes.c_int * len(names))(*(body_number(name) for name in names))


def lead_of(q: npt.NDArray[Any]) -> Tuple[int, ...]:
    """Returns the axes before the coordinates: the number of states, or nothing."""
    shape = q.shape
    if not 1 <= len(shape) <= 2 or shape[-1] != _coordinates:
        raise Error(f"q: expected shape [n, {_coordinates}] or [{_coordinates}], found {list(shape)}")
    if shape[0] == 0:
        raise Error("n is 0: there must be at least one state")
    return shape[:-1]


class States:
    """Holds the arrays of an operation, all with the shape of the first, and the C library's arguments that refer to them."""

    def __init__(self, strict: bool, **arrays: npt.ArrayLike) -> None:
        self.strict = strict
        self.arrays: List[Array] = [as_float32(values, name, strict) for name, values in arrays.items()]
        self.shape = self.arrays[0].shape
        self.lead = lead_of(self.arrays[0])
        for name, array in zip(arrays, self.arrays):
            require_shape(array, name, self.shape)
        self.arguments: List[Any] = [*(self.lead or (1,)), *map(view, self.arrays)]

    def with_wrenches(self, wrenches: Optional[Wrenches]) -> States:
        """Adds external wrenches."""
        loads = {} if wrenches is None else by_body(wrenches, "wrenches", "wrench", (6,), self)
        self.arrays += loads.values()
        described = (library.Wrench(body, view(values)) for body, values in loads.items())
        self.arguments += [(library.Wrench * len(loads))(*described), len(loads)]
        return self


def armature_of(armature: Optional[npt.ArrayLike]) -> Any:
    """Returns an argument with the rotor inertias of all joints; one number is that of each joint."""
    if armature is None:
        return None
    given = as_float32(armature, "armature")
    if given.shape != ():
        require_shape(given, "armature", (_joints,))
    return np.ascontiguousarray(np.broadcast_to(given, _joints)).ctypes


def by_body(given: Mapping[str, npt.ArrayLike], name: str, what: str, shape: Tuple[int, ...],
            states: States) -> Dict[int, Array]:
    """Returns arrays by the numbers of bodies. Each is the same for all states or has a part for each."""
    arrays: Dict[int, Array] = {}
    for body, values in instance(given, Mapping, name).items():
        array = as_float32(values, f"{what} of {body}", states.strict)
        if array.shape != shape:
            require_shape(array, f"{what} of {body}", states.lead + shape)
        arrays[body_number(body)] = array
    return arrays
