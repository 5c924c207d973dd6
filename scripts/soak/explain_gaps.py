#!/usr/bin/env python3
"""Explains again the long gaps between cycles of a kept soak run (soak.py --keep, or a failed run, keeps its
scratch folder): reads hid/writes.log and trace.txt there and prints every gap over --over ms with where its
time went, then a count per verdict and the machine's steal time over the run.

  explain_gaps.py SCRATCH [--over 50]
"""

import argparse
import collections
import os
import sys

sys.dont_write_bytecode = True  # keep the source tree clean
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "perf"))
import quillar_harness as h  # noqa: E402
import soak  # noqa: E402


def steal_over_run(trace_path):
    """(steal seconds over both CPUs, seconds traced, share of 10 ms samples in which steal rose 3+ ticks)."""
    first = last = previous = None
    samples = heavy = 0
    with open(trace_path) as trace:
        for line in trace:
            if not line.startswith("s "):
                continue
            fields = line.split()
            t, steal = int(fields[1]), int(fields[3])
            if first is None:
                first = (t, steal)
            if previous is not None:
                samples += 1
                heavy += steal - previous >= 3
            previous = steal
            last = (t, steal)
    if first is None or samples == 0:
        return 0.0, 0.0, 0.0
    return (last[1] - first[1]) / h.TICKS_PER_SECOND, (last[0] - first[0]) / 1e6, heavy / samples


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("scratch")
    parser.add_argument("--over", type=float, default=50.0)
    args = parser.parse_args()
    scan = soak.scan_writes(os.path.join(args.scratch, "hid", "writes.log"), 0, 1 << 62)
    gaps = [(start, end) for start, end in scan["long_gaps"] if (end - start) / 1000 > args.over]
    trace_path = os.path.join(args.scratch, "trace.txt")
    explained = h.explain_gaps(trace_path, gaps)
    first_write = None
    with open(os.path.join(args.scratch, "hid", "writes.log")) as log:
        for line in log:
            parsed = h.parse_write(line)
            if parsed:
                first_write = parsed[0]
                break
    print(f"{len(gaps)} gaps over {args.over:g} ms among {scan['writes']} direct-control writes")
    print()
    print("| Minute | Gap ms | Run ms | Wait ms | Busy ms | Steal ms | Recorder late ms | Where it went |")
    print("|---|---|---|---|---|---|---|---|")
    for (start, _), e in zip(gaps, explained):
        minute = (start - first_write) / 60e6 if first_write else 0
        if "run_ms" in e:
            print(f"| {minute:.2f} | {e['gap_ms']:.1f} | {e['run_ms']:.1f} | {e['wait_ms']:.1f} | "
                  f"{e['busy_ms']:.0f} | {e['steal_ms']:.0f} | {e['recorder_late_ms']:.1f} | {e['verdict']} |")
        else:
            print(f"| {minute:.2f} | {e['gap_ms']:.1f} | | | | | | {e['verdict']} |")
    print()
    for verdict, count in collections.Counter(e["verdict"] for e in explained).most_common():
        print(f"{count:5}  {verdict}")
    if explained and all("steal_ms" in e for e in explained):
        ratio = min(e["steal_ms"] / e["gap_ms"] for e in explained)
        print(f"smallest steal inside a gap, as a share of the gap: {ratio:.2f}")
    steal_s, traced_s, heavy = steal_over_run(trace_path)
    if traced_s:
        print(f"steal over the run: {steal_s:.1f} s over both CPUs in {traced_s:.0f} s "
              f"({100 * steal_s / traced_s / 2:.1f} % of the machine); steal rose by 3 or more ticks in "
              f"{100 * heavy:.2f} % of the 10 ms samples")
    return 0


if __name__ == "__main__":
    sys.exit(main())
