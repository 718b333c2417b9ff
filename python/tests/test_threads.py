"""Python threads using the store at once (ctypes releases the GIL in each call)."""
from __future__ import annotations

import dataclasses
import threading
from concurrent.futures import ThreadPoolExecutor

from support import StoreTestCase, sample_vector

import quorb

WRITERS = 6
VECTORS_PER_WRITER = 300
READERS = 3


def write_and_check(writer: int) -> dict[int, quorb.StateVector]:
    """Adds, reads back, changes and lists this writer's own vectors."""
    mine = {}
    for index in range(VECTORS_PER_WRITER):
        vector = dataclasses.replace(sample_vector(sat_num=writer * 100_000 + index),
                                     rev_num=index, b_term=writer / 100)
        key = quorb.add(vector)
        if quorb.get_all_fields(key) != vector:
            raise AssertionError(f"vector {key} read back changed")
        vector = dataclasses.replace(vector, elset_num=writer)
        quorb.update_fields(key, vector)
        mine[key] = vector
    try:
        quorb.sat_key(writer * 100_000 + VECTORS_PER_WRITER)
    except quorb.QuorbError as error:
        if str(writer * 100_000 + VECTORS_PER_WRITER) not in error.line:
            raise AssertionError(f"writer {writer} got another thread's line: {error.line}")
    return mine


def read_until(done: threading.Event) -> int:
    """Lists and reads whatever is stored until the writers are done, and once more."""
    reads = 0
    while True:
        finished = done.is_set()
        for key in quorb.get_loaded(quorb.Order.SAT_NUM_EPOCH)[:50]:
            quorb.get_lines(key)
            reads += 1
        if finished:
            return reads


class ThreadsTest(StoreTestCase):
    def test_writers_and_readers_at_once(self) -> None:
        done = threading.Event()
        with ThreadPoolExecutor(WRITERS + READERS) as pool:
            readers = [pool.submit(read_until, done) for _ in range(READERS)]
            writers = [pool.submit(write_and_check, writer) for writer in range(WRITERS)]
            try:
                written = {key: vector for future in writers
                           for key, vector in future.result().items()}
            finally:
                done.set()
            self.assertGreater(sum(future.result() for future in readers), 0)
        self.assertEqual(quorb.count(), WRITERS * VECTORS_PER_WRITER)
        self.assertEqual(sorted(written), quorb.get_loaded())
        for key, vector in written.items():
            self.assertEqual(quorb.get_all_fields(key), vector)
