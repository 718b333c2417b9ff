"""The vector store: a function for each Quorb function (the ML twins, which
only hand the key back differently, are reachable as bindings.lib.<Name>ML).

Keys are Python ints. A failure raises a QuorbError carrying the error line
the library wrote during that very call: NotStoredError (also a KeyError) for
a key that names no stored vector, InvalidValueError (also a ValueError) for
anything the library refused, DuplicateError among those for a duplicate.
"""
from __future__ import annotations

import bisect
import ctypes
import errno
import os
from ctypes import byref, c_char, c_double, c_int32, c_int64
from dataclasses import replace

from . import bindings
from .bindings import lib
from .errors import DuplicateError, InvalidValueError, failure
from .names import KeyResult, LoadReportKind, Status
from .services import begin_call, last_error
from .vectors import DroppedLine, Field, LoadResult, Order, StateVector, from_array, new_array, to_array

_LINE = bindings.LINE_LENGTH
# Room left in get_loaded's key list for vectors that other threads add
# between counting and listing.
_SPARE_KEYS = 1024


def _call(function: str, *args):
    """Calls a library function with the thread's error line cleared first."""
    begin_call()
    return getattr(lib, function)(*args)


def _key(function: str, *args) -> int:
    """Calls a function that answers with a key and raises when it gives none."""
    key = _call(function, *args)
    if key == KeyResult.DUPLICATE:
        raise DuplicateError(function, key, last_error())
    if key == KeyResult.NONE:
        raise failure(function, key, last_error())
    return key


def _status(function: str, *args) -> None:
    """Calls a function that answers with a status and raises when it failed."""
    status = _call(function, *args)
    if status != Status.OK:
        raise failure(function, status, last_error())


def _lines(function: str, *args) -> tuple[str, str]:
    """Calls a void function that writes a card set; both lines blank means it failed."""
    line1, line2 = bindings.text_out(_LINE), bindings.text_out(_LINE)
    _call(function, *args, line1, line2)
    lines = bindings.read_out(line1), bindings.read_out(line2)
    if not any(lines):
        raise failure(function, None, last_error())
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


def loaded_keys(order: Order | int = Order.KEY) -> ctypes.Array:
    """The keys of every stored vector in the given order, as a ctypes array
    (see get_loaded). Other threads may add up to 1024 vectors meanwhile."""
    room = count() + _SPARE_KEYS
    keys = (c_int64 * room)()  # zeros: no stored key is 0, so the first zero ends the list
    _call("QuorbGetLoaded", int(order), keys)
    listed = bisect.bisect_left(memoryview(keys).cast("B").cast("q"), True, key=_is_zero)
    return (c_int64 * listed).from_buffer(keys)


def _is_zero(key: int) -> bool:
    return key == 0


def get_loaded(order: Order | int = Order.KEY) -> list[int]:
    """The keys of every stored vector in the given order (any value other
    than 0, 1 and 2 gives ascending keys)."""
    return list(loaded_keys(order))


def remove(key: int) -> None:
    """Removes one vector."""
    _status("QuorbRemoveSat", key)


def remove_all() -> None:
    """Removes every vector."""
    _status("QuorbRemoveAllSats")


# ---- Files -----------------------------------------------------------------

def load_file(path: str | os.PathLike) -> LoadResult:
    """Loads an input file (and the files it includes) and tells what became
    of its lines. Rejected card sets and other dropped lines do not raise: they
    are in the result. A file that cannot be opened raises OSError
    (FileNotFoundError when it does not exist)."""
    name = bindings.text_in(os.fsencode(path), _LINE)
    entries: list[DroppedLine] = []
    end: list[tuple[int, int, int, int, int]] = []

    def take(entry_pointer, _user) -> None:
        entry = entry_pointer.contents
        if entry.kind == LoadReportKind.END:
            end.append((entry.total, entry.loaded, entry.dup, entry.bad, entry.status))
        else:
            entries.append(DroppedLine(
                LoadReportKind(entry.kind), _text(entry.file, entry.fileLen), entry.line,
                _text(entry.message, entry.messageLen)))

    sink = bindings.LoadReportSink(take)
    lib.LoadReportSetSink(sink, None)
    try:
        _call("QuorbLoadFile", name)
    finally:
        lib.LoadReportSetSink(bindings.LoadReportSink(), None)
    if entries and entries[0].kind == LoadReportKind.NOT_OPENED and entries[0].line == 0:
        raise _file_error(path, "rb", entries[0].message)
    total, loaded, duplicate, bad, status = end[0]
    return LoadResult(total, loaded, duplicate, bad, status, tuple(entries))


def _file_error(path: str | os.PathLike, mode: str, message: str) -> OSError:
    """The OSError of the kind the system gives for opening path as the
    library tried to (FileNotFoundError, IsADirectoryError...), with the
    library's message."""
    try:
        with open(path, mode):
            pass
    except OSError as error:
        return type(error)(error.errno, message, os.fspath(path))
    return OSError(errno.EIO, message, os.fspath(path))


def _text(pointer, length: int) -> str:
    return ctypes.string_at(pointer, length).decode("latin-1") if pointer else ""


def save_file(path: str | os.PathLike, append: bool = False) -> None:
    """Writes every stored vector as a card set, replacing or appending to the
    file; OSError when it cannot be opened."""
    if _call("QuorbSaveFile", bindings.text_in(os.fsencode(path), _LINE), int(append)) != Status.OK:
        raise _file_error(path, "ab", last_error())


# ---- Keys and adding -------------------------------------------------------

def add_lines(line1: str, line2: str) -> int:
    """Adds the vector of a card set; returns its key."""
    return _key("QuorbAddSatFrLines", *_lines_in(line1, line2))


def add_fields(vector: StateVector) -> int:
    """Adds a vector from its scalar fields; returns its key."""
    return _key("QuorbAddSatFrFields", *_fields_in(vector))


def add_array(vector: StateVector) -> int:
    """Adds a vector in the array form, with its controls and covariance."""
    return _key("QuorbAddSatFrArray", *to_array(vector))


def add(vector: StateVector) -> int:
    """Adds a vector: through the array form when it has controls, else by its fields."""
    return add_fields(vector) if vector.controls is None else add_array(vector)


def update_fields(key: int, vector: StateVector) -> None:
    """Replaces a stored vector's fields except its satellite number and epoch
    (its covariance and controls stay)."""
    pos, vel, sec_class, _, intl_desig, _, *rest = _fields_in(vector)
    _status("QuorbUpdateSatFrFields", key, pos, vel, sec_class, intl_desig, *rest)


def update_array(key: int, vector: StateVector) -> None:
    """Replaces a stored vector by the array form of this one (satellite
    number and epoch stay; controls and covariance become the vector's)."""
    _status("QuorbUpdateSatFrArray", key, *to_array(vector))


def fields_to_sat_key(sat_num: int, epoch: str) -> int:
    """The composed key of a satellite number and epoch, without the store."""
    return _key("QuorbFieldsToSatKey", sat_num, bindings.text_in(epoch, bindings.KEY_EPOCH_LENGTH))


def sat_key(sat_num: int) -> int:
    """The key of a stored vector of this satellite (any one of several)."""
    return _key("QuorbGetSatKey", sat_num)


# ---- Field access ----------------------------------------------------------

def _field_index(function: str, field: Field | int) -> int:
    try:
        return int(Field(field))
    except ValueError:
        raise InvalidValueError(function, None, f"{field} names no field") from None


def get_field(key: int, field: Field | int) -> str:
    """One field as text."""
    value = bindings.text_out(_LINE)
    _status("QuorbGetField", key, _field_index("QuorbGetField", field), value)
    return bindings.read_out(value)


def set_field(key: int, field: Field | int, value: str | float) -> None:
    """Sets one field from text or a number (satellite number and epoch are
    left as they are)."""
    index = _field_index("QuorbSetField", field)
    _status("QuorbSetField", key, index, bindings.text_in(str(value), _LINE))


def get_all_fields(key: int) -> StateVector:
    """Every field of a stored vector, with its controls and covariance when
    it has them (two reads: another thread may change the vector between)."""
    out = _FieldOutputs()
    _status("QuorbGetAllFields", key, *out.args())
    in_array = data_to_array(key)
    return replace(out.vector(), controls=in_array.controls, covariance=in_array.covariance)


# ---- Array form ------------------------------------------------------------

def data_to_array(key: int) -> StateVector:
    """A stored vector through the array form, with its controls and covariance."""
    xa, xs = new_array(), bindings.text_out(_LINE)
    _status("QuorbDataToArray", key, xa, xs)
    return from_array(xa, xs)


def lines_to_array(line1: str, line2: str) -> StateVector:
    """A card set read through the array form."""
    xa, xs = new_array(), bindings.text_out(_LINE)
    _status("QuorbLinesToArray", *_lines_in(line1, line2), xa, xs)
    return from_array(xa, xs)


def array_to_lines(vector: StateVector) -> tuple[str, str]:
    """The card set of a vector's array form (not validated)."""
    return _lines("QuorbArrayToLines", *to_array(vector))


# ---- Text conversions ------------------------------------------------------

def get_lines(key: int) -> tuple[str, str]:
    """The card set of a stored vector."""
    line1, line2 = bindings.text_out(_LINE), bindings.text_out(_LINE)
    _status("QuorbGetLines", key, line1, line2)
    return bindings.read_out(line1), bindings.read_out(line2)


def parse(line1: str, line2: str) -> StateVector:
    """The fields of a card set, without storing it."""
    out = _FieldOutputs()
    _status("QuorbParse", *_lines_in(line1, line2), *out.args())
    return out.vector()


def fields_to_lines(vector: StateVector) -> tuple[str, str]:
    """The card set of a vector's fields, without storing it."""
    return _lines("QuorbFieldsToLines", *_fields_in(vector))
