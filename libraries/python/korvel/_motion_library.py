"""Declares the functions of korvel/motion.h for ctypes."""

from __future__ import annotations

import ctypes
import functools

from korvel._libraries import Library


class MotionLibrary(Library):
    """The functions of the header."""

    def __init__(self) -> None:
        super().__init__("korvel_motion", out_of_memory=4)
        address, size = ctypes.c_void_p, ctypes.c_ssize_t
        self.read = self.function("read", ctypes.c_int, ctypes.POINTER(address), ctypes.c_char_p, ctypes.c_double)
        self.of = self.function("of", ctypes.c_int, ctypes.POINTER(address), size, address, address, ctypes.c_double)
        self.destroy = self.function("destroy", None, address)
        self.count = self.function("count", size, address)
        self.samples = self.function("samples", ctypes.c_int, *[address] * 5)
        self.contact = self.function("contact", ctypes.c_int, address, ctypes.c_int, address)
        self.read_soles = self.function("read_soles", ctypes.c_int, ctypes.c_char_p, address, size, ctypes.POINTER(size))


@functools.lru_cache(maxsize=None)
def library() -> MotionLibrary:
    """Loads the library when a file is read. States are computed without it, so it may be missing."""
    return MotionLibrary()
