"""Shared by the tests: the sanitizer skip, paths, sample card sets and a
base class that leaves the process-wide store and modes as it found them."""
from __future__ import annotations

import os
import unittest
from pathlib import Path

SOURCE_DIR = Path(__file__).resolve().parents[2]
CATALOG = SOURCE_DIR / "examples" / "catalog.inp"


def _sanitizer_runtime() -> str | None:
    """The sanitizer runtime the library needs, if it was built with one."""
    location = Path(os.environ.get("QUORB_LIBRARY", ""))
    if not location.is_file():
        return None
    data = location.read_bytes()
    return next((name for name in ("libasan.so", "libtsan.so") if name.encode() in data), None)


if (_runtime := _sanitizer_runtime()) is not None:
    raise unittest.SkipTest(f"the library needs {_runtime}, which only LD_PRELOAD can give ctypes")

import quorb  # noqa: E402  (after the skip: loading a sanitized library would abort)

ISS_LINE1 = "   6524.8346  -1876.2210    253.0097    1983.2456    6812.7001   -3456.1234 UB1P"
ISS_LINE2 = "25544 98067A    25123120000.000  12345  999     0.012      0.02       0.0MMJ2K2P"


def sample_vector(sat_num: int = 25544, epoch: str = "25123120000.000") -> quorb.StateVector:
    """A valid vector; distinct satellite numbers or epochs give distinct keys."""
    return quorb.StateVector(
        pos=(6524.8346, -1876.221, 253.0097), vel=(1983.2456, 6812.7001, -3456.1234),
        sat_num=sat_num, intl_desig="98067A", epoch=epoch, rev_num=12345, elset_num=999,
        b_term=0.012, agom=0.02, coord_sys="MMJ2K")


def reset_library() -> None:
    """An empty store, the initial modes and no sink."""
    quorb.remove_all()
    quorb.set_all_key_mode(quorb.KeyMode.COMPOSED)
    quorb.clear_all_key_mode()
    quorb.set_elset_key_mode(quorb.KeyMode.COMPOSED)
    quorb.set_accept_duplicates(False)
    quorb.set_sink(None)


class StoreTestCase(unittest.TestCase):
    """Starts from reset_library() and leaves the library that way."""

    def setUp(self) -> None:
        reset_library()
        self.addCleanup(reset_library)
