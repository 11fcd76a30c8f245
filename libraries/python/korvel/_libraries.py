"""Locates and loads the C libraries."""

from __future__ import annotations

import ctypes
import os
import pathlib
from typing import Any, Callable, Iterator

from korvel._errors import Error
from korvel._version import VERSION

_PACKAGE = pathlib.Path(__file__).parent


def _folders() -> Iterator[pathlib.Path]:
    yield _PACKAGE
    in_prefix = _PACKAGE / "library_path"  # Written where the package is installed together with the libraries.
    if in_prefix.exists():
        yield _PACKAGE / in_prefix.read_text().strip()


class Library:
    """A C library. Its functions have the name of the library in front of their own."""

    def __init__(self, name: str, out_of_memory: int) -> None:
        file, hint = f"lib{name}.so.0", "the environment variable KORVEL_LIBRARY_PATH may name another folder"
        self._prefix, self._out_of_memory = name + "_", out_of_memory
        try:
            self._library = _load(file)
            version = self.function("version", ctypes.c_char_p)().decode()
        except (OSError, AttributeError) as error:
            raise ImportError(f"korvel: expected {file} of version {VERSION} in the package, its prefix or the system: {error}; "
                              + hint) from error
        if version != VERSION:
            raise ImportError(f"korvel: expected {file} of version {VERSION}, found version {version}; {hint}")
        self._error = self.function("error", ctypes.c_char_p)

    def function(self, name: str, result: Any, *arguments: Any) -> Callable[..., Any]:
        function = self._library[self._prefix + name]
        function.restype = result
        function.argtypes = arguments
        return function

    def check(self, status: int) -> None:
        """Raises the error of a call that has failed."""
        if status:
            sentence = self._error().decode(errors="replace")
            raise MemoryError(sentence) if status == self._out_of_memory else Error(sentence)


def _load(file: str) -> ctypes.CDLL:
    """Loads a file from the directory that KORVEL_LIBRARY_PATH names, or else from the package, from the prefix that the
    package is installed in, or from the system. Its functions are called without the interpreter's lock."""
    named = os.environ.get("KORVEL_LIBRARY_PATH")
    path = os.path.join(named, file) if named else next(
        (str(folder / file) for folder in _folders() if (folder / file).exists()), file)
    # A wheel brings the libraries that its own are linked with. The linker finds them by name once they are loaded.
    if pathlib.Path(path).parent == _PACKAGE:
        for other in _PACKAGE.glob("lib*.so.*"):
            if not other.name.startswith("libkorvel"):
                ctypes.CDLL(str(other))
    return ctypes.CDLL(path)
