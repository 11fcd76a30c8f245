"""Motion files."""

from __future__ import annotations

import ctypes
import functools
import os
from dataclasses import dataclass
from typing import TYPE_CHECKING, Optional, Union

import numpy as np
import numpy.typing as npt

from korvel._arrays import FLOAT32, Array, address
from korvel._errors import Error
from korvel._libraries import load
from korvel._robot import COORDINATES

if TYPE_CHECKING:
    import pandas

_OUT_OF_MEMORY = 4


@functools.lru_cache(maxsize=None)
def _library() -> ctypes.CDLL:
    """korvel/motion.h as ctypes has it. States are computed without it, so that it need not be there."""
    library = load("libkorvel_motion.so.0")
    library.korvel_motion_error.restype = ctypes.c_char_p
    library.korvel_motion_read.argtypes = ctypes.POINTER(ctypes.c_void_p), ctypes.c_char_p, ctypes.c_double
    library.korvel_motion_destroy.argtypes = (ctypes.c_void_p,)
    library.korvel_motion_destroy.restype = None
    library.korvel_motion_count.argtypes = (ctypes.c_void_p,)
    library.korvel_motion_count.restype = ctypes.c_ssize_t
    library.korvel_motion_samples.argtypes = (ctypes.c_void_p,) * 5
    return library


def _check(status: int) -> None:
    if status:
        sentence = _library().korvel_motion_error().decode(errors="replace")
        raise MemoryError(sentence) if status == _OUT_OF_MEMORY else Error(sentence)


@dataclass(frozen=True, eq=False)
class Motion:
    """A motion, sample by sample, with velocities and accelerations, as ``Batch`` takes them.

    ``batch.dynamics(motion.q, motion.dq, motion.ddq)``
    """

    time: npt.NDArray[np.float64]
    """``[n]``: of each sample [s]."""
    q: Array
    """``[n, 30]``: coordinates [m, rad]."""
    dq: Array
    """``[n, 30]``: velocities [m/s, rad/s], of the root in its own frame."""
    ddq: Array
    """``[n, 30]``: accelerations [m/s^2, rad/s^2], of the root in its own frame."""

    @classmethod
    def read(cls, path: Union[str, os.PathLike[str]], cutoff: Optional[float] = None) -> Motion:
        """Reads a motion file: to the bit the numbers that ``korvel-host run`` uses.

        CSV with a header; ``time`` [s], and any of ``COORDINATES`` [m, rad], or a quaternion ``qw, qx, qy, qz`` in place
        of the root's angles; what is missing is 0. Velocities and accelerations are those of a cubic spline through the
        samples. ``cutoff`` [Hz] smooths: the frequency of which half the power is left, for samples that were measured,
        or rounded to few decimals. A file that cannot be used raises ``Error``, with its line.
        """
        library = _library()
        if cutoff is not None and not cutoff > 0:
            raise Error(f"cutoff: expected a frequency above 0, found {cutoff}")
        motion = ctypes.c_void_p()
        _check(library.korvel_motion_read(motion, os.fsencode(path), 0 if cutoff is None else cutoff))
        try:
            n = library.korvel_motion_count(motion)
            time = np.empty(n)
            q, dq, ddq = (np.empty((n, len(COORDINATES)), FLOAT32) for _ in range(3))
            _check(library.korvel_motion_samples(motion, address(time), address(q), address(dq), address(ddq)))
        finally:
            library.korvel_motion_destroy(motion)
        return cls(time, q, dq, ddq)

    def to_pandas(self) -> pandas.DataFrame:
        """A row for each sample, by ``time``. Columns have two names: ``q``, ``dq`` or ``ddq``, and the coordinate.

        ``motion.to_pandas()["q"].reset_index().to_csv(path, index=False)`` writes a motion file.
        """
        import pandas

        parts = {"q": self.q, "dq": self.dq, "ddq": self.ddq}
        index = pandas.Index(self.time, name="time")
        frames = {name: pandas.DataFrame(array, index, COORDINATES) for name, array in parts.items()}
        return pandas.concat(frames, axis=1)

    @classmethod
    def from_pandas(cls, frame: pandas.DataFrame) -> Motion:
        """From what ``to_pandas`` makes; coordinates may be in any order. Numbers are copied, and rounded to float32."""
        arrays = []
        for part in ("q", "dq", "ddq"):
            try:
                arrays.append(frame[part][list(COORDINATES)].to_numpy(FLOAT32, copy=True))
            except KeyError as error:
                raise Error(f"frame: expected a column for each coordinate in '{part}': {error.args[0]}") from error
        return cls(frame.index.to_numpy(np.float64, copy=True), *arrays)
