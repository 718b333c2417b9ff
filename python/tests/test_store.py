"""The store through the Python package: adding, reading, changing, keys, files."""
from __future__ import annotations

import dataclasses
import math
import tempfile
from pathlib import Path

from support import CATALOG, ISS_LINE1, ISS_LINE2, StoreTestCase, sample_vector

import quorb

COMPOSED_KEY_BASE = 1 << 62
CARD_DECIMALS = 4


class RoundTripTest(StoreTestCase):
    def test_catalog_survives_writing_as_card_sets_and_loading_again(self) -> None:
        quorb.load_file(CATALOG)
        loaded = {key: quorb.get_all_fields(key) for key in quorb.get_loaded()}
        self.assertEqual(len(loaded), 35)
        with tempfile.TemporaryDirectory() as directory:
            cards = Path(directory) / "cards.txt"
            cards.write_text("".join(f"{line}\n" for vector in loaded.values()
                                     for line in quorb.fields_to_lines(vector)))
            quorb.remove_all()
            self.assertEqual(quorb.count(), 0)
            quorb.load_file(cards)
        reloaded = {key: quorb.get_all_fields(key) for key in quorb.get_loaded()}
        self.assertEqual(reloaded.keys(), loaded.keys())
        for key, vector in loaded.items():
            with self.subTest(sat_num=vector.sat_num, epoch=vector.epoch):
                self.assertEqualToCardPrecision(reloaded[key], vector)

    def assertEqualToCardPrecision(self, actual: quorb.StateVector,
                                   expected: quorb.StateVector) -> None:
        """Cards carry position and velocity to four decimals, the rest whole."""
        tolerance = 0.5 * 10 ** -CARD_DECIMALS
        for name in ("pos", "vel"):
            for got, want in zip(getattr(actual, name), getattr(expected, name)):
                self.assertTrue(math.isclose(got, want, abs_tol=tolerance), f"{name}: {got} {want}")
        self.assertEqual(dataclasses.replace(actual, pos=expected.pos, vel=expected.vel), expected)


class AddingTest(StoreTestCase):
    def test_card_set_is_stored_under_its_composed_key(self) -> None:
        key = quorb.add_lines(ISS_LINE1, ISS_LINE2)
        self.assertEqual(key, quorb.fields_to_sat_key(25544, "25123120000.000"))
        self.assertEqual(key, quorb.fields_to_sat_key(25544, "   2025/123.5"))
        self.assertEqual(quorb.sat_key(25544), key)
        self.assertEqual(quorb.get_lines(key), (ISS_LINE1, ISS_LINE2))
        self.assertEqual(quorb.get_all_fields(key), quorb.parse(ISS_LINE1, ISS_LINE2))

    def test_invalid_card_set_raises_with_the_library_line(self) -> None:
        with self.assertRaises(quorb.QuorbError) as caught:
            quorb.add_lines(ISS_LINE2, ISS_LINE1)
        self.assertNotIsInstance(caught.exception, quorb.DuplicateError)
        self.assertEqual(caught.exception.result, -1)
        self.assertTrue(caught.exception.line.startswith("Lines2Quorb:"), caught.exception.line)
        self.assertEqual(quorb.count(), 0)
        with self.assertRaises(quorb.QuorbError):
            quorb.parse(ISS_LINE2, ISS_LINE1)

    def test_duplicates_are_refused_or_answered_by_mode(self) -> None:
        key = quorb.add(sample_vector())
        with self.assertRaises(quorb.DuplicateError) as caught:
            quorb.add_lines(*quorb.fields_to_lines(sample_vector()))
        self.assertEqual(caught.exception.result, 0)
        self.assertIn(str(key), caught.exception.line)
        quorb.set_accept_duplicates(True)
        self.assertTrue(quorb.accepts_duplicates())
        self.assertEqual(quorb.add(sample_vector()), key)
        self.assertEqual(quorb.count(), 1)

    def test_fields_come_back_as_given(self) -> None:
        vector = dataclasses.replace(sample_vector(), intl_desig="  98067A", sec_class="S",
                                     in_track_thrust=1e-7, coord_sys="TMEPO")
        stored = quorb.get_all_fields(quorb.add_fields(vector))
        self.assertEqual(stored, dataclasses.replace(vector, intl_desig="98067A"))
        self.assertEqual(quorb.parse(*quorb.fields_to_lines(vector)).coord_sys, "TMEPO")

    def test_invalid_fields_are_refused(self) -> None:
        far = dataclasses.replace(sample_vector(), pos=(2e9, 0.0, 0.0))
        for attempt in (quorb.add_fields, quorb.add_array, quorb.fields_to_lines):
            with self.subTest(attempt.__name__), self.assertRaises(quorb.QuorbError) as caught:
                attempt(far)
            self.assertTrue(caught.exception.line, "the library's line is carried")
        self.assertEqual(quorb.count(), 0)
        with self.assertRaises(ValueError):
            quorb.add_fields(dataclasses.replace(sample_vector(), intl_desig="TOO LONG DESIG"))

    def test_key_lookups_that_find_nothing_raise(self) -> None:
        with self.assertRaises(quorb.QuorbError) as caught:
            quorb.sat_key(12345)
        self.assertIn("12345", caught.exception.line)
        with self.assertRaises(quorb.QuorbError) as caught:
            quorb.fields_to_sat_key(25544, "not an epoch")
        self.assertEqual(caught.exception.line, "", "no line of an earlier failure is carried")


class ChangingTest(StoreTestCase):
    def setUp(self) -> None:
        super().setUp()
        self.key = quorb.add(sample_vector())

    def test_update_fields_keeps_satellite_and_epoch(self) -> None:
        changed = dataclasses.replace(sample_vector(sat_num=999, epoch="25200000000.000"),
                                      pos=(7000.0, 1.0, 2.0), rev_num=77, coord_sys="")
        quorb.update_fields(self.key, changed)
        self.assertEqual(quorb.get_all_fields(self.key),
                         dataclasses.replace(changed, sat_num=25544, epoch="25123120000.000"))

    def test_failed_update_leaves_the_vector(self) -> None:
        before = quorb.get_all_fields(self.key)
        with self.assertRaises(quorb.QuorbError) as caught:
            quorb.update_fields(self.key, dataclasses.replace(before, vel=(0.0, 0.0, 2e9)))
        self.assertEqual(caught.exception.result, 2)
        with self.assertRaises(quorb.QuorbError) as caught:
            quorb.update_fields(self.key + 1, before)
        self.assertIn(str(self.key + 1), caught.exception.line)
        self.assertEqual(quorb.get_all_fields(self.key), before)

    def test_fields_by_name(self) -> None:
        quorb.set_field(self.key, quorb.Field.POS_X, 7000.5)
        quorb.set_field(self.key, quorb.Field.INTL_DESIG, "  24001ABC")
        quorb.set_field(self.key, quorb.Field.SAT_NUM, 1)  # refused silently
        self.assertEqual(float(quorb.get_field(self.key, quorb.Field.POS_X)), 7000.5)
        self.assertEqual(quorb.get_field(self.key, quorb.Field.INTL_DESIG), "24001ABC")
        self.assertEqual(quorb.get_field(self.key, quorb.Field.SAT_NUM), "25544")
        self.assertEqual(quorb.get_field(self.key, quorb.Field.EPOCH), "25123120000.000")
        self.assertEqual(quorb.get_field(self.key, 8), "")
        with self.assertRaises(quorb.QuorbError):
            quorb.set_field(self.key, quorb.Field.COORD_SYS, "XYZ")
        self.assertEqual(quorb.get_field(self.key, quorb.Field.COORD_SYS), "MMJ2K")

    def test_removed_vector_is_gone(self) -> None:
        other = quorb.add(sample_vector(sat_num=1))
        quorb.remove(self.key)
        self.assertEqual(quorb.get_loaded(), [other])
        for reader in (quorb.get_all_fields, quorb.get_lines, quorb.data_to_array,
                       quorb.remove, lambda key: quorb.get_field(key, quorb.Field.POS_X)):
            with self.assertRaises(quorb.QuorbError):
                reader(self.key)


class KeysTest(StoreTestCase):
    def test_orders(self) -> None:
        epochs = ("25123000000.000", "25121000000.000", "25122000000.000")
        added = [quorb.add(sample_vector(sat_num, epoch))
                 for sat_num, epoch in zip((300, 100, 100), epochs)]
        by_satellite = [added[1], added[2], added[0]]
        self.assertEqual(quorb.get_loaded(quorb.Order.SAT_NUM_EPOCH), by_satellite)
        self.assertEqual(quorb.get_loaded(quorb.Order.SAT_NUM_EPOCH_REVERSED), by_satellite[::-1])
        self.assertEqual(quorb.get_loaded(quorb.Order.LOAD), added)
        for other in (quorb.Order.KEY, 7, -1):
            self.assertEqual(quorb.get_loaded(other), sorted(added))
        self.assertEqual(quorb.get_loaded(), sorted(added))

    def test_direct_address_keys_by_mode(self) -> None:
        composed = quorb.add(sample_vector(sat_num=1))
        with self.assertRaises(ValueError):
            quorb.set_elset_key_mode(2)
        quorb.set_elset_key_mode(quorb.KeyMode.DIRECT)
        direct = quorb.add(sample_vector(sat_num=2))
        quorb.set_all_key_mode(quorb.KeyMode.COMPOSED)
        self.assertTrue(quorb.all_key_mode_in_use())
        overridden = quorb.add(sample_vector(sat_num=3))
        self.assertGreaterEqual(composed, COMPOSED_KEY_BASE)
        self.assertLess(direct, COMPOSED_KEY_BASE)
        self.assertGreaterEqual(overridden, COMPOSED_KEY_BASE)
        self.assertEqual(quorb.get_all_fields(direct), sample_vector(sat_num=2))
        self.assertEqual(quorb.sat_key(2), direct)
        quorb.remove(direct)
        with self.assertRaises(quorb.QuorbError):
            quorb.get_lines(direct)


class FilesTest(StoreTestCase):
    def test_save_then_load_gives_the_same_keys(self) -> None:
        keys = [quorb.add(sample_vector(sat_num)) for sat_num in (5, 6, 7)]
        with tempfile.TemporaryDirectory() as directory:
            saved = Path(directory) / "saved.txt"
            quorb.save_file(saved)
            quorb.save_file(saved, append=True)
            cards = [line for line in saved.read_text().splitlines() if line.endswith("1P")]
            self.assertEqual(len(cards), 2 * len(keys))
            quorb.save_file(saved)
            quorb.remove_all()
            quorb.load_file(saved)
        self.assertEqual(quorb.get_loaded(), keys)
        self.assertRegex(quorb.last_info(), r"Loaded = 3\b")

    def test_missing_file_raises(self) -> None:
        with self.assertRaises(quorb.QuorbError) as caught:
            quorb.load_file(CATALOG.with_name("no_such_file.inp"))
        self.assertIn("Cannot open file", caught.exception.line)
