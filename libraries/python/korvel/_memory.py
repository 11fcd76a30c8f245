"""Memory for results.

The C library returns large blocks to the system when they are freed. The next array then gets fresh pages, and faulting
them in takes longer than computing the numbers for them. So some freed blocks are kept for arrays of the same size.
"""

from __future__ import annotations

import math
from typing import Any, Dict, List, Tuple

import numpy as np
import numpy.typing as npt

_Bytes = npt.NDArray[np.uint8]

_smallest = 1 << 17  # bytes of a block that the C library does not keep itself
_most = 64 << 20  # bytes that are kept
_kept: Dict[int, List[_Bytes]] = {}


def _keep(block: _Bytes) -> None:
    if block.nbytes > _most:
        return
    if block.nbytes + sum(size * len(blocks) for size, blocks in list(_kept.items())) > _most:
        _kept.clear()
    _kept.setdefault(block.nbytes, []).append(block)


class _Owner:
    """Keeps a block when no array refers to it any more."""

    def __init__(self, block: _Bytes) -> None:
        self.__array_interface__: Dict[str, Any] = block.__array_interface__
        self._block = block

    def __del__(self) -> None:
        _keep(self._block)


def new_array(shape: Tuple[int, ...]) -> npt.NDArray[np.float32]:
    """Returns an uninitialised array of float32."""
    size = math.prod(shape) * np.dtype(np.float32).itemsize
    if size < _smallest:
        return np.empty(shape, np.float32)
    try:
        block = _kept[size].pop()
    except (KeyError, IndexError):
        block = np.empty(size, np.uint8)
    return np.asarray(_Owner(block)).view(np.float32).reshape(shape)
