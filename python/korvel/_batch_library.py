"""korvel/batch.h as ctypes has it. Addresses are integers."""

from __future__ import annotations

import ctypes
from typing import Any, Callable

from korvel._errors import Error
from korvel._libraries import load

_library = load("libkorvel_batch.so.0")
_address = ctypes.c_void_p
_size = ctypes.c_ssize_t
_OUT_OF_MEMORY = 7


def _declare(name: str, result: Any, *arguments: Any) -> Callable[..., Any]:
    function = _library["korvel_batch_" + name]
    function.restype = result
    function.argtypes = arguments
    return function


_error = _declare("error", ctypes.c_char_p)
create = _declare("create", ctypes.c_int, ctypes.POINTER(ctypes.c_void_p), ctypes.c_int, ctypes.c_char_p)
destroy = _declare("destroy", None, _address)
instruction_set = _declare("instruction_set", ctypes.c_char_p, _address)
threads = _declare("threads", ctypes.c_int, _address)
set_inertia = _declare("set_inertia", ctypes.c_int, _address, ctypes.c_int, ctypes.c_float, _address, _address)
body_name = _declare("body_name", ctypes.c_char_p, ctypes.c_int)
parent = _declare("parent", ctypes.c_int, ctypes.c_int)
mass_entry = _declare("mass_entry", ctypes.c_int, ctypes.c_int, *[ctypes.POINTER(ctypes.c_int)] * 2)
kinematics = _declare("kinematics", ctypes.c_int, _address, _size, _address, _address)
mass = _declare("mass", ctypes.c_int, _address, _size, _address, _address, _address)
dynamics = _declare("dynamics", ctypes.c_int, _address, _size, *[_address] * 4, _size, _address, _address)
stand = _declare("stand", ctypes.c_int, _address, _size, *[_address] * 6)


def check(status: int) -> None:
    """Raises what a call has failed with."""
    if status:
        sentence = _error().decode(errors="replace")
        raise MemoryError(sentence) if status == _OUT_OF_MEMORY else Error(sentence)
