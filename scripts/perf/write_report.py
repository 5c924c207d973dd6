#!/usr/bin/env python3
"""Writes the figures of scripts/perf/measure_all.sh into docs/performance.md, between the markers
"<!-- measured:begin -->" and "<!-- measured:end -->". Text outside the markers is kept as it is."""

import argparse
import datetime
import glob
import json
import os
import statistics
import sys

BEGIN = "<!-- measured:begin -->"
END = "<!-- measured:end -->"


def verdict(ok):
    return "met" if ok else "MISSED"


def read_cycle_runs(folder):
    runs = []
    for path in sorted(glob.glob(os.path.join(folder, "bench_cycle_*.txt"))):
        values = {}
        with open(path) as f:
            for line in f:
                parts = line.split()
                if len(parts) == 2:
                    values[parts[0]] = float(parts[1])
        runs.append(values)
    return runs


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--results", required=True)
    parser.add_argument("--doc", required=True)
    parser.add_argument("--command", default="scripts/perf/measure_all.sh")
    args = parser.parse_args()

    machine_start = json.load(open(os.path.join(args.results, "machine_start.json")))
    machine = json.load(open(os.path.join(args.results, "machine.json")))
    bench = json.load(open(os.path.join(args.results, "bench_forces.json")))
    program = json.load(open(os.path.join(args.results, "program.json")))
    cycles = read_cycle_runs(args.results)

    def aggregate(run_name, aggregate_name):
        return next((b for b in bench["benchmarks"]
                     if b.get("run_name") == run_name and b.get("aggregate_name") == aggregate_name), None)

    median_row = aggregate("BM_calculateAllAxes", "median")
    stddev_row = aggregate("BM_calculateAllAxes", "stddev")
    unit = median_row.get("time_unit", "ns")
    scale = {"ns": 1, "us": 1000, "ms": 1e6}[unit]
    engine_ns = median_row["real_time"] * scale
    engine_allocations = median_row.get("allocations_per_cycle", float("nan"))

    def cycle_median(key):
        return statistics.median(run[key] for run in cycles)

    lines = [BEGIN, ""]
    now = datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%d %H:%M UTC")
    lines += [
        f"Measured {now} with `{args.command.strip()}`.",
        "",
        "| Machine | |",
        "|---|---|",
        f"| CPU | {machine['cpu']} |",
        f"| Cores | {machine['cores']} |",
        f"| Memory | {machine['memory']} |",
        f"| Kernel | {machine['kernel']} ({machine.get('os', '')}) |",
        f"| Load average (1, 5, 15 min) at start | {machine_start['load']} |",
        f"| Load average before measuring | {machine['load']} |",
        f"| Taken by the virtual machine's host (steal) during the end-to-end run | "
        f"{program.get('host_steal_percent', 'not recorded')} % of all CPUs |",
        "",
        "| Figure | Measured | Goal | |",
        "|---|---|---|---|",
        f"| Force engine, ns per three-axis evaluation (median of 10 runs of bench_forces) | "
        f"{engine_ns:.0f} ns" + (f" (stddev {stddev_row['real_time'] * scale:.0f})" if stddev_row else "") +
        f" | < 1000 ns | {verdict(engine_ns < 1000)} |",
        f"| Force engine, heap allocations per evaluation | {engine_allocations:g} | 0 | "
        f"{verdict(engine_allocations == 0)} |",
        f"| Device cycle (onTimout, both devices), allocations per cycle, no receiver of positionChanged | "
        f"{cycle_median('no_receiver_allocations_per_cycle'):g} | 0 | "
        f"{verdict(cycle_median('no_receiver_allocations_per_cycle') == 0)} |",
        f"| Device cycle, allocations per cycle, queued receiver in another thread | "
        f"{cycle_median('queued_receiver_allocations_per_cycle'):g} | (a queued call allocates) | |",
        f"| Device cycle time (median / p99, no receiver), in-process double | "
        f"{cycle_median('no_receiver_cycle_median_ns') / 1000:.2f} / "
        f"{cycle_median('no_receiver_cycle_p99_ns') / 1000:.2f} µs | | |",
        f"| End-to-end latency, g-force step to joystick report: median | {program['latency_median_ms']} ms | "
        f"| |",
        f"| End-to-end latency: p99 | {program['latency_p99_ms']} ms | <= 32 ms | "
        f"{verdict(program['latency_p99_ms'] is not None and program['latency_p99_ms'] <= 32)} |",
        f"| End-to-end latency: max (min) | {program['latency_max_ms']} ({program['latency_min_ms']}) ms | | |",
        f"| Steps measured / without a matching report | {program['latency_count']} / "
        f"{program['latency_missed']} | >= 200 | {verdict(program['latency_count'] >= 200)} |",
        f"| Cycle interval (joystick direct-control writes): median | {program['interval_median_ms']} ms | "
        f"10.0 +- 0.2 ms | {verdict(abs(program['interval_median_ms'] - 10) <= 0.2)} |",
        f"| Cycle interval: p99 | {program['interval_p99_ms']} ms | <= 12 ms | "
        f"{verdict(program['interval_p99_ms'] <= 12)} |",
        f"| Cycle interval: max | {program['interval_max_ms']} ms | <= 20 ms | "
        f"{verdict(program['interval_max_ms'] <= 20)} |",
        f"| CPU, percent of one core over {program['window_s']} s | {program['cpu_percent']} % | <= 1 % | "
        f"{verdict(program['cpu_percent'] <= 1)} |",
        f"| Resident memory (VmRSS) at end / max | {program['rss_end_kb'] / 1024:.1f} / "
        f"{program['rss_max_kb'] / 1024:.1f} MB | <= 80 MB | {verdict(program['rss_max_kb'] / 1024 <= 80)} |",
        "",
        "CPU per thread over the same window (percent of one core; threads below 0.01 % omitted):",
        "",
        "| Thread | CPU % |",
        "|---|---|",
    ]
    for name, percent in sorted(program["cpu_threads_percent"].items(), key=lambda item: -item[1]):
        if percent >= 0.01:
            lines.append(f"| {name.rsplit('/', 1)[0]} | {percent} |")
    long_intervals = program.get("intervals_over_20ms", [])
    lines += ["", f"Cycle intervals over 20 ms: {len(long_intervals)}" + (
        ", each explained from a stall_trace.c recording of the same run (the device-cycle thread's run and "
        "wait time over the interval, the machine's steal time over both virtual CPUs, the idle recorder's "
        "lateness):" if long_intervals else ".")]
    if long_intervals:
        lines += ["", "| Interval ms | Run ms | Wait ms | Steal ms | Recorder late ms | Where it went |",
                  "|---|---|---|---|---|---|"]
        for e in long_intervals:
            lines.append(f"| {e['gap_ms']} | {e.get('run_ms', '')} | {e.get('wait_ms', '')} | "
                         f"{e.get('steal_ms', '')} | {e.get('recorder_late_ms', '')} | {e['verdict']} |")
    lines += [
        "",
        f"The end-to-end run streamed {program['datagrams_sent']} DCS datagrams and saw {program['writes']} "
        f"joystick direct-control writes in the window; {program['steps']} steps between g = 1 and g = 3 "
        f"with elevator weight {program['strength']:g} %.",
        "",
        "Raw device-cycle runs (bench_cycle, 20000 cycles each):",
        "",
        "```",
    ]
    for run in cycles:
        lines.append(" ".join(f"{k}={v:g}" for k, v in sorted(run.items())))
    lines += ["```", "", END]
    block = "\n".join(lines)

    if os.path.exists(args.doc):
        text = open(args.doc, encoding="utf-8").read()
    else:
        text = "# Performance\n\n" + BEGIN + "\n" + END + "\n"
    if BEGIN in text and END in text:
        head = text[:text.index(BEGIN)]
        tail = text[text.index(END) + len(END):]
        text = head + block + tail
    else:
        text = text.rstrip("\n") + "\n\n" + block + "\n"
    with open(args.doc, "w", encoding="utf-8") as f:
        f.write(text)
    return 0


if __name__ == "__main__":
    sys.exit(main())
