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
    """The error line of the calling thread's last call through this package
    ('' when that call wrote none)."""
    return getattr(_calls, "error", "")


def last_info() -> str:
    """The calling thread's last info line."""
    return bindings.last_line(lib.TraceLogLastInfo)


Sink = Callable[[Level, str], None]

# Every line reaches the package's own sink first: it keeps the error line of
# each thread's current call, so a failure carries its own message and never
# an earlier one, and hands the line on to the host's sink.
_calls = threading.local()
_host_sink: Sink | None = None


def begin_call() -> None:
    """Forgets the calling thread's error line: the next call starts clean."""
    _calls.error = ""


def _deliver(level: int, message: Any, length: int, _user: Any) -> None:
    line = ctypes.string_at(message, length).decode("latin-1")
    if level == Level.ERROR:
        _calls.error = line
    sink = _host_sink
    if sink is not None:
        sink(Level(level), line)


# The C callback must live as long as the library may call it.
_package_sink = bindings.TraceLogSink(_deliver)
lib.TraceLogSetSink(_package_sink, None)


def set_sink(sink: Sink | None) -> None:
    """Hands every further line to sink(level, line), from whichever thread
    writes it; None removes the sink."""
    global _host_sink
    _host_sink = sink


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


# Lines written while the interpreter shuts down must not reach Python: the
# NULL callback removes the sink.
atexit.register(lib.TraceLogSetSink, bindings.TraceLogSink(), None)
