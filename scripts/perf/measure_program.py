#!/usr/bin/env python3
"""Measures the real program end to end: the release quillar under the preloaded hidapi double (both devices
plugged in), offscreen, in a scratch working directory holding one DCS profile with only elevator weight
active on the elevator axis. DCS datagrams stream at 50 Hz to 127.0.0.1:29778; each g-force step is sent off that grid, at a random
phase. Over one measured window it
takes, from the same run:

  latency     g-force steps at known send times (CLOCK_MONOTONIC, the double's clock) to the first joystick
              direct-control report whose pitch force carries the new value;
  steadiness  the intervals between consecutive joystick direct-control writes;
  cost        CPU time of the process (utime + stime, per thread too) and its resident memory.

Every interval over 20 ms is explained from a stall_trace.c recording made beside the run (the device-cycle
thread's run and wait time, the machine's steal time, an idle recorder's lateness over the interval).

Writes the figures as JSON (--out) and a short summary on stdout. Every loop is bounded by time.

  measure_program.py --build DIR [--seconds 60] [--strength 50] [--forces-view] --out FILE
"""

import argparse
import json
import os
import random
import shutil
import statistics
import sys
import threading
import time

sys.dont_write_bytecode = True  # keep the source tree clean
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import quillar_harness as h  # noqa: E402

AIRCRAFT = "F-16C_50"
G_LOW = 1.0
G_HIGH = 3.0
FADE_MS = 2000
LONG_INTERVAL_MS = 20.0  # the steadiness goal's bound for the longest interval


def expected_pitch_force(g_force, strength):
    # Elevator weight alone: force = -G * strength * 10 / 100, in the program's float arithmetic.
    import struct
    f = struct.unpack("<f", struct.pack("<f", g_force))[0]
    value = -f * strength * 10 / 100
    return max(-100.0, min(100.0, value))


class Sender(threading.Thread):
    """Sends one DCS datagram every 20 ms on absolute deadlines. A step sends its first datagram with the new
    g-force at once, off the 20 ms grid, and notes its send time: the telemetry tick also runs every 20 ms,
    so steps on the grid would all meet the tick at the same phase."""

    def __init__(self, stop_at_us):
        super().__init__(daemon=True)
        self.socket = h.udp_socket()
        self.g_force = G_LOW
        self.pending_step = None  # new g-force to send at once
        self.steps = []  # (send µs, g-force)
        self.stop_at_us = stop_at_us
        self.lock = threading.Lock()
        self.wake = threading.Event()
        self.stopped = False
        self.sent = 0

    def step_to(self, g_force):
        with self.lock:
            self.pending_step = g_force
        self.wake.set()

    def send(self, note_step):
        datagram = h.dcs_datagram(AIRCRAFT, self.g_force)
        sent_us = h.now_us()
        self.socket.sendto(datagram, ("127.0.0.1", h.DCS_PORT))
        self.sent += 1
        if note_step:
            self.steps.append((sent_us, self.g_force))

    def run(self):
        period_ns = 20_000_000
        deadline = time.monotonic_ns()
        while not self.stopped and h.now_us() < self.stop_at_us:
            delay = deadline - time.monotonic_ns()
            if delay > 0 and self.wake.wait(delay / 1e9):
                self.wake.clear()
                with self.lock:
                    stepping = self.pending_step
                    self.pending_step = None
                if stepping is not None:
                    self.g_force = stepping
                    self.send(True)
                continue
            self.send(False)
            deadline += period_ns
            if deadline < time.monotonic_ns():
                deadline = time.monotonic_ns()  # fell behind: do not burst to catch up


def joystick_direct_control(log_path):
    """[(µs, pitch force)] of every joystick direct-control write, and [µs] of every DirectX override."""
    controls, overrides = [], []
    with open(log_path) as log:
        for line in log:
            parsed = h.parse_write(line)
            if not parsed:
                continue
            t, device, report = parsed
            if device != "joystick" or len(report) < 18:
                continue
            if report[1] == 0x20:
                controls.append((t, h.float_at(report, h.PITCH_FORCE_OFFSET)))
            elif report[1] == 0x21:
                overrides.append(t)
    return controls, overrides


def wait_for(predicate, timeout_s, poll_s=0.05):
    end = time.monotonic() + timeout_s
    while time.monotonic() < end:
        if predicate():
            return True
        time.sleep(poll_s)
    return predicate()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True)
    parser.add_argument("--seconds", type=float, default=60)
    parser.add_argument("--strength", type=float, default=50)
    parser.add_argument("--out", required=True)
    parser.add_argument("--keep", action="store_true", help="keep the scratch folders")
    parser.add_argument("--forces-view", action="store_true",
                        help="measure with the Forces view open (pressed by the forces-view preload)")
    args = parser.parse_args()

    args.build = os.path.abspath(args.build)
    files = h.built_files(args.build, "libquillar_hid_preload.so")
    if not files:
        return 1
    exe, preload = files
    if args.forces_view:
        opener = h.built_files(args.build, "libquillar_forcesview_preload.so")
        if not opener:
            return 1
        preload += " " + opener[1]

    scratch, hid_dir, workdir = h.program_scratch("quillar-perf-")
    profile = h.profile_file_name(h.SOURCE_DCS, AIRCRAFT)
    with open(os.path.join(workdir, "effect_profiles", profile), "w") as f:
        f.write(h.profile_document(h.SOURCE_DCS, AIRCRAFT, elevator_weight=args.strength))
    writes_log = os.path.join(hid_dir, "writes.log")

    process = h.start_program(exe, preload, hid_dir, workdir, os.path.join(scratch, "program.log"))
    tracer, trace_path = h.start_stall_trace(process.pid, scratch)
    sender = None
    result = {"strength": args.strength, "aircraft": AIRCRAFT, "forces_view": args.forces_view}
    try:
        if not wait_for(lambda: os.path.exists(writes_log) and os.path.getsize(writes_log) > 0, 10):
            raise RuntimeError("the program wrote no report within 10 s")
        total_s = args.seconds + 15
        sender = Sender(h.now_us() + int(total_s * 1e6))
        stream_start_us = h.now_us()
        sender.start()

        # The profile's activation sends a DirectX override and restarts the 2000 ms fade.
        def activated():
            _, overrides = joystick_direct_control(writes_log)
            return any(t >= stream_start_us for t in overrides)
        if not wait_for(activated, 5):
            raise RuntimeError("the DCS profile was not activated within 5 s of streaming")
        _, overrides = joystick_direct_control(writes_log)
        activation_us = [t for t in overrides if t >= stream_start_us][0]
        settle_s = (activation_us + (FADE_MS + 500) * 1000 - h.now_us()) / 1e6
        if settle_s > 0:
            time.sleep(settle_s)
        controls, _ = joystick_direct_control(writes_log)
        low = expected_pitch_force(G_LOW, args.strength)
        if not controls or abs(controls[-1][1] - low) > 1e-4:
            raise RuntimeError(f"pitch force {controls[-1][1] if controls else None} after the fade, "
                               f"expected {low}")
        result["activation_after_stream_ms"] = (activation_us - stream_start_us) / 1000

        pid = process.pid
        window_start_us = h.now_us()
        start_ticks = h.cpu_ticks(pid)
        start_steal = h.machine_steal_ticks()
        start_threads = h.thread_ticks(pid)
        rss_samples = [h.rss_kb(pid)]
        window_end_us = window_start_us + int(args.seconds * 1e6)
        rng = random.Random(7)
        g_force = G_LOW
        next_step_us = window_start_us + 200_000
        next_rss_us = window_start_us + 1_000_000
        while h.now_us() < window_end_us - 300_000:
            t = h.now_us()
            if t >= next_step_us:
                g_force = G_HIGH if g_force == G_LOW else G_LOW
                sender.step_to(g_force)
                # A random phase against the 20 ms tick and the 10 ms cycle.
                next_step_us = t + 200_000 + rng.randrange(0, 40_000)
            if t >= next_rss_us:
                rss_samples.append(h.rss_kb(pid))
                next_rss_us += 1_000_000
            time.sleep(0.002)
        remaining = (window_end_us - h.now_us()) / 1e6
        if remaining > 0:
            time.sleep(remaining)
        end_ticks = h.cpu_ticks(pid)
        end_steal = h.machine_steal_ticks()
        end_threads = h.thread_ticks(pid)
        rss_samples.append(h.rss_kb(pid))
        window_real_end_us = h.now_us()
        if process.poll() is not None:
            raise RuntimeError("the program ended during the measurement")
    finally:
        if sender:
            sender.stopped = True
            sender.join(timeout=2)
        h.stop_program(process)
        h.stop_stall_trace(tracer)

    controls, _ = joystick_direct_control(writes_log)
    # Latency: from the send of the first datagram with the new g-force to the first report carrying it.
    latencies, missed = [], 0
    steps = [s for s in sender.steps if window_start_us <= s[0] <= window_real_end_us]
    index = 0
    for number, (sent_us, g_force) in enumerate(steps):
        expected = expected_pitch_force(g_force, args.strength)
        limit = steps[number + 1][0] if number + 1 < len(steps) else window_real_end_us + 500_000
        while index < len(controls) and controls[index][0] <= sent_us:
            index += 1
        found = None
        for t, force in controls[index:]:
            if t >= limit:
                break
            if abs(force - expected) <= 1e-4:
                found = t
                break
        if found is None:
            missed += 1
        else:
            latencies.append((found - sent_us) / 1000)
    latencies.sort()

    stamps = [t for t, _ in controls if window_start_us <= t <= window_real_end_us]
    intervals = sorted((b - a) / 1000 for a, b in zip(stamps, stamps[1:]))
    long_intervals = [(a, b) for a, b in zip(stamps, stamps[1:]) if (b - a) / 1000 > LONG_INTERVAL_MS]
    explained = h.explain_gaps(trace_path, long_intervals)
    wall_s = (window_real_end_us - window_start_us) / 1e6
    hz = h.TICKS_PER_SECOND
    threads = {}
    for name, ticks in end_threads.items():
        threads[name] = round(100 * (ticks - start_threads.get(name, 0)) / hz / wall_s, 3)

    result.update({
        "window_s": round(wall_s, 3),
        "datagrams_sent": sender.sent,
        "steps": len(steps),
        "latency_count": len(latencies),
        "latency_missed": missed,
        "latency_median_ms": round(statistics.median(latencies), 3) if latencies else None,
        "latency_p99_ms": round(h.percentile(latencies, 99), 3) if latencies else None,
        "latency_max_ms": round(latencies[-1], 3) if latencies else None,
        "latency_min_ms": round(latencies[0], 3) if latencies else None,
        "writes": len(stamps),
        "interval_median_ms": round(statistics.median(intervals), 3) if intervals else None,
        "interval_p99_ms": round(h.percentile(intervals, 99), 3) if intervals else None,
        "interval_max_ms": round(intervals[-1], 3) if intervals else None,
        "interval_min_ms": round(intervals[0], 3) if intervals else None,
        "intervals_over_20ms": [{key: round(value, 1) if isinstance(value, float) else value
                                 for key, value in e.items()} for e in explained],
        "cpu_s": round((end_ticks - start_ticks) / hz, 3),
        # Share of the machine (all CPUs) its host took during the window: the measure of a quiet host.
        "host_steal_percent": round(100 * (end_steal - start_steal) / hz / wall_s / (os.cpu_count() or 1), 2),
        "cpu_percent": round(100 * (end_ticks - start_ticks) / hz / wall_s, 3),
        "cpu_threads_percent": threads,
        "rss_start_kb": rss_samples[0],
        "rss_end_kb": rss_samples[-1],
        "rss_max_kb": max(rss_samples),
    })
    with open(args.out, "w") as f:
        json.dump(result, f, indent=2, sort_keys=True)
    for key in sorted(result):
        print(f"{key:28} {result[key]}")
    if args.keep:
        print(f"scratch kept in {scratch}")
    else:
        shutil.rmtree(scratch, ignore_errors=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
