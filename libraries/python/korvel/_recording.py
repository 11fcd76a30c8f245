"""Reads recordings: the calls of a program, as the recorder has written them."""

from __future__ import annotations

import importlib
import json
import os
import struct
from typing import Any, Callable, Dict, List, NamedTuple, Optional, Tuple, Union

import numpy as np
import numpy.typing as npt

from korvel import _checks as checks
from korvel._errors import Error

_MAGIC = b"KORVELR\n"
_BLOCK = 1 << 16
_FILE_HEADER = struct.Struct("<8sIIQIIQqqQqqQQQ")
_HEADER_END = struct.Struct("<QQQQ")
"""Version 2 of the format adds these fields to the header."""
_BLOCK_HEADER = struct.Struct("<IIQQQQQQQQ")
_RECORD_BEGIN = struct.Struct("<IHH")
_BLOCK_MAGIC = 0x4B4C424B
_NOT_RETURNED = 0xFFFFFFFF

(HAS_RESULT, RESULT_IN_FULL, HAS_THROWN, RESTATED, INCOMPLETE, OUT_OF_MEMORY, FLUSHES_DENORMALS,
 OVERLAPPED, TAKES_DENORMALS_AS_ZERO) = (1 << i for i in range(9))
"""Bits of ``flags``."""

# The operations that a block may begin with.
_INPUTS = frozenset(["create", "getMass", "setBodyInertia", "setRootPose", "setRootVelocity", "setRootAcceleration",
                     "setJointAnglesPos", "setJointAnglesVel", "setJointAnglesAcc", "setJointAnglePos", "setJointAngleVel",
                     "setJointAngleAcc", "setExternalWrench", "setExternalWrench (in a frame)", "setVolatilePose"])

_RECORD_HEADER = np.dtype([("size", "<u4"), ("operation", "<u2"), ("flags", "<u2"), ("object", "<u4"), ("number", "<u4"),
                           ("thread", "<u2"), ("shared", "<u2"), ("took", "<u4"), ("ticks", "<i8"), ("result", "<u8")])
_RECORD = _RECORD_HEADER.itemsize
_CALLS = np.dtype([("time", "<f8"), ("took", "<f8"), ("operation", "<u2"), ("flags", "<u2"), ("object", "<u4"),
                   ("number", "<u4"), ("thread", "<u2"), ("shared", "<u2"), ("result", "<u8"), ("offset", "<u8")])


class Calls(NamedTuple):
    """The calls of one operation."""

    which: npt.NDArray[np.intp]
    """``[k]``: the indices of these calls in ``Recording.calls``."""
    arguments: Tuple[npt.NDArray[Any], ...]
    """One array ``[k, count]`` for each argument of the operation; a name is ``[k]`` bytes."""
    results: Optional[npt.NDArray[Any]]
    """``[k, count]`` if the operation has a result: zeros where it is not stored in full."""
    in_full: npt.NDArray[np.bool_]
    """``[k]``: whether the result is stored in full."""


def _hash() -> Optional[Callable[..., int]]:
    """XXH3, if the package xxhash is installed."""
    try:
        return importlib.import_module("xxhash").xxh3_64_intdigest  # type: ignore[no-any-return]
    except ImportError:
        return None


class Recording:
    """A file of ``libkorvel_record.so``, which is read into memory.

    ``path``
        The file. If the process is running or was killed, the file has what was written before.

    >>> recording = korvel.Recording("1234.rec")
    >>> calls = recording.of("setJointAnglesPos")
    >>> recording.calls["time"][calls.which], calls.arguments[0]  # [k], [k, 24]

    A missing file raises ``FileNotFoundError``. A file that is not a recording, or is damaged, raises ``Error`` with the
    offset. If the recording was not closed, the rest of a damaged block is skipped, as by ``korvel-host replay``,
    and ``blocks_left_out`` counts them. Checksums are compared if the package ``xxhash`` is installed, and ``checked``
    says so.
    """

    def __init__(self, path: Union[str, os.PathLike[str]]) -> None:
        self.path = os.fsdecode(checks.file(path))
        if not os.path.isfile(self.path):
            raise Error(f"{self.path}: expected a recording, found no regular file")
        try:
            with open(self.path, "rb") as file:
                # A mapping would end the process where another one cuts the file.
                self._file = file.read()
        except OSError as error:
            raise Error(f"{self.path}: expected a recording, which can be read: {error.strerror}") from error
        self._data = np.frombuffer(self._file, np.uint8)
        if len(self._data) < _BLOCK:
            raise self._error(0, "expected the header of a recording, found a shorter file")
        hash_of = _hash()
        self.header_damaged = False
        """Whether the recording was closed and the end of its header is damaged. Times, ``lost`` and ``overlapped`` are
        uncertain then."""
        self.checked = hash_of is not None
        """Whether checksums were verified."""
        (magic, version, block, text_checksum, text_size, self.process, first_ticks, first_ns, unix_ns, last_ticks, last_ns, _,
         self.lost, self.overlapped, ended) = _FILE_HEADER.unpack_from(self._file)
        if magic != _MAGIC:
            raise self._error(0, "expected a recording, found something else")
        if version not in (1, 2) or block != _BLOCK:
            raise self._error(8, f"expected version 1 or 2 of the format, found {version}")
        at_text = _FILE_HEADER.size
        blocks = None
        if version > 1:
            at_text += _HEADER_END.size
            *blocks, start_checksum, checksum = _HEADER_END.unpack_from(self._file, _FILE_HEADER.size)
            if hash_of and hash_of(self._data[:56].tobytes()) != start_checksum:
                raise self._error(_FILE_HEADER.size, "expected the header that the checksum is of")
            # The end of a header is written last, when the recording is closed.
            if hash_of and ended and hash_of(self._data[:128].tobytes()) != checksum:
                self.header_damaged, ended = True, 0
        text = self._data[at_text:at_text + text_size].tobytes()
        if at_text + text_size > _BLOCK or (hash_of and hash_of(text) != text_checksum):
            raise self._error(16, "expected the text that the header has the checksum of")
        try:
            described = _members(text)
            self.bodies: Tuple[str, ...] = tuple(described["bodies"])
            self.joints: Tuple[str, ...] = tuple(described["joints"])
            self.module: Dict[str, str] = described.get("module", {})
            """``path``, ``version`` and ``build_id`` of the recorded module; empty if they cannot be read."""
            self._shapes: List[Dict[str, Any]] = described["operations"]
            self.operations: Tuple[str, ...] = tuple(shape["name"] for shape in self._shapes)
            """The names of the operations, by the numbers in calls."""
            self._sizes = [_sizes_of_records(shape) for shape in self._shapes]
        except (ValueError, KeyError, TypeError, OverflowError, RecursionError) as error:
            raise self._error(at_text, f"expected JSON that describes the recording: {error}") from error
        self.began = unix_ns / 1e9
        """Time of the first call since 1970 [s]; ``calls["time"]`` counts from it."""
        self.ended = ended != 0
        """Whether the recording was closed. It then has all calls except those that were ``lost``."""
        seconds_per_tick = (last_ns - first_ns) / 1e9 / max(last_ticks - first_ticks, 1) if last_ticks > first_ticks else 1e-9
        self._words = self._data[:len(self._data) // 8 * 8].view("<u8")
        if ended not in (0, len(self._data)):
            raise self._error(96, f"the file had {ended} bytes, and has {len(self._data)}")
        self.blocks_left_out = 0
        """Number of incomplete blocks, in a file that was not closed."""
        offsets = self._records(hash_of, blocks)
        self.calls = self._headers(np.array(offsets, np.int64), first_ticks, seconds_per_tick)
        """A row for each call, in the order of time: ``time`` since the recording began [s], ``took`` [s], which is NaN
        for a call that has not returned, ``operation``, ``flags``, ``object`` and ``number`` of the call of this
        object, both from 1, ``thread``, ``result``, that itself or its hash, and ``offset`` in the file."""

    def _error(self, offset: int, text: str) -> Error:
        return Error(f"{self.path}: byte {offset}: {text}")

    def _records(self, hash_of: Optional[Callable[..., int]], expected: Optional[List[int]]) -> List[int]:
        """Returns where records begin, block by block in the order in which the blocks were taken."""
        blocks: Dict[Tuple[int, int], Tuple[int, ...]] = {}
        for offset in range(_BLOCK, len(self._data) - _BLOCK + 1, _BLOCK):
            magic, stream, number, _, *rest = _BLOCK_HEADER.unpack_from(self._file, offset)
            # Never made, in a file that was not ended.
            if number == 0 and magic == 0 and not self.ended:
                continue
            if magic != _BLOCK_MAGIC:
                raise self._error(offset, "expected a block of records")
            # Made and never taken.
            if number == 0:
                continue
            if (number, stream) in blocks:
                raise self._error(offset, f"block {number} is there twice")
            blocks[number, stream] = (offset, *rest)
        last = max((number for number, _ in blocks), default=0)
        if self.ended and expected and (len(blocks) != expected[0] or last > expected[1]):
            raise self._error(_FILE_HEADER.size, f"expected {expected[0]} blocks of records up to number {expected[1]}, "
                                                 f"found {len(blocks)} up to {last}")
        offsets: List[int] = []
        for _, block in sorted(blocks.items()):
            offsets += self._records_of(*block, hash_of=hash_of)
        return offsets

    def _records_of(self, offset: int, complete: int, begun: int, *checksums: int,
                    hash_of: Optional[Callable[..., int]]) -> List[int]:
        begin = offset + _BLOCK_HEADER.size

        def unusable(at: int, text: str) -> List[int]:
            if self.ended:
                raise self._error(at, text)
            self.blocks_left_out += 1
            return []

        if complete > begun or begun > _BLOCK - _BLOCK_HEADER.size:
            return unusable(offset, "expected no more records than a block can have")
        checked = max((size for size, checksum in zip(checksums[::2], checksums[1::2])
                       if size <= complete and self._is_right(offset, size, checksum, hash_of)), default=0)
        if (checked != complete) if self.ended else (checked == 0 and any(checksums[::2])):
            return unusable(begin, "expected records that the block has the checksum of")
        offsets = []
        # A call that has not returned stands behind those that have.
        at = begin
        while at < begin + begun:
            size = self._size_of_record(at, begin + begun)
            if size == 0:
                if self.ended or at < begin + checked:
                    return unusable(at, "expected a record of an operation")
                # Written after the last checksum and before the power was lost.
                self.blocks_left_out += 1
                break
            offsets.append(at)
            at += size
        return offsets

    def _is_right(self, offset: int, size: int, checksum: int, hash_of: Optional[Callable[..., int]]) -> bool:
        if hash_of is None:
            return True
        begin = offset + _BLOCK_HEADER.size
        seed = hash_of(self._data[offset:offset + 24].tobytes())
        return hash_of(self._data[begin:begin + size].tobytes(), seed) == checksum

    def _size_of_record(self, at: int, end: int) -> int:
        """Returns the size of the record here, or 0 if no complete record begins here."""
        if end - at < _RECORD:
            return 0
        size: int
        size, operation, flags = _RECORD_BEGIN.unpack_from(self._file, at)
        if operation >= len(self._sizes) or size > end - at:
            return 0
        without, with_result = self._sizes[operation]
        if flags & RESTATED and self.operations[operation] not in _INPUTS:
            return 0
        is_right = size == (with_result if flags & RESULT_IN_FULL else without)
        # One that has thrown had room for a result.
        return size if is_right or (flags & HAS_THROWN and size == with_result) else 0

    def _headers(self, offsets: npt.NDArray[np.int64], first_ticks: int, seconds_per_tick: float) -> npt.NDArray[Any]:
        headers = self._bytes(offsets, _RECORD).view(_RECORD_HEADER)[:, 0]
        calls = np.empty(len(offsets), _CALLS)
        calls["time"] = (headers["ticks"] - first_ticks) * seconds_per_tick
        calls["took"] = np.where(headers["took"] == _NOT_RETURNED, np.nan, headers["took"] * seconds_per_tick)
        for name in ("operation", "flags", "object", "number", "thread", "shared", "result"):
            calls[name] = headers[name]
        calls["offset"] = offsets
        # The inputs that a block restates are no calls of the host.
        calls = calls[(calls["flags"] & RESTATED) == 0]
        return calls[np.argsort(calls["time"], kind="stable")]

    def of(self, operation: str) -> Calls:
        """Returns the calls of an operation, with arguments and results as arrays that are copied from the file."""
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
        # A call that has not returned has room for it.
        in_full = ((calls["flags"] & RESULT_IN_FULL) != 0) & ~np.isnan(calls["took"])
        results: Optional[npt.NDArray[Any]] = None
        if "result" in shape:
            item = _type(*shape["result"])
            values = self._bytes(calls["offset"][in_full] + np.uint64(_RECORD + size), _padded(item.itemsize))
            of_some = _column(values[:, :item.itemsize], item)
            # Zeros would look like results.
            missing = np.nan if of_some.dtype.kind == "f" else 0
            results = np.full((len(which), *of_some.shape[1:]), missing, of_some.dtype)
            results[in_full] = of_some
        return Calls(which, tuple(columns), results, in_full)

    def _bytes(self, offsets: npt.NDArray[Any], size: int) -> npt.NDArray[np.uint8]:
        words = self._words[(offsets // 8).astype(np.int64)[:, None] + np.arange(size // 8)]
        return words.view(np.uint8).reshape(len(offsets), size)

    def __enter__(self) -> Recording:
        return self

    def __exit__(self, *_: object) -> None:
        """Does nothing: the file was read and closed when the object was made."""

    def __repr__(self) -> str:
        return f"<korvel.Recording: {self.path}, {len(self.calls)} calls{'' if self.ended else ', not ended'}>"


def _members(text: bytes) -> Dict[str, Any]:
    """Parses the description. If it is not JSON, for instance because a path is not UTF-8, the members that are JSON are kept.
    Each begins a line."""
    try:
        whole: Dict[str, Any] = json.loads(text)
        return whole
    except ValueError:
        members: Dict[str, Any] = {}
        for member in text.strip()[1:-1].split(b',\n"'):
            try:
                members.update(json.loads(b'{"' + member.lstrip(b'"') + b"}"))
            except ValueError:
                pass
        return members


def _type(name: str, count: int) -> np.dtype[Any]:
    """Returns the numpy type of a whole argument: all its numbers."""
    return np.dtype(f"S{count}") if name == "S" else np.dtype(("<" + name, (count,)))


def _sizes_of_records(shape: Dict[str, Any]) -> Tuple[int, int]:
    """Returns the sizes of an operation's records, without and with the full result."""
    without = _RECORD + _padded(sum(_type(*argument).itemsize for argument in shape.get("arguments", ())))
    return without, without + (_padded(_type(*shape["result"]).itemsize) if "result" in shape else 0)


def _padded(size: int) -> int:
    return (size + 7) // 8 * 8


def _column(bytes_of: npt.NDArray[np.uint8], item: np.dtype[Any]) -> npt.NDArray[Any]:
    base, shape = item.subdtype or (item, ())
    values: npt.NDArray[Any] = np.ascontiguousarray(bytes_of).view(base)
    return values.reshape(len(bytes_of), *shape) if shape else values.reshape(len(bytes_of))
