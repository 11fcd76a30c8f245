"""Reads and makes motions."""

from __future__ import annotations

import ctypes
import os
from dataclasses import dataclass, field
from typing import TYPE_CHECKING, Any, Callable, Dict, Optional, Union

import numpy as np
import numpy.typing as npt

from korvel import _checks as checks
from korvel._arrays import FLOAT32, Array, copied, require_shape
from korvel._errors import Error
from korvel._motion_library import library
from korvel._robot import BODIES, COORDINATES

if TYPE_CHECKING:
    import pandas


def _frequency(cutoff: Optional[float]) -> float:
    """Returns the cutoff for the C library, for which 0 is none."""
    frequency = 0.0 if cutoff is None else checks.number(cutoff, "cutoff")
    if cutoff is not None and not frequency > 0:
        raise Error(f"cutoff: expected a frequency above 0, found {cutoff}")
    return frequency


@dataclass(frozen=True, eq=False, repr=False)
class Motion:
    """The samples of a motion with velocities and accelerations, in the form that ``Batch`` takes.

    ``batch.dynamics(motion.q, motion.dq, motion.ddq)``
    ``batch.stand(motion.q, motion.dq, motion.ddq, ground, motion.contact)``
    """

    time: npt.NDArray[np.float64]
    """``[n]``: time of each sample [s]."""
    q: Array
    """``[n, 30]``: coordinates [m, rad]."""
    dq: Array
    """``[n, 30]``: velocities [m/s, rad/s], of the root in its own frame."""
    ddq: Array
    """``[n, 30]``: accelerations [m/s^2, rad/s^2], of the root in its own frame."""
    contact: Dict[str, Array] = field(default_factory=dict)
    """``[n]``, by the names of the bodies that have a contact column in the file: the share of the sole in the load, 1 in
    contact, 0 lifted, between them within 0.1 s after touchdown and before lift-off."""

    @classmethod
    def read(cls, path: Union[str, os.PathLike[str]], cutoff: Optional[float] = None) -> Motion:
        """Reads a motion file. The numbers are bit-identical to those that ``korvel-host run`` uses.

        The file is CSV with a header: ``time`` [s] and any of ``COORDINATES`` [m, rad], or a quaternion ``qw, qx, qy, qz``
        instead of the root's angles. Missing columns are 0. A column BODY_contact, 0 or 1, says when a sole is in contact.
        Velocities and accelerations are those of a cubic spline through the samples. ``cutoff`` [Hz] filters motions that
        were measured or rounded: half of the power is left at this frequency. An unusable file raises ``Error`` with the
        line, and a missing one ``FileNotFoundError``.
        """
        return cls._made(library().read, checks.file(path), _frequency(cutoff))

    @classmethod
    def of(cls, time: npt.ArrayLike, q: npt.ArrayLike, cutoff: Optional[float] = None) -> Motion:
        """Makes a motion from times ``[n]`` [s], which increase, and coordinates ``q [n, 30]``.

        Velocities and accelerations are made as by ``read``, with the root's in its own frame. The root's angles may
        jump by 2 pi. Numbers of double precision are used as they are, which makes accelerations more accurate.
        Unusable arguments raise ``Error`` with the number of the sample, from 0.
        """
        times, rows = copied(time, "time", np.float64), copied(q, "q", np.float64)
        if times.ndim != 1 or rows.shape != (len(times), len(COORDINATES)):
            raise Error(f"q: expected a time [n] and coordinates [n, {len(COORDINATES)}] for each sample, found "
                        f"{list(times.shape)} and {list(rows.shape)}")
        return cls._made(library().of, len(times), times.ctypes, rows.ctypes, _frequency(cutoff))

    @classmethod
    def _made(cls, make: Callable[..., int], *arguments: Any) -> Motion:
        """Makes an object of the C library, copies its samples and ends it."""
        functions, motion = library(), ctypes.c_void_p()
        functions.check(make(motion, *arguments))
        try:
            n = functions.count(motion)
            time = np.empty(n)
            q, dq, ddq = (np.empty((n, len(COORDINATES)), FLOAT32) for _ in range(3))
            functions.check(functions.samples(motion, time.ctypes.data, q.ctypes.data, dq.ctypes.data, ddq.ctypes.data))
            shares = np.empty((len(BODIES), n), FLOAT32)
            for body, share in enumerate(shares):
                functions.check(functions.contact(motion, body, share.ctypes.data))
        finally:
            functions.destroy(motion)
        return cls(time, q, dq, ddq, {body: share for body, share in zip(BODIES, shares) if share[0] >= 0})

    def __repr__(self) -> str:
        soles = f", contact of {', '.join(self.contact)}" if self.contact else ""
        duration = self.time[-1] - self.time[0] if len(self.time) else 0
        return f"<korvel.Motion: {len(self.time)} samples, {duration:.3f} s{soles}>"

    def to_pandas(self) -> pandas.DataFrame:
        """Returns a data frame with a row for each sample, indexed by ``time``. Columns have two names: ``q``, ``dq`` or
        ``ddq`` and the coordinate, or ``contact`` and the body.

        ``motion.to_pandas()["q"].reset_index().to_csv(path, index=False)`` writes a motion file without contact
        columns.
        """
        import pandas

        parts = {"q": self.q, "dq": self.dq, "ddq": self.ddq}
        index = pandas.Index(self.time, name="time")
        frames = {name: pandas.DataFrame(array, index, COORDINATES) for name, array in parts.items()}
        if self.contact:
            frames["contact"] = pandas.DataFrame(self.contact, index)
        return pandas.concat(frames, axis=1)

    @classmethod
    def from_pandas(cls, frame: pandas.DataFrame) -> Motion:
        """Makes a motion from a data frame like that of ``to_pandas``; coordinates may be in any order. Numbers are copied and
        rounded to float32."""
        import pandas

        checks.instance(frame, pandas.DataFrame, "frame")
        arrays = []
        try:
            time = frame.index.to_numpy(np.float64, copy=True)
            for part in ("q", "dq", "ddq"):
                arrays.append(frame[part][list(COORDINATES)].to_numpy(FLOAT32, copy=True))
                require_shape(arrays[-1], part, (len(time), len(COORDINATES)))
            given = frame["contact"] if "contact" in frame else {}
            contact = {body: given[body].to_numpy(FLOAT32, copy=True) for body in given}
        except KeyError as error:
            raise Error(f"frame: expected a column for each coordinate in '{part}': {error.args[0]}") from error
        except (TypeError, ValueError) as error:
            raise Error(f"frame: expected numbers: {error}") from error
        q, dq, ddq = arrays
        return cls(time, q, dq, ddq, contact)
