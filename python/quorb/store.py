"""The vector store: a function for each Quorb function (the ML twins, which
only hand the key back differently, are reachable as bindings.lib.<Name>ML).

Keys are Python ints. A failure raises QuorbError (DuplicateError for a
refused duplicate) carrying the library's error line of the calling thread.
"""
from __future__ import annotations

import ctypes
import os
from ctypes import byref, c_char, c_double, c_int32, c_int64

from . import bindings
from .bindings import lib
from .errors import DuplicateError, QuorbError
from .services import last_error
from .vectors import Field, Order, StateVector, from_array, new_array, to_array

_LINE = bindings.LINE_LENGTH
# Room left in get_loaded's key list for vectors that other threads add
# between counting and listing.
_SPARE_KEYS = 1024


def _checked_key(function: str, key: int, logged: bool = True) -> int:
    if key == 0:
        raise DuplicateError(function, key, last_error())
    if key == -1:
        raise QuorbError(function, key, last_error() if logged else "")
    return key


def _check_status(function: str, status: int) -> None:
    if status != 0:
        raise QuorbError(function, status, last_error())


def _lines(function: str, line1: ctypes.Array, line2: ctypes.Array,
           logged: bool = True) -> tuple[str, str]:
    """The lines a void function wrote; both blank means it failed."""
    lines = bindings.read_out(line1), bindings.read_out(line2)
    if not any(lines):
        raise QuorbError(function, None, last_error() if logged else "")
    return lines


def _lines_in(line1: str, line2: str) -> tuple:
    return bindings.text_in(line1, _LINE), bindings.text_in(line2, _LINE)


def _fields_in(vector: StateVector) -> list:
    """The twelve field arguments of QuorbAddSatFrFields and its kin."""
    return [(c_double * 3)(*vector.pos), (c_double * 3)(*vector.vel),
            vector.sec_class.encode("ascii"), vector.sat_num,
            bindings.text_in(vector.intl_desig, bindings.INTL_DESIG_LENGTH),
            bindings.text_in(vector.epoch, bindings.EPOCH_LENGTH), vector.rev_num,
            vector.elset_num, vector.b_term, vector.agom, vector.in_track_thrust,
            bindings.text_in(vector.coord_sys, bindings.COORD_SYS_LENGTH)]


class _FieldOutputs:
    """The twelve out-parameters of QuorbGetAllFields and QuorbParse."""

    def __init__(self) -> None:
        self.pos, self.vel = (c_double * 3)(), (c_double * 3)()
        self.sec_class = c_char()
        self.sat_num, self.rev_num, self.elset_num = c_int32(), c_int32(), c_int32()
        self.b_term, self.agom, self.in_track_thrust = c_double(), c_double(), c_double()
        self.intl_desig = bindings.text_out(bindings.INTL_DESIG_LENGTH)
        self.epoch = bindings.text_out(bindings.EPOCH_LENGTH)
        self.coord_sys = bindings.text_out(bindings.COORD_SYS_LENGTH)

    def args(self) -> list:
        return [self.pos, self.vel, byref(self.sec_class), byref(self.sat_num), self.intl_desig,
                self.epoch, byref(self.rev_num), byref(self.elset_num), byref(self.b_term),
                byref(self.agom), byref(self.in_track_thrust), self.coord_sys]

    def vector(self) -> StateVector:
        return StateVector(
            pos=tuple(self.pos), vel=tuple(self.vel),
            sec_class=self.sec_class.value.decode("latin-1"), sat_num=self.sat_num.value,
            intl_desig=bindings.read_out(self.intl_desig),
            epoch=bindings.read_out(self.epoch).lstrip(), rev_num=self.rev_num.value,
            elset_num=self.elset_num.value, b_term=self.b_term.value, agom=self.agom.value,
            in_track_thrust=self.in_track_thrust.value,
            coord_sys=bindings.read_out(self.coord_sys))


# ---- Library and store -----------------------------------------------------

def init() -> None:
    """QuorbInit: nothing to do; the library needs no initialisation."""
    lib.QuorbInit(0)


def info() -> str:
    """The library's name, version and build date."""
    text = bindings.text_out(bindings.INFO_LENGTH)
    lib.QuorbGetInfo(text)
    return bindings.read_out(text)


def count() -> int:
    """The number of stored vectors."""
    return lib.QuorbGetCount()


def get_loaded(order: Order | int = Order.KEY) -> list[int]:
    """The keys of every stored vector in the given order (any value other
    than 0, 1 and 2 gives ascending keys). Other threads may add up to 1024
    vectors meanwhile."""
    stored = count()
    if stored == 0:
        return []
    keys = (c_int64 * (stored + _SPARE_KEYS))()  # zeros: no stored key is 0
    lib.QuorbGetLoaded(int(order), keys)
    listed = list(keys)
    return listed[:listed.index(0)] if 0 in listed else listed


def remove(key: int) -> None:
    """Removes one vector."""
    _check_status("QuorbRemoveSat", lib.QuorbRemoveSat(key))


def remove_all() -> None:
    """Removes every vector."""
    _check_status("QuorbRemoveAllSats", lib.QuorbRemoveAllSats())


# ---- Files -----------------------------------------------------------------

def load_file(path: str | os.PathLike) -> None:
    """Loads an input file; the totals line is then last_info()."""
    _check_status("QuorbLoadFile", lib.QuorbLoadFile(bindings.text_in(os.fsencode(path), _LINE)))


def save_file(path: str | os.PathLike, append: bool = False) -> None:
    """Writes every stored vector as a card set, replacing or appending to the file."""
    name = bindings.text_in(os.fsencode(path), _LINE)
    _check_status("QuorbSaveFile", lib.QuorbSaveFile(name, int(append)))


# ---- Keys and adding -------------------------------------------------------

def add_lines(line1: str, line2: str) -> int:
    """Adds the vector of a card set; returns its key."""
    return _checked_key("QuorbAddSatFrLines", lib.QuorbAddSatFrLines(*_lines_in(line1, line2)))


def add_fields(vector: StateVector) -> int:
    """Adds a vector from its scalar fields; returns its key."""
    return _checked_key("QuorbAddSatFrFields", lib.QuorbAddSatFrFields(*_fields_in(vector)))


def add_array(vector: StateVector) -> int:
    """Adds a vector in the array form, with its controls and covariance."""
    return _checked_key("QuorbAddSatFrArray", lib.QuorbAddSatFrArray(*to_array(vector)))


def add(vector: StateVector) -> int:
    """Adds a vector: through the array form when it has controls, else by its fields."""
    return add_fields(vector) if vector.controls is None else add_array(vector)


def update_fields(key: int, vector: StateVector) -> None:
    """Replaces a stored vector's fields except its satellite number and epoch
    (its covariance and controls stay)."""
    pos, vel, sec_class, _, intl_desig, _, *rest = _fields_in(vector)
    status = lib.QuorbUpdateSatFrFields(key, pos, vel, sec_class, intl_desig, *rest)
    _check_status("QuorbUpdateSatFrFields", status)


def update_array(key: int, vector: StateVector) -> None:
    """Replaces a stored vector by the array form of this one (satellite
    number and epoch stay; controls and covariance become the vector's)."""
    _check_status("QuorbUpdateSatFrArray", lib.QuorbUpdateSatFrArray(key, *to_array(vector)))


def fields_to_sat_key(sat_num: int, epoch: str) -> int:
    """The composed key of a satellite number and epoch, without the store."""
    key = lib.QuorbFieldsToSatKey(sat_num, bindings.text_in(epoch, bindings.KEY_EPOCH_LENGTH))
    return _checked_key("QuorbFieldsToSatKey", key, logged=False)


def sat_key(sat_num: int) -> int:
    """The key of a stored vector of this satellite (any one of several)."""
    return _checked_key("QuorbGetSatKey", lib.QuorbGetSatKey(sat_num))


# ---- Field access ----------------------------------------------------------

def get_field(key: int, field: Field | int) -> str:
    """One field as text ('' for an index that names no field)."""
    value = bindings.text_out(_LINE)
    _check_status("QuorbGetField", lib.QuorbGetField(key, int(field), value))
    return bindings.read_out(value)


def set_field(key: int, field: Field | int, value: str | float) -> None:
    """Sets one field from text or a number (satellite number and epoch are
    left as they are)."""
    text = bindings.text_in(str(value), _LINE)
    _check_status("QuorbSetField", lib.QuorbSetField(key, int(field), text))


def get_all_fields(key: int) -> StateVector:
    """Every scalar field of a stored vector."""
    out = _FieldOutputs()
    _check_status("QuorbGetAllFields", lib.QuorbGetAllFields(key, *out.args()))
    return out.vector()


# ---- Array form ------------------------------------------------------------

def data_to_array(key: int) -> StateVector:
    """A stored vector through the array form, with its controls and covariance."""
    xa, xs = new_array(), bindings.text_out(_LINE)
    _check_status("QuorbDataToArray", lib.QuorbDataToArray(key, xa, xs))
    return from_array(xa, xs)


def lines_to_array(line1: str, line2: str) -> StateVector:
    """A card set read through the array form."""
    xa, xs = new_array(), bindings.text_out(_LINE)
    _check_status("QuorbLinesToArray", lib.QuorbLinesToArray(*_lines_in(line1, line2), xa, xs))
    return from_array(xa, xs)


def array_to_lines(vector: StateVector) -> tuple[str, str]:
    """The card set of a vector's array form (not validated)."""
    line1, line2 = bindings.text_out(_LINE), bindings.text_out(_LINE)
    lib.QuorbArrayToLines(*to_array(vector), line1, line2)
    # A satellite number of -1 marks an array without a vector: nothing is logged.
    return _lines("QuorbArrayToLines", line1, line2, logged=vector.sat_num != -1)


# ---- Text conversions ------------------------------------------------------

def get_lines(key: int) -> tuple[str, str]:
    """The card set of a stored vector."""
    line1, line2 = bindings.text_out(_LINE), bindings.text_out(_LINE)
    _check_status("QuorbGetLines", lib.QuorbGetLines(key, line1, line2))
    return bindings.read_out(line1), bindings.read_out(line2)


def parse(line1: str, line2: str) -> StateVector:
    """The fields of a card set, without storing it."""
    out = _FieldOutputs()
    _check_status("QuorbParse", lib.QuorbParse(*_lines_in(line1, line2), *out.args()))
    return out.vector()


def fields_to_lines(vector: StateVector) -> tuple[str, str]:
    """The card set of a vector's fields, without storing it."""
    line1, line2 = bindings.text_out(_LINE), bindings.text_out(_LINE)
    lib.QuorbFieldsToLines(*_fields_in(vector), line1, line2)
    return _lines("QuorbFieldsToLines", line1, line2)
