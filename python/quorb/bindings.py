"""The shared library with the prototype of every exported function, and the
fixed-size text conventions. `lib.<Function>` calls any C function directly."""
from __future__ import annotations

import ctypes
import ctypes.util
import os
from ctypes import POINTER, c_char, c_char_p, c_double, c_int32, c_int64, c_void_p
from pathlib import Path
from typing import Callable

from .names import TextSize

LIBRARY_VARIABLE = "QUORB_LIBRARY"
SONAME = "libquorb.so.1"

LINE_LENGTH = TextSize.LINE_LENGTH  # card lines, file names, field texts, the array text
INFO_LENGTH = TextSize.INFO_LENGTH
INTL_DESIG_LENGTH = TextSize.INTL_DESIG_LENGTH
EPOCH_LENGTH = TextSize.EPOCH_LENGTH
KEY_EPOCH_LENGTH = TextSize.KEY_EPOCH_LENGTH
COORD_SYS_LENGTH = TextSize.COORD_SYS_LENGTH

TraceLogSink = ctypes.CFUNCTYPE(None, c_int32, POINTER(c_char), c_int32, c_void_p)


class LoadReportEntry(ctypes.Structure):
    """One entry of a load report (struct LoadReportEntry of quorb_services.h)."""
    _fields_ = [("kind", c_int32), ("file", POINTER(c_char)), ("fileLen", c_int32),
                ("line", c_int32), ("message", POINTER(c_char)), ("messageLen", c_int32),
                ("total", c_int64), ("loaded", c_int32), ("dup", c_int32), ("bad", c_int32),
                ("status", c_int32)]


LoadReportSink = ctypes.CFUNCTYPE(None, POINTER(LoadReportEntry), c_void_p)

_IN = c_char_p  # const char[N]: read up to N bytes or the first NUL
_OUT = POINTER(c_char)  # char[N]: N bytes written, blank-padded, no NUL
_VEC = POINTER(c_double)  # double[3] or the flat array of the array form
_FIELDS_IN = [_VEC, _VEC, c_char, c_int32, _IN, _IN, c_int32, c_int32,
              c_double, c_double, c_double, _IN]
_FIELDS_OUT = [_VEC, _VEC, _OUT, POINTER(c_int32), _OUT, _OUT, POINTER(c_int32),
               POINTER(c_int32), POINTER(c_double), POINTER(c_double), POINTER(c_double), _OUT]
_KEY_OUT = POINTER(c_int64)

# Every function of quorb.h and quorb_services.h: (result, parameters).
PROTOTYPES: dict[str, tuple[type | None, list]] = {
    "QuorbInit": (c_int32, [c_int64]),
    "QuorbGetInfo": (None, [_OUT]),
    "QuorbGetCount": (c_int32, []),
    "QuorbGetLoaded": (None, [c_int32, _KEY_OUT]),
    "QuorbRemoveSat": (c_int32, [c_int64]),
    "QuorbRemoveAllSats": (c_int32, []),
    "QuorbLoadFile": (c_int32, [_IN]),
    "QuorbSaveFile": (c_int32, [_IN, c_int32]),
    "QuorbAddSatFrLines": (c_int64, [_IN, _IN]),
    "QuorbAddSatFrLinesML": (None, [_IN, _IN, _KEY_OUT]),
    "QuorbAddSatFrFields": (c_int64, _FIELDS_IN),
    "QuorbAddSatFrFieldsML": (None, _FIELDS_IN + [_KEY_OUT]),
    "QuorbUpdateSatFrFields": (c_int32, [c_int64, _VEC, _VEC, c_char, _IN, c_int32, c_int32,
                                         c_double, c_double, c_double, _IN]),
    "QuorbFieldsToSatKey": (c_int64, [c_int32, _IN]),
    "QuorbFieldsToSatKeyML": (None, [c_int32, _IN, _KEY_OUT]),
    "QuorbGetSatKey": (c_int64, [c_int32]),
    "QuorbGetSatKeyML": (None, [c_int32, _KEY_OUT]),
    "QuorbGetField": (c_int32, [c_int64, c_int32, _OUT]),
    "QuorbSetField": (c_int32, [c_int64, c_int32, _IN]),
    "QuorbGetAllFields": (c_int32, [c_int64] + _FIELDS_OUT),
    "QuorbDataToArray": (c_int32, [c_int64, _VEC, _OUT]),
    "QuorbUpdateSatFrArray": (c_int32, [c_int64, _VEC, _IN]),
    "QuorbAddSatFrArray": (c_int64, [_VEC, _IN]),
    "QuorbAddSatFrArrayML": (None, [_VEC, _IN, _KEY_OUT]),
    "QuorbArrayToLines": (None, [_VEC, _IN, _OUT, _OUT]),
    "QuorbLinesToArray": (c_int32, [_IN, _IN, _VEC, _OUT]),
    "QuorbGetLines": (c_int32, [c_int64, _OUT, _OUT]),
    "QuorbParse": (c_int32, [_IN, _IN] + _FIELDS_OUT),
    "QuorbFieldsToLines": (None, _FIELDS_IN + [_OUT, _OUT]),
    "ElsetKeyModeSet": (None, [c_int32]),
    "ElsetKeyModeGet": (c_int32, []),
    "AllKeyModeSet": (None, [c_int32]),
    "AllKeyModeClear": (None, []),
    "UseAllKeyMode": (c_int32, []),
    "AllKeyModeGet": (c_int32, []),
    "DupKeyModeSet": (None, [c_int32]),
    "DupKeyModeGet": (c_int32, []),
    "TraceLogOpen": (c_int32, [c_char_p]),
    "TraceLogClose": (None, []),
    "TraceLogSetSink": (None, [TraceLogSink, c_void_p]),
    "TraceLogLastError": (c_int32, [c_char_p, c_int32]),
    "TraceLogLastInfo": (c_int32, [c_char_p, c_int32]),
    "LoadReportSetSink": (None, [LoadReportSink, c_void_p]),
    "ManeuverCardGet": (c_int32, [c_int64, c_int32, _OUT]),
}


def library_location() -> str:
    """Where the library is taken from: $QUORB_LIBRARY, beside the package, or the system."""
    configured = os.environ.get(LIBRARY_VARIABLE)
    if configured:
        return configured
    beside = Path(__file__).with_name(SONAME)
    if beside.exists():
        return str(beside)
    return ctypes.util.find_library("quorb") or SONAME


def _load() -> ctypes.CDLL:
    try:
        library = ctypes.CDLL(library_location())
    except OSError as error:
        raise OSError(f"cannot load libquorb ({error}); {LIBRARY_VARIABLE} may name it") from error
    for name, (result, parameters) in PROTOTYPES.items():
        function = getattr(library, name)
        function.restype = result
        function.argtypes = parameters
    return library


lib = _load()


def text_in(text: str | bytes, size: int) -> ctypes.Array:
    """An N-byte in-array holding text (shorter texts end with a NUL)."""
    data = text.encode("ascii") if isinstance(text, str) else text
    if len(data) > size:
        raise ValueError(f"{text!r} is longer than {size} characters")
    return ctypes.create_string_buffer(data, size)


def text_out(size: int) -> ctypes.Array:
    """An N-byte out-array for the library to fill."""
    return ctypes.create_string_buffer(size)


def read_out(buffer: ctypes.Array) -> str:
    """The text of a filled out-array, trailing blanks removed."""
    return buffer.raw.decode("latin-1").rstrip(" ")


def last_line(reader: Callable[..., int]) -> str:
    """The calling thread's last line of one level (TraceLogLastError or TraceLogLastInfo)."""
    length = reader(None, 0)
    buffer = ctypes.create_string_buffer(length + 1)
    reader(buffer, length + 1)
    return buffer.value.decode("latin-1")
