"""libquorb through the package: card sets, files, failures, keys, arrays, epochs, log, threads."""
import ctypes
import logging
import random
import re
import tempfile
from concurrent.futures import ThreadPoolExecutor
from dataclasses import replace
from pathlib import Path

from support import (CATALOG, COMPOSED_KEY_BASE, ISS_LINES, SOURCE_DIR, StoreTestCase,
                     sample_vector, stored_vectors)

import quorb
from quorb import bindings, vectors

CARD_DECIMALS, TEXT = 4, bindings.LINE_LENGTH
DUPLICATE, KEY_INVALID, STATUS_FAILED = 0, -1, 2
NO_VECTOR = -1  # the satellite number of an array that holds no vector
FAR = replace(sample_vector(), pos=(2e9, 0.0, 0.0))
INVALID_CARDS, OUT_OF_RANGE, NO_LINE = r"^Lines2Quorb: Invalid 1P card", r"PosX = 2e\+09 ", r"^$"
CONTROLS = quorb.Controls(12, 1, 4, 1, 1, 152, 148, 15, 36, 12, 1, 1, 106, 3, 2, 1, 30.5)
COVARIANCE = tuple((index + 1) * 1e-6 for index in range(quorb.COVARIANCE_LENGTH))
WITH_BOTH = replace(sample_vector(), controls=CONTROLS, covariance=COVARIANCE)
DS50, RANDOM_DS50S = 1, 200  # the epoch's place in the array form; how many ds50s to try
TWO_DIGIT_YEARS = (2558.0, 39081.0)  # ds50 from 1957 into 2056, the years a card's YY names
HEADERS = [SOURCE_DIR / "include" / "quorb" / name for name in ("quorb.h", "quorb_services.h")]
DECLARATION = re.compile(r"QUORB_API\s+[\w\s\*]+?\b(\w+)\s*\(([^)]*)\)", re.S)
UNSET_KEY, MISSING_KEY = 123, COMPOSED_KEY_BASE + 12345
EMPTY_STORE_WARNING = "Warning-QuorbGetLoaded: The binary tree is empty. No satKey returns."
WORKERS, VECTORS_PER_WORKER, SATELLITES_PER_WORKER, KEYS_PER_READ = 8, 300, 100_000, 20


def at_card_precision(vector: quorb.StateVector) -> quorb.StateVector:
    """Cards carry position and velocity to four decimals, the rest whole."""
    return replace(vector, pos=tuple(round(x, CARD_DECIMALS) for x in vector.pos),
                   vel=tuple(round(x, CARD_DECIMALS) for x in vector.vel))


def work(worker: int) -> tuple[dict[int, quorb.StateVector], str]:
    """Adds and then changes this worker's own vectors, reading what others store meanwhile."""
    first, mine = worker * SATELLITES_PER_WORKER, {}
    for sat_num in range(first, first + VECTORS_PER_WORKER):
        mine[quorb.add(sample_vector(sat_num))] = replace(sample_vector(sat_num), elset_num=worker)
        for key in quorb.get_loaded(quorb.Order.LOAD)[-KEYS_PER_READ:]:
            quorb.get_lines(key)
    for key, vector in mine.items():
        quorb.update_fields(key, vector)
    bindings.lib.QuorbRemoveSat(MISSING_KEY + worker)  # logs an error line naming the key
    return mine, quorb.last_error()


class QuorbTest(StoreTestCase):
    def test_catalog_survives_saving_as_card_sets_and_loading_again(self) -> None:
        quorb.load_file(CATALOG)
        loaded = stored_vectors()
        with tempfile.TemporaryDirectory() as directory:
            saved = Path(directory) / "saved.txt"
            for append in (False, False, True):  # the second replaces the first, the third appends
                quorb.save_file(saved, append=append)
            quorb.remove_all()
            quorb.load_file(saved)
        self.assertEqual(quorb.last_info(), "Total Quorbs = 70, Loaded = 35, Dup = 35, Bad = 0")
        self.assertEqual(stored_vectors(), {k: at_card_precision(v) for k, v in loaded.items()})

    def test_failed_calls_raise_with_the_library_line_and_change_nothing(self) -> None:
        same, missing = sample_vector(), CATALOG.with_name("none.inp")
        stored, gone = quorb.add_lines(*ISS_LINES), quorb.add(sample_vector(sat_num=1))
        quorb.remove(gone)
        # A row expecting no line follows one that wrote a line: no earlier line is carried.
        rows = [(quorb.add_lines, ISS_LINES[::-1], KEY_INVALID, INVALID_CARDS),
                (quorb.parse, ISS_LINES[::-1], STATUS_FAILED, INVALID_CARDS),
                (quorb.lines_to_array, ISS_LINES[::-1], STATUS_FAILED, INVALID_CARDS),
                (quorb.array_to_lines, (replace(FAR, sat_num=NO_VECTOR),), None, NO_LINE),
                (quorb.add_lines, quorb.fields_to_lines(same), DUPLICATE, f"record/key {stored} "),
                (quorb.add_fields, (FAR,), KEY_INVALID, OUT_OF_RANGE),
                (quorb.add_array, (FAR,), KEY_INVALID, OUT_OF_RANGE),
                (quorb.fields_to_lines, (FAR,), None, OUT_OF_RANGE),
                (quorb.update_fields, (stored, FAR), STATUS_FAILED, OUT_OF_RANGE),
                (quorb.update_array, (stored, FAR), STATUS_FAILED, OUT_OF_RANGE),
                (quorb.set_field, (stored, quorb.Field.COORD_SYS, "XYZ"), STATUS_FAILED, "= XYZ "),
                (quorb.sat_key, (12345,), KEY_INVALID, r"satellite number +12345 "),
                (quorb.fields_to_sat_key, (25544, "not an epoch"), KEY_INVALID, NO_LINE),
                (quorb.load_file, (missing,), STATUS_FAILED, f'Cannot open file "{missing}"'),
                (quorb.update_array, (gone, same), STATUS_FAILED, f" {gone} in"),
                (quorb.get_field, (gone, quorb.Field.POS_X), STATUS_FAILED, f" {gone} in"),
                *((read, (gone,), STATUS_FAILED, f" {gone} in") for read in
                  (quorb.get_all_fields, quorb.get_lines, quorb.data_to_array, quorb.remove))]
        for row, (call, args, result, line) in enumerate(rows):
            with self.subTest(call.__name__, row=row):
                with self.assertRaises(quorb.QuorbError) as caught:
                    call(*args)
                self.assertEqual(caught.exception.result, result)
                self.assertRegex(caught.exception.line, line)
        self.assertEqual((stored_vectors(), quorb.get_lines(stored)), ({stored: same}, ISS_LINES))
        quorb.set_accept_duplicates(True)
        self.assertEqual((quorb.accepts_duplicates(), quorb.add_lines(*ISS_LINES)), (True, stored))

    def test_keys_by_mode_and_the_orders_of_get_loaded(self) -> None:
        direct, composed = quorb.KeyMode.DIRECT, quorb.KeyMode.COMPOSED
        # Satellite, epoch, element-set key mode, all-types key mode (None: off).
        rows = ((300, "25123000000", composed, None), (200, "25123000000", direct, None),
                (100, "25121000000", direct, composed), (100, "25122000000", composed, None))
        self.assertRaises(ValueError, quorb.set_elset_key_mode, 2)
        added = []
        for sat_num, epoch, elset_mode, all_mode in rows:
            quorb.set_elset_key_mode(elset_mode)
            quorb.clear_all_key_mode() if all_mode is None else quorb.set_all_key_mode(all_mode)
            self.assertEqual(quorb.all_key_mode_in_use(), all_mode is not None)
            added.append(quorb.add(sample_vector(sat_num, epoch)))
        self.assertEqual([key < COMPOSED_KEY_BASE for key in added], [False, True, False, False])
        self.assertEqual(quorb.fields_to_sat_key(300, "   2025/123.0"), added[0])
        by_satellite, by_key = [added[i] for i in (2, 3, 1, 0)], [added[i] for i in (1, 2, 3, 0)]
        for order, expected in ((quorb.Order.LOAD, added), (quorb.Order.KEY, by_key), (7, by_key),
                                (quorb.Order.SAT_NUM_EPOCH, by_satellite), (-1, by_key),
                                (quorb.Order.SAT_NUM_EPOCH_REVERSED, by_satellite[::-1])):
            with self.subTest(order=order):
                self.assertEqual(quorb.get_loaded(order), expected)
        quorb.remove(added[1])  # a removed direct key finds nothing
        self.assertRaises(quorb.QuorbError, quorb.get_lines, added[1])

    def test_what_an_added_array_stores(self) -> None:
        plain = replace(sample_vector(), sec_class="S", in_track_thrust=1e-7)
        zeros = (0.0,) * quorb.COVARIANCE_LENGTH
        # An all-zero covariance is none; TMEPO has TMDAT's code and MMB50 MMJ2K's.
        rows = [(replace(WITH_BOTH, covariance=zeros), replace(WITH_BOTH, covariance=None))]
        rows += [(replace(plain, coord_sys=given), replace(plain, coord_sys=stored))
                 for given, stored in (("TMEPO", "TMDAT"), ("MMB50", "MMJ2K"), ("", ""))]
        for given, stored in rows:
            with self.subTest(coord_sys=given.coord_sys):
                key = quorb.add_array(given)
                self.assertEqual((quorb.data_to_array(key), quorb.get_all_fields(key)),
                                 (stored, replace(stored, controls=None, covariance=None)))
        for refused in (replace(plain, coord_sys="XYZ"), replace(plain, covariance=COVARIANCE)):
            with self.subTest(refused=refused), self.assertRaises(ValueError):
                quorb.add_array(refused)  # no code for XYZ; a covariance travels only with controls
        iss = quorb.lines_to_array(*ISS_LINES)
        self.assertEqual((iss, quorb.array_to_lines(iss)), (quorb.parse(*ISS_LINES), ISS_LINES))

    def test_updates_keep_satellite_and_epoch(self) -> None:
        new = replace(sample_vector(sat_num=7, epoch="25001000000.000"), rev_num=1, coord_sys="")
        kept = replace(new, sat_num=WITH_BOTH.sat_num, epoch=WITH_BOTH.epoch)
        new_controls = replace(new, controls=quorb.Controls(step_mode=2))
        # Fields leave controls and covariance; an array replaces both, by none when it has none.
        rows = ((quorb.update_fields, new, replace(kept, controls=CONTROLS, covariance=COVARIANCE)),
                (quorb.update_array, new_controls, replace(kept, controls=new_controls.controls)),
                (quorb.update_array, new, kept))
        for update, replacement, stored in rows:
            with self.subTest(update.__name__, controls=replacement.controls):
                key = quorb.add(WITH_BOTH)
                update(key, replacement)
                self.assertEqual(quorb.data_to_array(key), stored)

    def test_epochs_convert_as_the_library_converts_them(self) -> None:
        xa, xs = vectors.new_array(), bindings.text_out(TEXT)
        for sat_num, epoch in enumerate((
                "25123120000.000", "2025/123.50000000", "99365235959.9994", "00060 00000.5",
                "2024/366.99999999", "25123120000", "56001000000.000", "57001000000.000",
                "2025May03120000.5", "2024MAY03120000.0", "2025/123 1200 00")):
            with self.subTest(epoch):
                key = quorb.add_fields(sample_vector(sat_num, epoch))
                bindings.lib.QuorbDataToArray(key, xa, xs)
                self.assertEqual(quorb.epoch_to_ds50(epoch), xa[DS50])
        picks, lines = random.Random(1950), [bindings.text_out(TEXT) for _ in range(2)]
        rounding_edges = [27517.5, 18263.0, 18263.0 - 0.4e-8, 27394.999999995, 2558.5]
        for ds50 in rounding_edges + [picks.uniform(*TWO_DIGIT_YEARS) for _ in range(RANDOM_DS50S)]:
            with self.subTest(ds50=ds50):
                xa[DS50] = ds50
                bindings.lib.QuorbArrayToLines(xa, xs, *lines)
                library_epoch = quorb.parse(*map(bindings.read_out, lines)).epoch
                self.assertEqual(quorb.ds50_to_epoch(ds50), library_epoch)
        for epoch in ("", "25366000000", "2025Feb29000000", "2025/123 2400 00", "25123120000,000"):
            with self.subTest(epoch), self.assertRaises(ValueError):
                quorb.epoch_to_ds50(epoch)

    def test_every_declared_function_is_bound_with_its_parameters(self) -> None:
        declared = {name: 0 if params.strip() in ("", "void") else params.count(",") + 1
                    for path in HEADERS for name, params in DECLARATION.findall(path.read_text())}
        self.assertEqual(declared.keys(), bindings.PROTOTYPES.keys())
        for name, count in declared.items():
            with self.subTest(name):
                self.assertEqual(len(getattr(bindings.lib, name).argtypes), count)

    def test_ml_twins_write_the_key_their_plain_twin_returns(self) -> None:
        quorb.set_accept_duplicates(True)
        lines = [bindings.text_in(line, TEXT) for line in ISS_LINES]
        epoch = bindings.text_in(sample_vector().epoch, bindings.KEY_EPOCH_LENGTH)
        for name, args in (("QuorbAddSatFrLines", lines), ("QuorbFieldsToSatKey", (25544, epoch)),
                           ("QuorbAddSatFrFields", quorb.store._fields_in(sample_vector(7))),
                           ("QuorbAddSatFrArray", vectors.to_array(sample_vector(8))),
                           ("QuorbGetSatKey", (7,)), ("QuorbGetSatKey", (4,))):
            with self.subTest(name):
                key = ctypes.c_int64(UNSET_KEY)
                getattr(bindings.lib, f"{name}ML")(*args, ctypes.byref(key))
                self.assertEqual(key.value, getattr(bindings.lib, name)(*args))

    def test_lines_reach_logging_at_their_levels_and_the_log_file_while_open(self) -> None:
        quorb.forward_to_logging()
        with tempfile.TemporaryDirectory() as directory, self.assertLogs("quorb") as logged:
            log_file = Path(directory) / "trace.log"
            log_file.write_text("earlier\n")
            quorb.open_log(log_file)
            bindings.lib.QuorbRemoveSat(MISSING_KEY)
            error = quorb.last_error()
            quorb.close_log()
            bindings.lib.QuorbGetLoaded(0, (ctypes.c_int64 * 1)())
            quorb.set_sink(None)
            bindings.lib.QuorbRemoveSat(MISSING_KEY)  # reaches no sink
            self.assertEqual(log_file.read_text().splitlines(), ["earlier", error])
            self.assertRaises(OSError, quorb.open_log, Path(directory) / "no_such_dir" / "x.log")
        self.assertEqual([(record.levelno, record.getMessage()) for record in logged.records],
                         [(logging.ERROR, error), (logging.WARNING, EMPTY_STORE_WARNING)])

    def test_writers_and_readers_at_once(self) -> None:
        received: list[tuple[quorb.Level, str]] = []
        quorb.set_sink(lambda level, line: received.append((level, line)))
        with ThreadPoolExecutor(WORKERS) as pool:
            results = list(pool.map(work, range(WORKERS)))
        written = {key: vector for mine, _ in results for key, vector in mine.items()}
        self.assertEqual((stored_vectors(), len(written)), (written, WORKERS * VECTORS_PER_WORKER))
        self.assertTrue(all(f" {MISSING_KEY + n} " in line for n, (_, line) in enumerate(results)))
        self.assertCountEqual(received, [(quorb.Level.ERROR, line) for _, line in results])
