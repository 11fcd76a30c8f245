"""What a host did, as the recorder has written it."""

from __future__ import annotations

import importlib
import json
import mmap
import os
import struct
from typing import Any, Callable, Dict, List, NamedTuple, Optional, Tuple, Union

import numpy as np
import numpy.typing as npt

from korvel._errors import Error

_MAGIC = b"KORVELR\n"
_BLOCK = 1 << 16
_FILE_HEADER = struct.Struct("<8sIIQIIQqqQqqQQQ")
_BLOCK_HEADER = struct.Struct("<IIQQQQQQQQ")
_SIZE = struct.Struct("<I")
_BLOCK_MAGIC = 0x4B4C424B
_RECORD = 40
_NOT_RETURNED = 0xFFFFFFFF

HAS_RESULT, RESULT_IN_FULL, HAS_THROWN, RESTATED, INCOMPLETE, OUT_OF_MEMORY, FLUSHES_DENORMALS = (1 << i for i in range(7))
"""Bits of ``flags``."""

_CALLS = np.dtype([("time", "<f8"), ("took", "<f8"), ("operation", "<u2"), ("flags", "<u2"), ("object", "<u4"),
                   ("number", "<u4"), ("thread", "<u2"), ("shared", "<u2"), ("result", "<u8"), ("offset", "<u8")])


class Calls(NamedTuple):
    """The calls of one operation."""

    which: npt.NDArray[np.intp]
    """``[k]``: their places in ``Recording.calls``."""
    arguments: Tuple[npt.NDArray[Any], ...]
    """``[k, count]`` each, as many as the operation has; a name is ``[k]`` bytes."""
    results: Optional[npt.NDArray[Any]]
    """``[k, count]`` where the operation has one: zeros where it is not there in full."""
    in_full: npt.NDArray[np.bool_]
    """``[k]``: where it is."""


def _hash() -> Optional[Callable[..., int]]:
    """XXH3, where the package xxhash is installed."""
    try:
        return importlib.import_module("xxhash").xxh3_64_intdigest  # type: ignore[no-any-return]
    except ImportError:
        return None


class Recording:
    """A file of ``libkorvel_record.so``, read whole. Numbers stay in the file until they are asked for.

    ``path``
        The file. One of a process that is running, or was killed, has what was written before.

    >>> recording = korvel.Recording("1234.rec")
    >>> calls = recording.of("setJointAnglesPos")
    >>> recording.calls["time"][calls.which], calls.arguments[0]  # [k], [k, 24]

    A file that is none, or that is damaged, raises ``Error`` with the place. Checksums are looked at where the package
    ``xxhash`` is installed; ``checked`` says so.
    """

    def __init__(self, path: Union[str, os.PathLike[str]]) -> None:
        self.path = os.fspath(path)
        with open(path, "rb") as file:
            if os.fstat(file.fileno()).st_size < _BLOCK:
                raise self._error(0, "expected the header of a recording, found a shorter file")
            self._file = mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ)
        self._data = np.frombuffer(self._file, np.uint8)
        hash_of = _hash()
        self.checked = hash_of is not None
        """Whether checksums were looked at."""
        (magic, version, block, text_checksum, text_size, self.process, first_ticks, first_ns, unix_ns, last_ticks, last_ns, _,
         self.lost, self.overlapped, ended) = _FILE_HEADER.unpack_from(self._file)
        if magic != _MAGIC:
            raise self._error(0, "expected a recording, found something else")
        if version != 1 or block != _BLOCK:
            raise self._error(8, f"expected version 1 of the format, found {version}")
        text = self._data[_FILE_HEADER.size:_FILE_HEADER.size + text_size].tobytes()
        if _FILE_HEADER.size + text_size > _BLOCK or (hash_of and hash_of(text) != text_checksum):
            raise self._error(16, "expected the text that the header has the checksum of")
        try:
            described: Dict[str, Any] = json.loads(text)
            self.module: Dict[str, str] = described["module"]
            """``path``, ``version`` and ``build_id`` of the module that was recorded."""
            self.bodies: Tuple[str, ...] = tuple(described["bodies"])
            self.joints: Tuple[str, ...] = tuple(described["joints"])
            self._shapes: List[Dict[str, Any]] = described["operations"]
            self.operations: Tuple[str, ...] = tuple(shape["name"] for shape in self._shapes)
            """Their names, by the number that calls have."""
        except (ValueError, KeyError, TypeError) as error:
            raise self._error(_FILE_HEADER.size, f"expected JSON that describes the recording: {error}") from error
        self.began = unix_ns / 1e9
        """Time of the first call since 1970 [s]; ``calls["time"]`` counts from it."""
        self.ended = ended != 0
        """Whether the recording was ended in order: it has all calls then, but for those that were ``lost``."""
        seconds_per_tick = (last_ns - first_ns) / 1e9 / max(last_ticks - first_ticks, 1) if last_ticks > first_ticks else 1e-9
        self._words = self._data[:len(self._data) // 8 * 8].view("<u8")
        offsets = self._records(ended or len(self._data), hash_of)
        self.calls = self._headers(np.array(offsets, np.int64), first_ticks, seconds_per_tick)
        """A row for each call, in the order of time: ``time`` since the recording began [s], ``took`` [s], which is not a
        number where a call has not returned, ``operation``, ``flags``, ``object`` and ``number`` of the call of this
        object, both from 1, ``thread``, ``result``, that itself or its hash, and ``offset`` in the file."""

    def _error(self, offset: int, text: str) -> Error:
        return Error(f"{self.path}: byte {offset}: {text}")

    def _records(self, size: int, hash_of: Optional[Callable[..., int]]) -> List[int]:
        """Where records begin, block by block in the order in which those were taken."""
        blocks = []
        for offset in range(_BLOCK, min(size, len(self._data)) - _BLOCK + 1, _BLOCK):
            magic, _, number, ticks, complete, _, *checks = _BLOCK_HEADER.unpack_from(self._file, offset)
            if number == 0:
                continue
            if magic != _BLOCK_MAGIC or complete > _BLOCK - _BLOCK_HEADER.size:
                if self.ended:
                    raise self._error(offset, "expected a block of records")
                continue
            blocks.append((number, offset, complete, checks))
        offsets: List[int] = []
        for _, offset, complete, checks in sorted(blocks):
            begin = offset + _BLOCK_HEADER.size
            if hash_of:
                seed = hash_of(self._data[offset:offset + 24].tobytes())
                whole = [size for size, checksum in zip(checks[::2], checks[1::2]) if size <= complete and
                         hash_of(self._data[begin:begin + size].tobytes(), seed) == checksum]
                if not whole or (self.ended and max(whole) != complete):
                    if self.ended:
                        raise self._error(offset, "expected records that the block has the checksum of")
                    continue
            at = begin
            while at < begin + complete:
                length = _SIZE.unpack_from(self._file, at)[0]
                if length < _RECORD or length % 8 or at + length > begin + complete:
                    raise self._error(at, f"expected a record, found one of {length} bytes")
                offsets.append(at)
                at += length
        return offsets

    def _headers(self, offsets: npt.NDArray[np.int64], first_ticks: int, seconds_per_tick: float) -> npt.NDArray[Any]:
        word = offsets // 8
        fields = [self._words[word + i] for i in range(5)]
        calls = np.empty(len(offsets), _CALLS)
        ticks = fields[3].astype(np.int64) - first_ticks
        took = (fields[2] >> np.uint64(32)).astype(np.int64)
        calls["time"] = ticks * seconds_per_tick
        calls["took"] = np.where(took == _NOT_RETURNED, np.nan, took * seconds_per_tick)
        calls["operation"] = (fields[0] >> np.uint64(32)) & np.uint64(0xFFFF)
        calls["flags"] = fields[0] >> np.uint64(48)
        calls["object"] = fields[1] & np.uint64(0xFFFFFFFF)
        calls["number"] = fields[1] >> np.uint64(32)
        calls["thread"] = fields[2] & np.uint64(0xFFFF)
        calls["shared"] = (fields[2] >> np.uint64(16)) & np.uint64(0xFFFF)
        calls["result"] = fields[4]
        calls["offset"] = offsets
        if len(calls) and int(calls["operation"].max()) >= len(self.operations):
            bad = int(calls["offset"][calls["operation"].argmax()])
            raise self._error(bad, "expected the number of an operation")
        # What a block restates are no calls of the host.
        calls = calls[(calls["flags"] & RESTATED) == 0]
        return calls[np.argsort(calls["time"], kind="stable")]

    def of(self, operation: str) -> Calls:
        """The calls of an operation, with arguments and results as arrays, copied out of the file at once."""
        if operation not in self.operations:
            raise Error(f"expected the name of an operation, found '{operation}'; Recording.operations has them")
        number = self.operations.index(operation)
        which = np.flatnonzero(self.calls["operation"] == number)
        calls, shape = self.calls[which], self._shapes[number]
        arguments = [_type(*argument) for argument in shape.get("arguments", ())]
        size = _padded(sum(item.itemsize for item in arguments))
        bytes_of = self._bytes(calls["offset"] + np.uint64(_RECORD), size)
        columns, at = [], 0
        for item in arguments:
            columns.append(_column(bytes_of[:, at:at + item.itemsize], item))
            at += item.itemsize
        in_full = (calls["flags"] & RESULT_IN_FULL) != 0
        results: Optional[npt.NDArray[Any]] = None
        if "result" in shape:
            item = _type(*shape["result"])
            values = self._bytes(calls["offset"][in_full] + np.uint64(_RECORD + size), _padded(item.itemsize))
            of_some = _column(values[:, :item.itemsize], item)
            results = np.zeros((len(which), *of_some.shape[1:]), of_some.dtype)
            results[in_full] = of_some
        return Calls(which, tuple(columns), results, in_full)

    def _bytes(self, offsets: npt.NDArray[Any], size: int) -> npt.NDArray[np.uint8]:
        words = self._words[(offsets // np.uint64(8)).astype(np.int64)[:, None] + np.arange(size // 8)]
        return words.view(np.uint8).reshape(len(offsets), size)

    def __repr__(self) -> str:
        return f"<korvel.Recording: {self.path}, {len(self.calls)} calls{'' if self.ended else ', not ended'}>"


def _type(name: str, count: int) -> np.dtype[Any]:
    """Of all the numbers of an argument together."""
    return np.dtype(f"S{count}") if name == "S" else np.dtype(("<" + name, (count,)))


def _padded(size: int) -> int:
    return (size + 7) // 8 * 8


def _column(bytes_of: npt.NDArray[np.uint8], item: np.dtype[Any]) -> npt.NDArray[Any]:
    base, shape = item.subdtype or (item, ())
    values: npt.NDArray[Any] = np.ascontiguousarray(bytes_of).view(base)
    return values.reshape(len(bytes_of), *shape) if shape else values.reshape(len(bytes_of))
