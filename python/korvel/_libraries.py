"""The C libraries: where they are."""

from __future__ import annotations

import ctypes
import os
import pathlib


def load(name: str) -> ctypes.CDLL:
    """The library from the folder that KORVEL_LIBRARY_PATH names, from the package, or else from the system.

    Its functions are called without the interpreter's lock.
    """
    named = os.environ.get("KORVEL_LIBRARY_PATH")
    beside = pathlib.Path(__file__).with_name(name)
    try:
        if named:
            return ctypes.CDLL(os.path.join(named, name))
        return ctypes.CDLL(str(beside) if beside.exists() else name)
    except OSError as error:
        where = "KORVEL_LIBRARY_PATH" if named else "the package or the system"
        raise ImportError(f"korvel: expected {name} in {where}: {error}") from error
