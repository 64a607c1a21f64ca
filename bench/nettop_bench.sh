#!/usr/bin/env bash
# CPU per sample of lumenstat-nettop against `nethogs -t`, side by side on the same traffic:
# 1,000 open TCP connections through a veth to a peer network namespace, each carrying a
# little traffic every second. Both run as root (nethogs needs it) with a 1-second interval.
# Usage: bench/nettop_bench.sh [BUILD_DIR] [SECONDS]. Budget: at most half of nethogs' CPU.
set -euo pipefail
BUILD=${1:-build}
SECONDS_RUN=${2:-20}
A=nbA$$ B=nbB$$ NET=10.233.1
. "$(dirname "$0")/nettop_lib.sh"
ulimit -n 8192

# The peer echoes whatever arrives; the client keeps 1,000 connections and sends 200 bytes
# on each every second.
cat >"$work/echo.py" <<'PY'
import selectors, socket
sel, srv = selectors.DefaultSelector(), socket.create_server(("0.0.0.0", 7000), backlog=2048)
sel.register(srv, selectors.EVENT_READ)
print("ready", flush=True)
while True:
    for key, _ in sel.select():
        if key.fileobj is srv:
            c = srv.accept()[0]; c.setblocking(False); sel.register(c, selectors.EVENT_READ)
        else:
            data = key.fileobj.recv(65536)
            if data: key.fileobj.send(data)
            else: sel.unregister(key.fileobj); key.fileobj.close()
PY
cat >"$work/client.py" <<'PY'
import selectors, socket, sys, time
conns = [socket.create_connection(("10.233.1.2", 7000)) for _ in range(int(sys.argv[1]))]
for c in conns: c.setblocking(False)
print("connected", flush=True)
payload = bytes(200)
while True:
    start = time.monotonic()
    for c in conns:
        c.send(payload)
        try:
            while c.recv(65536): pass
        except BlockingIOError: pass
    time.sleep(max(0, 1 - (time.monotonic() - start)))
PY
ip netns exec $B /usr/bin/python3 "$work/echo.py" >"$work/echo.out" &
until grep -q ready "$work/echo.out" 2>/dev/null; do sleep 0.1; done
ip netns exec $A /usr/bin/python3 "$work/client.py" 1000 >"$work/client.out" &
until grep -q connected "$work/client.out" 2>/dev/null; do sleep 0.1; done

ip netns exec $A "$TOOL" -d -P -J "bytes_in, bytes_out" -x -L 0 -c -t external -s 1 \
  >"$work/tool.out" &
tool_pid=$!
ip netns exec $A "$NETHOGS" -t -d 1 eth0 >"$work/nethogs.out" 2>/dev/null &
hogs_pid=$!
sleep 2 # both past their start-up

# Nanoseconds on a CPU, all threads (scheduler statistics: finer than clock ticks).
cpu() { cat /proc/"$1"/task/*/schedstat | awk '{ns += $1} END {printf "%d", ns}'; }
samples() { grep -c "$2" "$1" || true; }
t0=$(cpu $tool_pid) h0=$(cpu $hogs_pid)
s0=$(samples "$work/tool.out" '^time,,') n0=$(samples "$work/nethogs.out" '^Refreshing:')
sleep "$SECONDS_RUN"
t1=$(cpu $tool_pid) h1=$(cpu $hogs_pid)
s1=$(samples "$work/tool.out" '^time,,') n1=$(samples "$work/nethogs.out" '^Refreshing:')
sockets=$(ip netns exec $A ss -Htn state established | wc -l)

python3 - 1000000000 "$((t1 - t0))" "$((s1 - s0))" "$((h1 - h0))" "$((n1 - n0))" "$sockets" \
  "$SECONDS_RUN" <<'PY'
import sys
tck, tool, ts, hogs, hs, sockets, secs = map(int, sys.argv[1:])
per = lambda t, n: 1000.0 * t / tck / max(n, 1)
t, h = per(tool, ts), per(hogs, hs)
print(f"{sockets} open TCP sockets, {secs} s, 1-second interval")
print(f"lumenstat-nettop: {t:.2f} ms CPU per sample ({ts} samples, {100 * tool / tck / secs:.2f} % of a core)")
print(f"nethogs -t:       {h:.2f} ms CPU per sample ({hs} samples, {100 * hogs / tck / secs:.2f} % of a core)")
ratio = t / h if h else float("inf")
print(f"ratio {ratio:.2f} (budget 0.50): {'within' if ratio <= 0.5 else 'OVER'} budget")
sys.exit(0 if ratio <= 0.5 else 1)
PY
