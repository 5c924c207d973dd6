#!/usr/bin/env bash
# Interoperability of our SimConnect pieces with node-simconnect, an independent and widely used client of
# SimConnect's network protocol (LGPL; installed from the npm registry into a scratch folder, never into the
# repository). Needs node and npm, so it runs in CI (.ci/run), not in ./test.sh.
#   (a) node-simconnect connects to our fake server, opens, defines the MSFS source's data, requests it and
#       subscribes the source's events, and must get the open answer, a data block and an event back;
#   (b) the packets it sent for those calls are compared, byte for byte, with the packets our client sends for
#       the same calls (both recorded by the fake server).
#
#   tests/interop/simconnect_interop.sh [build dir]   (default: build)
# Prints the comparison; ends non-zero when (a) fails or (b) finds a difference.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$(cd "${1:-$here/../../build}" && pwd)
server="$build/tests/support/quillar_fake_simconnect_server"
probe="$build/tests/support/quillar_simconnect_client_probe"
for program in "$server" "$probe"; do
    [ -x "$program" ] || { echo "missing $program: build the project first" >&2; exit 2; }
done
# The version whose sources docs/msfs-network.md was checked against.
node_simconnect_version=${QUILLAR_NODE_SIMCONNECT_VERSION:-4.2.0}

scratch=$(mktemp -d)
server_pid=
cleanup() {
    if [ -n "$server_pid" ]; then kill "$server_pid" 2>/dev/null || true; wait "$server_pid" 2>/dev/null || true; fi
    rm -rf "$scratch"
}
trap cleanup EXIT

echo "== installing node-simconnect $node_simconnect_version into $scratch"
(cd "$scratch" && npm init -y >/dev/null && npm install --no-audit --no-fund --silent \
    "node-simconnect@$node_simconnect_version" >/dev/null)
cp "$here/simconnect_client.mjs" "$scratch/"

# Starts the fake server recording into $1; sets server_pid and port.
start_server() {
    "$server" 0 "$1" >"$scratch/server.out" 2>&1 &
    server_pid=$!
    port=
    for _ in $(seq 100); do
        port=$(sed -n 's/^port \([0-9]*\)$/\1/p' "$scratch/server.out")
        [ -n "$port" ] && return 0
        sleep 0.1
    done
    echo "the fake server did not start:" >&2; cat "$scratch/server.out" >&2; exit 1
}
stop_server() {
    kill "$server_pid"; wait "$server_pid" 2>/dev/null || true; server_pid=
}

echo "== (a) node-simconnect against our fake SimConnect server"
start_server "$scratch/node.packets"
(cd "$scratch" && node simconnect_client.mjs "$port")
stop_server

echo "== our client (the MSFS source over it) against the same server"
start_server "$scratch/ours.packets"
"$probe" "$port"
stop_server

echo "== (b) the packets of open, 22 add-to-definition, request-data and 2 subscribe calls, compared"
python3 - "$scratch/node.packets" "$scratch/ours.packets" <<'PY'
import sys
names = {0x01: "Open", 0x0c: "AddToDataDefinition", 0x0f: "RequestDataOnSimObjectType",
         0x17: "SubscribeToSystemEvent"}
def packets(path):
    rows = [line.split() for line in open(path) if line.strip()]
    return [(int(call, 16), bytes.fromhex(data)) for conn, call, data in rows if conn == "1"][:26]
theirs, ours = packets(sys.argv[1]), packets(sys.argv[2])
if len(theirs) != 26 or len(ours) != 26:
    sys.exit(f"expected 26 packets from each client, got {len(theirs)} from node-simconnect and {len(ours)} from ours")
differences = 0
for i, ((call_t, t), (call_o, o)) in enumerate(zip(theirs, ours)):
    name = names.get(call_o, hex(call_o))
    if t == o:
        print(f"  #{i:2} {name:28} {len(o):4} bytes  identical")
        continue
    differences += 1
    where = [k for k in range(max(len(t), len(o))) if k >= min(len(t), len(o)) or t[k] != o[k]]
    print(f"  #{i:2} {name:28} DIFFERENT: node-simconnect {len(t)} bytes ({names.get(call_t, hex(call_t))}), "
          f"ours {len(o)} bytes; first differing byte offsets {where[:8]}")
print(f"{26 - differences} of 26 packets identical")
sys.exit(1 if differences else 0)
PY
