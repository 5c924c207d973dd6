#!/usr/bin/env python3
"""Reads a Vortane Quillar telemetry recording (docs/recordings.md) with the standard library only.

    read_recording.py FILE            one line per record: seconds, source, kind, payload
    read_recording.py --json FILE     the description, then one JSON object per record

Exit status 0 for a whole file, 2 for a file that is foreign, damaged or ends inside a record.
"""
import json
import struct
import sys

MAGIC = b"QUILLREC"
VERSION = 1
MAX_PAYLOAD = 16 * 1024 * 1024
HEAD = struct.Struct("<IqBB")  # payload length, arrival time in microseconds, source, kind


class RecordingError(Exception):
    pass


def read_recording(data):
    """Returns (description, records); each record is (microseconds, source, kind, payload bytes)."""
    if len(data) < 16 or data[:8] != MAGIC:
        raise RecordingError('not a Vortane Quillar telemetry recording (the file does not start with "QUILLREC")')
    version, size = struct.unpack_from("<II", data, 8)
    if version != VERSION:
        raise RecordingError(f"recording format version {version}; this reader reads version {VERSION}")
    if len(data) < 16 + size:
        raise RecordingError("truncated recording: the file ends inside its description")
    try:
        description = json.loads(data[16:16 + size].decode("utf-8"))
    except ValueError:
        raise RecordingError("damaged recording: its description is not a JSON object") from None
    if not isinstance(description, dict):
        raise RecordingError("damaged recording: its description is not a JSON object")
    records = []
    position = 16 + size
    previous = 0
    while position < len(data):
        where = f"record {len(records) + 1} at byte {position}"
        if len(data) - position < HEAD.size:
            raise RecordingError(f"truncated recording: the file ends inside {where}")
        length, micros, source, kind = HEAD.unpack_from(data, position)
        if length > MAX_PAYLOAD or not 1 <= source <= 6 or not 1 <= kind <= 3 or micros < previous:
            raise RecordingError(f"damaged recording: {where}")
        start = position + HEAD.size
        if len(data) - start < length:
            raise RecordingError(f"truncated recording: the file ends inside {where}")
        records.append((micros, source, kind, bytes(data[start:start + length])))
        previous = micros
        position = start + length
    return description, records


def main(argv):
    as_json = "--json" in argv
    paths = [a for a in argv[1:] if a != "--json"]
    if len(paths) != 1:
        print(__doc__.strip(), file=sys.stderr)
        return 1
    try:
        with open(paths[0], "rb") as f:
            description, records = read_recording(f.read())
    except (OSError, RecordingError) as error:
        print(f"read_recording.py: {paths[0]}: {error}", file=sys.stderr)
        return 2
    sources = description.get("sources", {})
    kinds = description.get("kinds", {})
    if as_json:
        print(json.dumps(description, sort_keys=True))
    for micros, source, kind, payload in records:
        if as_json:
            print(json.dumps({"micros": micros, "source": source, "kind": kind,
                              "payload": payload.decode("latin-1")}, sort_keys=True))
        else:
            print(f"{micros / 1e6:12.6f} {sources.get(str(source), source)} "
                  f"{kinds.get(str(kind), kind)} {payload!r}")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
