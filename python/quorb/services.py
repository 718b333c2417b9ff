"""Process-wide host controls: key modes and the trace log."""
from __future__ import annotations

import atexit
import ctypes
import logging
import os
import threading
from enum import IntEnum
from typing import Any, Callable

from . import bindings
from .bindings import lib


class KeyMode(IntEnum):
    """How new vectors are keyed."""

    COMPOSED = 0  # from satellite number and epoch
    DIRECT = 1  # ten times the address of the holder that owns the vector


class Level(IntEnum):
    """Levels of trace-log lines."""

    INFO = 0  # info lines and warnings ("Warning-...")
    ERROR = 1


# ---- Key modes -------------------------------------------------------------

def set_elset_key_mode(mode: KeyMode | int) -> None:
    """Sets the element-set key mode (ValueError for anything but 0 and 1)."""
    lib.ElsetKeyModeSet(KeyMode(mode))


def elset_key_mode() -> KeyMode:
    return KeyMode(lib.ElsetKeyModeGet())


def set_all_key_mode(mode: KeyMode | int) -> None:
    """Turns the all-types key mode on with this mode; it overrides the element-set one."""
    lib.AllKeyModeSet(KeyMode(mode))


def clear_all_key_mode() -> None:
    """Turns the all-types key mode off."""
    lib.AllKeyModeClear()


def all_key_mode_in_use() -> bool:
    return bool(lib.UseAllKeyMode())


def all_key_mode() -> KeyMode:
    return KeyMode(lib.AllKeyModeGet())


def set_accept_duplicates(accept: bool) -> None:
    """True: adding a vector equal to a stored one answers with the stored
    key; False: it is refused (DuplicateError)."""
    lib.DupKeyModeSet(int(accept))


def accepts_duplicates() -> bool:
    return lib.DupKeyModeGet() != 0


# ---- Trace log -------------------------------------------------------------

def open_log(path: str | os.PathLike) -> None:
    """Appends every further line to this file (OSError when it cannot be opened)."""
    if lib.TraceLogOpen(os.fsencode(path)) != 0:
        raise OSError(f"cannot open the trace log file {os.fspath(path)!r}")


def close_log() -> None:
    lib.TraceLogClose()


def last_error() -> str:
    """The calling thread's last error line."""
    return bindings.last_line(lib.TraceLogLastError)


def last_info() -> str:
    """The calling thread's last info line."""
    return bindings.last_line(lib.TraceLogLastInfo)


Sink = Callable[[Level, str], None]

_sink_lock = threading.Lock()
# The C callback in use: it must live as long as the library may call it.
_sink_callback = bindings.TraceLogSink()


def set_sink(sink: Sink | None) -> None:
    """Hands every further line to sink(level, line), from whichever thread
    writes it; None removes the sink. A sink must not call set_sink."""
    global _sink_callback

    def deliver(level: int, message: Any, length: int, _user: Any) -> None:
        sink(Level(level), ctypes.string_at(message, length).decode("latin-1"))

    # A prototype called without a function is the NULL pointer that removes the sink.
    callback = bindings.TraceLogSink() if sink is None else bindings.TraceLogSink(deliver)
    with _sink_lock:
        # Once TraceLogSetSink returns the old callback is never called again.
        lib.TraceLogSetSink(callback, None)
        _sink_callback = callback


def forward_to_logging(logger: logging.Logger | None = None) -> None:
    """Sends every further line to a logger ("quorb" by default): errors at
    ERROR, warnings at WARNING, other lines at INFO."""
    target = logger or logging.getLogger("quorb")

    def log(level: Level, line: str) -> None:
        if level == Level.ERROR:
            target.error(line)
        elif line.startswith("Warning-"):
            target.warning(line)
        else:
            target.info(line)

    set_sink(log)


# Lines written while the interpreter shuts down must not reach Python.
atexit.register(set_sink, None)
