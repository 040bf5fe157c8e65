#!/usr/bin/env python3
"""Speed and size of the executable against what they cannot be better than. Started by scripts/bench.sh.

Each row compares two sides of the same run: by counting host calls, by slices done in turn within one process, or by
whole processes in random order. docs/performance.md tells how to read the table.
"""
import argparse
import os
import random
import sys
import time

import measure
import workloads


def main():
    parser = argparse.ArgumentParser()
    size = parser.add_mutually_exclusive_group()
    size.add_argument("--quick", action="store_true", help="small sizes, less than three minutes (default)")
    size.add_argument("--full", action="store_true", help="all sizes")
    parser.add_argument("--seed", type=int, default=random.randrange(1 << 32), help="of the order of the processes")
    parser.add_argument("--only", default="", help="comma separated rows, such as B1,B5")
    parser.add_argument("build", help="folder of the release build with the target benches")
    options = parser.parse_args()

    random.seed(options.seed)
    machine = measure.Machine(os.path.abspath(options.build))
    print(f"Seed {options.seed}, {'full' if options.full else 'quick'} sizes.", flush=True)
    if not machine.can_count:
        print("SKIPPED: no strace here, so nothing counts host calls. Rows without a figure are not met or missed.")
    every = [name for names, _ in workloads.ALL for name in names]
    wanted = [name for name in options.only.split(",") if name] or every
    if unknown := set(wanted) - set(every):
        parser.error(f"no row {', '.join(unknown)}; there are {', '.join(every)}")
    rows = []
    try:
        for names, workload in workloads.ALL:
            if not set(names) & set(wanted):
                continue
            print(f"{', '.join(names)} ...", file=sys.stderr, flush=True)
            start = time.monotonic()
            for row in workload(machine, options.full):
                print(f"    {row.workload}: {row.ratio} ({row.verdict})", file=sys.stderr, flush=True)
                rows.append(row)
            print(f"    {time.monotonic() - start:.0f} s", file=sys.stderr, flush=True)
        machine.clean()
    finally:
        is_missed = measure.print_table(rows)
    return is_missed


if __name__ == "__main__":
    sys.exit(main())
