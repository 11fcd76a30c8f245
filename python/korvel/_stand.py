"""Robots that stand on the ground."""

from __future__ import annotations

import csv
import enum
import os
from typing import Dict, List, Mapping, NamedTuple, Sequence, Tuple, Union

import numpy as np
import numpy.typing as npt

from korvel._arrays import FLOAT32, Array
from korvel._errors import Error
from korvel._robot import BODIES


class Sole(NamedTuple):
    """A flat, convex part of a body that may stand on the ground."""

    corners: Sequence[Sequence[float]]
    """``[k, 3]``, at least three, in any order, in the body's frame [m]."""
    friction: float
    """Of the ground against it."""


class Verdict(enum.IntEnum):
    """What the ground does in a state, or why it cannot do what the motion requires."""

    STANDS = 0
    NOTHING_BEARS = 1
    """No sole stands on the ground."""
    NEEDS_PULL = 2
    """The ground would have to pull."""
    TIPS = 3
    """The zero moment point is outside of the support polygon."""
    SLIPS = 4
    """More friction is needed than there is."""


class Ground:
    """Level ground at a ``height`` [m] in the world, and the ``soles`` of bodies, by their names, that may stand on it.

    Soles keep their order: it is that of what is told of them.
    """

    def __init__(self, soles: Mapping[str, Sole], height: float = 0.0) -> None:
        if not soles:
            raise Error("soles: expected at least one")
        self.height = float(height)
        self._soles: Dict[str, Tuple[int, float, Array]] = {}
        for body, (corners, friction) in soles.items():
            if body not in BODIES:
                raise Error(f"soles: expected names of bodies, found '{body}'; korvel.BODIES has them")
            try:
                array: npt.NDArray[np.float32] = np.array(corners, FLOAT32, order="C")
            except (TypeError, ValueError) as error:
                raise Error(f"corners of {body}: expected numbers: {error}") from error
            if array.ndim != 2 or array.shape[1] != 3:
                raise Error(f"corners of {body}: expected shape [k, 3], found {list(array.shape)}")
            self._soles[body] = BODIES.index(body), float(friction), array

    @classmethod
    def read(cls, path: Union[str, os.PathLike[str]], height: float = 0.0) -> Ground:
        """From a file as ``korvel-host run --soles`` reads it: CSV with the columns body, x, y, z and friction, and a row
        for each corner."""
        corners: Dict[str, List[List[float]]] = {}
        friction: Dict[str, float] = {}
        expected = ["body", "x", "y", "z", "friction"]
        with open(path, newline="", encoding="utf-8") as file:
            rows = csv.DictReader(file)
            if sorted(rows.fieldnames or []) != sorted(expected):
                raise Error(f"{os.fspath(path)}:1: expected the columns body, x, y, z, friction")
            for row in rows:
                place = f"{os.fspath(path)}:{rows.line_num}"
                body = row["body"]
                if body not in BODIES:
                    raise Error(f"{place}: expected the name of a body, found '{body}'")
                try:
                    numbers = [float(row[name]) for name in expected[1:]]
                except (TypeError, ValueError):
                    raise Error(f"{place}: expected a number in each column") from None
                if friction.setdefault(body, numbers[3]) != numbers[3]:
                    raise Error(f"{place}: expected the friction of the other corners of {body}")
                corners.setdefault(body, []).append(numbers[:3])
        if not corners:
            raise Error(f"{os.fspath(path)}: expected a corner, found the end of the file")
        return cls({body: Sole(of_body, friction[body]) for body, of_body in corners.items()}, height)

    @property
    def bodies(self) -> Tuple[str, ...]:
        """Names of the bodies that have a sole, in the order of results."""
        return tuple(self._soles)

    @property
    def soles(self) -> Dict[str, Sole]:
        """By the names of the bodies."""
        return {body: Sole(corners.tolist(), friction) for body, (_, friction, corners) in self._soles.items()}

    def numbers(self) -> List[Tuple[int, float, Array]]:
        """Of each sole the body's number, the friction, the corners."""
        return list(self._soles.values())

    def __repr__(self) -> str:
        return f"<korvel.Ground: {self.height} m, {', '.join(self._soles)}>"


class Stand(NamedTuple):
    """How states stand, in world axes and places. Without the first axis for a single state. Of a state that is not
    finite all numbers are none."""

    forces: Array
    """``[n, 30]``: generalized forces with what the ground does, as of ``dynamics``. The first six are what it cannot
    bear: hardly anything where the robot stands."""
    loads: Array
    """``[n, soles, 6]``: on each body with a sole the force [N], then the moment about the body's origin [N m]."""
    pressure: Array
    """``[n, soles, 2]``: centre of pressure x, y [m]; the sole's centre without load."""
    zmp: Array
    """``[n, 2]``: zero moment point x, y [m]."""
    zmp_margin: Array
    """``[n]``: from that point to the edge of the support polygon [m], negative outside; 0 if nothing bears."""
    residual: Array
    """``[n]``: what the ground cannot bear, as a share of the weight; above 0.001 the robot does not stand."""
    verdict: Array
    """``[n]``: a ``Verdict`` each."""


class StandSums(NamedTuple):
    """How many states stand, reduced."""

    largest: Array
    """``[30]``: the largest magnitude of each generalized force [N, N m]; not a number if any is none."""
    squares: npt.NDArray[np.float64]
    """``[30]``: the sum of squares. Its last bit depends on the number of states alone."""
    least_margin: float
    """Of the zero moment point [m]; not a number if any is none."""
    unbearable: int
    """States that do not stand, those that are not finite among them."""
