"""Checks the arguments of operations on many states and converts them for the C library."""

from __future__ import annotations

import ctypes
from collections.abc import Mapping, Sequence
from typing import Any, Dict, Iterator, List, NamedTuple, Optional, Tuple

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


class Given(NamedTuple):
    """The checked arguments of an operation that are arrays."""

    motion: List[Array]
    """Coordinates and what has their shape."""
    loads: Optional[Dict[int, Array]]
    """External wrenches by the numbers of bodies; ``None`` if the operation takes none."""

    @property
    def shape(self) -> Tuple[int, ...]:
        return self.motion[0].shape

    @property
    def lead(self) -> Tuple[int, ...]:
        return self.motion[0].shape[:-1]

    @property
    def arrays(self) -> List[Array]:
        return [*self.motion, *(self.loads or {}).values()]

    def views(self) -> Iterator[Any]:
        """Yields the arguments for the C library; views of arrays that this object keeps."""
        yield from map(view, self.motion)
        if self.loads is not None:
            yield (library.Wrench * len(self.loads))(*(library.Wrench(b, view(w)) for b, w in self.loads.items()))
            yield len(self.loads)


def given_of(strict: bool, **motion: npt.ArrayLike) -> Given:
    """Checks arrays by their names: coordinates, and what has their shape."""
    arrays = [as_float32(values, name, strict) for name, values in motion.items()]
    lead_of(arrays[0])
    for name, array in zip(motion, arrays):
        require_shape(array, name, arrays[0].shape)
    return Given(arrays, None)


def loaded_of(strict: bool, wrenches: Optional[Wrenches], **motion: npt.ArrayLike) -> Given:
    """The same with external wrenches by the names of bodies."""
    given = given_of(strict, **motion)
    loads = {} if wrenches is None else by_body(wrenches, "wrenches", "wrench", (6,), given.lead, strict)
    return given._replace(loads=loads)


def armature_of(armature: Optional[npt.ArrayLike]) -> Optional[ctypes.c_void_p]:
    """Returns a pointer to the rotor inertias of all joints, which keeps them; one number is that of each joint."""
    if armature is None:
        return None
    given = as_float32(armature, "armature")
    if given.shape != ():
        require_shape(given, "armature", (_joints,))
    return np.ascontiguousarray(np.broadcast_to(given, _joints)).ctypes.data_as(ctypes.c_void_p)


def by_body(given: Mapping[str, npt.ArrayLike], name: str, what: str, shape: Tuple[int, ...], lead: Tuple[int, ...],
            strict: bool) -> Dict[int, Array]:
    """Returns arrays by the numbers of bodies. Each is the same for all states or has a part for each."""
    arrays: Dict[int, Array] = {}
    for body, values in instance(given, Mapping, name).items():
        array = as_float32(values, f"{what} of {body}", strict)
        if array.shape != shape:
            require_shape(array, f"{what} of {body}", lead + shape)
        arrays[body_number(body)] = array
    return arrays
