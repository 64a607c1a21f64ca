"""The headless monitor inside a private network namespace counts 7 GB moved at full speed
over "eth0" exactly (32-bit byte counts would wrap), none of the traffic over the uncounted
"vx0", follows the default route, keeps a decimal point under a German locale and stores its
totals at exit. Skipped where namespaces cannot be made."""
import json
import os
import shutil
import subprocess
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "app"))
from itest_support import binary, environment, skip  # noqa: E402

NS_A, NS_B = f"lsA{os.getpid()}", f"lsB{os.getpid()}"
GB = 1 << 30

# serve|connect ADDRESS BYTES: sends BYTES, then reads until the other end closes (the
# server reads first); 4 MB blocks at full speed.
PEER = r"""
import socket, sys
serve, addr, left = sys.argv[1] == "serve", sys.argv[2], int(sys.argv[3])
if serve:
    srv = socket.create_server((addr, 5001)); print("ready", flush=True); s = srv.accept()[0]
else:
    s = socket.create_connection((addr, 5001))
block, buf = memoryview(bytes(4 << 20)), bytearray(4 << 20)
while serve and s.recv_into(buf): pass
while left > 0: left -= s.send(block[:min(left, len(block))])
s.shutdown(socket.SHUT_WR)
while s.recv_into(buf): pass
"""


def ip(*args, check=True):
    return subprocess.run(["ip", *args], check=check, capture_output=True, text=True)


def batch(ns, commands):
    subprocess.run(["ip", "-n", ns, "-batch", "-"], input=commands, check=True, text=True)


def counters(dev):
    stats = json.loads(ip("-n", NS_A, "-s", "-j", "link", "show", dev).stdout)[0]["stats64"]
    return stats["rx"]["bytes"], stats["tx"]["bytes"]


def transfer(addr, out, back):
    srv = subprocess.Popen(["ip", "netns", "exec", NS_B, sys.executable, "-c", PEER, "serve",
                            addr, str(back)], stdout=subprocess.PIPE, text=True)
    assert srv.stdout.readline().strip() == "ready"
    ip("netns", "exec", NS_A, sys.executable, "-c", PEER, "connect", addr, str(out))
    srv.wait(timeout=120)


def german_locale(env, folder):
    """Puts de_DE.UTF-8 into env (generated into folder when missing); False if impossible."""
    if "de_DE.utf8" not in subprocess.run(["locale", "-a"], capture_output=True, text=True).stdout:
        target = os.path.join(folder, "de_DE.UTF-8")
        subprocess.run(["localedef", "-i", "de_DE", "-f", "UTF-8", target], capture_output=True)
        if not os.path.exists(os.path.join(target, "LC_NUMERIC")):
            return False
        env["LOCPATH"] = folder
    env.update(LANG="de_DE.UTF-8", LC_ALL="de_DE.UTF-8")
    return True


def main():
    if shutil.which("ip") is None or ip("netns", "add", NS_A, check=False).returncode != 0:
        skip("cannot create network namespaces here (needs iproute2, root and CAP_SYS_ADMIN)")
    home = mon = None
    read = lambda: json.loads(mon.stdout.readline())  # noqa: E731
    try:
        ip("netns", "add", NS_B)
        batch(NS_A, f"link add eth0 type veth peer name peer0 netns {NS_B}\n"
                    f"link add vx0 type veth peer name peer1 netns {NS_B}\n"
                    "addr add 10.231.1.1/24 dev eth0\naddr add 10.231.2.1/24 dev vx0\n"
                    "link set lo up\nlink set eth0 up\nlink set vx0 up\n"
                    "route add default via 10.231.1.2\n")
        batch(NS_B, "addr add 10.231.1.2/24 dev peer0\naddr add 10.231.2.2/24 dev peer1\n"
                    "link set lo up\nlink set peer0 up\nlink set peer1 up\n")
        home, env = environment()
        if not german_locale(env, home):
            print("note: de_DE.UTF-8 cannot be generated here; the texts are checked in C only")
        # A counter that reads 0 KB keeps every tick a first sample: give the first a baseline.
        transfer("10.231.1.2", 16 << 10, 16 << 10)
        mon = subprocess.Popen(["ip", "netns", "exec", NS_A, binary(), "--monitor", "--json", "--ticks",
                                "300"], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, env=env)
        assert read()["netMode"] == 1, "a default route over eth0 reads as the local-link kind"
        rx0, tx0 = counters("eth0")
        read()  # the first tick only read the counters
        started = time.monotonic()
        transfer("10.231.1.2", 5 * GB, 2 * GB)
        seconds = time.monotonic() - started
        transfer("10.231.2.2", GB, 0)
        assert counters("vx0")[1] >= GB, "traffic crossed the uncounted link"
        time.sleep(2.2)
        rx1, tx1 = counters("eth0")
        line = read()
        while line["paceActivities"]["up"] or line["paceActivities"]["down"]:
            assert line["transmitRate"] == "0.0 Mbps", f"a decimal point in any locale: {line}"
            line = read()
        totals = line["netActivities"]
        print(f"moved 7 GB in {seconds:.1f} s; link counters sent {(tx1 - tx0) >> 10} KB, "
              f"received {(rx1 - rx0) >> 10} KB; monitor totals {totals}")
        # The first counters were read at the first tick, just before rx0 and tx0.
        for key, moved in (("up", tx1 - tx0), ("down", rx1 - rx0)):
            assert abs(totals[key] - moved / 1024) <= moved / 1024 / 100 + 2, f"{key} is 1% off"
        # Lines printed before a change may still wait in the pipe: the change must show
        # within a few ticks.
        def within_ticks(mode):
            for _ in range(6):
                line = read()
                if line["netMode"] == mode:
                    return line
            return None
        ip("-n", NS_A, "route", "del", "default")
        assert within_ticks(0), "no default route reads offline"
        ip("-n", NS_A, "route", "add", "default", "via", "10.231.1.2")
        last = within_ticks(1)
        assert last, "the restored route reads as the local-link kind"
        mon.terminate()
        mon.wait(timeout=10)
        stored = json.load(open(os.path.join(home, "config", "lumenstat", "group.json")))
        assert stored["kNetActivitiesWiFiDataKey"][0] >= last["netActivities"]["up"] >= totals["up"]
        print("ok")
    except AssertionError as e:
        print(f"FAIL: {e}")
        return 1
    finally:
        if mon and mon.poll() is None:
            mon.kill()
        ip("netns", "del", NS_A, check=False)
        ip("netns", "del", NS_B, check=False)
        if home:
            shutil.rmtree(home, ignore_errors=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
