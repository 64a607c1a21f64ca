#!/usr/bin/python3
"""The real app on a private session bus with the test tray host (sni_host.py): the item
registers with every property hosts read and a wide IconPixmap at the screen's scale
(QT_SCALE_FACTOR=2), `lumenstat --set` switches the style live, "square" rendering sends the
symbolic icon by name (resolvable in IconThemePath) with its pixmap once and the speeds in the
tooltip, as a label only to hosts that show labels; a click is answered and the item registers
again when the watcher restarts. Its dbusmenu lists the four entries, keeps the launch-at-login
check mark in step with the setting both ways, and Quit ends the app with the settings saved."""
import json
import os
import queue
import shutil
import subprocess
import sys
import threading
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "app"))
from itest_support import Bus, Checks, binary, environment, skip  # noqa: E402


class Host:
    """sni_host.py with its events as they come."""

    def __init__(self, env, *args):
        self.proc = subprocess.Popen(["/usr/bin/python3", os.path.join(HERE, "sni_host.py"), *args],
                                     stdin=subprocess.PIPE, stdout=subprocess.PIPE, env=env, text=True)
        self.events = queue.Queue()
        threading.Thread(target=lambda: [self.events.put(json.loads(line)) for line in self.proc.stdout],
                         daemon=True).start()

    def wait(self, name, timeout=8.0, accept=lambda e: True):
        end = time.monotonic() + timeout
        while time.monotonic() < end:
            try:
                e = self.events.get(timeout=max(0.01, end - time.monotonic()))
            except queue.Empty:
                return None
            if e["event"] == name and accept(e):
                return e
        return None

    def send(self, line):
        self.proc.stdin.write(line + "\n")
        self.proc.stdin.flush()

    def stop(self):
        if self.proc.poll() is None:
            self.send("quit")
            self.proc.wait(timeout=5)


def width_of(e):
    return e["pixmaps"][0][0] if e and e.get("pixmaps") else 0


PROPERTIES = {"AttentionAccessibleDesc", "AttentionIconName", "AttentionIconPixmap",
              "AttentionMovieName", "Category", "IconAccessibleDesc", "IconName", "IconPixmap",
              "IconThemePath", "Id", "ItemIsMenu", "Menu", "OverlayIconName", "OverlayIconPixmap",
              "Status", "Title", "ToolTip", "WindowId", "XAyatanaLabel", "XAyatanaLabelGuide",
              "XAyatanaOrderingIndex"}


def entries(layout):
    """The menu's children as (label or "-", enabled, toggle-state or None)."""
    return [(c[1].get("label", "-"), c[1].get("enabled", True), c[1].get("toggle-state"))
            for c in layout[1][2]]


def main():
    bus = Bus()
    home, env = environment(session=bus.address)
    env["QT_SCALE_FACTOR"] = "2"
    env["XDG_RUNTIME_DIR"] = os.path.join(home, "run")
    os.makedirs(env["XDG_RUNTIME_DIR"], mode=0o700)
    os.makedirs(os.path.join(home, "config", "lumenstat"))
    with open(os.path.join(home, "config", "lumenstat", "settings.json"), "w") as f:
        json.dump({"app.menuBar.trayRendering": "wide", "app.netMenu.boxType": 1}, f)
    checks, host, app = Checks(), Host(env), None

    def set_key(assignment):
        r = subprocess.run([binary(), "--set", assignment], env=env, capture_output=True, text=True)
        checks.expect(r.returncode == 0, "--set %s: %s" % (assignment, r.stderr))

    try:
        if not host.wait("ready"):
            skip("the test tray host did not start (python3-dbus, python3-gi)")
        app = subprocess.Popen([binary()], env=env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        reg = host.wait("registered", timeout=10)
        if not checks.expect(reg, "no item registered; the app exited with %s" % app.poll()):
            return checks
        checks.expect(PROPERTIES <= set(reg["names"]), "missing: %s" % (PROPERTIES - set(reg["names"])))
        checks.expect(reg["menu"] == "/MenuBar" and reg["label"] == "" and reg["icon_name"] == "",
                      "wide: %r" % reg)
        checks.expect(width_of(reg) == 248 or host.wait("NewIcon", accept=lambda e: width_of(e) == 248),
                      "wide rendering of style 1 is not 248 px wide at 2x")
        set_key("app.netMenu.boxType=8")
        checks.expect(host.wait("NewIcon", accept=lambda e: width_of(e) == 312),
                      "--set app.netMenu.boxType=8 did not switch the item to 156 points")
        set_key("app.menuBar.trayRendering=square")
        e = host.wait("NewIcon", accept=lambda e: width_of(e) == 44)
        checks.expect(e, "square rendering is not a 44 px square at 2x")
        e = e if e and "/s" in e["tooltip_text"] else host.wait(
            "NewToolTip", accept=lambda e: "/s" in e["tooltip_text"])
        checks.expect(e and e["label"] == "", "square: speeds in the tooltip, no label: %r" % e)
        checks.expect(e and e["icon_name"] == "lumenstat-symbolic" and os.path.isfile(
            os.path.join(e["theme_path"], "hicolor/scalable/status/lumenstat-symbolic.svg")),
            "square: no symbolic icon that resolves in IconThemePath: %r" % e)
        checks.expect(not host.wait("NewIcon", timeout=2.5), "the unchanged square icon went again")
        host.send("activate 321 7")
        checks.expect(host.wait("Activate"), "Activate(x, y) was not answered")
        host.send("probe")
        e = host.wait("probed")
        checks.expect(e and e["errors"] == ["org.freedesktop.DBus.Error.UnknownProperty",
                                            "org.freedesktop.DBus.Error.PropertyReadOnly"]
                      and e["status"] == "Active", "unknown or written properties: %r" % e)

        host.send("menu")
        menu = host.wait("GetLayout")
        checks.expect(menu and entries(menu["reply"]) == [
            ("Open Panel", True, None), ("Settings…", True, None), ("Launch at Login", True, 0),
            ("-", True, None), ("Quit", True, None)], "menu: %r" % menu)
        host.send("click 3")  # Launch at Login
        e = host.wait("ItemsPropertiesUpdated")
        checks.expect(e and [[i, p.get("toggle-state")] for i, p in e["args"][0]] == [[3, 1]],
                      "the check mark did not follow the click: %r" % e)
        checks.expect(host.wait("LayoutUpdated"), "no LayoutUpdated after the toggle")
        set_key("WantsAutoLogin=false")
        e = host.wait("ItemsPropertiesUpdated")
        checks.expect(e and e["args"][0][0][1].get("toggle-state") == 0,
                      "the check mark did not follow --set: %r" % e)
        host.send("events 3 99")
        e = host.wait("EventGroup")
        checks.expect(e and e["reply"] == [[99]], "EventGroup id errors: %r" % e)
        host.send("show 1 99")
        e = host.wait("AboutToShowGroup")
        checks.expect(e and e["reply"] == [[], [99]], "AboutToShowGroup: %r" % e)

        host.stop()
        host = Host(env, "--as", "gnome-shell")  # a host that shows labels
        reg = host.wait("ready") and host.wait("registered")
        checks.expect(reg, "the item did not register again after the watcher restarted")
        checks.expect(reg and "/s" in reg["label"] or host.wait(
            "XAyatanaNewLabel", accept=lambda e: "/s" in e["label"]), "no speeds in the label")
        host.send("click 4")  # Quit
        checks.expect(host.wait("Event"), "Quit's Event was not answered")
        try:
            rc = app.wait(timeout=10)
        except subprocess.TimeoutExpired:
            rc = None
        checks.expect(rc == 0, "Quit did not end the app (%s)" % rc)
        with open(os.path.join(home, "config", "lumenstat", "settings.json")) as f:
            checks.expect(json.load(f).get("WantsAutoLogin") is True,
                          "the toggle from EventGroup was not saved on Quit")
    finally:
        host.stop()
        if app:
            app.terminate()
            app.wait(timeout=10)
        bus.close()
        shutil.rmtree(home, ignore_errors=True)
    return checks


if __name__ == "__main__":
    main().finish()
