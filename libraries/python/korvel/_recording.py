"""Reads recordings: the calls of a program, as the recorder has written them."""

from __future__ import annotations

import importlib
import json
import os
import struct
from typing import Any, Callable, Dict, List, NamedTuple, Optional, Sequence, Tuple, Union

import numpy as np
import numpy.typing as npt

from korvel import _checks as checks
from korvel._errors import Error

_BLOCK = 1 << 16
_FILE_HEADER = struct.Struct("<8sIIQIIQqqQqqQQQQQQQ")
_OF_VERSION_1 = 104
"""The size of the header in version 1 of the format. Version 2 adds the last four fields."""
_BLOCK_HEADER = struct.Struct("<IIQQQQQQQQ")
_RECORD_BEGIN = struct.Struct("<IHH")
_BLOCK_MAGIC = 0x4B4C424B
_NOT_RETURNED = 0xFFFFFFFF

_RESULT_IN_FULL, _HAS_THROWN, _RESTATED = 2, 4, 8  # bits of flags

# The operations that a block may begin with.
_INPUTS = frozenset(["create", "getMass", "setBodyInertia", "setRootPose", "setRootVelocity", "setRootAcceleration",
                     "setJointAnglesPos", "setJointAnglesVel", "setJointAnglesAcc", "setJointAnglePos", "setJointAngleVel",
                     "setJointAngleAcc", "setExternalWrench", "setExternalWrench (in a frame)", "setVolatilePose"])

_RECORD_HEADER = np.dtype([("size", "<u4"), ("operation", "<u2"), ("flags", "<u2"), ("object", "<u4"), ("number", "<u4"),
                           ("thread", "<u2"), ("shared", "<u2"), ("took", "<u4"), ("ticks", "<i8"), ("result", "<u8")])
_CALLS = np.dtype([("time", "<f8"), ("took", "<f8"), ("operation", "<u2"), ("flags", "<u2"), ("object", "<u4"),
                   ("number", "<u4"), ("thread", "<u2"), ("shared", "<u2"), ("result", "<u8"), ("offset", "<u8")])


class Calls(NamedTuple):
    """The calls of one operation."""

    which: npt.NDArray[np.intp]
    """``[k]``: the indices of these calls in ``Recording.calls``."""
    arguments: Tuple[npt.NDArray[Any], ...]
    """One array ``[k, count]`` for each argument of the operation; a name is ``[k]`` bytes."""
    results: Optional[npt.NDArray[Any]]
    """``[k, count]`` if the operation has a result: NaN, or 0 of whole numbers, where it is not stored in full."""
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
        if len(self._file) < _BLOCK:
            raise self._error(0, "expected the header of a recording, found a shorter file")
        self._hash = _hash()
        self.checked = self._hash is not None
        """Whether checksums were verified."""
        (magic, version, block, text_checksum, text_size, self.process, first_ticks, first_ns, unix_ns, last_ticks, last_ns, _,
         self.lost, self.overlapped, ended, *blocks, start_checksum, checksum) = _FILE_HEADER.unpack_from(self._file)
        if magic != b"KORVELR\n":
            raise self._error(0, "expected a recording, found something else")
        if version not in (1, 2) or block != _BLOCK:
            raise self._error(8, f"expected version 1 or 2 of the format, found {version}")
        if version > 1 and not self._matches(start_checksum, 0, 56):
            raise self._error(_OF_VERSION_1, "expected the header that the checksum is of")
        # The end of a header is written last, when the recording is closed.
        self.header_damaged = version > 1 and ended != 0 and not self._matches(checksum, 0, 128)
        """Whether the recording was closed and the end of its header is damaged. Times, ``lost`` and ``overlapped`` are
        uncertain then."""
        self.ended = ended != 0 and not self.header_damaged
        """Whether the recording was closed. It then has all calls except those that were ``lost``."""
        at_text = _FILE_HEADER.size if version > 1 else _OF_VERSION_1
        if at_text + text_size > _BLOCK or not self._matches(text_checksum, at_text, at_text + text_size):
            raise self._error(16, "expected the text that the header has the checksum of")
        try:
            described = _members(self._file[at_text:at_text + text_size])
            self.bodies: Tuple[str, ...] = tuple(described["bodies"])
            self.joints: Tuple[str, ...] = tuple(described["joints"])
            self.module: Dict[str, str] = described.get("module", {})
            """``path``, ``version`` and ``build_id`` of the recorded module; empty if they cannot be read."""
            self.operations: Tuple[str, ...] = tuple(shape["name"] for shape in described["operations"])
            """The names of the operations, by the numbers in calls."""
            self._layouts = [_layouts_of_records(shape) for shape in described["operations"]]
        except (ValueError, KeyError, TypeError, OverflowError, RecursionError) as error:
            raise self._error(at_text, f"expected JSON that describes the recording: {error}") from error
        self.began = unix_ns / 1e9
        """Time of the first call since 1970 [s]; ``calls["time"]`` counts from it."""
        seconds_per_tick = (last_ns - first_ns) / 1e9 / max(last_ticks - first_ticks, 1) if last_ticks > first_ticks else 1e-9
        self._words = np.frombuffer(self._file, "<u8", len(self._file) // 8)
        if self.ended and ended != len(self._file):
            raise self._error(96, f"the file had {ended} bytes, and has {len(self._file)}")
        self.blocks_left_out = 0
        """Number of incomplete blocks, in a file that was not closed."""
        offsets = self._records(blocks if version > 1 else None)
        self.calls = self._headers(np.array(offsets, np.int64), first_ticks, seconds_per_tick)
        """A row for each call, in the order of time: ``time`` since the recording began [s], ``took`` [s], which is NaN
        for a call that has not returned, ``operation``, ``flags`` as in docs/recording.md, ``object`` and ``number`` of the
        call of this object, both from 1, ``thread``, ``result``, that itself or its hash, and ``offset`` in the file."""

    def _error(self, offset: int, text: str) -> Error:
        return Error(f"{self.path}: byte {offset}: {text}")

    def _matches(self, checksum: int, begin: int, end: int, seed: int = 0) -> bool:
        """Returns whether these bytes have the checksum, or it cannot be verified."""
        return self._hash is None or self._hash(self._file[begin:end], seed) == checksum

    def _records(self, expected: Optional[List[int]]) -> List[int]:
        """Returns where records begin, block by block in the order in which the blocks were taken."""
        blocks: Dict[Tuple[int, int], Tuple[int, ...]] = {}
        for offset in range(_BLOCK, len(self._file) - _BLOCK + 1, _BLOCK):
            magic, stream, number, _, *rest = _BLOCK_HEADER.unpack_from(self._file, offset)
            # A file that was not closed may end with zeros.
            if magic != _BLOCK_MAGIC and (magic or number or self.ended):
                raise self._error(offset, "expected a block of records")
            if (number, stream) in blocks:
                raise self._error(offset, f"block {number} is there twice")
            if number:
                blocks[number, stream] = (offset, *rest)
        last = max((number for number, _ in blocks), default=0)
        if self.ended and expected and (len(blocks) != expected[0] or last > expected[1]):
            raise self._error(_OF_VERSION_1, f"expected {expected[0]} blocks of records up to number {expected[1]}, "
                                                 f"found {len(blocks)} up to {last}")
        return [offset for _, block in sorted(blocks.items()) for offset in self._records_of(*block)]

    def _records_of(self, offset: int, complete: int, begun: int, *checksums: int) -> List[int]:
        begin = offset + _BLOCK_HEADER.size

        def unusable(at: int, text: str) -> List[int]:
            if self.ended:
                raise self._error(at, text)
            self.blocks_left_out += 1
            return []

        if complete > begun or begun > _BLOCK - _BLOCK_HEADER.size:
            return unusable(offset, "expected no more records than a block can have")
        seed = self._hash(self._file[offset:offset + 24]) if self._hash else 0
        checked = max((size for size, checksum in zip(checksums[::2], checksums[1::2])
                       if size <= complete and self._matches(checksum, begin, begin + size, seed)), default=0)
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

    def _size_of_record(self, at: int, end: int) -> int:
        """Returns the size of the record here, or 0 if no complete record begins here."""
        if end - at < _RECORD_HEADER.itemsize:
            return 0
        size: int
        size, operation, flags = _RECORD_BEGIN.unpack_from(self._file, at)
        if operation >= len(self._layouts) or size > end - at:
            return 0
        without, with_result = (layout.itemsize for layout in self._layouts[operation])
        if flags & _RESTATED and self.operations[operation] not in _INPUTS:
            return 0
        is_right = size == (with_result if flags & _RESULT_IN_FULL else without)
        # One that has thrown had room for a result.
        return size if is_right or (flags & _HAS_THROWN and size == with_result) else 0

    def _headers(self, offsets: npt.NDArray[np.int64], first_ticks: int, seconds_per_tick: float) -> npt.NDArray[Any]:
        headers = self._rows(offsets, _RECORD_HEADER)
        calls = np.empty(len(offsets), _CALLS)
        calls["time"] = (headers["ticks"] - first_ticks) * seconds_per_tick
        calls["took"] = np.where(headers["took"] == _NOT_RETURNED, np.nan, headers["took"] * seconds_per_tick)
        for name in ("operation", "flags", "object", "number", "thread", "shared", "result"):
            calls[name] = headers[name]
        calls["offset"] = offsets
        # The inputs that a block restates are no calls of the host.
        calls = calls[(calls["flags"] & _RESTATED) == 0]
        return calls[np.argsort(calls["time"], kind="stable")]

    def of(self, operation: str) -> Calls:
        """Returns the calls of an operation, with arguments and results as arrays that are copied from the file."""
        if operation not in self.operations:
            raise Error(f"expected the name of an operation, found '{operation}'; Recording.operations has them")
        number = self.operations.index(operation)
        which = np.flatnonzero(self.calls["operation"] == number)
        calls, (without, with_result) = self.calls[which], self._layouts[number]
        *names, _ = without["arguments"].names or ()
        given = self._rows(calls["offset"], without)["arguments"]
        # A call that has not returned has room for it.
        in_full = ((calls["flags"] & _RESULT_IN_FULL) != 0) & ~np.isnan(calls["took"])
        results: Optional[npt.NDArray[Any]] = None
        if with_result is not without:
            of_some = self._rows(calls["offset"][in_full], with_result)["result"]["0"]
            # Zeros would look like results.
            missing = np.nan if of_some.dtype.kind == "f" else 0
            results = np.full((len(which), *of_some.shape[1:]), missing, of_some.dtype)
            results[in_full] = of_some
        return Calls(which, tuple(np.ascontiguousarray(given[name]) for name in names), results, in_full)

    def _rows(self, offsets: npt.NDArray[Any], layout: np.dtype[Any]) -> npt.NDArray[Any]:
        """Returns copies of the parts of the file that begin at these offsets."""
        words = self._words[(offsets // 8).astype(np.int64)[:, None] + np.arange(layout.itemsize // 8)]
        return words.view(layout)[:, 0]

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


def _layouts_of_records(shape: Dict[str, Any]) -> Tuple[np.dtype[Any], np.dtype[Any]]:
    """Returns the layouts of an operation's records, without and with the full result, or the same twice."""
    fields = [("header", _RECORD_HEADER), ("arguments", _padded(shape.get("arguments", ())))]
    without = np.dtype(fields)
    return without, np.dtype([*fields, ("result", _padded([shape["result"]]))]) if "result" in shape else without


def _padded(values: Sequence[Tuple[str, int]]) -> np.dtype[Any]:
    """Returns the layout of values of a type and a count, named by their numbers, and bytes up to a multiple of 8."""
    fields = [(str(i), f"S{count}" if name == "S" else ("<" + name, (count,))) for i, (name, count) in enumerate(values)]
    return np.dtype([*fields, ("padding", f"V{-np.dtype(fields).itemsize % 8}")])
