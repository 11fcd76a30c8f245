"""Derivatives of inverse dynamics, forward dynamics, momentum and jacobians of points."""

from __future__ import annotations

from typing import Any, Callable, NamedTuple, Optional, Sequence

import numpy as np
import numpy.typing as npt

from korvel import _batch_library as library
from korvel._arguments import States, Wrenches, armature_of, body_number
from korvel._arrays import Array, View, as_float32, output_of, require_output, require_shape, results_of, view
from korvel._errors import Error
from korvel._robot import COORDINATES, POSITION_ENTRIES, VELOCITY_ENTRIES

_coordinates = len(COORDINATES)


class Derivatives(NamedTuple):
    """Generalized forces and their derivatives. A single state has no first axis."""

    forces: Array
    """``[n, 30]``: the force and the moment on the root in its frame [N, N m], then the torques of the joints [N m]."""
    by_q: Array
    """``[n, 30, 30]``, with respect to positions; row: force, column: coordinate. Columns 0 to 2 are those of a root that
    moves along its own axes, and zero. Columns 3 to 5 are those of a root that turns about its own axes; ``by_euler``
    converts them to roll, pitch and yaw. Packed ``[n, 360]``, in the order of ``POSITION_ENTRIES``."""
    by_dq: Array
    """``[n, 30, 30]``, with respect to velocities. Packed ``[n, 450]``, in the order of ``VELOCITY_ENTRIES``."""


class Gradient(NamedTuple):
    """Generalized forces, and weights times their derivatives, all ``[n, 30]``. ``Derivatives`` explains the
    root's columns."""

    forces: Array
    by_q: Array
    by_dq: Array
    by_ddq: Array


class Momentum(NamedTuple):
    """The momentum of the whole robot about its centre of mass in world axes, angular before linear."""

    matrix: Array
    """``[n, 6, 30]``: the centroidal momentum matrix, momentum per unit of each velocity."""
    momentum: Array
    """``[n, 6]``: ``matrix`` times ``dq`` [kg m^2/s, kg m/s]."""
    bias: Array
    """``[n, 6]``: its time derivative for accelerations of zero [N m, N]."""
    rate: Optional[Array] = None
    """``[n, 6]``: its time derivative for ``ddq``, if that was given: the sum of all wrenches on the robot, gravity included."""


def by_euler(q: npt.ArrayLike, by_q: npt.ArrayLike) -> npt.NDArray[np.float64]:
    """Converts derivatives with respect to positions to those by x, y, z, roll, pitch and yaw of the root. The last axis
    of ``by_q`` has the coordinates, so it takes ``by_q`` of ``Derivatives`` and of ``Gradient``."""
    coordinates, derivatives = np.asarray(q, np.float64), np.array(by_q, np.float64)
    if derivatives.shape[-1:] != (_coordinates,) or derivatives.shape[:coordinates.ndim - 1] != coordinates.shape[:-1]:
        raise Error(f"by_q: expected dense derivatives of these states, found an array of shape {list(derivatives.shape)}")
    axes = tuple(range(coordinates.ndim - 1, derivatives.ndim - 1))
    roll, pitch = (np.expand_dims(coordinates[..., k], axes) for k in (3, 4))
    s3, c3, s4, c4 = np.sin(roll), np.cos(roll), np.sin(pitch), np.cos(pitch)
    x, y, z = np.moveaxis(derivatives[..., 3:6].copy(), -1, 0)
    derivatives[..., 4] = c3 * y - s3 * z
    derivatives[..., 5] = s3 * c4 * y + c3 * c4 * z - s4 * x
    return derivatives


def _point(body: str, point: Sequence[float], **results: View) -> library.Point:
    place = as_float32(point, "point")
    require_shape(place, "point", (3,))
    return library.Point(body_number(body), tuple(map(float, place)), **results)


class Dynamics:
    """Has the operations of this module, for a batch."""

    _compute: Callable[..., None]

    def dynamics_derivatives(self, q: npt.ArrayLike, dq: npt.ArrayLike, ddq: npt.ArrayLike, wrenches: Optional[Wrenches] = None,
                             packed: bool = False, out: Optional[Derivatives] = None, *,
                             strict: bool = False) -> Derivatives:
        """Computes the generalized forces of a motion and their derivatives with respect to positions and
        velocities; those with respect to accelerations are ``mass``. Wrenches stay as they are in the frames of their bodies.

        ``packed`` returns only the entries that can differ from zero.
        """
        states = States(strict, q=q, dq=dq, ddq=ddq).with_wrenches(wrenches)
        square = (_coordinates, _coordinates)
        shapes = [(_coordinates,), (POSITION_ENTRIES.shape[1],) if packed else square,
                  (VELOCITY_ENTRIES.shape[1],) if packed else square]
        out, (forces, *matrices) = results_of(Derivatives, out, shapes, states.lead, states.arrays)
        none = [View(), View()]
        ordered = [forces, *matrices, *none] if packed else [forces, *none, *matrices]
        self._compute(library.dynamics_derivatives, states, (View * 5)(*ordered))
        return out

    def dynamics_gradient(self, q: npt.ArrayLike, dq: npt.ArrayLike, ddq: npt.ArrayLike, weights: npt.ArrayLike,
                          wrenches: Optional[Wrenches] = None, out: Optional[Gradient] = None, *, strict: bool = False) -> Gradient:
        """Computes the generalized forces of a motion and the gradient of the sum of forces times ``weights``, which have
        the shape of ``q``. The weights of a cost are its derivatives with respect to the forces."""
        states = States(strict, q=q, dq=dq, ddq=ddq, weights=weights).with_wrenches(wrenches)
        out, views = results_of(Gradient, out, [(_coordinates,)] * 4, states.lead, states.arrays)
        self._compute(library.dynamics_gradient, states, views)
        return out

    def forward_dynamics(self, q: npt.ArrayLike, dq: npt.ArrayLike, forces: npt.ArrayLike,
                         armature: Optional[npt.ArrayLike] = None, wrenches: Optional[Wrenches] = None,
                         out: Optional[Array] = None, *, residual: Optional[Array] = None,
                         strict: bool = False) -> Array:
        """Computes the accelerations ``[n, 30]`` that generalized forces cause, without contact with the ground.

        The wrists have 2e-6 kg m^2: without the ``armature`` of their servos, single precision leaves errors of a percent in
        the median, and of the size of the accelerations in the worst case. With 1e-4 kg m^2 it leaves 1e-4. ``residual`` is an
        array ``[n, 30]`` for ``forces`` less those that inverse dynamics gives for the accelerations.
        """
        states = States(strict, q=q, dq=dq, forces=forces).with_wrenches(wrenches)
        out = output_of(out, states.shape, states.arrays)
        if residual is not None:
            require_output(residual, "residual", states.shape, [*states.arrays, out])
        views = (View * 2)(view(out), View() if residual is None else view(residual))
        self._compute(library.forward_dynamics, states, armature_of(armature), views)
        return out

    def momentum(self, q: npt.ArrayLike, dq: npt.ArrayLike, ddq: Optional[npt.ArrayLike] = None, *,
                 strict: bool = False) -> Momentum:
        """Computes the momentum of the whole robot, its matrix and its bias; with ``ddq`` its rate too."""
        states = States(strict, q=q, dq=dq) if ddq is None else States(strict, q=q, dq=dq, ddq=ddq)
        shapes: Sequence[Any] = [(6, _coordinates), (6,), (6,), None if ddq is None else (6,)]
        out, (matrix, momentum, bias, rate) = results_of(Momentum, None, shapes, states.lead, [])
        self._compute(library.momentum, states, *([None] if ddq is None else []), (View * 4)(matrix, momentum, rate, bias))
        return out

    def body_jacobian(self, q: npt.ArrayLike, body: str, point: Sequence[float] = (0, 0, 0),
                      out: Optional[Array] = None, *, strict: bool = False) -> Array:
        """Computes the jacobian ``[n, 6, 30]`` of a point that is fixed in a body, ``point`` in its frame [m]: velocity of
        the body and of the point per unit of each velocity, in world axes, angular before linear."""
        states = States(strict, q=q)
        out = output_of(out, states.lead + (6, _coordinates), states.arrays)
        self._compute(library.body_jacobians, states, None, _point(body, point, jacobian=view(out, "out", 2)), 1)
        return out

    def body_bias(self, q: npt.ArrayLike, dq: npt.ArrayLike, body: str, point: Sequence[float] = (0, 0, 0), *,
                  strict: bool = False) -> Array:
        """Computes the acceleration ``[n, 6]`` of a body and of its point for accelerations of zero, in world axes, angular
        before linear: the time derivative of ``body_jacobian`` times ``dq``."""
        states = States(strict, q=q, dq=dq)
        out = output_of(None, states.lead + (6,), ())
        self._compute(library.body_jacobians, states, _point(body, point, bias=view(out)), 1)
        return out
