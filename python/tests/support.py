"""The sanitizer skip, the source directory and a base class that resets the library."""

import os
import unittest
from pathlib import Path

SOURCE_DIR = Path(__file__).resolve().parents[2]
_LIBRARY = Path(os.environ.get("QUORB_LIBRARY", ""))

for _runtime in ("libasan.so", "libtsan.so"):
    if _LIBRARY.is_file() and _runtime.encode() in _LIBRARY.read_bytes():
        raise unittest.SkipTest(f"the library needs {_runtime}, which only LD_PRELOAD gives ctypes")

import quorb  # noqa: E402  (after the skip: loading a sanitized library would abort)


def reset_library() -> None:
    """An empty store, the initial modes and no sink: the library as the tests found it."""
    quorb.remove_all()
    quorb.clear_all_key_mode()
    quorb.set_elset_key_mode(quorb.KeyMode.COMPOSED)
    quorb.set_accept_duplicates(False)
    quorb.set_sink(None)


class StoreTestCase(unittest.TestCase):
    setUp = tearDown = staticmethod(reset_library)
