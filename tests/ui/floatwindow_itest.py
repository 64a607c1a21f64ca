#!/usr/bin/python3
"""The real app on an X server: the first run opens the floating window with the
window-manager states that keep it above, on every desktop and out of the task bar and
pager, without taking the focus; a drag moves it, switching it off and on through `--set`
brings it back in place, and the place is kept. ShowSettings on D-Bus (twice) and
`lumenstat --settings` of a second start show one settings window. Sizes per mode, the
corner kept across modes and clamping onto the screens are tests/ui/floatwindow_test."""
import json
import os
import re
import shutil
import subprocess
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "app"))
from itest_support import (Bus, Checks, Lumenstat, binary, environment, skip, wait_for,  # noqa
                           xvfb)

for tool in ("xprop", "xwininfo", "xdotool", "gdbus"):
    if not shutil.which(tool):
        skip(tool + " is not installed")

display = xvfb()
bus = Bus()
home, env = environment(session=bus.address)
env.update(DISPLAY=display, QT_QPA_PLATFORM="xcb", LANGUAGE="en")
settings = os.path.join(env["XDG_CONFIG_HOME"], "lumenstat", "settings.json")
checks = Checks()


def x(*args):
    return subprocess.run(list(args), env=env, capture_output=True, text=True).stdout


def float_window():
    for line in x("xwininfo", "-root", "-children").splitlines():
        m = re.match(r"\s*(0x[0-9a-f]+) \"Lumenstat\": .* (\d+)x(\d+)\+", line)
        if m and (m.group(2), m.group(3)) in (("132", "112"), ("252", "112")):
            return m.group(1)
    return None


def geometry(window):
    info = x("xwininfo", "-id", window)
    value = lambda name: int(re.search(name + r":\s+(-?\d+)", info).group(1))
    return (value("Absolute upper-left X"), value("Absolute upper-left Y"), value("Width"),
            value("Height"))


app = Lumenstat([], env)
window = wait_for(float_window, 20)
if checks.expect(window, "the first run opens the floating window"):
    props = x("xprop", "-id", window, "_NET_WM_STATE", "_NET_WM_DESKTOP", "WM_HINTS")
    for state in ("ABOVE", "STICKY", "SKIP_TASKBAR", "SKIP_PAGER"):
        checks.expect("_NET_WM_STATE_" + state in props, "state " + state + ": " + props)
    checks.expect("_NET_WM_DESKTOP(CARDINAL) = 4294967295" in props, "on every desktop")
    checks.expect("accepts input or input focus: False" in props, "never takes the focus")
    left, top, width, height = geometry(window)
    checks.expect((width, height) == (132, 112), "compact size %dx%d" % (width, height))
    checks.expect(left + width <= 1280 and top >= 0, "first place on the screen")
    x("xdotool", "mousemove", str(left + 60), str(top + 50), "mousedown", "1",
      "mousemove", str(left + 20), str(top + 150), "mousemove", "400", "300", "mouseup", "1")
    moved = wait_for(lambda: geometry(window)[:2] == (340, 250), 5)
    checks.expect(moved, "a drag moves the window: %s" % (geometry(window),))

    def set_value(assignment):
        subprocess.run([binary(), "--set", assignment], env=env, capture_output=True,
                       timeout=30)

    set_value("app.settings.wantsFloatWindow=false")
    checks.expect(wait_for(lambda: float_window() is None, 5), "switched off, it closes")
    set_value("app.settings.wantsFloatWindow=true")
    window = wait_for(float_window, 10)
    checks.expect(window and geometry(window) == (340, 250, 132, 112),
                  "switched on, it opens where it was: %s" % (window and geometry(window),))

# The settings window: one, however it is asked for.
show = ["gdbus", "call", "--session", "--dest", "com.quillfern.Lumenstat", "--object-path", "/",
        "--method", "com.quillfern.Lumenstat.ShowSettings"]
settings_windows = lambda: x("xdotool", "search", "--onlyvisible", "--name", "^Settings$").split()
checks.expect(subprocess.run(show, env=env, capture_output=True).returncode == 0, "ShowSettings")
windows = wait_for(settings_windows, 10)
subprocess.run(show, env=env, capture_output=True)
second = subprocess.run([binary(), "--settings"], env=env, capture_output=True, timeout=30)
checks.expect(second.returncode == 0, "--settings of a second start exits 0")
time.sleep(0.5)
checks.expect(len(windows) == 1 and settings_windows() == windows,
              "one settings window: %r then %r" % (windows, settings_windows()))
checks.expect(app.stop() == 0, "clean exit")
stored = json.load(open(settings))
checks.expect(stored.get("app.floatWindow.origin") == [340, 250],
              "place kept: %s" % stored.get("app.floatWindow.origin"))

checks.finish()
