"""The trace log seen from Python: sinks, the logging bridge, log files."""
from __future__ import annotations

import ctypes
import logging
import tempfile
import threading
from pathlib import Path

from support import StoreTestCase, sample_vector

import quorb
from quorb import bindings

MISSING_KEY = (1 << 62) + 12345


def fail_lookup(key: int = MISSING_KEY) -> str:
    """Makes the library log one error line; returns it as the exception carries it."""
    try:
        quorb.get_lines(key)
    except quorb.QuorbError as error:
        return error.line
    raise AssertionError("the lookup of a missing key succeeded")


class SinkTest(StoreTestCase):
    def test_sink_receives_each_line_until_removed(self) -> None:
        received: list[tuple[quorb.Level, str]] = []
        quorb.set_sink(lambda level, line: received.append((level, line)))
        line = fail_lookup()
        self.assertEqual(received, [(quorb.Level.ERROR, line)])
        self.assertEqual(quorb.last_error(), line)
        quorb.set_sink(None)
        fail_lookup()
        self.assertEqual(len(received), 1)

    def test_lines_reach_logging_at_their_levels(self) -> None:
        quorb.forward_to_logging()
        with self.assertLogs("quorb", logging.DEBUG) as logged:
            line = fail_lookup()
            bindings.lib.QuorbGetLoaded(0, (ctypes.c_int64 * 1)())  # empty store: a warning
            quorb.add(sample_vector())
        self.assertEqual(logged.records[0].levelno, logging.ERROR)
        self.assertEqual(logged.records[0].getMessage(), line)
        self.assertEqual(logged.records[1].levelno, logging.WARNING)
        self.assertTrue(logged.records[1].getMessage().startswith("Warning-QuorbGetLoaded"))
        self.assertEqual(len(logged.records), 2, "adding a vector logs nothing")

    def test_sink_is_called_on_every_calling_thread(self) -> None:
        received: list[str] = []
        quorb.set_sink(lambda level, line: received.append(line))
        threads = [threading.Thread(target=fail_lookup, args=(MISSING_KEY + n,)) for n in range(8)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(len(received), 8)
        self.assertEqual(len(set(received)), 8)


class LogFileTest(StoreTestCase):
    def test_lines_are_appended_while_open(self) -> None:
        with tempfile.TemporaryDirectory() as directory:
            path = Path(directory) / "trace.log"
            path.write_text("earlier\n")
            quorb.open_log(path)
            try:
                first = fail_lookup(MISSING_KEY)
            finally:
                quorb.close_log()
            fail_lookup(MISSING_KEY + 1)
            self.assertEqual(path.read_text().splitlines(), ["earlier", first])
            with self.assertRaises(OSError):
                quorb.open_log(Path(directory) / "no_such_directory" / "trace.log")
