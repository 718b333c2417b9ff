"""The sanitizer skip, paths, sample vectors and a base class that resets the library."""

import os
import unittest
from pathlib import Path

SOURCE_DIR = Path(__file__).resolve().parents[2]
CATALOG = SOURCE_DIR / "examples" / "catalog.inp"
_LIBRARY = Path(os.environ.get("QUORB_LIBRARY", ""))

for _runtime in ("libasan.so", "libtsan.so"):
    if _LIBRARY.is_file() and _runtime.encode() in _LIBRARY.read_bytes():
        raise unittest.SkipTest(f"the library needs {_runtime}, which only LD_PRELOAD gives ctypes")

import quorb  # noqa: E402  (after the skip: loading a sanitized library would abort)

COMPOSED_KEY_BASE = 1 << 62
ISS_LINES = ("   6524.8346  -1876.2210    253.0097    1983.2456    6812.7001   -3456.1234 UB1P",
             "25544 98067A    25123120000.000  12345  999     0.012      0.02       0.0MMJ2K2P")


def sample_vector(sat_num: int = 25544, epoch: str = "25123120000.000") -> quorb.StateVector:
    """The vector of the ISS card set; other satellite numbers or epochs give other keys."""
    return quorb.StateVector(
        pos=(6524.8346, -1876.221, 253.0097), vel=(1983.2456, 6812.7001, -3456.1234),
        sat_num=sat_num, intl_desig="98067A", epoch=epoch, rev_num=12345, elset_num=999,
        b_term=0.012, agom=0.02, coord_sys="MMJ2K")


def stored_vectors() -> dict[int, quorb.StateVector]:
    return {key: quorb.get_all_fields(key) for key in quorb.get_loaded()}


def reset_library() -> None:
    """An empty store, the initial modes and no sink: the library as the tests found it."""
    quorb.remove_all()
    quorb.clear_all_key_mode()
    quorb.set_elset_key_mode(quorb.KeyMode.COMPOSED)
    quorb.set_accept_duplicates(False)
    quorb.set_sink(None)


class StoreTestCase(unittest.TestCase):
    def setUp(self) -> None:
        reset_library()
        self.addCleanup(reset_library)
