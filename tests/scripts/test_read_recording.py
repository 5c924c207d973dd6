#!/usr/bin/env python3
"""The recording reader script against files laid out byte by byte as docs/recordings.md describes them."""
import json
import os
import struct
import subprocess
import sys
import tempfile
import unittest

SCRIPT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "scripts", "recording",
                      "read_recording.py")
sys.dont_write_bytecode = True  # keep the source tree clean
sys.path.insert(0, os.path.dirname(SCRIPT))
import read_recording  # noqa: E402

DESCRIPTION = json.dumps({"format_version": 1, "sources": {"2": "DCS", "4": "WARTHUNDER"},
                          "kinds": {"1": "udp datagram", "2": "http body"}}).encode()


def header(version=1, description=DESCRIPTION):
    return b"QUILLREC" + struct.pack("<II", version, len(description)) + description


def record(micros, source, kind, payload):
    return struct.pack("<IqBB", len(payload), micros, source, kind) + payload


RECORDS = [(0, 2, 1, b"F-16C_50;420;-1.5;4;2.5;0;0;0;0;0"), (20000, 4, 2, b'{"Ny": 2}'), (20001, 2, 1, b"")]


def whole():
    return header() + b"".join(record(*r) for r in RECORDS)


class ReadRecording(unittest.TestCase):
    def test_reads_every_record(self):
        description, records = read_recording.read_recording(whole())
        self.assertEqual(description["format_version"], 1)
        self.assertEqual(records, RECORDS)

    def test_a_file_ending_after_a_complete_record_reads(self):
        data = header() + record(*RECORDS[0])
        self.assertEqual(read_recording.read_recording(data)[1], RECORDS[:1])

    def test_refusals(self):
        cut = whole()[:-1]
        cases = [
            (b"", "not a Vortane Quillar telemetry recording"),
            (b'{"metadata": {}}', "not a Vortane Quillar telemetry recording"),
            (header(version=2), "recording format version 2"),
            (header()[:20], "truncated recording: the file ends inside its description"),
            (header(description=b"[1]"), "damaged recording: its description is not a JSON object"),
            (cut, "truncated recording: the file ends inside record 3"),
            (header() + record(5, 9, 1, b"x"), "damaged recording: record 1"),
            (header() + record(5, 2, 1, b"x") + record(4, 2, 1, b"y"), "damaged recording: record 2"),
        ]
        for data, message in cases:
            with self.assertRaises(read_recording.RecordingError) as caught:
                read_recording.read_recording(data)
            self.assertTrue(str(caught.exception).startswith(message), str(caught.exception))

    def test_command_line(self):
        with tempfile.TemporaryDirectory() as folder:
            good = os.path.join(folder, "good.qrec")
            with open(good, "wb") as f:
                f.write(whole())
            run = subprocess.run([sys.executable, SCRIPT, good], capture_output=True, text=True)
            self.assertEqual(run.returncode, 0, run.stderr)
            self.assertEqual(run.stdout.splitlines(), [
                "    0.000000 DCS udp datagram b'F-16C_50;420;-1.5;4;2.5;0;0;0;0;0'",
                "    0.020000 WARTHUNDER http body b'{\"Ny\": 2}'",
                "    0.020001 DCS udp datagram b''",
            ])
            run = subprocess.run([sys.executable, SCRIPT, "--json", good], capture_output=True, text=True)
            lines = [json.loads(line) for line in run.stdout.splitlines()]
            self.assertEqual(lines[1], {"micros": 0, "source": 2, "kind": 1,
                                        "payload": "F-16C_50;420;-1.5;4;2.5;0;0;0;0;0"})
            self.assertEqual(len(lines), 4)
            bad = os.path.join(folder, "bad.qrec")
            with open(bad, "wb") as f:
                f.write(whole()[:-3])
            run = subprocess.run([sys.executable, SCRIPT, bad], capture_output=True, text=True)
            self.assertEqual(run.returncode, 2)
            self.assertTrue(run.stderr.startswith(f"read_recording.py: {bad}: truncated recording"), run.stderr)


if __name__ == "__main__":
    unittest.main()
