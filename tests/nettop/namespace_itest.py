"""lumenstat-nettop in a private network namespace, run as an ordinary user: two processes of
that user move known amounts over TCP through a veth to a peer namespace, one over one long
connection, the other over hundreds of short ones; the summed deltas per process match the
bytes moved within 1 %. Loopback traffic in the same interval and another user's traffic are
not reported. The tool ends with status 0 on SIGTERM and when its reader goes away."""
import os
import shutil
import signal
import subprocess
import sys
import threading
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "app"))
from itest_support import skip  # noqa: E402

NS_A, NS_B = f"ntA{os.getpid()}", f"ntB{os.getpid()}"
PEER = "10.232.1.2"
USER = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"]
ARGS = ["-d", "-P", "-J", "bytes_in, bytes_out", "-x", "-L", "0", "-c", "-t", "external"]

# serve PORT:REPLY ...: every connection is read to its end, answered with REPLY bytes, closed.
SERVER = r"""
import socket, sys, threading
def handle(c, reply):
    buf = bytearray(1 << 20)
    while c.recv_into(buf): pass
    c.sendall(bytes(reply)); c.close()
def serve(port, reply):
    srv = socket.create_server(("0.0.0.0", port), backlog=512)
    while True:
        c = srv.accept()[0]
        threading.Thread(target=handle, args=(c, reply), daemon=True).start()
for pair in sys.argv[1:]:
    port, reply = map(int, pair.split(":"))
    threading.Thread(target=serve, args=(port, reply), daemon=True).start()
print("ready", flush=True); sys.stdin.read()
"""

# NAME HOST PORT CONNECTIONS OUT: names itself, then per connection sends OUT bytes and reads
# the answer to its end; prints the bytes received. HOST "loop" moves OUT bytes over loopback.
MOVER = r"""
import ctypes, socket, sys, threading, time
name, host, port, count, out = sys.argv[1], sys.argv[2], int(sys.argv[3]), int(sys.argv[4]), int(sys.argv[5])
ctypes.CDLL(None).prctl(15, name.encode(), 0, 0, 0)
buf, got = bytearray(1 << 20), 0
if host == "loop":
    srv = socket.create_server(("127.0.0.1", 0)); c = socket.create_connection(srv.getsockname())
    a = srv.accept()[0]
    threading.Thread(target=lambda: (c.sendall(bytes(out)), c.close())).start()
    while (n := a.recv_into(buf)): got += n
else:
    for _ in range(count):
        c = socket.create_connection((host, port)); c.sendall(bytes(out))
        # Each connection stays open a few ms, as a request waiting for its answer does: the
        # tool finds a socket's process through its open descriptor while the connection is
        # up. (Once closed, a socket no sample saw is attributed through its server, if at all.)
        time.sleep(0.005)
        c.shutdown(socket.SHUT_WR)
        while (n := c.recv_into(buf)): got += n
        c.close()
print(got)
"""


def ip(*args, check=True):
    return subprocess.run(["ip", *args], check=check, capture_output=True, text=True)


def in_a(command, user=True, **kw):
    return subprocess.Popen(["ip", "netns", "exec", NS_A] + (USER if user else []) + command, **kw)


class Tool:
    """The tool's samples as they come: a list of {name: [in, out]} per sample."""

    def __init__(self, tool, interval):
        self.proc = in_a([tool] + ARGS + ["-s", str(interval)], stdout=subprocess.PIPE,
                         stderr=subprocess.PIPE, text=True)
        self.samples, self.bad = [], []
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        for line in self.proc.stdout:
            fields = line.rstrip("\n").split(",")
            if fields[:2] == ["time", ""]:
                self.samples.append({})
            elif len(fields) == 5 and fields[4] == "" and self.samples:
                name = fields[1].rsplit(".", 1)[0]
                moved = self.samples[-1].setdefault(name, [0, 0])
                moved[0] += int(fields[2])
                moved[1] += int(fields[3])
            else:
                self.bad.append(line)

    def wait_samples(self, n, timeout=20):
        end = time.monotonic() + timeout
        while len(self.samples) < n and time.monotonic() < end:
            time.sleep(0.05)
        return len(self.samples) >= n

    def totals(self):
        sums = {}
        for sample in self.samples[1:]:  # the first sample holds totals, not deltas
            for name, (i, o) in sample.items():
                s = sums.setdefault(name, [0, 0])
                s[0] += i
                s[1] += o
        return sums


def main():
    tool = os.environ.get("LUMENSTAT_NETTOP")
    if not tool or not os.access(tool, os.X_OK):
        skip("LUMENSTAT_NETTOP does not point at a built lumenstat-nettop")
    if shutil.which("ip") is None or ip("netns", "add", NS_A, check=False).returncode != 0:
        skip("cannot create network namespaces here (needs iproute2, root and CAP_SYS_ADMIN)")
    server = watcher = None
    try:
        ip("netns", "add", NS_B)
        for ns, script in ((NS_A, f"link add eth0 type veth peer name peer0 netns {NS_B}\n"
                                  "addr add 10.232.1.1/24 dev eth0\nlink set eth0 up\n"
                                  "link set lo up\nroute add default via 10.232.1.2\n"),
                           (NS_B, "addr add 10.232.1.2/24 dev peer0\nlink set peer0 up\n"
                                  "link set lo up\n")):
            subprocess.run(["ip", "-n", ns, "-batch", "-"], input=script, check=True, text=True)
        server = subprocess.Popen(["ip", "netns", "exec", NS_B, sys.executable, "-c", SERVER,
                                   "5001:12000000", "5002:5000", "5003:3000000"],
                                  stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        assert server.stdout.readline().strip() == "ready"

        watcher = Tool(tool, 0.5)
        assert watcher.wait_samples(1), "no first sample"
        movers = {
            "lsbulk": (PEER, 5001, 1, 40_000_000),
            "lsshort": (PEER, 5002, 400, 20_000),
            "lsloop": ("loop", 0, 1, 30_000_000),
        }
        started = time.monotonic()
        procs = {name: in_a([sys.executable, "-c", MOVER, name, host, str(port), str(n),
                             str(out)], stdout=subprocess.PIPE, text=True)
                 for name, (host, port, n, out) in movers.items()}
        # Another user's traffic (root's) through the same link is not this user's to see.
        procs["lsroot"] = in_a([sys.executable, "-c", MOVER, "lsroot", PEER, "5003", "1",
                                "8000000"], user=False, stdout=subprocess.PIPE, text=True)
        received = {name: int(p.communicate(timeout=60)[0]) for name, p in procs.items()}
        seconds = time.monotonic() - started
        done = len(watcher.samples)
        assert watcher.wait_samples(done + 5), "the tool stopped sampling"
        totals = watcher.totals()
        print(f"moved in {seconds:.1f} s; tool totals {totals}")
        assert not watcher.bad, f"lines that are neither header nor sample: {watcher.bad[:3]}"
        for name in ("lsbulk", "lsshort"):
            _, _, n, out = movers[name]
            got = totals.get(name, [0, 0])
            for label, counted, moved in (("in", got[0], received[name]), ("out", got[1], n * out)):
                assert abs(counted - moved) <= moved / 100, \
                    f"{name} {label}: counted {counted}, moved {moved}"
        assert "lsloop" not in totals, "loopback traffic is not external"
        assert "lsroot" not in totals, "another user's sockets are skipped"

        watcher.proc.send_signal(signal.SIGTERM)
        assert watcher.proc.wait(timeout=10) == 0, "SIGTERM ends the tool with status 0"
        # A reader that goes away ends the tool too, without an error.
        closing = in_a([tool] + ARGS + ["-s", "0.1"], stdout=subprocess.PIPE,
                       stderr=subprocess.PIPE)
        closing.stdout.readline()
        closing.stdout.close()
        assert closing.wait(timeout=10) == 0, "a closed pipe ends the tool with status 0"
        assert closing.stderr.read() == b"", "and without noise"
        print("ok")
    except (AssertionError, subprocess.TimeoutExpired) as e:
        print(f"FAIL: {e}")
        return 1
    finally:
        for p in (server, watcher and watcher.proc):
            if p and p.poll() is None:
                p.kill()
        ip("netns", "del", NS_A, check=False)
        ip("netns", "del", NS_B, check=False)
    return 0


if __name__ == "__main__":
    sys.exit(main())
