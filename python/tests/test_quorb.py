"""What only the package can get wrong: bindings, conversions, exceptions, enums, epochs, log."""
import ctypes
import re
import tempfile
from dataclasses import replace
from pathlib import Path

from support import SOURCE_DIR, StoreTestCase

import quorb
from quorb import KeyMode, Order, bindings, vectors

ISS_LINES = ("   6524.8346  -1876.2210    253.0097    1983.2456    6812.7001   -3456.1234 UB1P",
             "25544 98067A    25123120000.000  12345  999     0.012      0.02       0.0MMJ2K2P")
ISS = quorb.StateVector(  # the vector of ISS_LINES
    pos=(6524.8346, -1876.221, 253.0097), vel=(1983.2456, 6812.7001, -3456.1234), sat_num=25544,
    intl_desig="98067A", epoch="25123120000.000", rev_num=12345, elset_num=999, b_term=0.012,
    agom=0.02, coord_sys="MMJ2K")
PLAIN = replace(ISS, sec_class="S", intl_desig="98067ABC", in_track_thrust=1e-7)  # no defaults
FAR = replace(ISS, pos=(2e9, 0.0, 0.0))
INVALID_CARDS, OUT_OF_RANGE, NO_LINE = r"^Lines2Quorb: Invalid 1P card", r"PosX = 2e\+09 ", r"^$"
CONTROLS = quorb.Controls(12, 1, 4, 1, 1, 152, 148, 15, 36, 12, 1, 1, 106, 3, 2, 1, 30.5)
COVARIANCE = tuple((index + 1) * 1e-6 for index in range(quorb.COVARIANCE_LENGTH))
HEADERS = [SOURCE_DIR / "include" / "quorb" / name for name in ("quorb.h", "quorb_services.h")]
DECLARATION = re.compile(r"QUORB_API\s+[\w\s\*]+?\b(\w+)\s*\(([^)]*)\)", re.S)
MISSING_KEY = (1 << 62) + 12345  # a composed key that names nothing


class QuorbTest(StoreTestCase):
    def test_every_declared_function_is_bound_with_its_parameters(self) -> None:
        declared = {name: 0 if params.strip() in ("", "void") else params.count(",") + 1
                    for path in HEADERS for name, params in DECLARATION.findall(path.read_text())}
        self.assertEqual({name: len(getattr(bindings.lib, name).argtypes)
                          for name in bindings.PROTOTYPES}, declared)

    def test_every_named_number_is_the_headers(self) -> None:
        text = "".join(path.read_text() for path in HEADERS)
        declared = {name: int(value) for name, value in
                    re.findall(r"\b((?:QUORB|LOAD_REPORT)_\w+) = (-?\d+)", text)}
        self.assertEqual({prefix + member.name: int(member)
                          for prefix, names in quorb.names.HEADER_PREFIXES for member in names},
                         declared)

    def test_vectors_read_back_as_stored_by_fields_and_arrays(self) -> None:
        both = replace(PLAIN, controls=CONTROLS, covariance=COVARIANCE)
        # Call, its vector, what data_to_array then gives; TMEPO has TMDAT's code, MMB50 MMJ2K's.
        rows = [(quorb.add_fields, PLAIN, PLAIN), (quorb.add_array, both, both),
                *((quorb.add_array, replace(PLAIN, coord_sys=given), replace(PLAIN, coord_sys=got))
                  for given, got in (("TMEPO", "TMDAT"), ("MMB50", "MMJ2K"), ("", "")))]
        for row, (add, given, stored) in enumerate(rows):
            quorb.remove_all()
            self.assertEqual((quorb.data_to_array(key := add(given)), quorb.get_all_fields(key)),
                             (stored, stored), row)
        for refused in (replace(PLAIN, coord_sys="XYZ"), replace(PLAIN, covariance=COVARIANCE)):
            with self.subTest(refused=refused), self.assertRaises(ValueError):
                quorb.add_array(refused)  # no code for XYZ; a covariance travels only with controls
        self.assertEqual((quorb.parse(*ISS_LINES), quorb.lines_to_array(*ISS_LINES)), (ISS, ISS))
        self.assertEqual((quorb.array_to_lines(ISS), quorb.fields_to_lines(ISS)), (ISS_LINES,) * 2)

    def test_failed_calls_raise_by_kind_with_the_line_of_that_call(self) -> None:
        swapped, missing_dir = ISS_LINES[::-1], SOURCE_DIR / "none.inp"
        invalid, not_stored = quorb.InvalidValueError, quorb.NotStoredError
        # Call, arguments, exception, result (-1: no key, 2: failed, None: none returned),
        # line. A row expecting no line follows one that wrote a line: none is carried.
        rows = [*((call, swapped, invalid, result, INVALID_CARDS) for call, result in
                  ((quorb.add_lines, -1), (quorb.parse, 2), (quorb.lines_to_array, 2))),
                (quorb.array_to_lines, (replace(FAR, sat_num=-1),), invalid, None, NO_LINE),
                (quorb.add_array, (FAR,), invalid, -1, OUT_OF_RANGE),
                (quorb.fields_to_lines, (FAR,), invalid, None, OUT_OF_RANGE),
                (quorb.fields_to_sat_key, (25544, "not an epoch"), invalid, -1, NO_LINE),
                (quorb.get_field, (quorb.add_lines(*ISS_LINES), 8), invalid, None, "8 names no"),
                *((call, (MISSING_KEY, *more), not_stored, 2, f" {MISSING_KEY} in")
                  for call, *more in (
                      (quorb.get_field, 1), (quorb.set_field, 1, 1), (quorb.update_fields, FAR),
                      (quorb.update_array, FAR), (quorb.get_all_fields,), (quorb.get_lines,),
                      (quorb.data_to_array,), (quorb.remove,))),
                (quorb.remove, (10,), not_stored, 2, "DMA doesn't exist"),
                (quorb.to_arrays, ([MISSING_KEY],), not_stored, None, f" {MISSING_KEY} in")]
        for call, args, kind, result, line in rows:
            with self.assertRaises(kind, msg=call.__name__) as caught:
                call(*args)
            self.assertEqual(caught.exception.result, result, call.__name__)
            self.assertRegex(caught.exception.line, line, call.__name__)
        for call, path, kind in ((quorb.load_file, missing_dir, FileNotFoundError),
                                 (quorb.load_file, SOURCE_DIR, IsADirectoryError),
                                 (quorb.save_file, missing_dir / "x", FileNotFoundError)):
            self.assertRaisesRegex(kind, "Cannot open file", call, path)
        quorb.load_file(SOURCE_DIR / "examples" / "catalog.inp")
        self.assertEqual(quorb.last_error(), "")

    def test_loads_count_and_name_every_line_that_added_no_vector(self) -> None:
        kind = quorb.names.LoadReportKind
        result = quorb.load_file(SOURCE_DIR / "tests" / "data" / "bad_cards.txt")
        self.assertEqual((result.total, result.loaded, result.duplicate, result.bad,
                          result.status), (10, 3, 0, 7, 2))
        self.assertEqual([(entry.kind, entry.line) for entry in result.dropped], [
            (kind.NO_1P, 4), (kind.REJECTED, 6), (kind.REJECTED, 8), (kind.NO_2P, 10),
            (kind.UNRECOGNISED, 11), (kind.NO_1P, 12), (kind.REJECTED, 14), (kind.NO_KEY, 17),
            (kind.REJECTED, 21)])
        self.assertRegex(result.dropped[1].message, "classify level 'u'")
        self.assertTrue(all(entry.file.endswith("bad_cards.txt") for entry in result.dropped))
        self.assertEqual(quorb.load_file(SOURCE_DIR / "tests/data/bad_cards.txt").duplicate, 3)

    def test_key_modes_and_orders_are_enums(self) -> None:
        direct, composed = KeyMode.DIRECT, KeyMode.COMPOSED
        # Satellite, day of 2025, element-set and all-types key mode (False: off), duplicates
        # accepted. Modes read back as enums and flags as bools, which repr tells from ints.
        rows = ((300, 123, composed, False, False), (200, 123, direct, False, True),
                (100, 121, direct, composed, True), (100, 122, composed, direct, False))
        added = []
        for sat_num, day, elset, every, accept in rows:
            quorb.set_elset_key_mode(elset)
            quorb.clear_all_key_mode() if every is False else quorb.set_all_key_mode(every)
            quorb.set_accept_duplicates(accept)
            added.append(quorb.add(replace(ISS, sat_num=sat_num, epoch=f"2025/{day}")))
            in_use = quorb.all_key_mode_in_use() and quorb.all_key_mode()
            modes = quorb.elset_key_mode(), in_use, quorb.accepts_duplicates()
            self.assertEqual(list(map(repr, modes)), list(map(repr, (elset, every, accept))))
        self.assertRaises(ValueError, quorb.set_elset_key_mode, 2)
        by_satellite = [added[i] for i in (2, 3, 1, 0)]  # in Order's order, then load and key
        self.assertEqual([quorb.get_loaded(order) for order in Order],
                         [by_satellite, by_satellite[::-1], added, sorted(added)])

    def test_epochs_convert_as_the_library_converts_them(self) -> None:
        xa, xs, *lines = vectors.new_array(), *map(bindings.text_out, [bindings.LINE_LENGTH] * 3)
        for sat_num, epoch in enumerate((
                "25123120000.000", "2025/123.50000000", "99365235959.9994", "00060 00000.5",
                "2024/366.99999999", "25123120000", "56001000000.000", "57001000000.000",
                "2025May03120000.5", "2024MAY03120000.0", "2025/123 1200 00")):
            key = quorb.add_fields(replace(ISS, sat_num=sat_num, epoch=epoch))
            bindings.lib.QuorbDataToArray(key, xa, xs)
            self.assertEqual(quorb.epoch_to_ds50(epoch), xa[1], epoch)  # the array form's epoch
        # Rounding edges (the last a tie), then days over the years a card's YY names (1957-2056).
        rounding_edges = [27517.5, 18263.0, 18263.0 - 0.4e-8, 27394.999999995, 27517 + 3 / 2048]
        for ds50 in rounding_edges + [2558.0 + n * 182.6180339887 for n in range(200)]:
            xa[1] = ds50
            bindings.lib.QuorbArrayToLines(xa, xs, *lines)
            library = quorb.parse(*map(bindings.read_out, lines)).epoch
            self.assertEqual(quorb.ds50_to_epoch(ds50), library, ds50)
        for ds50 in (2557.99999999, 40178.5):  # no two-digit year: the library writes no lines
            xa[1] = ds50
            bindings.lib.QuorbArrayToLines(xa, xs, *lines)
            self.assertEqual(bindings.read_out(lines[0]), "", ds50)
            self.assertRaises(ValueError, quorb.ds50_to_epoch, ds50)
        for epoch in ("", "25366000000", "2025Feb29000000", "2025/123 2400 00", "2 123120000.000"):
            with self.subTest(epoch), self.assertRaises(ValueError):
                quorb.epoch_to_ds50(epoch)

    def test_log_lines_and_saved_cards_reach_where_asked(self) -> None:
        quorb.forward_to_logging()
        with tempfile.TemporaryDirectory() as directory, self.assertLogs("quorb") as logged:
            quorb.open_log(Path(directory) / "trace.log")
            bindings.lib.QuorbRemoveSat(MISSING_KEY)
            error = quorb.last_error()
            quorb.close_log()
            bindings.lib.QuorbGetLoaded(0, (ctypes.c_int64 * 1)())
            quorb.set_sink(None)
            bindings.lib.QuorbRemoveSat(MISSING_KEY)  # reaches no sink
            self.assertEqual((Path(directory) / "trace.log").read_text().splitlines(), [error])
            self.assertRaises(OSError, quorb.open_log, Path(directory) / "no_such_dir" / "x.log")
            quorb.add_lines(*ISS_LINES)
            for append in (False, False, True):  # the second replaces the first, the third appends
                quorb.save_file(Path(directory) / "saved.txt", append=append)
            self.assertEqual((Path(directory) / "saved.txt").read_text().count(ISS_LINES[1]), 2)
        warning = "Warning-QuorbGetLoaded: The binary tree is empty. No satKey returns."
        self.assertEqual(logged.output, [f"ERROR:quorb:{error}", f"WARNING:quorb:{warning}"])
