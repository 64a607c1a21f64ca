#!/usr/bin/env python3
"""End to end: the headless monitor inside a private network namespace counts several GB moved
at full speed over a wired-style link exactly (its 32-bit byte counts wrap more than once), and
none of a second link whose name is not counted; its texts keep a decimal point under a German
locale.

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
GB = 1 << 30
COUNTED_BYTES_OUT = 5 * GB
COUNTED_BYTES_IN = 2 * GB
UNCOUNTED_BYTES = 1 * GB


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


# Both ends move data in 4 MB blocks at full speed (about 1-2 GB/s over a veth).
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
buf = bytearray(4 << 20)
while got < want:
    n = c.recv_into(buf)
    if not n: break
    got += n
block, left = memoryview(bytes(4 << 20)), int(sys.argv[2])
while left > 0:
    left -= c.send(block[:min(left, len(block))])
c.close()
"""

CLIENT = r"""
import socket, sys
s = socket.create_connection((sys.argv[1], 5001))
n = int(sys.argv[2])
s.sendall(f"{n}\n".encode().ljust(32, b" "))
block, left = memoryview(bytes(4 << 20)), n
while left > 0:
    left -= s.send(block[:min(left, len(block))])
s.shutdown(socket.SHUT_WR)
buf = bytearray(4 << 20)
while s.recv_into(buf): pass
"""


def german_locale(folder):
    """LOCPATH for de_DE.UTF-8 (generated into folder when the system lacks it), or None."""
    if "de_DE.utf8" in sh("locale", "-a", check=False).stdout:
        return ""
    if shutil.which("localedef") is None:
        return None
    os.makedirs(folder, exist_ok=True)
    sh("localedef", "-i", "de_DE", "-f", "UTF-8", os.path.join(folder, "de_DE.UTF-8"), check=False)
    return folder if os.path.exists(os.path.join(folder, "de_DE.UTF-8", "LC_NUMERIC")) else None


def transfer(addr, send_bytes, back_bytes):
    srv = subprocess.Popen(["ip", "netns", "exec", NS_B, sys.executable, "-c", SERVER, addr, str(back_bytes)],
                           stdout=subprocess.PIPE, text=True)
    assert srv.stdout.readline().strip() == "ready"
    sh("ip", "netns", "exec", NS_A, sys.executable, "-c", CLIENT, addr, str(send_bytes))
    srv.wait(timeout=120)


def main():
    setup()
    cfg = tempfile.mkdtemp(prefix="lumenstat-ns-")
    mon = None
    try:
        env = {k: v for k, v in os.environ.items() if not k.startswith("DBUS_")}
        env.update({"XDG_CONFIG_HOME": cfg, "XDG_DATA_HOME": cfg, "DBUS_SESSION_BUS_ADDRESS": "disabled:",
                    "DBUS_SYSTEM_BUS_ADDRESS": "unix:path=/nonexistent/bus"})
        env.pop("DISPLAY", None)
        locpath = german_locale(os.path.join(cfg, "locale"))
        if locpath is None:
            print("note: de_DE.UTF-8 cannot be generated here; the texts are checked in C only")
        else:
            env.update({"LANG": "de_DE.UTF-8", "LC_ALL": "de_DE.UTF-8"})
            if locpath:
                env["LOCPATH"] = locpath
        # A fresh link has moved less than 1 KB, and a counter that reads 0 KB keeps every tick a
        # first sample; move a little both ways so the first tick has a baseline.
        transfer("10.231.1.2", 16 * 1024, 16 * 1024)
        mon = subprocess.Popen(["ip", "netns", "exec", NS_A, BIN, "--monitor", "--json", "--ticks", "300"],
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, env=env)
        first = json.loads(mon.stdout.readline())
        assert first["netMode"] == 1, f"default route over eth0 should read as the local-link kind: {first}"
        rx0, tx0 = counters("eth0")
        # The first tick only reads the counters; wait for the second before moving data.
        json.loads(mon.stdout.readline())

        started = time.monotonic()
        transfer("10.231.1.2", COUNTED_BYTES_OUT, COUNTED_BYTES_IN)
        seconds = time.monotonic() - started
        transfer("10.231.2.2", UNCOUNTED_BYTES, 0)
        time.sleep(2.2)
        rx_end, tx_end = counters("eth0")
        line = json.loads(mon.stdout.readline())
        fastest = 0
        while line["paceActivities"]["up"] or line["paceActivities"]["down"]:
            fastest = max(fastest, line["paceActivities"]["up"])
            assert line["transmitRate"] == "0.0 Mbps", f"a decimal point whatever the locale: {line}"
            line = json.loads(mon.stdout.readline())
        totals = line["netActivities"]
        print(f"moved {(COUNTED_BYTES_OUT + COUNTED_BYTES_IN) / GB:.0f} GB in {seconds:.1f} s; "
              f"fastest tick {fastest / 1024 / 1024:.2f} GB/s up")

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
        _, vx_tx = counters("vx0")
        assert vx_tx >= UNCOUNTED_BYTES, "traffic did cross the uncounted link"
        # The route is watched: dropping the default route reads as offline within a tick or
        # two, and restoring it brings the local-link kind back.
        sh("ip", "-n", NS_A, "route", "del", "default")
        lines = [json.loads(mon.stdout.readline()) for _ in range(3)]
        assert lines[-1]["netMode"] == 0, f"no default route must read as offline: {lines}"
        sh("ip", "-n", NS_A, "route", "add", "default", "via", "10.231.1.2")
        lines = [json.loads(mon.stdout.readline()) for _ in range(3)]
        assert lines[-1]["netMode"] == 1, f"restored route must read as the local-link kind: {lines}"
        last = lines[-1]["netActivities"]  # totals only grow after it
        mon.terminate()
        mon.wait(timeout=10)
        stored = json.load(open(os.path.join(cfg, "lumenstat", "group.json")))
        assert stored["kNetActivitiesWiFiDataKey"][0] >= last["up"] >= totals["up"], \
            f"totals persisted at exit: {stored} after {last}"
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
