"""Declares the structures and functions of korvel/batch.h and korvel/batch_dynamics.h for ctypes."""

from __future__ import annotations

import ctypes
from typing import Any, Callable

from korvel._arrays import View
from korvel._libraries import Library

_library = Library("korvel_batch", out_of_memory=7)
_address = ctypes.c_void_p
_size = ctypes.c_ssize_t


class Wrench(ctypes.Structure):
    """korvel_batch_wrench."""

    _fields_ = [("body", ctypes.c_int), ("values", View)]


class Sole(ctypes.Structure):
    """korvel_batch_sole."""

    _fields_ = [("body", ctypes.c_int), ("friction", ctypes.c_float), ("corners", _address), ("corner_count", _size)]


class Ground(ctypes.Structure):
    """korvel_batch_ground."""

    _fields_ = [("height", ctypes.c_float), ("soles", ctypes.POINTER(Sole)), ("sole_count", _size), ("contact", View)]


class Point(ctypes.Structure):
    """korvel_batch_point."""

    _fields_ = [("body", ctypes.c_int), ("place", ctypes.c_float * 3), ("jacobian", View), ("bias", View)]


class KinematicsResults(ctypes.Structure):
    """korvel_batch_kinematics_results."""

    _fields_ = [("views", View * 5), ("bodies", ctypes.POINTER(ctypes.c_int)), ("body_count", _size)]


def _operation(name: str, *arguments: Any) -> Callable[..., int]:
    """Declares a C function that begins with an object, a number of states and their coordinates."""
    return _library.function(name, _int, _address, _size, _view, *arguments)


_int, _view, _place = ctypes.c_int, ctypes.POINTER(View), [ctypes.POINTER(ctypes.c_int)] * 2
_wrenches = ctypes.POINTER(Wrench), _size
check = _library.check
create = _library.function("create", _int, ctypes.POINTER(_address), _int, ctypes.c_char_p)
destroy = _library.function("destroy", None, _address)
instruction_set = _library.function("instruction_set", ctypes.c_char_p, _address)
threads = _library.function("threads", _int, _address)
set_inertia = _library.function("set_inertia", _int, _address, _int, ctypes.c_float, _address, _address)
get_inertias = _library.function("get_inertias", _int, _address, _address)
set_inertias = _library.function("set_inertias", _int, _address, _address)
body_name = _library.function("body_name", ctypes.c_char_p, _int)
parent = _library.function("parent", _int, _int)
mass_entry = _library.function("mass_entry", _int, _int, *_place)
derivative_entry = _library.function("derivative_entry", _int, _int, _int, *_place)
kinematics = _operation("kinematics", ctypes.POINTER(KinematicsResults))
mass = _operation("mass", _address, _view, _view)
dynamics = _operation("dynamics", _view, _view, *_wrenches, _address, _view, _address)
dynamics_derivatives = _operation("dynamics_derivatives", _view, _view, *_wrenches, _view)
dynamics_gradient = _operation("dynamics_gradient", _view, _view, _view, *_wrenches, _view)
forward_dynamics = _operation("forward_dynamics", _view, _view, *_wrenches, _address, _view)
momentum = _operation("momentum", _view, _view, _view)
body_jacobians = _operation("body_jacobians", _view, ctypes.POINTER(Point), _size)
stand = _operation("stand", _view, _view, ctypes.POINTER(Ground), _view, _address)
