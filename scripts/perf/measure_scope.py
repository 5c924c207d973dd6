#!/usr/bin/env python3
"""What the Forces view costs, and what the program costs against the floor of its own timers.

Runs, in one go and interleaved round by round (so a change in the machine's load hits every mode alike),
three rounds of each mode, every run a fresh program in a scratch folder under the preloaded hidapi double
(both devices plugged in), offscreen, with one DCS profile activated by DCS datagrams streaming at 50 Hz:

  floor      tools/quillar_timer_floor: the program's threads and timers with no work
  logging    the program, Forces view hidden, the double writing its per-call logs (how the other
             measurements run)
  hidden     the program, Forces view hidden, the double quiet (QUILLAR_HID_DOUBLE_LOG=0)
  visible    as hidden, with the Forces view opened by the forces-view preload
  visible-x2 as visible, at a device-pixel ratio of 2 (QT_SCALE_FACTOR=2), as on a high-density screen
  base       with --base-build: that build's program (e.g. the commit before the view), quiet double

CPU is utime + stime of the process over the measured window, in percent of one core; per thread too.
Prints a Markdown table of the medians and writes everything as JSON (--out).

  measure_scope.py --build DIR [--base-build DIR] [--modes floor,logging,...] [--seconds 20] [--warmup 4]
                   [--rounds 3] [--out FILE]
"""

import argparse
import json
import os
import shutil
import statistics
import subprocess
import sys
import threading
import time

sys.dont_write_bytecode = True  # keep the source tree clean
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import quillar_harness as h  # noqa: E402

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
# The demo profile on the ground at taxi speed: springs, dampers and the ground-rolling shaker all at work, so
# every plotted series moves.
AIRCRAFT = "Quillar Demo Trainer"
DEMO_PROFILE = os.path.join(ROOT, "profiles", "demo", "DCS_Quillar_Demo_Trainer.json")


class Sender(threading.Thread):
    """One DCS datagram every 20 ms on absolute deadlines until stopped."""

    def __init__(self):
        super().__init__(daemon=True)
        self.socket = h.udp_socket()
        self.stopped = threading.Event()

    def run(self):
        deadline = time.monotonic()
        while not self.stopped.is_set():
            self.socket.sendto(h.dcs_datagram(AIRCRAFT, 1.1, airspeed=120.0, on_ground=1),
                               ("127.0.0.1", h.DCS_PORT))
            deadline += 0.02
            self.stopped.wait(max(0.0, deadline - time.monotonic()))


def thread_groups(ticks):
    """Per-thread ticks summed by thread name (tids differ from run to run)."""
    groups = {}
    for key, value in ticks.items():
        name = key.rsplit("/", 1)[0]
        groups[name] = groups.get(name, 0) + value
    return groups


def run_once(mode, args, files):
    scratch, hid_dir, workdir = h.program_scratch(f"scope-{mode}-")
    shutil.copy(DEMO_PROFILE, os.path.join(workdir, "effect_profiles"))
    env = {}
    preload = files["preload"]
    if mode != "logging":
        env["QUILLAR_HID_DOUBLE_LOG"] = "0"
    if mode.startswith("visible"):
        preload += " " + files["opener"]
    if mode == "visible-x2":
        env["QT_SCALE_FACTOR"] = "2"
    exe = files.get(mode, files["program"])  # "floor" and "base" have their own program
    process = h.start_program(exe, preload, hid_dir, workdir, os.path.join(scratch, "program.log"), env)
    sender = Sender()
    sender.start()
    try:
        time.sleep(args.warmup)
        if process.poll() is not None:
            raise RuntimeError(f"{mode}: the program ended early; see {scratch}/program.log")
        start_ticks = h.cpu_ticks(process.pid)
        start_threads = thread_groups(h.thread_ticks(process.pid))
        start_steal = h.machine_steal_ticks()
        started = time.monotonic()
        time.sleep(args.seconds)
        elapsed = time.monotonic() - started
        end_ticks = h.cpu_ticks(process.pid)
        end_threads = thread_groups(h.thread_ticks(process.pid))
        steal = h.machine_steal_ticks() - start_steal
        rss = h.rss_kb(process.pid)
    finally:
        sender.stopped.set()
        h.stop_program(process)
        with open(os.path.join(scratch, "program.log"), errors="replace") as f:
            log = f.read()
    if not args.keep:
        shutil.rmtree(scratch, ignore_errors=True)
    if mode.startswith("visible") and "opened the Forces view" not in log:
        raise RuntimeError(f"{mode}: the Forces view was not opened:\n" + log)
    per_core = lambda ticks: 100.0 * ticks / h.TICKS_PER_SECOND / elapsed  # noqa: E731
    return {
        "mode": mode,
        "cpu_percent": per_core(end_ticks - start_ticks),
        "threads_percent": {name: per_core(end_threads.get(name, 0) - start_threads.get(name, 0))
                            for name in end_threads},
        "steal_percent_of_machine": per_core(steal) / (os.cpu_count() or 1),
        "rss_kb": rss,
        "seconds": elapsed,
    }


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", required=True)
    parser.add_argument("--base-build", help="a build of the program to compare with (e.g. before the view)")
    parser.add_argument("--modes", default="floor,logging,hidden,visible",
                        help="comma-separated, from floor, logging, hidden, visible, visible-x2 (base comes with "
                             "--base-build)")
    parser.add_argument("--seconds", type=float, default=20)
    parser.add_argument("--warmup", type=float, default=4)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--out")
    parser.add_argument("--keep", action="store_true", help="keep the scratch folders")
    args = parser.parse_args()

    build = os.path.abspath(args.build)
    found = h.built_files(build, "libquillar_hid_preload.so", "libquillar_forcesview_preload.so")
    if not found:
        return 2
    files = {"program": found[0], "preload": found[1], "opener": found[2],
             "floor": os.path.join(build, "tools", "quillar_timer_floor")}
    modes = [mode for mode in args.modes.split(",") if mode]
    if args.base_build:
        files["base"] = os.path.join(os.path.abspath(args.base_build), "quillar")
        modes.append("base")
    if "floor" not in modes:
        del files["floor"]
    for path in files.values():
        if not os.path.exists(path):
            print(f"missing {path}: build it first", file=sys.stderr)
            return 2

    runs = []
    for round_number in range(args.rounds):
        for mode in modes:
            result = run_once(mode, args, files)
            result["round"] = round_number + 1
            runs.append(result)
            print(f"round {round_number + 1} {mode:8s} {result['cpu_percent']:6.2f} % of a core", flush=True)

    medians = {mode: statistics.median(r["cpu_percent"] for r in runs if r["mode"] == mode) for mode in modes}
    threads = {}
    for mode in modes:
        names = sorted({name for r in runs if r["mode"] == mode for name in r["threads_percent"]})
        threads[mode] = {name: statistics.median(r["threads_percent"].get(name, 0.0) for r in runs
                                                 if r["mode"] == mode) for name in names}
    def difference(a, b):
        return medians[a] - medians[b] if a in medians and b in medians else None

    def ratio(a, b):
        return medians[a] / medians[b] if a in medians and medians.get(b) else None

    summary = {
        "medians_percent": medians,
        "visible_minus_hidden": difference("visible", "hidden"),
        "visible_x2_minus_hidden": difference("visible-x2", "hidden"),
        "hidden_over_floor": ratio("hidden", "floor"),
        "logging_over_floor": ratio("logging", "floor"),
        "hidden_minus_base": difference("hidden", "base"),
        "threads_median_percent": threads,
    }
    if args.out:
        with open(args.out, "w") as f:
            json.dump({"runs": runs, "summary": summary, "seconds": args.seconds, "rounds": args.rounds}, f,
                      indent=2)

    print()
    print(f"| Mode | CPU, % of one core (median of {args.rounds}) | Ratio to the floor |")
    print("|---|---|---|")
    for mode in modes:
        to_floor = ratio(mode, "floor")
        print(f"| {mode} | {medians[mode]:.2f} | {'' if to_floor is None else f'{to_floor:.2f}'} |")
    print()
    for key, text in (("visible_minus_hidden", "Forces view visible minus hidden"),
                      ("visible_x2_minus_hidden", "Forces view visible at ratio 2 minus hidden")):
        if summary[key] is not None:
            print(f"{text}: {summary[key]:+.2f} % of a core")
    if summary["hidden_minus_base"] is not None:
        print(f"Hidden minus the base build: {summary['hidden_minus_base']:+.2f} % of a core")
    print()
    print("Per thread (median, % of one core):")
    for mode in modes:
        parts = ", ".join(f"{name} {value:.2f}" for name, value in sorted(threads[mode].items(),
                                                                          key=lambda kv: -kv[1]) if value >= 0.05)
        print(f"- {mode}: {parts}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
