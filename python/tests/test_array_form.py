"""The array form: controls and covariance, and the epoch as days since 1950."""
from __future__ import annotations

import dataclasses
import random

from support import ISS_LINE1, ISS_LINE2, StoreTestCase, sample_vector

import quorb
from quorb import bindings, vectors

COVARIANCE = tuple((index + 1) * 1e-6 for index in range(quorb.COVARIANCE_LENGTH))
CONTROLS = quorb.Controls(geopot_flag=1, drag_model=4, rad_pres_flag=1, lunar_solar_flag=1,
                          f10=152, f10_bar=148, ap=15, geopot_zonal_deg=36, err_ctrl_exp=12,
                          in_track_thrust_flag=1, solid_earth_tides_flag=1, nut_terms=106,
                          ctrl21=3, integ_var=2, step_mode=1, step_size=30.5)
WITH_BOTH = dataclasses.replace(sample_vector(), controls=CONTROLS, covariance=COVARIANCE)


class ArrayFormTest(StoreTestCase):
    def test_controls_and_covariance_round_trip(self) -> None:
        key = quorb.add(WITH_BOTH)
        self.assertEqual(quorb.data_to_array(key), WITH_BOTH)
        self.assertEqual(quorb.get_all_fields(key), dataclasses.replace(
            WITH_BOTH, controls=None, covariance=None), "the fields form leaves both out")

    def test_zero_covariance_is_none(self) -> None:
        zeros = (0.0,) * quorb.COVARIANCE_LENGTH
        key = quorb.add(dataclasses.replace(sample_vector(), controls=CONTROLS, covariance=zeros))
        stored = quorb.data_to_array(key)
        self.assertEqual(stored.controls, CONTROLS)
        self.assertIsNone(stored.covariance)
        with self.assertRaises(ValueError):
            quorb.add_array(dataclasses.replace(sample_vector(), covariance=COVARIANCE))

    def test_update_array_replaces_all_but_satellite_and_epoch(self) -> None:
        key = quorb.add(WITH_BOTH)
        replacement = dataclasses.replace(sample_vector(sat_num=7, epoch="25001000000.000"),
                                          rev_num=1, controls=quorb.Controls(step_mode=2))
        quorb.update_array(key, replacement)
        self.assertEqual(quorb.data_to_array(key), dataclasses.replace(
            replacement, sat_num=25544, epoch="25123120000.000"))
        quorb.update_array(key, dataclasses.replace(replacement, controls=None))
        self.assertIsNone(quorb.data_to_array(key).controls)
        with self.assertRaises(quorb.QuorbError):
            quorb.update_array(key, dataclasses.replace(replacement, pos=(2e9, 0.0, 0.0)))
        with self.assertRaises(quorb.QuorbError):
            quorb.update_array(key + 1, replacement)

    def test_card_sets_through_arrays(self) -> None:
        vector = quorb.lines_to_array(ISS_LINE1, ISS_LINE2)
        self.assertEqual(vector, quorb.parse(ISS_LINE1, ISS_LINE2))
        self.assertEqual(quorb.array_to_lines(vector), (ISS_LINE1, ISS_LINE2))
        self.assertEqual(quorb.count(), 0)
        with self.assertRaises(quorb.QuorbError):
            quorb.lines_to_array(ISS_LINE2, ISS_LINE1)
        with self.assertRaises(quorb.QuorbError) as caught:
            quorb.array_to_lines(dataclasses.replace(vector, sat_num=-1))
        self.assertEqual(caught.exception.line, "")

    def test_coordinate_systems_by_code(self) -> None:
        for given, stored in (("TMEPO", "TMDAT"), ("MMB50", "MMJ2K"), ("", "")):
            with self.subTest(given):
                key = quorb.add_array(dataclasses.replace(sample_vector(), coord_sys=given))
                self.assertEqual(quorb.get_all_fields(key).coord_sys, stored)
                quorb.remove(key)
        with self.assertRaises(ValueError):
            quorb.add_array(dataclasses.replace(sample_vector(), coord_sys="XYZ"))


def library_epoch(ds50: float) -> str:
    """The epoch the library writes for a ds50: position 1 of an array turned into a card set."""
    xa, xs = vectors.to_array(sample_vector())
    xa[1] = ds50
    line1, line2 = bindings.text_out(bindings.LINE_LENGTH), bindings.text_out(bindings.LINE_LENGTH)
    bindings.lib.QuorbArrayToLines(xa, xs, line1, line2)
    return quorb.parse(bindings.read_out(line1), bindings.read_out(line2)).epoch


class EpochTest(StoreTestCase):
    def test_every_form_reads_as_the_library_reads_it(self) -> None:
        for sat_num, epoch in enumerate(("25123120000.000", "2025/123.50000000", "99365235959.9994",
                                         "00060 00000.5", "2024/366.99999999", "25123120000",
                                         "56001000000.000", "57001000000.000")):
            with self.subTest(epoch):
                key = quorb.add_fields(sample_vector(sat_num, epoch))
                xa, xs = vectors.new_array(), bindings.text_out(bindings.LINE_LENGTH)
                bindings.lib.QuorbDataToArray(key, xa, xs)
                self.assertEqual(quorb.epoch_to_ds50(epoch), xa[1])
        second = 1 / 86_400
        for epoch in ("2025May03120000.000", "2025/123 1200 00.000", "2025MAY03120000.0"):
            with self.subTest(epoch):
                whole_seconds = quorb.fields_to_sat_key(0, epoch) - (1 << 62)
                self.assertAlmostEqual((quorb.epoch_to_ds50(epoch) - 1) / second, whole_seconds,
                                       delta=1e-3)
                self.assertEqual(quorb.epoch_to_ds50(epoch), quorb.epoch_to_ds50("25123120000"))

    def test_unreadable_epochs_raise(self) -> None:
        for epoch in ("", "25366000000.000", "2025Feb29000000.000", "2025/123 2400 00.000",
                      "25123120000,000"):
            with self.subTest(epoch), self.assertRaises(ValueError):
                quorb.epoch_to_ds50(epoch)

    def test_ds50_written_as_the_library_writes_it(self) -> None:
        picks = random.Random(1950)
        values = [27517.5, 18263.0, 18263.0 - 0.4e-8, 27394.999999995, 2558.5]
        values += [picks.uniform(2558.0, 39081.0) for _ in range(200)]
        for ds50 in values:
            with self.subTest(ds50=ds50):
                self.assertEqual(quorb.ds50_to_epoch(ds50), library_epoch(ds50))
        with self.assertRaises(ValueError):
            quorb.ds50_to_epoch(float("nan"))

