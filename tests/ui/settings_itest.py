#!/usr/bin/python3
"""The settings window on a real X server (Xvfb) with the test tray host: ShowSettings on
D-Bus opens it (a second call and `lumenstat --settings` of a second start leave one window),
the keyboard alone goes to the network page and picks the list's second style, and
the tray item's picture changes to that style (wide, 124 points, to compact, 48)."""
import json
import os
import shutil
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "app"))
sys.path.insert(0, os.path.join(HERE, "..", "menubar"))
from itest_support import Bus, Checks, binary, environment, skip, wait_for  # noqa: E402
from statusitem_itest import Host  # noqa: E402

DISPLAY = ":64"


def xdotool(env, *args):
    r = subprocess.run(["xdotool", *args], env=env, capture_output=True, text=True, timeout=20)
    return r.stdout.split()


def settings_windows(env):
    return xdotool(env, "search", "--onlyvisible", "--name", "^Settings$")


def call(env, method, *args):
    return subprocess.run(["gdbus", "call", "--session", "--dest", "com.quillfern.Lumenstat",
                           "--object-path", "/", "--method", "com.quillfern.Lumenstat." + method,
                           *args], env=env, capture_output=True, text=True, timeout=10)


def stored_style(env):
    return call(env, "GetValue", "app.netMenu.boxType").stdout.strip()


def main():
    for tool in ("Xvfb", "xdotool", "gdbus"):
        if not shutil.which(tool):
            skip(tool + " is not installed")
    xvfb = subprocess.Popen(["Xvfb", DISPLAY, "-screen", "0", "1280x900x24", "-nolisten", "tcp"],
                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    bus = Bus()
    home, env = environment(session=bus.address)
    env.update(DISPLAY=DISPLAY, QT_QPA_PLATFORM="xcb", LANG="C.UTF-8", LANGUAGE="en")
    env["XDG_RUNTIME_DIR"] = os.path.join(home, "run")
    os.makedirs(env["XDG_RUNTIME_DIR"], mode=0o700)
    os.makedirs(os.path.join(home, "config", "lumenstat"))
    with open(os.path.join(home, "config", "lumenstat", "settings.json"), "w") as f:
        json.dump({"app.menuBar.trayRendering": "wide", "app.netMenu.boxType": 1,
                   "com.quillfern.preferredLanguage": "en"}, f)
    checks, host, app = Checks(), None, None
    try:
        if not wait_for(lambda: subprocess.run(["xdotool", "getmouselocation"], env=env,
                                               capture_output=True).returncode == 0, 10):
            skip("Xvfb did not start on " + DISPLAY)
        host = Host(env)
        if not host.wait("ready"):
            skip("the test tray host did not start (python3-dbus, python3-gi)")
        app = subprocess.Popen([binary()], env=env, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL)
        reg = host.wait("registered", timeout=15)
        if not checks.expect(reg, "no item registered; the app exited with %s" % app.poll()):
            return checks
        width = (lambda e: e["pixmaps"][0][0] if e and e.get("pixmaps") else 0)
        checks.expect(width(reg) == 124 or host.wait("NewIcon", accept=lambda e: width(e) == 124),
                      "the wide style is not 124 px wide")

        r = call(env, "ShowSettings")
        checks.expect(r.returncode == 0, "ShowSettings: %s" % r.stderr)
        windows = wait_for(lambda: settings_windows(env), 10)
        if not checks.expect(len(windows) == 1, "ShowSettings showed %r" % windows):
            return checks
        call(env, "ShowSettings")
        second = subprocess.run([binary(), "--settings"], env=env, capture_output=True, text=True,
                                timeout=20)
        checks.expect(second.returncode == 0, "--settings of a second start: %s" % second.stderr)
        time.sleep(0.5)
        checks.expect(settings_windows(env) == windows, "opening again made another window")

        # Keyboard only: the next page, into the style list (its first entry), the second.
        window = windows[0]
        xdotool(env, "windowfocus", "--sync", window)
        xdotool(env, "key", "--delay", "150", "ctrl+Next", "Tab", "Down", "space")
        checks.expect(wait_for(lambda: stored_style(env) == "('0',)", 5),
                      "the keys did not pick compact (stored %s)" % stored_style(env))
        checks.expect(host.wait("NewIcon", timeout=6, accept=lambda e: width(e) == 48),
                      "the tray item's picture did not change to the compact style")
    finally:
        if host:
            host.stop()
        if app:
            app.terminate()
            app.wait(timeout=10)
        xvfb.terminate()
        xvfb.wait(timeout=10)
        bus.close()
        shutil.rmtree(home, ignore_errors=True)
    return checks


if __name__ == "__main__":
    main().finish()
