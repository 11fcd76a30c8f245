"""Checks arguments that are not arrays and converts them for the C libraries."""

from __future__ import annotations

import errno
import operator
import os
from typing import Any, Callable, Optional, TypeVar

from korvel._errors import Error

_LARGEST_INT = 2**31 - 1
_LARGEST_FLOAT = (2 - 2.0**-23) * 2.0**127
_Value = TypeVar("_Value")


def found(value: Any) -> str:
    """Returns the value for a message, or its type if it may be long."""
    return ascii(value)[:60] if isinstance(value, (str, bytes, float)) else type(value).__name__


def whole(value: Any, name: str) -> int:
    try:
        number = operator.index(value)
    except TypeError:
        raise Error(f"{name}: expected a whole number, found {found(value)}") from None
    if abs(number) > _LARGEST_INT:
        raise Error(f"{name}: expected a number of at most {_LARGEST_INT}, found a larger one")
    return number


def number(value: Any, name: str) -> float:
    try:
        result = float("nan") if isinstance(value, (str, bytes, bytearray)) else float(value)
    except (TypeError, ValueError, OverflowError):
        result = float("nan")
    if not abs(result) <= _LARGEST_FLOAT:
        raise Error(f"{name}: expected a finite number of single precision, found {found(value)}")
    return result


def text(value: Any, name: str) -> bytes:
    """Returns bytes for a C function, for which a null character is the end."""
    return _without_null(value, lambda: value.encode() if isinstance(value, str) else None, f"{name}: expected text")


def file(value: Any) -> bytes:
    """Returns the path of a file that exists. A missing one raises ``FileNotFoundError``, as ``open`` does."""
    encoded = _without_null(value, lambda: os.fsencode(value), "path: expected a path")
    if not os.path.exists(encoded):
        raise FileNotFoundError(errno.ENOENT, os.strerror(errno.ENOENT), os.fsdecode(encoded))
    return encoded


def _without_null(value: Any, encoded: Callable[[], Optional[bytes]], expected: str) -> bytes:
    try:
        result = encoded()
    except (TypeError, UnicodeEncodeError):
        result = None
    if result is None or b"\0" in result:
        raise Error(f"{expected} without null characters, found {found(value)}")
    return result


def instance(value: _Value, kind: type, name: str) -> _Value:
    is_one = isinstance(value, kind)
    if not is_one:
        raise Error(f"{name}: expected a {kind.__name__}, found {found(value)}")
    return value
