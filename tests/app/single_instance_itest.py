"""One instance per user on a private session bus: a second `lumenstat` asks the first to
show itself and exits 0 at once; `--monitor` prints the running instance's ticks instead of
sampling itself, and carries on by itself when that instance ends; `--set` reaches the
running instance typed, or writes the settings file when none runs."""
import json
import os
import shutil
import signal
import subprocess
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from itest_support import (Bus, Checks, Lumenstat, binary, environment, name_owner,  # noqa: E402
                           skip, wait_for)

try:
    import dbus
except ImportError:
    skip("python3-dbus is not installed for this python")

NAME = "com.quillfern.Lumenstat"
IFACE = "com.quillfern.Lumenstat"


def seconds(time_text):
    """Session time text (SS, MM:SS, HH:MM:SS, D.HH:MM:SS) in seconds."""
    days, _, clock = time_text.rpartition(".")
    total = 0
    for part in clock.split(":"):
        total = total * 60 + int(part)
    return int(days or 0) * 86400 + total


def ticks_on_bus(address, seconds):
    """How many Tick signals the bus carried during the given seconds."""
    if not shutil.which("dbus-monitor"):
        return None
    mon = subprocess.Popen(["dbus-monitor", "--address", address,
                            "type='signal',interface='%s',member='Tick'" % IFACE],
                           stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    time.sleep(seconds)
    mon.terminate()
    out = mon.communicate()[0]
    return sum(1 for line in out.splitlines() if "member=Tick" in line)


def run(args, env, timeout=60):
    return subprocess.run([binary()] + args, env=env, capture_output=True, text=True,
                          timeout=timeout)


def main():
    checks = Checks()
    bus = Bus()
    home, env = environment(bus.address)
    first = None
    try:
        conn = bus.connection()
        first = Lumenstat([], env)  # the tray app on the offscreen platform
        owner = wait_for(lambda: name_owner(conn, NAME), 30)
        if not checks.expect(owner, "the first instance owns %s" % NAME):
            print(first.stop(), first.stderr())
            checks.finish()
        service = conn.get_object(NAME, "/")
        xml = str(service.Introspect(dbus_interface="org.freedesktop.DBus.Introspectable"))
        missing = [m for m in ("ShowPanel", "SetValue", "RemoveValue", "GetValue", "Tick",
                               "ValueChanged") if 'name="%s"' % m not in xml]
        checks.expect(not missing, "members missing on the bus: %r" % missing)
        # Nobody follows yet: no Tick goes over the bus at all.
        quiet = ticks_on_bus(bus.address, 2.5)
        checks.expect(quiet in (0, None), "no Tick signal while nobody follows (%r)" % quiet)

        # A second plain start: asks the first to show itself and ends at once.
        began = time.monotonic()
        second = run([], env, timeout=30)
        took = time.monotonic() - began
        checks.expect(second.returncode == 0, "a second start exits 0 (rc %d, %s)"
                      % (second.returncode, second.stderr.strip()))
        checks.expect(took < 10, "a second start ends at once (%.1f s)" % took)
        checks.expect(first.proc.poll() is None, "the first instance keeps running")
        checks.expect(name_owner(conn, NAME) == owner, "the name stays with the first instance")

        # --monitor prints the first instance's ticks: its session time, not a fresh one
        # (the first started sampling right after it took the name).
        time.sleep(4)
        follower = run(["--monitor", "--json", "--ticks", "3"], env)
        lines = [json.loads(line) for line in follower.stdout.splitlines()]
        checks.expect(follower.returncode == 0 and len(lines) == 3,
                      "the follower prints 3 ticks and ends (rc %d, %d lines)"
                      % (follower.returncode, len(lines)))
        if lines:
            start = seconds(lines[0]["time"])
            checks.expect(start >= 3, "ticks come from the running sampler (time %s)"
                          % lines[0]["time"])
            checks.expect([seconds(line["time"]) for line in lines]
                          == sorted(seconds(line["time"]) for line in lines),
                          "ticks arrive in order")
        text = run(["--monitor", "--ticks", "1"], env)
        checks.expect(text.returncode == 0 and len(text.stdout.splitlines()) == 1
                      and " up " in text.stdout and " down " in text.stdout,
                      "the follower prints text lines too: %r" % text.stdout)
        checks.expect(name_owner(conn, NAME) == owner, "followers never take the name")

        # --set reaches the running instance, typed and checked against the key table.
        result = run(["--set", "app.netMenu.boxType=7", "--set", 'WantsBatteryNotification=["20","10"]',
                      "--set", 'com.quillfern.lumenstat.appDataUsage.widgetData={"k":{"n":-1}}',
                      "--set", 'app.menuBar.trayRendering="wide"', "--set", "AccentColorIndex=3",
                      "--set", "app.settings.floatWindowBackgroundAlpha=1"], env)
        checks.expect(result.returncode == 0 and "running instance" in result.stdout,
                      "--set talks to the running instance: %r %r"
                      % (result.stdout, result.stderr))

        def value(key):
            return json.loads(str(service.GetValue(key, dbus_interface=IFACE)))

        for key, expected in (("app.netMenu.boxType", 7), ("WantsBatteryNotification", ["20", "10"]),
                              ("com.quillfern.lumenstat.appDataUsage.widgetData", {"k": {"n": -1}}),
                              ("app.menuBar.trayRendering", "wide"), ("AccentColorIndex", 3),
                              ("app.settings.floatWindowBackgroundAlpha", 1.0)):
            got = value(key)
            checks.expect(got == expected and type(got) is type(expected),
                          "%s arrives as %r: %r" % (key, expected, got))
        removed = run(["--set", "app.menuBar.trayRendering="], env)
        checks.expect(removed.returncode == 0 and value("app.menuBar.trayRendering") is None,
                      "an empty value removes the key")
        try:
            service.SetValue("NoSuchKey", dbus.Int64(1, variant_level=1), dbus_interface=IFACE)
            refused = ""
        except dbus.DBusException as e:
            refused = e.get_dbus_message()
        checks.expect("unknown settings key" in refused and value("NoSuchKey") is None,
                      "the service refuses an unknown key: %r" % refused)

        # A follower takes over when the instance it follows ends.
        taker = Lumenstat(["--monitor", "--json", "--ticks", "6"], env)
        checks.expect(taker.wait_lines(2, 30), "the follower prints the instance's ticks")
        checks.expect(first.stop(signal.SIGTERM) == 0, "the first instance ends on SIGTERM")
        try:
            rc = taker.proc.wait(60)
        except subprocess.TimeoutExpired:
            rc = None
        checks.expect(rc == 0 and taker.count() == 6,
                      "the follower carries on by itself to 6 ticks (rc %s, %d lines)"
                      % (rc, taker.count()))
        own = [seconds(json.loads(t)["time"]) for t in taker.texts()]
        checks.expect(own and own[-1] < own[0], "after the take-over the session time starts "
                      "anew: %r" % own)

        config = os.path.join(env["XDG_CONFIG_HOME"], "lumenstat")
        with open(os.path.join(config, "settings.json")) as f:
            stored = json.load(f)
        checks.expect(stored.get("WantsBatteryNotification") == ["20", "10"],
                      "settings set over the bus are on disk after exit")

        # Without a running instance --set writes the file itself.
        checks.expect(wait_for(lambda: name_owner(conn, NAME) is None, 10), "nobody owns the name")
        offline = run(["--set", "app.netMenu.boxType=4", "--set", "kNetActivitiesWiFiDataKey=[5,6]"],
                      env)
        checks.expect(offline.returncode == 0 and "no running instance" in offline.stdout,
                      "--set says it wrote the file: %r" % offline.stdout)
        with open(os.path.join(config, "settings.json")) as f:
            checks.expect(json.load(f).get("app.netMenu.boxType") == 4, "the file holds the value")
        with open(os.path.join(config, "group.json")) as f:
            checks.expect(json.load(f).get("kNetActivitiesWiFiDataKey") == [5, 6],
                          "group keys go to the group file")

        # With no session bus at all there is no single-instance check: two monitors run.
        lonely_home, lonely = environment()
        lonely["XDG_CONFIG_HOME"] = env["XDG_CONFIG_HOME"]
        a = Lumenstat(["--monitor", "--ticks", "2"], lonely)
        b = Lumenstat(["--monitor", "--ticks", "2"], lonely)
        checks.expect(a.proc.wait(60) == 0 and b.proc.wait(60) == 0
                      and a.count() == 2 and b.count() == 2,
                      "without a session bus every monitor samples by itself")
        shutil.rmtree(lonely_home, ignore_errors=True)
    finally:
        if first:
            first.stop(signal.SIGKILL)
        bus.close()
        shutil.rmtree(home, ignore_errors=True)
    checks.finish()


if __name__ == "__main__":
    main()
