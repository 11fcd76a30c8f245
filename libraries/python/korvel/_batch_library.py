"""Declares the structures and functions of korvel/batch.h and korvel/batch_dynamics.h for ctypes."""

from __future__ import annotations

import ctypes
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


_view = ctypes.POINTER(View)
check = _library.check
create = _library.function("create", ctypes.c_int, ctypes.POINTER(_address), ctypes.c_int, ctypes.c_char_p)
destroy = _library.function("destroy", None, _address)
instruction_set = _library.function("instruction_set", ctypes.c_char_p, _address)
threads = _library.function("threads", ctypes.c_int, _address)
set_inertia = _library.function("set_inertia", ctypes.c_int, _address, ctypes.c_int, ctypes.c_float, _address, _address)
get_inertias = _library.function("get_inertias", ctypes.c_int, _address, _address)
set_inertias = _library.function("set_inertias", ctypes.c_int, _address, _address)
body_name = _library.function("body_name", ctypes.c_char_p, ctypes.c_int)
parent = _library.function("parent", ctypes.c_int, ctypes.c_int)
mass_entry = _library.function("mass_entry", ctypes.c_int, ctypes.c_int, *[ctypes.POINTER(ctypes.c_int)] * 2)
kinematics = _library.function("kinematics", ctypes.c_int, _address, _size, _view, ctypes.POINTER(KinematicsResults))
mass = _library.function("mass", ctypes.c_int, _address, _size, _view, _address, _view, _view)
_wrenches = ctypes.POINTER(Wrench), _size
dynamics = _library.function("dynamics", ctypes.c_int, _address, _size, _view, _view, _view, *_wrenches, _address, _view,
                             _address)
derivative_entry = _library.function("derivative_entry", ctypes.c_int, ctypes.c_int, ctypes.c_int,
                                     *[ctypes.POINTER(ctypes.c_int)] * 2)
dynamics_derivatives = _library.function("dynamics_derivatives", ctypes.c_int, _address, _size, _view, _view, _view,
                                         *_wrenches, _view)
dynamics_gradient = _library.function("dynamics_gradient", ctypes.c_int, _address, _size, _view, _view, _view, _view,
                                      *_wrenches, _view)
forward_dynamics = _library.function("forward_dynamics", ctypes.c_int, _address, _size, _view, _view, _view, *_wrenches,
                                     _address, _view)
momentum = _library.function("momentum", ctypes.c_int, _address, _size, _view, _view, _view, _view)
body_jacobians = _library.function("body_jacobians", ctypes.c_int, _address, _size, _view, _view, ctypes.POINTER(Point),
                                   _size)
stand = _library.function("stand", ctypes.c_int, _address, _size, _view, _view, _view, ctypes.POINTER(Ground), _view, _address)
