"""Helpers for the app's integration scripts: private D-Bus daemons, the lumenstat binary
with its own configuration folders, and a reader of its output lines."""
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

SKIP = 77


def skip(message):
    print("SKIP: " + message)
    sys.exit(SKIP)


def binary():
    path = os.environ.get("LUMENSTAT_BINARY")
    if not path or not os.access(path, os.X_OK):
        skip("LUMENSTAT_BINARY does not point at a built lumenstat")
    return path


class Bus:
    """A private dbus-daemon with the session configuration, killed on close()."""

    def __init__(self):
        if not shutil.which("dbus-daemon"):
            skip("dbus-daemon is not installed")
        out = subprocess.run(
            ["dbus-daemon", "--session", "--print-address=1", "--print-pid=1", "--fork"],
            check=True, capture_output=True, text=True).stdout.split("\n")
        self.address = out[0].strip()
        self.pid = int(out[1].strip())

    def connection(self):
        import dbus
        return dbus.bus.BusConnection(self.address)

    def close(self):
        try:
            os.kill(self.pid, signal.SIGTERM)
        except ProcessLookupError:
            pass


def wait_for(condition, timeout, step=0.1):
    end = time.monotonic() + timeout
    while time.monotonic() < end:
        value = condition()
        if value:
            return value
        time.sleep(step)
    return condition()


def name_owner(conn, name):
    import dbus
    try:
        return str(conn.get_name_owner(name))
    except dbus.exceptions.DBusException:
        return None


class Lumenstat:
    """One lumenstat process whose stdout lines are collected as they come."""

    def __init__(self, args, env):
        self.proc = subprocess.Popen([binary()] + args, env=env, stdout=subprocess.PIPE,
                                     stderr=subprocess.PIPE, text=True)
        self.lines = []
        self.started = time.monotonic()
        self._lock = threading.Lock()
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def _read(self):
        for line in self.proc.stdout:
            with self._lock:
                self.lines.append((time.monotonic(), line.rstrip("\n")))

    def count(self):
        with self._lock:
            return len(self.lines)

    def texts(self):
        with self._lock:
            return [t for _, t in self.lines]

    def wait_lines(self, n, timeout):
        return wait_for(lambda: self.count() >= n, timeout)

    def stop(self, sig=signal.SIGTERM, timeout=15):
        if self.proc.poll() is None:
            self.proc.send_signal(sig)
        try:
            return self.proc.wait(timeout)
        except subprocess.TimeoutExpired:
            self.proc.kill()
            return self.proc.wait()

    def stderr(self):
        return self.proc.stderr.read() if self.proc.poll() is not None else ""


def environment(session=None, system=None):
    """An environment with private configuration folders and the given buses."""
    home = tempfile.mkdtemp(prefix="lumenstat-itest-")
    env = dict(os.environ)
    env["XDG_CONFIG_HOME"] = os.path.join(home, "config")
    env["XDG_DATA_HOME"] = os.path.join(home, "data")
    env["QT_QPA_PLATFORM"] = "offscreen"
    env.pop("DISPLAY", None)
    env.pop("WAYLAND_DISPLAY", None)
    # Never reach the buses of the machine running the tests.
    env["DBUS_SESSION_BUS_ADDRESS"] = session or "unix:path=" + os.path.join(home, "no-session")
    env["DBUS_SYSTEM_BUS_ADDRESS"] = system or "unix:path=" + os.path.join(home, "no-system")
    return home, env


class Checks:
    """Collects failed expectations so one run reports all of them."""

    def __init__(self):
        self.failures = []

    def expect(self, condition, message):
        if not condition:
            self.failures.append(message)
            print("FAIL: " + message)
        return condition

    def finish(self):
        if self.failures:
            print("%d check(s) failed" % len(self.failures))
            sys.exit(1)
        print("all checks passed")
        sys.exit(0)
