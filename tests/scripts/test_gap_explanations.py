#!/usr/bin/env python3
"""The soak's and the steadiness measurement's reading of stall_trace.c recordings: which samples bracket a
gap, and which verdict each combination of counters gets; and the soak driver's save log."""

import os
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
sys.path.insert(0, os.path.join(ROOT, "scripts", "perf"))
sys.path.insert(0, os.path.join(ROOT, "scripts", "soak"))
import quillar_harness as h  # noqa: E402
import soak  # noqa: E402

WORKER = 42
TICK_MS = 1000 / h.TICKS_PER_SECOND
NAMES = {7: "quillar", WORKER: "device cycle"}


def sample(t_us, steal=0, busy=0, run_ns=0, wait_ns=0, late_us=0):
    return {"t": t_us, "late": late_us, "steal": steal, "busy": busy, "threads": {WORKER: (run_ns, wait_ns)}}


def ticks(ms):
    return round(ms / TICK_MS)


class ExplainGap(unittest.TestCase):
    def explain(self, gap_ms, steal_ms=0, busy_ms=0, run_ms=0, wait_ms=0, late_ms=0, names=NAMES):
        before = sample(0)
        after = sample(int(gap_ms * 1000), steal=ticks(steal_ms), busy=ticks(busy_ms), run_ns=int(run_ms * 1e6),
                       wait_ns=int(wait_ms * 1e6))
        return h.explain_gap(0, int(gap_ms * 1000), before, after, int(late_ms * 1000), names)

    def test_busy_thread_seen_by_the_machine_is_the_programs(self):
        e = self.explain(60, run_ms=40, busy_ms=40, steal_ms=0)
        self.assertEqual(e["verdict"], "the program was busy on its device-cycle thread")
        self.assertTrue(h.is_programs_own(e))
        self.assertAlmostEqual(e["run_ms"], 40.0)

    def test_run_time_without_busy_time_is_the_hosts_steal(self):
        e = self.explain(70, run_ms=52, busy_ms=0, steal_ms=110)
        self.assertEqual(e["verdict"], "the host took the virtual CPUs (steal)")
        self.assertFalse(h.is_programs_own(e))
        self.assertAlmostEqual(e["steal_ms"], 110.0)

    def test_waiting_for_a_cpu(self):
        e = self.explain(60, wait_ms=45, busy_ms=100)
        self.assertEqual(e["verdict"], "the device-cycle thread was ready but got no CPU")
        self.assertFalse(h.is_programs_own(e))

    def test_whole_machine_late(self):
        e = self.explain(60, late_ms=35)
        self.assertEqual(e["verdict"], "the whole machine stalled (an idle recorder woke late too)")
        self.assertFalse(h.is_programs_own(e))

    def test_nothing_explains_it_so_the_thread_was_not_woken(self):
        e = self.explain(60, run_ms=0.3, steal_ms=10, late_ms=2)
        self.assertEqual(e["verdict"], "the device-cycle thread slept: it was not woken in time")
        self.assertTrue(h.is_programs_own(e))

    def test_exactly_half_the_gap_counts(self):
        self.assertEqual(self.explain(60, steal_ms=30)["verdict"], "the host took the virtual CPUs (steal)")

    def test_no_samples_around_the_gap(self):
        e = h.explain_gap(0, 60000, False, None, 0, NAMES)
        self.assertEqual(e["verdict"], "no trace around it")
        self.assertFalse(h.is_programs_own(e))

    def test_trace_without_the_device_cycle_thread(self):
        e = self.explain(60, steal_ms=60, names={7: "quillar"})
        self.assertEqual(e["verdict"], "device-cycle thread not in the trace")


class ReadTrace(unittest.TestCase):
    def test_brackets_each_window_and_keeps_the_largest_lateness(self):
        lines = ["t 7 quillar", "t 42 device cycle"]
        # One sample every 10 ms from 0 to 200 ms; steal counts the samples, lateness is 1 ms except one.
        for i in range(21):
            late = 30000 if i == 6 else 1000
            lines.append(f"s {i * 10000} {late} {i} {2 * i} 0 7:0:0 42:{i * 100000}:{i * 1000}")
        with tempfile.NamedTemporaryFile("w", suffix=".txt", delete=False) as f:
            f.write("\n".join(lines) + "\n")
            path = f.name
        try:
            # Two windows that share a sample (the first ends at 80 ms, the second starts at 80 ms).
            names, found = h.read_trace(path, [(42000, 80000), (80000, 95000)])
        finally:
            os.unlink(path)
        self.assertEqual(names, {7: "quillar", 42: "device cycle"})
        (b1, a1, late1), (b2, a2, late2) = found
        self.assertEqual((b1["t"], a1["t"], late1), (40000, 80000, 30000))
        self.assertEqual((b2["t"], a2["t"], late2), (80000, 100000, 1000))
        self.assertEqual(a1["threads"][42], (800000, 8000))
        e = h.explain_gap(42000, 80000, b1, a1, late1, names)
        self.assertAlmostEqual(e["steal_ms"], 4 * TICK_MS)
        self.assertAlmostEqual(e["run_ms"], 0.4)

    def test_window_before_the_first_sample_has_nothing_before_it(self):
        with tempfile.NamedTemporaryFile("w", suffix=".txt", delete=False) as f:
            f.write("s 100000 0 0 0 0 42:0:0\ns 110000 0 0 0 0 42:0:0\n")
            path = f.name
        try:
            _, found = h.read_trace(path, [(50000, 105000)])
        finally:
            os.unlink(path)
        self.assertIs(found[0][0], False)
        self.assertEqual(h.explain_gap(50000, 105000, found[0][0], found[0][1], 0, NAMES)["verdict"],
                         "no trace around it")

    def test_missing_trace_file(self):
        names, found = h.read_trace("/nonexistent/trace.txt", [(0, 1)])
        self.assertEqual((names, found), ({}, [[None, None, 0]]))


class SaveLog(unittest.TestCase):
    def test_saves_and_skips(self):
        text = ("100 skipped no profile loaded\n"
                "200 saved source=3 module=Generic warbird rudder_spring=11\n"
                "300 saved source=2 module=F-16C_50 rudder_spring=12\n"
                "400 skipped editor widgets not found\n")
        with tempfile.NamedTemporaryFile("w", suffix=".log", delete=False, encoding="utf-8") as f:
            f.write(text)
            path = f.name
        try:
            saves, skipped = soak.read_saves(path)
        finally:
            os.unlink(path)
        self.assertEqual(saves, [(200, 3, "Generic warbird", 11), (300, 2, "F-16C_50", 12)])
        self.assertEqual(skipped, 2)


class MachineSteal(unittest.TestCase):
    def test_reads_a_counter(self):
        first = h.machine_steal_ticks()
        self.assertGreaterEqual(first, 0)
        self.assertGreaterEqual(h.machine_steal_ticks(), first)


if __name__ == "__main__":
    unittest.main()
