#!/usr/bin/env python3
"""Soak run of the real program: release quillar under the preloaded hidapi double, offscreen, for a given
time, while
  - telemetry streams and the simulator changes every phase (DCS, IL-2, Condor 2, War Thunder, DCS with
    another aircraft), with a silence of a few seconds between phases so the source ends and the next one is
    detected; War Thunder is a small HTTP server on 127.0.0.1:8111 that exists only during its phase;
  - the joystick and the rudder unit are unplugged and plugged in again in turn every few seconds (never both
    at once, so every cycle writes to at least one device);
  - every phase's profile is activated automatically, and every few seconds the program itself saves the
    profile its editor shows, with a changed rudder spring, through its "Save" button (the soak driver,
    libquillar_soak_driver.so, preloaded beside the hidapi double);
  - stall_trace.c records the machine's and the program's threads' scheduler counters every 10 ms, so that
    every long gap between cycles can be told apart: the program busy, the worker ready but given no CPU, the
    host taking the CPUs (steal), or the worker asleep when it should have been woken.
Then it checks: resident memory grows by less than 5 MB after the first minute; no gap between cycles
(direct-control writes of either device) exceeds 50 ms; every profile file is intact and holds what its last
save put there; the program is alive, still writing reports and still switching profiles on new telemetry.
Exit status 0 when every check passes.

  soak.py --build DIR [--minutes 30] [--phase-seconds 60] [--save-seconds 7] [--report FILE] [--keep]
"""

import argparse
import http.server
import json
import os
import shutil
import sys
import threading
import time

sys.dont_write_bytecode = True  # keep the source tree clean
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "perf"))
import quillar_harness as h  # noqa: E402

# (source, flight module, DirectX trimmer naming the profile in the override reports)
PROFILES = [
    (h.SOURCE_DCS, "F-16C_50", 20),
    (h.SOURCE_IL2, "Generic warbird", 30),
    (h.SOURCE_CONDOR, "Generic glider", 50),
    (h.SOURCE_WARTHUNDER, "Generic warbird", 40),
    (h.SOURCE_DCS, "A-10C", 60),
]
SILENCE_S = 3.0           # more than the 1000 ms after which a source ends
ACTIVATION_LIMIT_S = 5.0  # from a phase's first packet to its profile's DirectX override
RSS_GROWTH_LIMIT_KB = 5 * 1024
GAP_LIMIT_MS = 50.0
PLUG_PERIOD_S = 4.0       # one device is unplugged for 1.5 s every 4 s, alternating
GAP_EXPLAIN_MS = 40.0     # gaps longer than this get a line in the report with where their time went
INITIAL_RUDDER_SPRING = 10


class WarThunderHandler(http.server.BaseHTTPRequestHandler):
    body = json.dumps({"valid": True, "IAS, km/h": 310.0, "Ny": 1.3, "AoA, deg": 3.5}).encode()

    def do_GET(self):
        if self.path.split("?")[0] != "/state":
            self.send_error(404)
            return
        self.send_response(200)
        self.send_header("Content-Type", "application/json")
        self.send_header("Content-Length", str(len(self.body)))
        self.end_headers()
        self.wfile.write(self.body)

    def log_message(self, *args):
        pass


class WarThunderServer:
    def __init__(self):
        self.server = None
        self.thread = None

    def open(self):
        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", h.WARTHUNDER_PORT), WarThunderHandler)
        self.server.daemon_threads = True
        self.thread = threading.Thread(target=self.server.serve_forever, kwargs={"poll_interval": 0.05},
                                       daemon=True)
        self.thread.start()

    def close(self):
        if self.server:
            self.server.shutdown()
            self.server.server_close()
            self.thread.join(timeout=2)
            self.server = None


def profile_text(source, module, trimmer):
    # The soak driver changes the rudder spring only: the metadata and the trimmer that name the profile stay.
    return h.profile_document(source, module, elevator_weight=30 + trimmer / 10, trimmer=trimmer,
                              rudder_spring=INITIAL_RUDDER_SPRING)


def scan_writes(log_path, start_us, end_us):
    """One pass over writes.log: the largest gap between direct-control writes of either device, every gap
    over GAP_EXPLAIN_MS as (start µs, end µs), the last write, and every DirectX override as (µs, device,
    roll-or-yaw trimmer)."""
    last = None
    max_gap = 0.0
    max_gap_at = None
    long_gaps = []
    count = 0
    overrides = []
    with open(log_path) as log:
        for line in log:
            parsed = h.parse_write(line)
            if not parsed:
                continue
            t, device, report = parsed
            if len(report) < 6 or t < start_us or t > end_us:
                continue
            if report[1] == 0x20:
                count += 1
                if last is not None and (t - last) / 1000 > max_gap:
                    max_gap = (t - last) / 1000
                    max_gap_at = last
                if last is not None and (t - last) / 1000 > GAP_EXPLAIN_MS:
                    long_gaps.append((last, t))
                last = t
            elif report[1] == 0x21:
                overrides.append((t, device, round(h.float_at(report, h.ROLL_TRIMMER_OFFSET), 4)))
    return {"max_gap_ms": max_gap, "max_gap_at_us": max_gap_at, "last_write_us": last, "writes": count,
            "overrides": overrides, "long_gaps": long_gaps}


def read_saves(path):
    """The soak driver's log: every save as (µs, source, module, rudder spring), and the number of skips."""
    saves, skipped = [], 0
    try:
        with open(path, encoding="utf-8") as log:
            for line in log:
                t, _, rest = line.rstrip("\n").partition(" ")
                if rest.startswith("saved "):
                    source_part, _, rest = rest[len("saved "):].partition(" module=")
                    module, _, spring = rest.rpartition(" rudder_spring=")
                    saves.append((int(t), int(source_part.split("=")[1]), module, int(spring)))
                elif rest.startswith("skipped"):
                    skipped += 1
    except OSError:
        pass
    return saves, skipped


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True)
    parser.add_argument("--minutes", type=float, default=30)
    parser.add_argument("--phase-seconds", type=float, default=60)
    parser.add_argument("--save-seconds", type=float, default=7)
    parser.add_argument("--report", default="")
    parser.add_argument("--keep", action="store_true")
    args = parser.parse_args()

    args.build = os.path.abspath(args.build)
    files = h.built_files(args.build, "libquillar_hid_preload.so", "libquillar_soak_driver.so")
    if not files:
        return 1
    exe, preload, driver = files

    scratch, hid_dir, workdir = h.program_scratch("quillar-soak-")
    folder = os.path.join(workdir, "effect_profiles")
    generation = {"joystick": 0, "rudder": 0}
    for source, module, trimmer in PROFILES:
        h.write_atomically(os.path.join(folder, h.profile_file_name(source, module)),
                           profile_text(source, module, trimmer))
    writes_log = os.path.join(hid_dir, "writes.log")
    saves_log = os.path.join(scratch, "saves.log")

    total_s = args.minutes * 60
    print(f"soak: {args.minutes:g} min, phases of {args.phase_seconds:g} s, scratch {scratch}", flush=True)
    process = h.start_program(exe, preload, hid_dir, workdir, os.path.join(scratch, "program.log"),
                              {"LD_PRELOAD": f"{preload} {driver}", "QUILLAR_SOAK_DRIVER_LOG": saves_log,
                               "QUILLAR_SOAK_SAVE_MS": str(int(args.save_seconds * 1000))})
    pid = process.pid
    tracer, trace_path = h.start_stall_trace(pid, scratch)
    start_us = h.now_us()
    start_steal = h.machine_steal_ticks()
    deadline = time.monotonic() + total_s
    udp = h.udp_socket()
    war_thunder = WarThunderServer()
    phases = []  # (index, profile number, first packet µs)
    rss = []     # (seconds since start, kB)
    plug_events = 0
    failures = []
    try:
        # The first phase starts once the cycle runs with both devices open: a profile activated before the
        # first cycle would send its DirectX override to no device, and nothing would show it.
        ready_by = time.monotonic() + 30
        while time.monotonic() < ready_by and process.poll() is None:
            if os.path.exists(writes_log) and os.path.getsize(writes_log) > 2000:
                break
            time.sleep(0.05)
        time.sleep(0.5)
        phase = 0
        next_plug = time.monotonic() + PLUG_PERIOD_S
        plug_target = "joystick"
        unplugged = None  # (device, time to plug in again)
        next_rss = time.monotonic()
        altitude = 1000.0
        while time.monotonic() < deadline and process.poll() is None:
            number = phase % len(PROFILES)
            source, module, trimmer = PROFILES[number]
            phase_end = min(deadline, time.monotonic() + args.phase_seconds)
            stream_end = max(time.monotonic() + 1, phase_end - SILENCE_S)
            first_us = None
            if source == h.SOURCE_WARTHUNDER:
                war_thunder.open()
                first_us = h.now_us()
            next_send = time.monotonic()
            while time.monotonic() < phase_end and process.poll() is None:
                now = time.monotonic()
                if now < stream_end and now >= next_send:
                    if source == h.SOURCE_DCS:
                        udp.sendto(h.dcs_datagram(module, 1.2), ("127.0.0.1", h.DCS_PORT))
                    elif source == h.SOURCE_IL2:
                        altitude += 0.4
                        udp.sendto(h.il2_packet(altitude), ("127.0.0.1", h.IL2_PORT))
                    elif source == h.SOURCE_CONDOR:
                        udp.sendto(h.condor_datagram(), ("127.0.0.1", h.CONDOR_PORT))
                    if first_us is None:
                        first_us = h.now_us()
                    next_send += 0.02
                    if next_send < now:
                        next_send = now + 0.02
                if source == h.SOURCE_WARTHUNDER and now >= stream_end and war_thunder.server:
                    war_thunder.close()
                if unplugged and now >= unplugged[1]:
                    device = unplugged[0]
                    generation[device] += 1
                    h.set_device(hid_dir, device, plugged=True, generation=generation[device],
                                 position=(0.25, -0.125) if device == "joystick" else (0.5, 0.0))
                    unplugged = None
                if now >= next_plug and not unplugged:
                    h.set_device(hid_dir, plug_target, plugged=False, generation=generation[plug_target])
                    unplugged = (plug_target, now + 1.5)
                    plug_events += 1
                    plug_target = "rudder" if plug_target == "joystick" else "joystick"
                    next_plug = now + PLUG_PERIOD_S
                if now >= next_rss:
                    rss.append(((h.now_us() - start_us) / 1e6, h.rss_kb(pid)))
                    next_rss = now + 5
                time.sleep(0.002)
            war_thunder.close()
            phases.append((phase, number, first_us))
            print(f"  phase {phase:3}: {h.SOURCE_FILE_NAMES[source]:14} {module:16} "
                  f"rss {rss[-1][1] / 1024:.1f} MB", flush=True)
            phase += 1

        # The program must still answer: one more source, and its profile must be switched to.
        final_number = phase % len(PROFILES)
        if PROFILES[final_number][0] in (h.SOURCE_WARTHUNDER,):
            final_number = (final_number + 1) % len(PROFILES)
        if unplugged:
            device = unplugged[0]
            generation[device] += 1
            h.set_device(hid_dir, device, plugged=True, generation=generation[device])
            unplugged = None
        time.sleep(2)  # both devices reopened (at most 101 cycles)
        source, module, trimmer = PROFILES[final_number]
        final_us = h.now_us()
        end = time.monotonic() + ACTIVATION_LIMIT_S + 1
        while time.monotonic() < end:
            if source == h.SOURCE_DCS:
                udp.sendto(h.dcs_datagram(module, 1.2), ("127.0.0.1", h.DCS_PORT))
            elif source == h.SOURCE_IL2:
                udp.sendto(h.il2_packet(altitude), ("127.0.0.1", h.IL2_PORT))
            else:
                udp.sendto(h.condor_datagram(), ("127.0.0.1", h.CONDOR_PORT))
            time.sleep(0.02)
        alive = process.poll() is None
        rss.append(((h.now_us() - start_us) / 1e6, h.rss_kb(pid) if alive else 0))
        end_us = h.now_us()
        end_steal = h.machine_steal_ticks()
        time.sleep(0.1)
    finally:
        war_thunder.close()
        exit_code = h.stop_program(process)
        h.stop_stall_trace(tracer)

    # From the launch on: the first phase's profile may be switched to within a second of it.
    scan = scan_writes(writes_log, start_us, end_us)
    overrides = scan["overrides"]

    def activated(first_us, trimmer):
        if first_us is None:
            return None
        for t, _, value in overrides:
            if first_us <= t <= first_us + ACTIVATION_LIMIT_S * 1e6 and abs(value - trimmer / 100) < 1e-4:
                return (t - first_us) / 1000
        return None

    phase_results = []
    for index, number, first_us in phases:
        delay = activated(first_us, PROFILES[number][2])
        phase_results.append((index, number, delay))
    final_delay = activated(final_us, PROFILES[final_number][2])
    # Phases cut short by the end of the run may not have got their profile yet; full ones must have.
    full_phases = [p for p in phase_results if p[0] < len(phases) - 1]
    missed_phases = [p for p in full_phases if p[2] is None]

    baseline = next((kb for s, kb in rss if s >= 60), rss[0][1] if rss else 0)
    after_first_minute = [kb for s, kb in rss if s >= 60]
    growth_kb = (max(after_first_minute) - baseline) if after_first_minute else 0
    final_growth_kb = (rss[-1][1] - baseline) if rss else 0

    # Each file must hold what the program's last save of it put there, or the first text if never saved.
    saves, skipped_saves = read_saves(saves_log)
    last_saved = {}
    for _, source, module, spring in saves:
        last_saved[(source, module)] = spring
    intact = []
    for source, module, trimmer in PROFILES:
        path = os.path.join(folder, h.profile_file_name(source, module))
        expected_spring = last_saved.get((source, module), INITIAL_RUDDER_SPRING)
        try:
            with open(path, encoding="utf-8") as f:
                document = json.load(f)
            meta = document["metadata"]
            ok = (meta["flight_data_source"] == source and meta["flight_module"] == module
                  and meta["comment"] == ""
                  and document["effects"]["ailerons"]["direct_x"]["trimmer"] == trimmer
                  and document["effects"]["rudder"]["simple_spring"]["total_effect_strength"] == expected_spring)
        except (OSError, ValueError, KeyError, TypeError):
            ok = False
        intact.append((os.path.basename(path), ok))
    # The demo flight's profile is the program's own, put there at start.
    stray = sorted(set(os.listdir(folder)) - {name for name, _ in intact} - {"DCS_Quillar_Demo_Trainer.json"})
    saved_profiles = {key for key in last_saved}
    expected_saves = int(total_s / args.save_seconds) - 2

    # Where the time of every long gap went.
    explained = h.explain_gaps(trace_path, scan["long_gaps"])
    over_limit = [(start, e) for (start, _), e in zip(scan["long_gaps"], explained) if e["gap_ms"] > GAP_LIMIT_MS]
    ours = [e for _, e in over_limit if h.is_programs_own(e)]

    still_writing = scan["last_write_us"] is not None and end_us - scan["last_write_us"] < 200_000
    checks = [
        ("resident memory growth after the first minute < 5 MB",
         growth_kb < RSS_GROWTH_LIMIT_KB, f"{growth_kb / 1024:.2f} MB (max); {final_growth_kb / 1024:.2f} MB at the end"),
        ("no cycle gap > 50 ms", scan["max_gap_ms"] <= GAP_LIMIT_MS,
         f"largest gap {scan['max_gap_ms']:.2f} ms over {scan['writes']} direct-control writes"),
        ("no gap > 50 ms with the program busy or asleep", not ours,
         f"{len(over_limit)} gaps over 50 ms: " + (", ".join(
             f"{e['gap_ms']:.0f} ms {e['verdict']}" for _, e in over_limit) or "none")),
        ("profiles saved by the program's Save button", len(saves) >= expected_saves and len(saved_profiles) ==
         len(PROFILES), f"{len(saves)} saves of {len(saved_profiles)} profiles; {skipped_saves} skipped"),
        ("every profile file intact and as last saved", all(ok for _, ok in intact) and not stray,
         f"{sum(ok for _, ok in intact)}/{len(intact)} intact; other files: {stray or 'none'}"),
        ("process alive at the end", alive, f"exit code after SIGTERM: {exit_code}"),
        ("still writing reports at the end", still_writing,
         f"last direct-control write {(end_us - scan['last_write_us']) / 1000:.1f} ms before the end"
         if scan["last_write_us"] else "no write"),
        ("profile switched on new telemetry at the end", final_delay is not None,
         f"{h.SOURCE_FILE_NAMES[PROFILES[final_number][0]]} {PROFILES[final_number][1]}: "
         f"{final_delay if final_delay is None else f'{final_delay:.0f} ms'}"),
        ("every full phase switched profile", not missed_phases,
         f"{len(full_phases) - len(missed_phases)}/{len(full_phases)} phases"),
    ]
    delays = sorted(p[2] for p in phase_results if p[2] is not None)
    steal_percent = 100 * (end_steal - start_steal) / h.TICKS_PER_SECOND / ((end_us - start_us) / 1e6) / (
        os.cpu_count() or 1)
    lines = [
        f"Soak of {args.minutes:g} min ({len(phases)} phases of {args.phase_seconds:g} s), "
        f"{plug_events} unplug/re-plug events, {len(saves)} profile saves through the program's Save button.",
        "",
        "| Check | Result | Detail |",
        "|---|---|---|",
    ]
    for name, ok, detail in checks:
        lines.append(f"| {name} | {'pass' if ok else 'FAIL'} | {detail} |")
    lines += [
        "",
        f"The virtual machine's host took {steal_percent:.1f} % of all CPUs during the run (steal).",
        f"Resident memory: {rss[0][1] / 1024:.1f} MB at start, {baseline / 1024:.1f} MB after the first minute, "
        f"{max(kb for _, kb in rss) / 1024:.1f} MB max, {rss[-1][1] / 1024:.1f} MB at the end.",
        f"Profile activation delay from a phase's first packet: median "
        f"{delays[len(delays) // 2]:.0f} ms, max {delays[-1]:.0f} ms." if delays else "No activation seen.",
    ]
    if explained:
        lines += ["", f"Gaps between cycles over {GAP_EXPLAIN_MS:.0f} ms, with the device-cycle thread's run and "
                  "wait time, the machine's busy and steal time (both CPUs) and the idle recorder's lateness "
                  "over the gap:", "",
                  "| Minute | Gap ms | Run ms | Wait ms | Busy ms | Steal ms | Recorder late ms | Where it went |",
                  "|---|---|---|---|---|---|---|---|"]
        for (start, _), e in zip(scan["long_gaps"], explained):
            if "run_ms" in e:
                lines.append(f"| {(start - start_us) / 60e6:.2f} | {e['gap_ms']:.1f} | {e['run_ms']:.1f} | "
                             f"{e['wait_ms']:.1f} | {e['busy_ms']:.0f} | {e['steal_ms']:.0f} | "
                             f"{e['recorder_late_ms']:.1f} | "
                             f"{e['verdict']} |")
            else:
                lines.append(f"| {(start - start_us) / 60e6:.2f} | {e['gap_ms']:.1f} | | | | | | {e['verdict']} |")
    if missed_phases:
        lines.append("Phases without their profile: " + ", ".join(
            f"{i} ({h.SOURCE_FILE_NAMES[PROFILES[n][0]]} {PROFILES[n][1]})" for i, n, _ in missed_phases))
    text = "\n".join(lines)
    print(text)
    if args.report:
        with open(args.report, "w") as f:
            f.write(text + "\n")
            f.write("\nrss samples (s, kB): " + " ".join(f"{s:.0f}:{kb}" for s, kb in rss) + "\n")
    passed = all(ok for _, ok, _ in checks)
    if args.keep or not passed:
        print(f"scratch kept in {scratch}")
    else:
        shutil.rmtree(scratch, ignore_errors=True)
    return 0 if passed else 1


if __name__ == "__main__":
    sys.exit(main())
