"""Every function of the public headers is bound, with the headers' parameters."""
from __future__ import annotations

import ctypes
import re

from support import ISS_LINE1, ISS_LINE2, SOURCE_DIR, StoreTestCase, sample_vector

import quorb
from quorb import bindings, vectors

HEADERS = [SOURCE_DIR / "include" / "quorb" / name for name in ("quorb.h", "quorb_services.h")]
DECLARATION = re.compile(r"QUORB_API\s+[\w\s\*]+?\b(\w+)\s*\(([^)]*)\)", re.S)


def declared_functions() -> dict[str, int]:
    """Name and number of parameters of every exported function in the headers."""
    functions = {}
    for header in HEADERS:
        for name, parameters in DECLARATION.findall(header.read_text()):
            functions[name] = 0 if parameters.strip() in ("", "void") else parameters.count(",") + 1
    return functions


def key_through_ml(name: str, *args) -> int:
    key = ctypes.c_int64(123)
    getattr(bindings.lib, name)(*args, ctypes.byref(key))
    return key.value


class BindingsTest(StoreTestCase):
    def test_every_declared_function_is_bound_with_its_parameters(self) -> None:
        declared = declared_functions()
        self.assertGreaterEqual(len(declared), 29 + 13)
        self.assertEqual(declared.keys(), bindings.PROTOTYPES.keys())
        for name, count in declared.items():
            with self.subTest(name):
                self.assertEqual(len(getattr(bindings.lib, name).argtypes), count)

    def test_ml_twins_write_the_key_their_plain_twin_returns(self) -> None:
        quorb.set_accept_duplicates(True)
        lines = bindings.text_in(ISS_LINE1, 512), bindings.text_in(ISS_LINE2, 512)
        fields = quorb.store._fields_in(sample_vector(sat_num=7))
        array = vectors.to_array(sample_vector(sat_num=8))
        epoch = bindings.text_in("25123120000.000", 20)
        lib = bindings.lib
        pairs = [
            ("QuorbAddSatFrLines", lines), ("QuorbAddSatFrFields", fields),
            ("QuorbAddSatFrArray", array), ("QuorbFieldsToSatKey", (25544, epoch)),
            ("QuorbGetSatKey", (7,)), ("QuorbGetSatKey", (4,)),
        ]
        for name, args in pairs:
            with self.subTest(name):
                plain = getattr(lib, name)(*args)
                self.assertEqual(key_through_ml(f"{name}ML", *args), plain)
        self.assertEqual(quorb.count(), 3)
