#!/usr/bin/env python3
"""Samples a running program's CPU time over a window and analyses the preloaded hidapi double's write log
for the same window: intervals between consecutive joystick direct-control writes (byte 1 = 0x20)."""

import argparse
import os
import statistics
import sys
import time

sys.dont_write_bytecode = True  # keep the source tree clean
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "scripts", "perf"))
from quillar_harness import cpu_ticks, percentile, thread_ticks  # noqa: E402




def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--pid", type=int, required=True)
    parser.add_argument("--log", required=True)
    parser.add_argument("--seconds", type=float, default=12)
    parser.add_argument("--program", default="")
    args = parser.parse_args()

    hz = os.sysconf("SC_CLK_TCK")
    start_us = time.monotonic_ns() // 1000
    start_ticks = cpu_ticks(args.pid)
    start_threads = thread_ticks(args.pid)
    time.sleep(args.seconds)
    end_ticks = cpu_ticks(args.pid)
    end_threads = thread_ticks(args.pid)
    end_us = time.monotonic_ns() // 1000

    stamps = []
    with open(args.log) as log:
        for line in log:
            parts = line.split()
            if len(parts) < 3 or parts[1] != "joystick" or parts[2][2:4] != "20":
                continue
            t = int(parts[0])
            if start_us <= t <= end_us:
                stamps.append(t)
    intervals = sorted((b - a) / 1000.0 for a, b in zip(stamps, stamps[1:]))
    if not intervals:
        print("no joystick direct-control writes in the window", file=sys.stderr)
        return 1

    wall = (end_us - start_us) / 1e6
    cpu = (end_ticks - start_ticks) / hz
    median = statistics.median(intervals)
    p99 = percentile(intervals, 99)
    worst = intervals[-1]
    cpu_percent = 100 * cpu / wall
    print(f"program            {args.program}")
    print(f"window             {wall:.2f} s, {len(stamps)} joystick direct-control writes")
    print(f"interval median    {median:.3f} ms   (goal 10.0 +- 0.2)  {'ok' if abs(median - 10) <= 0.2 else 'MISSED'}")
    print(f"interval p99       {p99:.3f} ms   (goal <= 12)        {'ok' if p99 <= 12 else 'MISSED'}")
    print(f"interval max       {worst:.3f} ms")
    print(f"cpu                {cpu:.2f} s over {wall:.2f} s = {cpu_percent:.2f} % of one core   "
          f"(goal < 1)  {'ok' if cpu_percent < 1 else 'MISSED'}")
    for name in sorted(end_threads):
        used = (end_threads[name] - start_threads.get(name, 0)) / hz
        print(f"  thread {name:28} {100 * used / wall:5.2f} %")
    return 0


if __name__ == "__main__":
    sys.exit(main())
