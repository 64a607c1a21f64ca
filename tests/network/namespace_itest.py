#!/usr/bin/env python3
"""End to end: the headless monitor inside a private network namespace counts the traffic of a
wired-style link exactly, and none of a second link whose name is not counted.

Two namespaces joined by two veth pairs: "eth0" (counted: wired/Wi-Fi names) carries the default
route; "vx0" (not counted) carries traffic too. Only addresses inside these namespaces are used.
Exits 77 (skipped) where namespaces cannot be made."""
import json
import os
import shutil
import socket
import subprocess
import sys
import tempfile
import time

BIN = os.environ.get("LUMENSTAT_BINARY", "build/lumenstat")
TAG = str(os.getpid())
NS_A, NS_B = f"lsA{TAG}", f"lsB{TAG}"
COUNTED_BYTES_OUT = 6 * 1024 * 1024
COUNTED_BYTES_IN = 3 * 1024 * 1024
UNCOUNTED_BYTES = 8 * 1024 * 1024


def sh(*args, check=True):
    return subprocess.run(list(args), check=check, capture_output=True, text=True)


def skip(msg):
    print(f"SKIP: {msg}")
    sys.exit(77)


def setup():
    if shutil.which("ip") is None:
        skip("iproute2 is not installed")
    if sh("ip", "netns", "add", NS_A, check=False).returncode != 0:
        skip("cannot create network namespaces here (needs root and CAP_SYS_ADMIN)")
    sh("ip", "netns", "add", NS_B)
    sh("ip", "-n", NS_A, "link", "add", "eth0", "type", "veth", "peer", "name", "peer0", "netns", NS_B)
    sh("ip", "-n", NS_A, "link", "add", "vx0", "type", "veth", "peer", "name", "peer1", "netns", NS_B)
    for ns, cmds in (
        (NS_A, [["addr", "add", "10.231.1.1/24", "dev", "eth0"], ["addr", "add", "10.231.2.1/24", "dev", "vx0"],
                ["link", "set", "lo", "up"], ["link", "set", "eth0", "up"], ["link", "set", "vx0", "up"],
                ["route", "add", "default", "via", "10.231.1.2"]]),
        (NS_B, [["addr", "add", "10.231.1.2/24", "dev", "peer0"], ["addr", "add", "10.231.2.2/24", "dev", "peer1"],
                ["link", "set", "lo", "up"], ["link", "set", "peer0", "up"], ["link", "set", "peer1", "up"]]),
    ):
        for c in cmds:
            sh("ip", "-n", ns, *c)


def teardown():
    sh("ip", "netns", "del", NS_A, check=False)
    sh("ip", "netns", "del", NS_B, check=False)


def counters(dev):
    out = sh("ip", "-n", NS_A, "-s", "-j", "link", "show", dev).stdout
    stats = json.loads(out)[0]["stats64"]
    return stats["rx"]["bytes"], stats["tx"]["bytes"]


SERVER = r"""
import socket, sys
srv = socket.socket(); srv.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
srv.bind((sys.argv[1], 5001)); srv.listen(1)
print("ready", flush=True)
c, _ = srv.accept()
header = b""
while len(header) < 32:
    header += c.recv(32 - len(header))
want, got = int(header.split(b"\n")[0]), 0
while got < want:
    d = c.recv(65536)
    if not d: break
    got += len(d)
c.sendall(b"y" * int(sys.argv[2]))
c.close()
"""

CLIENT = r"""
import socket, sys
s = socket.create_connection((sys.argv[1], 5001))
n = int(sys.argv[2])
s.sendall(f"{n}\n".encode().ljust(32, b" "))
s.sendall(b"x" * n)
s.shutdown(socket.SHUT_WR)
while s.recv(65536): pass
"""


def transfer(addr, send_bytes, back_bytes):
    srv = subprocess.Popen(["ip", "netns", "exec", NS_B, sys.executable, "-c", SERVER, addr, str(back_bytes)],
                           stdout=subprocess.PIPE, text=True)
    assert srv.stdout.readline().strip() == "ready"
    sh("ip", "netns", "exec", NS_A, sys.executable, "-c", CLIENT, addr, str(send_bytes))
    srv.wait(timeout=30)


def main():
    setup()
    cfg = tempfile.mkdtemp(prefix="lumenstat-ns-")
    mon = None
    try:
        env = {k: v for k, v in os.environ.items() if not k.startswith("DBUS_")}
        env.update({"XDG_CONFIG_HOME": cfg, "XDG_DATA_HOME": cfg, "DBUS_SESSION_BUS_ADDRESS": "disabled:",
                    "DBUS_SYSTEM_BUS_ADDRESS": "unix:path=/nonexistent/bus"})
        env.pop("DISPLAY", None)
        # A fresh link has moved less than 1 KB, and a counter that reads 0 KB keeps every tick a
        # first sample; move a little both ways so the first tick has a baseline.
        transfer("10.231.1.2", 16 * 1024, 16 * 1024)
        mon = subprocess.Popen(["ip", "netns", "exec", NS_A, BIN, "--monitor", "--json", "--ticks", "60"],
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, env=env)
        first = json.loads(mon.stdout.readline())
        assert first["netMode"] == 1, f"default route over eth0 should read as the local-link kind: {first}"
        rx0, tx0 = counters("eth0")
        # The first tick only reads the counters; wait for the second before moving data.
        json.loads(mon.stdout.readline())

        transfer("10.231.1.2", COUNTED_BYTES_OUT, COUNTED_BYTES_IN)
        transfer("10.231.2.2", UNCOUNTED_BYTES, 0)
        time.sleep(2.2)
        rx_end, tx_end = counters("eth0")
        line = json.loads(mon.stdout.readline())
        while line["paceActivities"]["up"] or line["paceActivities"]["down"]:
            line = json.loads(mon.stdout.readline())
        totals = line["netActivities"]

        # The totals telescope to (last counter >> 10) - (first counter >> 10); the first counter
        # was read at the first tick, just before our reading rx0.
        expected_up = (tx_end - tx0) / 1024.0
        expected_down = (rx_end - rx0) / 1024.0
        print(f"counted link: sent {expected_up:.0f} KB received {expected_down:.0f} KB; "
              f"monitor totals: up {totals['up']} KB down {totals['down']} KB")
        assert expected_up > COUNTED_BYTES_OUT / 1024 * 0.99, "the transfer did not cross the counted link"
        for key, expected in (("up", expected_up), ("down", expected_down)):
            assert abs(totals[key] - expected) <= 0.01 * expected + 2, \
                f"{key}: monitor {totals[key]} KB vs link counters {expected:.1f} KB (more than 1% apart)"
        assert totals["up"] < (COUNTED_BYTES_OUT + UNCOUNTED_BYTES) / 1024 * 0.9, "the uncounted link was counted"
        _, vx_tx = counters("vx0")
        assert vx_tx >= UNCOUNTED_BYTES, "traffic did cross the uncounted link"
        # The route is watched: dropping the default route reads as offline within a tick or
        # two, and restoring it brings the local-link kind back.
        sh("ip", "-n", NS_A, "route", "del", "default")
        modes = [json.loads(mon.stdout.readline())["netMode"] for _ in range(3)]
        assert modes[-1] == 0, f"no default route must read as offline: {modes}"
        sh("ip", "-n", NS_A, "route", "add", "default", "via", "10.231.1.2")
        modes = [json.loads(mon.stdout.readline())["netMode"] for _ in range(3)]
        assert modes[-1] == 1, f"restored route must read as the local-link kind: {modes}"
        mon.terminate()
        mon.wait(timeout=10)
        stored = json.load(open(os.path.join(cfg, "lumenstat", "group.json")))
        assert stored["kNetActivitiesWiFiDataKey"] == [totals["up"], totals["down"]], \
            f"totals persisted at exit: {stored}"
        print("1 passed, 0 failed")
    finally:
        if mon and mon.poll() is None:
            mon.terminate()
            try:
                mon.wait(timeout=10)
            except subprocess.TimeoutExpired:
                mon.kill()
        teardown()
        shutil.rmtree(cfg, ignore_errors=True)


if __name__ == "__main__":
    try:
        main()
    except AssertionError as e:
        print(f"FAIL: {e}")
        print("0 passed, 1 failed")
        sys.exit(1)
