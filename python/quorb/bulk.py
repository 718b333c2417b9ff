"""Many vectors at once, as columns: numpy arrays when numpy can be imported,
else array.array for numbers and lists for texts and the (x, y, z) rows.

The columns: key, sat_num, epoch (days since 1950), pos and vel (N x 3),
b_term, agom, in_track_thrust, rev_num, elset_num, sec_class, intl_desig and
coord_sys. The copying runs in a small C extension, outside the interpreter.
"""
from __future__ import annotations

import array
import ctypes
from typing import Any, Iterable, Mapping

from . import _bulk
from .bindings import lib
from .errors import NotStoredError
from .names import Order
from .services import begin_call, last_error
from .store import loaded_keys

try:
    import numpy
except ImportError:  # the columns are then array.array and lists
    numpy = None

_bulk.bind(*(ctypes.cast(function, ctypes.c_void_p).value for function in (
    lib.QuorbGetAllFields, lib.QuorbDataToArray, lib.QuorbAddSatFrFields)))


def to_arrays(keys: Iterable[int] | None = None,
              order: Order | int = Order.KEY) -> dict[str, Any]:
    """The stored vectors of keys (every stored vector, in this order, when
    keys is None) as columns. NotStoredError names the first key that is not
    stored (another thread may have removed it meanwhile)."""
    wanted = loaded_keys(order) if keys is None else array.array("q", keys)
    count = len(wanted)
    buffers = [_empty(kind, width, count) for _, kind, width in _bulk.COLUMNS]
    begin_call()
    read = _bulk.read(wanted, *buffers)
    if read < count:
        raise NotStoredError("QuorbGetAllFields", None, last_error() or f"no key {wanted[read]}")
    columns = {"key": _from_keys(wanted)}
    for (name, kind, width), buffer in zip(_bulk.COLUMNS, buffers):
        columns[name] = _column(buffer, kind, width, count)
    return columns


def add_arrays(columns: Mapping[str, Any]) -> Any:
    """Adds one vector per row of columns (as to_arrays gives them; a key
    column is ignored), from its scalar fields only, and returns each row's key: 0 where the store refused
    a duplicate, -1 where the library refused the row (last_error() tells the
    last such refusal). An epoch outside 1957 to 2056 is refused."""
    count = len(columns["sat_num"])
    buffers = [_filled(name, kind, width, columns[name], count)
               for name, kind, width in _bulk.COLUMNS]
    keys = numpy.empty(count, numpy.int64) if numpy else array.array("q", bytes(8 * count))
    begin_call()
    _bulk.add(keys, *buffers)
    return keys


def _empty(kind: str, width: int, count: int) -> Any:
    if kind == "s":
        return bytearray(width * count)
    if numpy:
        return numpy.empty((count, width) if width > 1 else count,
                           numpy.int32 if kind == "i" else numpy.float64)
    # The extension's kinds 'i' and 'd' are the array module's codes too.
    return array.array(kind, bytes(array.array(kind).itemsize * width * count))


def _from_keys(keys: Any) -> Any:
    if numpy:
        return numpy.frombuffer(keys, numpy.int64).copy()
    return array.array("q", keys)


def _column(buffer: Any, kind: str, width: int, count: int) -> Any:
    if kind == "s":
        if numpy:
            return numpy.frombuffer(buffer, f"S{width}").astype(f"U{width}")
        return [bytes(buffer[row * width:(row + 1) * width]).rstrip(b"\0").decode("latin-1")
                for row in range(count)]
    if width > 1 and not numpy:
        return [tuple(buffer[row * width:(row + 1) * width]) for row in range(count)]
    return buffer


def _filled(name: str, kind: str, width: int, values: Any, count: int) -> Any:
    """A contiguous buffer of one column's values, checked to hold count rows."""
    if len(values) != count:
        raise ValueError(f"column {name} has {len(values)} rows, not {count}")
    if kind == "s":
        texts = [text.encode("ascii") if isinstance(text, str) else bytes(text) for text in values]
        if any(len(text) > width for text in texts):
            raise ValueError(f"a {name} is longer than {width} characters")
        return b"".join(text.ljust(width, b"\0") for text in texts)
    if numpy:
        return numpy.ascontiguousarray(values, numpy.int32 if kind == "i" else numpy.float64)
    flat = values if width == 1 else [value for row in values for value in row]
    return array.array(kind, flat)
