"""The names and the tree of the robot."""

from __future__ import annotations

import ctypes
import itertools
from typing import Callable, List, Tuple

import numpy as np
import numpy.typing as npt

from korvel import _batch_library as library


def _body_names() -> Tuple[str, ...]:
    names = map(library.body_name, itertools.count())
    return tuple(name.decode() for name in itertools.takewhile(lambda name: name is not None, names))


def _entries(entry: Callable[..., int], *of: int) -> npt.NDArray[np.intp]:
    row, column = ctypes.c_int(), ctypes.c_int()
    entries: List[Tuple[int, int]] = []
    while entry(*of, len(entries), row, column) == 0:
        entries.append((row.value, column.value))
    result = np.array(entries, dtype=np.intp).T
    result.flags.writeable = False
    return result


BODIES = _body_names()
"""Names of the 25 bodies, the root first."""

PARENTS: Tuple[int, ...] = tuple(library.parent(body) for body in range(len(BODIES)))
"""Index of each body's parent in ``BODIES``, -1 for the root's."""

JOINTS = BODIES[1:]
"""Names of the 24 joints; a joint has the name of the body that it turns."""

COORDINATES = ("x", "y", "z", "roll", "pitch", "yaw") + JOINTS
"""Names of the 30 coordinates, those of the root first, as in motion files."""

MASS_ENTRIES = _entries(library.mass_entry)
"""Rows and columns ``[2, 240]`` of the entries of packed mass matrices: ``dense[:, rows, columns] = packed``. No row is
greater than its column; the matrix is symmetric."""

POSITION_ENTRIES = _entries(library.derivative_entry, 0)
"""Rows (forces) and columns (coordinates) ``[2, 360]`` of the entries of packed derivatives by position, row by row, which
is the order of CSR matrices."""

VELOCITY_ENTRIES = _entries(library.derivative_entry, 1)
"""The same ``[2, 450]`` of derivatives by velocity."""
