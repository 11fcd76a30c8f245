"""The ground, and results of robots that stand on it."""

from __future__ import annotations

import ctypes
import enum
import os
from collections.abc import Mapping
from typing import Any, Dict, NamedTuple, Optional, Sequence, Tuple, Union

import numpy as np
import numpy.typing as npt

from korvel import _batch_library as batch_library
from korvel import _checks as checks
from korvel._arguments import States, body_number, by_body
from korvel._arrays import FLOAT32, Array, View, as_float32, require_shape, view
from korvel._errors import Error
from korvel._motion_library import library
from korvel._robot import BODIES

# korvel_motion_corner.
_CORNER = np.dtype([("body", np.intc), ("place", np.float64, 3), ("friction", np.float64)], align=True)


class Sole(NamedTuple):
    """A flat, convex part of a body that may be in contact with the ground."""

    corners: Sequence[Sequence[float]]
    """``[k, 3]``, at least three, in any order, in the body's frame [m]."""
    friction: float
    """Friction coefficient against the ground."""


class Verdict(enum.IntEnum):
    """Whether the ground can supply what the motion requires, or why not."""

    STANDS = 0
    NOTHING_BEARS = 1
    """No sole is in contact, and the motion requires a force."""
    NEEDS_PULL = 2
    """The ground would have to pull."""
    TIPS = 3
    """The zero moment point is outside the support polygon."""
    SLIPS = 4
    """The required friction exceeds the friction coefficient."""
    IN_FLIGHT = 5
    """No sole is in contact, and the motion requires no force."""
    NOT_FINITE = -1
    """A number of the state is NaN or infinite."""


class Ground:
    """Level ground at a ``height`` [m] in the world, and the ``soles`` that may touch it, by the names of their bodies.

    Results list the soles in the order given here.
    """

    def __init__(self, soles: Mapping[str, Sole], height: float = 0.0) -> None:
        self.height = checks.number(height, "height")
        self._soles: Dict[str, Tuple[int, float, Array]] = {}
        for body, sole in checks.instance(soles, Mapping, "soles").items():
            number = body_number(body)
            try:
                corners, friction = sole
            except (TypeError, ValueError):
                raise Error(f"soles: expected a Sole of {body}, found {type(sole).__name__}") from None
            array = np.array(as_float32(corners, f"corners of {body}"), order="C")
            if array.ndim != 2 or array.shape[1] != 3:
                raise Error(f"corners of {body}: expected shape [k, 3], found {list(array.shape)}")
            self._soles[body] = number, checks.number(friction, f"friction of {body}"), array
        if not self._soles:
            raise Error("soles: expected at least one")

    @classmethod
    def read(cls, path: Union[str, os.PathLike[str]], height: float = 0.0) -> Ground:
        """Reads a file as ``korvel-host run --soles`` does: CSV with the columns body, x, y, z and friction, and a row for
        each corner. The soles are in the order of ``BODIES``. A missing file raises ``FileNotFoundError``."""
        found = ctypes.c_ssize_t()
        corners = np.empty(0, _CORNER)
        # Once to count them, and again until the file has no more than there is room for.
        functions = library()
        while found.value == 0 or found.value > len(corners):
            corners = np.empty(found.value, _CORNER)
            functions.check(functions.read_soles(checks.file(path), corners.ctypes.data, len(corners), found))
        corners = corners[:found.value]
        parts = {body: corners[corners["body"] == body] for body in dict.fromkeys(corners["body"].tolist())}
        soles = {BODIES[body]: Sole(part["place"].tolist(), float(part["friction"][0])) for body, part in parts.items()}
        return cls(soles, height)

    @property
    def bodies(self) -> Tuple[str, ...]:
        """The names of the bodies that have a sole, in the order of results."""
        return tuple(self._soles)

    @property
    def soles(self) -> Dict[str, Sole]:
        """The soles by the names of their bodies."""
        return {body: Sole(corners.tolist(), friction) for body, (_, friction, corners) in self._soles.items()}

    def described(self, shares: Optional[Array]) -> batch_library.Ground:
        """Returns the structure of the C library, which refers to this object's corners and to the shares."""
        soles = (batch_library.Sole * len(self._soles))(*(
            batch_library.Sole(number, friction, corners.ctypes.data, len(corners))
            for number, friction, corners in self._soles.values()))
        contact = View() if shares is None else view(shares)
        return batch_library.Ground(checks.number(self.height, "height"), soles, len(soles), contact)

    def __repr__(self) -> str:
        return f"<korvel.Ground: {self.height} m, {', '.join(self._soles)}>"


def shares_of(contact: Any, ground: Ground, states: States) -> Optional[Array]:
    """Returns the shares of the soles in the load, ``[n, soles]`` or ``[soles]``; NaN for soles that a mapping does not
    name."""
    if contact is None:
        return None
    if not isinstance(contact, Mapping):
        shares = as_float32(contact, "contact", states.strict)
        if shares.shape != (len(ground.bodies),):
            require_shape(shares, "contact", (*states.lead, len(ground.bodies)))
        return shares
    shares = np.full((*states.lead, len(ground.bodies)), np.nan, FLOAT32)
    for number, share in by_body(contact, "contact", "contact", (), states).items():
        if BODIES[number] not in ground.bodies:
            raise Error(f"contact: expected names of bodies with a sole, found {BODIES[number]}")
        shares[..., ground.bodies.index(BODIES[number])] = share
    return shares


class Stand(NamedTuple):
    """Contact forces and margins of states, in world axes and positions. A single state has no first axis. A state with
    NaN or infinity has the verdict ``NOT_FINITE``, and its other results are NaN."""

    forces: Array
    """``[n, 30]``: generalized forces as of ``dynamics``, with the forces of the ground. The first six are the part
    that the ground cannot supply, which is near zero where the robot stands."""
    loads: Array
    """``[n, soles, 6]``: on each body with a sole the force [N], then the moment about the body's origin [N m], in world axes."""
    pressure: Array
    """``[n, soles, 2]``: centre of pressure x, y [m]; the sole's centre without load."""
    zmp: Array
    """``[n, 2]``: zero moment point x, y [m]."""
    zmp_margin: Array
    """``[n]``: from that point to the edge of the support polygon [m], negative outside; 0 without contact."""
    residual: Array
    """``[n]``: the unsupported weight as a share of the robot's weight; above 0.001 the robot does not stand."""
    verdict: npt.NDArray[np.int32]
    """``[n]``: the number of a ``Verdict`` each, int32."""


class StandSums(NamedTuple):
    """Sums over many states on the ground. The first two are those of ``ForceSums``."""

    largest: Array
    squares: npt.NDArray[np.float64]
    least_margin: float
    """The least margin of the zero moment point [m]; NaN if any is NaN."""
    unbearable: int
    """The number of states that the ground cannot support or that are not finite. States in flight do not count."""
