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
    package = pathlib.Path(__file__).parent
    try:
        if named:
            return ctypes.CDLL(os.path.join(named, name))
        if not (package / name).exists():
            return ctypes.CDLL(name)
        # A wheel brings what it links. Once loaded it is found by its name.
        for other in package.glob("lib*.so.*"):
            if not other.name.startswith("libkorvel"):
                ctypes.CDLL(str(other))
        return ctypes.CDLL(str(package / name))
    except OSError as error:
        where = "KORVEL_LIBRARY_PATH" if named else "the package or the system"
        raise ImportError(f"korvel: expected {name} in {where}: {error}") from error
