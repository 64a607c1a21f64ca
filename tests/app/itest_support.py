"""Helpers for the integration scripts: private D-Bus daemons, the lumenstat binary with
its own configuration folders, a reader of its output lines and a collector of checks."""
import atexit
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

def skip(message):
    print("SKIP: " + message)
    sys.exit(77)


def binary():
    path = os.environ.get("LUMENSTAT_BINARY")
    if not path or not os.access(path, os.X_OK):
        skip("LUMENSTAT_BINARY does not point at a built lumenstat")
    return path


class Bus:
    """A private session bus (tests/support/session-bus.conf: nothing is started on demand),
    killed on close() or at exit."""

    def __init__(self):
        if not shutil.which("dbus-daemon"):
            skip("dbus-daemon is not installed")
        config = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support",
                              "session-bus.conf")
        out = subprocess.run(["dbus-daemon", "--config-file=" + config, "--print-address=1",
                              "--print-pid=1", "--fork"],
                             check=True, capture_output=True, text=True).stdout
        self.address, pid = out.split("\n")[:2]
        self.pid = int(pid)
        atexit.register(self.close)

    def connection(self):
        import dbus
        return dbus.bus.BusConnection(self.address)

    def close(self):
        try:
            os.kill(self.pid, signal.SIGTERM)
        except ProcessLookupError:
            pass


def xvfb(screen="1280x800x24"):
    """A private X server on a free display, or LUMENSTAT_TEST_DISPLAY's number when set (ended
    at exit); returns the display's name."""
    if not shutil.which("Xvfb"):
        skip("Xvfb is not installed")
    fixed = os.environ.get("LUMENSTAT_TEST_DISPLAY")
    if fixed:
        proc = subprocess.Popen(["Xvfb", ":" + fixed, "-screen", "0", screen, "-nolisten", "tcp"],
                                stderr=subprocess.DEVNULL)
        atexit.register(proc.terminate)
        wait_for(lambda: os.path.exists("/tmp/.X11-unix/X" + fixed), 5)
        return ":" + fixed
    read_fd, write_fd = os.pipe()
    proc = subprocess.Popen(["Xvfb", "-displayfd", str(write_fd), "-screen", "0", screen,
                             "-nolisten", "tcp"], pass_fds=(write_fd,), stderr=subprocess.DEVNULL)
    os.close(write_fd)
    atexit.register(proc.terminate)
    return ":" + os.read(read_fd, 16).decode().strip()


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
    """One lumenstat process whose stdout lines are collected as they come; killed at exit."""

    def __init__(self, args, env):
        self.proc = subprocess.Popen([binary()] + args, env=env, stdout=subprocess.PIPE,
                                     stderr=subprocess.PIPE, text=True)
        self.lines = []  # appended by the reader thread only
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()
        atexit.register(self.stop, signal.SIGKILL)

    def _read(self):
        for line in self.proc.stdout:
            self.lines.append(line.rstrip("\n"))

    def count(self):
        return len(self.lines)

    def texts(self):
        return list(self.lines)

    def wait_lines(self, n, timeout):
        return wait_for(lambda: self.count() >= n, timeout)

    def wait(self, timeout):
        """The exit status once the process ended and its output is read, else None."""
        try:
            self.proc.wait(timeout)
        except subprocess.TimeoutExpired:
            return None
        self._reader.join(5)
        return self.proc.returncode

    def stop(self, sig=signal.SIGTERM, timeout=15):
        if self.proc.poll() is None:
            self.proc.send_signal(sig)
        rc = self.wait(timeout)
        if rc is None:
            self.proc.kill()
            rc = self.wait(15)
        return rc

    def stderr(self):
        return self.proc.stderr.read() if self.proc.poll() is not None else ""


def environment(session=None, system=None):
    """Private configuration folders (removed at exit) and the given buses, never the
    machine's own."""
    home = tempfile.mkdtemp(prefix="lumenstat-itest-")
    atexit.register(shutil.rmtree, home, True)
    env = {k: v for k, v in os.environ.items() if k not in ("DISPLAY", "WAYLAND_DISPLAY")}
    # LUMENSTAT_NO_WELCOME: a fresh profile on a real display would greet the user first.
    env.update(XDG_CONFIG_HOME=os.path.join(home, "config"), QT_QPA_PLATFORM="offscreen",
               LUMENSTAT_NO_WELCOME="1",
               XDG_DATA_HOME=os.path.join(home, "data"),
               DBUS_SESSION_BUS_ADDRESS=session or "unix:path=" + home + "/no-session",
               DBUS_SYSTEM_BUS_ADDRESS=system or "unix:path=" + home + "/no-system")
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
        print("%d check(s) failed" % len(self.failures) if self.failures else "all checks passed")
        sys.exit(1 if self.failures else 0)
