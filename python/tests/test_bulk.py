"""Columns: to_arrays and add_arrays, with numpy and without it."""
import tempfile
from dataclasses import replace
from pathlib import Path
from unittest import mock

from support import SOURCE_DIR, StoreTestCase
from test_quorb import ISS

import quorb
from quorb import bindings, bulk, vectors

SCALARS = ("sat_num", "b_term", "agom", "in_track_thrust", "rev_num", "elset_num", "sec_class",
           "intl_desig", "coord_sys")
# Each test runs with numpy (where it can be imported: the tests under
# Debian's python3 always have it) and without it.
COLUMN_KINDS = {**({"numpy": mock.patch.object(bulk, "numpy", bulk.numpy)} if bulk.numpy else {}),
                "lists": mock.patch.object(bulk, "numpy", None)}


def rows(columns: dict) -> list:
    """The columns as one tuple of plain values per vector."""
    return [tuple(tuple(map(float, value)) if name in ("pos", "vel") else value.item()
                  if hasattr(value, "item") else value for name, value in zip(columns, row))
            for row in zip(*columns.values())]


def stored_ds50(key: int) -> float:
    xa, xs = vectors.new_array(), bindings.text_out(bindings.LINE_LENGTH)
    bindings.lib.QuorbDataToArray(key, xa, xs)
    return xa[quorb.names.ArrayPosition.EPOCH]


class BulkTest(StoreTestCase):
    def test_columns_hold_the_stored_vectors_and_add_them_back(self) -> None:
        def saved_and_loaded(directory: str) -> list:
            """The store saved, emptied and loaded again: cards keep four decimals."""
            quorb.save_file(Path(directory) / "saved.txt")
            quorb.remove_all()
            quorb.load_file(Path(directory) / "saved.txt")
            return rows(quorb.to_arrays())

        catalog = SOURCE_DIR / "examples" / "catalog.inp"
        for kind, columns_of_kind in COLUMN_KINDS.items():
            with self.subTest(kind), columns_of_kind, tempfile.TemporaryDirectory() as directory:
                quorb.remove_all()
                quorb.load_file(catalog)
                columns = quorb.to_arrays()
                for row in rows(columns):
                    stored, values = quorb.get_all_fields(row[0]), dict(zip(columns, row))
                    self.assertEqual([values[name] for name in SCALARS],
                                     [getattr(stored, name) for name in SCALARS])
                    self.assertEqual((values["pos"], values["vel"], values["epoch"]),
                                     (stored.pos, stored.vel, stored_ds50(row[0])))
                through_cards = saved_and_loaded(directory)
                quorb.remove_all()
                self.assertEqual(list(quorb.add_arrays(columns)), list(columns["key"]))
                self.assertEqual(saved_and_loaded(directory), through_cards)

    def test_epochs_read_as_the_library_reads_them_and_add_in_its_window(self) -> None:
        # Forms other than YYDDDHHMMSS.SSS, and one past its width, take the slower path.
        epochs = ("25123120000.000", "2025/123.50000000", "99365235959.9994", "00060 00000.5",
                  "2024/366.99999999", "2025May03120000.5", "2025/123 1200 00", "57001000000.000")
        keys = [quorb.add_fields(replace(ISS, sat_num=number, epoch=epoch))
                for number, epoch in enumerate(epochs)]
        self.assertEqual(list(quorb.to_arrays(keys)["epoch"]), list(map(stored_ds50, keys)))
        # Rounding edges (the last a tie), the window's edges, then days outside it.
        kept = [27517.5, 18263.0 - 0.4e-8, 27394.999999995, 27517 + 3 / 2048, 2558.0, 38717.9999999]
        refused = [2557.99999999, 40178.5, float("nan")]
        given = {name: [value[0]] * (len(kept) + len(refused) + 1)
                 for name, value in quorb.to_arrays([keys[0]]).items()}
        given["epoch"] = kept + refused + kept[:1]  # the last a duplicate
        for kind, columns_of_kind in COLUMN_KINDS.items():
            with self.subTest(kind), columns_of_kind:
                quorb.remove_all()
                added = list(quorb.add_arrays(given))
                self.assertEqual([quorb.get_all_fields(key).epoch for key in added[:len(kept)]],
                                 list(map(quorb.ds50_to_epoch, kept)))
                self.assertEqual(added[len(kept):], [-1] * len(refused) + [0])

    def test_columns_that_do_not_fit_are_refused_before_any_vector_is_added(self) -> None:
        columns = quorb.to_arrays([quorb.add_fields(ISS)])
        quorb.remove_all()
        for name, value in (("intl_desig", ["123456789"]), ("coord_sys", ["MMJ2K", "MMJ2K"]),
                            ("pos", [])):
            with self.subTest(name), self.assertRaises(ValueError):
                quorb.add_arrays({**columns, name: value})
        self.assertEqual(quorb.count(), 0)
