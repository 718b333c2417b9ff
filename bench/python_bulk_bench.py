"""Times quorb.to_arrays and quorb.add_arrays on a store of a million vectors.

Run with the build tree's package:
    PYTHONPATH=build/python /usr/bin/python3 bench/python_bulk_bench.py [COUNT]
"""
import sys
import time

import numpy

import quorb

RUNS = 5
FIRST_SAT_NUM = 10_000
EPOCH_2025 = 27394.0  # 2025 Jan 1 00:00 as days since 1950


def columns(count: int) -> dict:
    """count distinct vectors: one satellite each, epochs a minute apart."""
    rows = numpy.arange(count)
    return {"sat_num": (FIRST_SAT_NUM + rows).astype(numpy.int32),
            "epoch": EPOCH_2025 + rows / 1440.0,
            "pos": numpy.column_stack([7000.0 + rows % 1000, rows % 500, rows % 300]),
            "vel": numpy.column_stack([rows % 7, 7500.0 - rows % 100, rows % 11]),
            "b_term": numpy.full(count, 0.01), "agom": numpy.full(count, 0.02),
            "in_track_thrust": numpy.zeros(count), "rev_num": (rows % 99_999).astype(numpy.int32),
            "elset_num": (rows % 999).astype(numpy.int32), "sec_class": ["U"] * count,
            "intl_desig": ["98067A"] * count, "coord_sys": ["MMJ2K"] * count}


def timed(action) -> list[float]:
    times = []
    for _ in range(RUNS):
        start = time.perf_counter()
        action()
        times.append(time.perf_counter() - start)
    return sorted(times)


def main() -> None:
    count = int(sys.argv[1]) if len(sys.argv) > 1 else 1_000_000
    given = columns(count)
    start = time.perf_counter()
    keys = quorb.add_arrays(given)
    added = time.perf_counter() - start
    assert (keys > 0).all() and quorb.count() == count
    times = timed(quorb.to_arrays)
    print(f"add_arrays  {count} vectors: {added:.3f} s")
    print(f"to_arrays   {count} vectors: best {times[0]:.3f} s, median {times[RUNS // 2]:.3f} s")


if __name__ == "__main__":
    main()
