#!/usr/bin/env python3
"""Checks that the library's per-row work stays linear in the size of a result.

Runs recommendations_bench once per shape and size, each in a fresh process
(a small result timed after a large one was freed measures the heap the large
one left behind), and compares the median time per row at the large size
with that at the small one.

    bench/check_scaling.py BUILD_DIR/bench/recommendations_bench [--limit 1.3] [--repetitions 3]

Exits 1 when some benchmark's ratio is above the limit.
"""

import argparse
import json
import re
import subprocess
import sys

SHAPES = ("mixed", "wide", "deep")
SIZES = (20000, 200000)


def per_row(binary, shape, rows, repetitions, extra):
    """Median seconds per row by benchmark name, for one result."""
    command = [binary, f"--benchmark_filter=/{shape}/rows:{rows}/", "--benchmark_format=json",
               f"--benchmark_repetitions={repetitions}", "--benchmark_report_aggregates_only=true"] + extra
    run = subprocess.run(command, check=True, capture_output=True, text=True)
    figures = {}
    for entry in json.loads(run.stdout)["benchmarks"]:
        # A single repetition reports its run; several report aggregates.
        if entry.get("run_type") == "aggregate" and entry.get("aggregate_name") != "median":
            continue
        name = re.sub(r"/rows:\d+.*", "", entry["run_name"])
        figures[name] = entry["per_row"]
    return figures


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("binary")
    parser.add_argument("--limit", type=float, default=1.3, help="largest allowed ratio (default 1.3)")
    parser.add_argument("--repetitions", type=int, default=3,
                        help="runs per benchmark; the median counts (default 3: single runs vary by 10 %%)")
    parser.add_argument("extra", nargs="*", help="further benchmark options, after --")
    args = parser.parse_args()

    small, large = SIZES
    failed = False
    print(f"{'benchmark':36} {'us/row at ' + str(small):>16} {'us/row at ' + str(large):>17} {'ratio':>6}")
    for shape in SHAPES:
        before = per_row(args.binary, shape, small, args.repetitions, args.extra)
        after = per_row(args.binary, shape, large, args.repetitions, args.extra)
        for name in sorted(before):
            if name not in after:
                continue
            ratio = after[name] / before[name]
            mark = "" if ratio <= args.limit else "  <- above " + str(args.limit)
            failed = failed or ratio > args.limit
            print(f"{name:36} {before[name] * 1e6:16.2f} {after[name] * 1e6:17.2f} {ratio:6.2f}{mark}")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
