#!/usr/bin/python3
"""The real app on a private session bus with the test tray host (sni_host.py).

The item registers; in "wide" rendering its IconPixmap is the style's width at the screen's
scale (QT_SCALE_FACTOR=2 here); `lumenstat --set app.netMenu.boxType=...` switches the width
live; in "square" rendering the tooltip carries the speeds (this host shows no labels, so no
label is sent); the item registers again after the watcher restarts.
Exit 77 (skipped) when a tool is missing or the app puts no status item on the bus.
"""
import json
import os
import queue
import shutil
import subprocess
import sys
import tempfile
import threading
import time

HERE = os.path.dirname(os.path.abspath(__file__))
APP = os.environ.get("LUMENSTAT_BINARY", "")


def skip(msg):
    print("SKIP: " + msg)
    sys.exit(77)


def fail(msg):
    print("FAIL: " + msg)
    sys.exit(1)


class Host:
    def __init__(self, env):
        self.proc = subprocess.Popen(["/usr/bin/python3", os.path.join(HERE, "sni_host.py")],
                                     stdin=subprocess.PIPE, stdout=subprocess.PIPE, env=env,
                                     text=True)
        self.events = queue.Queue()
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        for line in self.proc.stdout:
            try:
                self.events.put(json.loads(line))
            except ValueError:
                pass

    def wait(self, name, timeout=8.0, accept=lambda e: True):
        end = time.time() + timeout
        while time.time() < end:
            try:
                e = self.events.get(timeout=max(0.01, end - time.time()))
            except queue.Empty:
                break
            if e.get("event") == name and accept(e):
                return e
        return None

    def stop(self):
        if self.proc.poll() is None:
            try:
                self.proc.stdin.write("quit\n")
                self.proc.stdin.flush()
                self.proc.wait(timeout=3)
            except Exception:
                self.proc.kill()


def width_of(e):
    return e["pixmaps"][0][0] if e and e.get("pixmaps") else 0


def main():
    if not APP or not os.access(APP, os.X_OK):
        skip("LUMENSTAT_BINARY is not set to the built app")
    if not shutil.which("dbus-daemon"):
        skip("dbus-daemon is not installed")
    work = tempfile.mkdtemp()
    procs = []
    try:
        daemon = subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--print-address=1"],
                                  stdout=subprocess.PIPE, text=True)
        procs.append(daemon)
        address = daemon.stdout.readline().strip()
        env = dict(os.environ)
        env.update(DBUS_SESSION_BUS_ADDRESS=address, XDG_CONFIG_HOME=work + "/config",
                   XDG_DATA_HOME=work + "/data", QT_QPA_PLATFORM="offscreen",
                   QT_SCALE_FACTOR="2")
        os.makedirs(work + "/config/lumenstat")
        with open(work + "/config/lumenstat/settings.json", "w") as f:
            json.dump({"app.menuBar.trayRendering": "wide", "app.netMenu.boxType": 1}, f)
        host = Host(env)
        if not host.wait("ready"):
            skip("the test tray host did not start (python3-dbus, python3-gi)")
        app = subprocess.Popen([APP], env=env, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL)
        procs.append(app)
        reg = host.wait("registered", timeout=10)
        if not reg:
            if app.poll() is None:
                skip("the running app put no status item on the bus (start-up does not "
                     "create it yet)")
            fail("the app exited with %s" % app.returncode)
        if width_of(reg) != 248:
            # the first pixmap may be drawn before the style is loaded: wait for it
            if not host.wait("NewIcon", accept=lambda e: width_of(e) == 248):
                fail("wide rendering of style 1 is not 248 px wide at 2x: %s" % reg["pixmaps"])
        def set_key(assignment):
            r = subprocess.run([APP, "--set", assignment], env=env, capture_output=True,
                               text=True, timeout=20)
            if r.returncode != 0:
                fail("lumenstat --set %s: %s" % (assignment, r.stderr))

        set_key("app.netMenu.boxType=8")
        if not host.wait("NewIcon", accept=lambda e: width_of(e) == 312):
            fail("--set app.netMenu.boxType=8 did not switch the item to 156 points")
        set_key("app.menuBar.trayRendering=square")
        e = host.wait("NewIcon", accept=lambda e: width_of(e) == 44)
        if not e:
            fail("square rendering is not a 44 px square at 2x")
        e = e if "/s" in e["tooltip_text"] else host.wait(
            "NewToolTip", accept=lambda e: "/s" in e["tooltip_text"])
        if not e:
            fail("square rendering shows no speeds in the tooltip")
        if e["label"]:
            fail("a label went to a host that shows none: %r" % e["label"])
        host.stop()
        host = Host(env)
        if not host.wait("ready") or not host.wait("registered", timeout=8):
            fail("the item did not register again after the watcher restarted")
        host.stop()
        print("PASS")
    finally:
        for p in reversed(procs):
            p.terminate()
            try:
                p.wait(timeout=5)
            except subprocess.TimeoutExpired:
                p.kill()
        shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    main()
