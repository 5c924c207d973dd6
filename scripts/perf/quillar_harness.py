"""Shared pieces of the measurement and soak scripts: profile files in the profile writer's JSON form, the
preloaded hidapi double's state and log files, the program's start and stop, /proc sampling, and telemetry
packets for every UDP simulator. Python 3 standard library only; everything stays on 127.0.0.1."""

import collections
import json
import os
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time

SOURCE_DCS = 2
SOURCE_IL2 = 3
SOURCE_WARTHUNDER = 4
SOURCE_CONDOR = 5

DCS_PORT = 29778
IL2_PORT = 29777
CONDOR_PORT = 55278
WARTHUNDER_PORT = 8111

SOURCE_FILE_NAMES = {SOURCE_DCS: "DCS", SOURCE_IL2: "IL2 SHTURMOVIK", SOURCE_WARTHUNDER: "WARTHUNDER",
                     SOURCE_CONDOR: "CONDOR2"}


def now_us():
    # CLOCK_MONOTONIC, the clock the double stamps its log lines with.
    return time.monotonic_ns() // 1000


def scratch_dir(prefix):
    """A scratch folder, in memory (/dev/shm) where there is one. The double appends a log line for every
    hidapi call; on a disk file system those appends can wait behind another process's journal commit for
    tens of milliseconds, a stall of the test instrumentation that would show up as a gap between cycles."""
    shm = "/dev/shm"
    if os.path.isdir(shm) and os.access(shm, os.W_OK):
        return tempfile.mkdtemp(prefix=prefix, dir=shm)
    return tempfile.mkdtemp(prefix=prefix)


# ---- profiles ----

def profile_file_name(source, flight_module, comment=""):
    """The name the program gives a profile: source name, then module and comment with every character other
    than a letter or digit replaced by "_"."""
    def cleaned(text):
        return "".join(c if (c.isascii() and c.isalnum()) else "_" for c in text)
    name = SOURCE_FILE_NAMES.get(source, "GENERIC")
    if flight_module:
        name += "_" + cleaned(flight_module)
    if comment:
        name += "_" + cleaned(comment)
    return name + ".json"


def profile_document(source, flight_module, comment="", elevator_weight=None, trimmer=None, rudder_spring=None):
    """A profile as the profile writer stores it: every axis present, only active effects written."""
    axes = {"ailerons": {}, "elevator": {}, "rudder": {}}
    if elevator_weight is not None:
        axes["elevator"]["elevator_weight"] = {"active": True, "total_effect_strength": elevator_weight}
    if trimmer is not None:
        # The DirectX override report carries the trimmer unscaled (trimmer / 100): it names the profile in
        # both devices' write logs.
        for axis in ("ailerons", "elevator", "rudder"):
            axes[axis]["direct_x"] = {"active": True, "force": 0, "periodic": 0, "total_effect_strength": 100,
                                      "trimmer": trimmer}
    if rudder_spring is not None:
        axes["rudder"]["simple_spring"] = {"active": True, "total_effect_strength": rudder_spring}
    document = {"effects": axes,
                "metadata": {"comment": comment, "flight_data_source": source, "flight_module": flight_module}}
    return json.dumps(document, indent=4, sort_keys=True, ensure_ascii=False) + "\n"


def write_atomically(path, text):
    """Writes through a hidden temporary file in the same folder renamed over the old one, so a reader sees
    either the old or the new file, never half of one. No fsync: readers need the rename's atomicity, not
    durability, and forced journal commits would stall other writers on the same disk."""
    folder, name = os.path.split(path)
    temporary = os.path.join(folder, "." + name + ".tmp")
    with open(temporary, "w", encoding="utf-8") as f:
        f.write(text)
    os.replace(temporary, path)


# ---- the hidapi double ----

def device_state(plugged=True, generation=0, position=(0.0, 0.0)):
    return (f"plugged={1 if plugged else 0}\ngeneration={generation}\nversion=01 02 03\n"
            f"position={position[0]} {position[1]}\noffset=0 0\n")


def set_device(hid_dir, device, **state):
    write_atomically(os.path.join(hid_dir, device + ".state"), device_state(**state))


def parse_write(line):
    """(µs, device, bytes) of one writes.log line, or None for a line that is not complete yet."""
    parts = line.split()
    if len(parts) < 4 or not parts[-1].startswith("seq="):
        return None
    try:
        return int(parts[0]), parts[1], bytes.fromhex(parts[2])
    except ValueError:
        return None


def float_at(report, offset):
    return struct.unpack_from("<f", report, offset)[0]


# Direct-control report: force of slot A (roll / yaw) at byte 10, slot B (pitch) at byte 14.
PITCH_FORCE_OFFSET = 14
# DirectX override report: the record starts at byte 2 with the roll trimmer.
ROLL_TRIMMER_OFFSET = 2


# ---- the program ----

def built_files(build, *names):
    """The paths of the executable and the given test libraries in a build folder, or None (with a line on
    stderr) if one is missing."""
    paths = [os.path.join(build, "quillar")] + [os.path.join(build, "tests", "support", n) for n in names]
    missing = [p for p in paths if not os.path.exists(p)]
    for path in missing:
        print(f"missing {path}: build it first", file=sys.stderr)
    return None if missing else paths


def program_scratch(prefix):
    """A scratch folder with the double's folder "hid" and the program's working directory "work" holding an
    empty "effect_profiles", both devices plugged in; returns (scratch, hid folder, working directory)."""
    scratch = scratch_dir(prefix)
    hid_dir = os.path.join(scratch, "hid")
    workdir = os.path.join(scratch, "work")
    os.makedirs(hid_dir)
    os.makedirs(os.path.join(workdir, "effect_profiles"))
    set_device(hid_dir, "joystick", position=(0.25, -0.125))
    set_device(hid_dir, "rudder", position=(0.5, 0.0))
    return scratch, hid_dir, workdir


def start_program(exe, preload, hid_dir, workdir, log_path, extra_env=None):
    env = dict(os.environ)
    env.update({"LD_PRELOAD": preload, "QUILLAR_HID_DOUBLE_DIR": hid_dir})
    env.setdefault("QT_QPA_PLATFORM", "offscreen")
    if extra_env:
        env.update(extra_env)
    log = open(log_path, "wb")
    process = subprocess.Popen([exe], cwd=workdir, env=env, stdout=log, stderr=subprocess.STDOUT,
                               stdin=subprocess.DEVNULL)
    log.close()
    return process


def stop_program(process, grace_s=3.0):
    if process.poll() is not None:
        return process.returncode
    process.send_signal(signal.SIGTERM)
    try:
        return process.wait(timeout=grace_s)
    except subprocess.TimeoutExpired:
        process.kill()
        return process.wait(timeout=grace_s)


def _stat_ticks(path):
    with open(path) as f:
        # The command name may hold spaces; the fields after its closing parenthesis are fixed.
        fields = f.read().rsplit(")", 1)[1].split()
    return int(fields[11]) + int(fields[12])  # utime + stime


def machine_steal_ticks():
    """Ticks the virtual machine's host has taken from it so far, over all CPUs (/proc/stat "steal")."""
    with open("/proc/stat") as f:
        fields = f.readline().split()
    return int(fields[8]) if len(fields) > 8 and fields[0] == "cpu" else 0


def cpu_ticks(pid):
    return _stat_ticks(f"/proc/{pid}/stat")


def thread_ticks(pid):
    """CPU ticks per thread, keyed by 'name/tid'."""
    result = {}
    try:
        tids = os.listdir(f"/proc/{pid}/task")
    except OSError:
        return result
    for tid in tids:
        try:
            with open(f"/proc/{pid}/task/{tid}/comm") as f:
                name = f.read().strip()
            result[f"{name}/{tid}"] = _stat_ticks(f"/proc/{pid}/task/{tid}/stat")
        except OSError:
            pass  # the thread ended meanwhile
    return result


def rss_kb(pid):
    with open(f"/proc/{pid}/status") as f:
        for line in f:
            if line.startswith("VmRSS:"):
                return int(line.split()[1])
    return 0


TICKS_PER_SECOND = os.sysconf("SC_CLK_TCK")


# ---- telemetry ----

def udp_socket():
    return socket.socket(socket.AF_INET, socket.SOCK_DGRAM)


def dcs_datagram(aircraft, g_force, airspeed=350.0, on_ground=0):
    # name;ias;vs;aoa;g;gear;airbrake;flaps;propAirflow;onGround
    return f"{aircraft};{airspeed};1.5;4.0;{g_force};0;0;0;0.5;{on_ground}".encode()


def condor_datagram(airspeed_ms=30.0, g_force=1.1, turbulence=0.2):
    return (f"time=12.5\r\nairspeed={airspeed_ms}\r\naltitude=812.25\r\nvario=1.5\r\ngforce={g_force}\r\n"
            f"turbulencestrength={turbulence}\r\n").encode()


def il2_packet(altitude, airspeed_ms=80.0, aoa_rad=0.05):
    """Header (10 bytes, not read), indicator count, then per indicator: id u16, value count s8, float32s,
    all little-endian."""
    indicators = [(0, [2400.0]), (1, [80000.0]), (4, [0.0]), (5, [0.0]), (6, [airspeed_ms]), (7, [aoa_rad]),
                  (8, [0.0, 0.0, 0.0]), (9, [0.0, 0.0]), (10, [altitude]), (11, [0.0]), (12, [0.0])]
    packet = bytearray(10)
    packet.append(len(indicators))
    for identifier, values in indicators:
        packet += struct.pack("<Hb", identifier, len(values))
        packet += struct.pack(f"<{len(values)}f", *values)
    return bytes(packet)


# ---- where stalls go: scripts/perf/stall_trace.c ----

def start_stall_trace(pid, scratch):
    """Builds the recorder into the scratch folder and starts it on the program; returns (process, trace
    path). It ends by itself within a second of the program."""
    recorder = os.path.join(scratch, "stall_trace")
    subprocess.run(["cc", "-O2", "-o", recorder, os.path.join(os.path.dirname(os.path.abspath(__file__)),
                                                             "stall_trace.c")], check=True)
    trace_path = os.path.join(scratch, "trace.txt")
    return subprocess.Popen([recorder, str(pid), trace_path], stdin=subprocess.DEVNULL), trace_path


def stop_stall_trace(tracer):
    try:
        tracer.wait(timeout=5)
    except subprocess.TimeoutExpired:
        tracer.kill()
        tracer.wait()


def is_programs_own(explanation):
    return explanation.get("programs_own", False)


def read_trace(path, windows):
    """The stall_trace samples around each window (start µs, end µs), the windows sorted and disjoint: the last
    sample at or before its start, the first at or after its end, and the recorder's largest lateness in
    between; also the thread names. Streams the file: a 30-minute trace holds 180 000 samples."""
    names = {}
    found = [[None, None, 0] for _ in windows]
    recent = collections.deque(maxlen=200)  # (µs, line): two seconds of samples
    index = 0
    try:
        trace = open(path)
    except OSError:
        return names, found
    with trace:
        for line in trace:
            if line.startswith("t "):
                _, tid, *name = line.split()
                names[int(tid)] = " ".join(name)
                continue
            if not line.startswith("s ") or index >= len(windows):
                continue
            t = int(line.split(" ", 2)[1])
            recent.append((t, line))
            while index < len(windows):
                start, end = windows[index]
                if t <= start:
                    break
                entry = found[index]
                if entry[0] is None:
                    before = [text for when, text in recent if when <= start]
                    entry[0] = parse_sample(before[-1]) if before else False
                entry[2] = max(entry[2], int(line.split(" ", 3)[2]))
                if t < end:
                    break
                entry[1] = parse_sample(line)
                index += 1  # the same sample may open the next window
    return names, found


def parse_sample(line):
    fields = line.split()
    threads = {}
    for item in fields[6:]:
        tid, run, wait = item.split(":")
        threads[int(tid)] = (int(run), int(wait))
    return {"t": int(fields[1]), "late": int(fields[2]), "steal": int(fields[3]), "busy": int(fields[4]),
            "threads": threads}


def explain_gaps(trace_path, gaps):
    """explain_gap for every gap (start µs, end µs), sorted and disjoint, from one pass over the trace."""
    names, around = read_trace(trace_path, gaps)
    return [explain_gap(start, end, before, after, late, names)
            for (start, end), (before, after, late) in zip(gaps, around)]


def explain_gap(start_us, end_us, before, after, recorder_late_us, names):
    """Where a gap between cycles went, from the samples around it: the device-cycle thread's run and wait
    time, the machine's steal and busy time, and how late the recorder itself woke."""
    gap_ms = (end_us - start_us) / 1000
    if not before or not after:
        return {"gap_ms": gap_ms, "verdict": "no trace around it"}
    worker = next((tid for tid, name in names.items() if name == "device cycle"), None)
    run0, wait0 = before["threads"].get(worker, (0, 0))
    run1, wait1 = after["threads"].get(worker, (0, 0))
    tick_ms = 1000 / TICKS_PER_SECOND
    result = {
        "gap_ms": gap_ms,
        "window_ms": (after["t"] - before["t"]) / 1000,
        "run_ms": (run1 - run0) / 1e6,
        "wait_ms": (wait1 - wait0) / 1e6,
        "steal_ms": (after["steal"] - before["steal"]) * tick_ms,
        "busy_ms": (after["busy"] - before["busy"]) * tick_ms,
        "recorder_late_ms": recorder_late_us / 1000,
    }
    half = gap_ms / 2
    if worker is None:
        result["verdict"] = "device-cycle thread not in the trace"
    elif result["run_ms"] >= half and result["busy_ms"] >= result["run_ms"] / 2:
        # Only when the machine's own counters saw the work: time the host steals while the thread is on its
        # virtual CPU can show up as run time, with the steal counter rising and the busy one standing still.
        result["verdict"] = "the program was busy on its device-cycle thread"
        result["programs_own"] = True
    elif result["steal_ms"] >= half:
        result["verdict"] = "the host took the virtual CPUs (steal)"
    elif result["wait_ms"] >= half:
        result["verdict"] = "the device-cycle thread was ready but got no CPU"
    elif result["recorder_late_ms"] >= half:
        result["verdict"] = "the whole machine stalled (an idle recorder woke late too)"
    else:
        result["verdict"] = "the device-cycle thread slept: it was not woken in time"
        result["programs_own"] = True
    return result


def percentile(sorted_values, p):
    if not sorted_values:
        return float("nan")
    k = (len(sorted_values) - 1) * p / 100
    low = int(k)
    high = min(low + 1, len(sorted_values) - 1)
    return sorted_values[low] + (sorted_values[high] - sorted_values[low]) * (k - low)
