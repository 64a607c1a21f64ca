"""One instance per user on a private session bus: a second `lumenstat` asks the first to
show itself and exits 0 at once; `--monitor` prints the running instance's ticks instead of
sampling itself, and carries on by itself when that instance ends; `--set` reaches the
running instance typed."""
import json
import os
import shutil
import signal
import subprocess
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from itest_support import (Bus, Checks, Lumenstat, binary, environment, name_owner,  # noqa
                           skip, wait_for)

try:
    import dbus
except ImportError:
    skip("python3-dbus is not installed for this python")

NAME = IFACE = "com.quillfern.Lumenstat"


def seconds(time_text):
    """Session time text (SS, MM:SS, HH:MM:SS, D.HH:MM:SS) in seconds."""
    days, _, clock = time_text.rpartition(".")
    total = 0
    for part in clock.split(":"):
        total = total * 60 + int(part)
    return int(days or 0) * 86400 + total


def run(args, env, timeout=60):
    return subprocess.run([binary()] + args, env=env, capture_output=True, text=True,
                          timeout=timeout)


checks, bus = Checks(), Bus()
_, env = environment(bus.address)
conn = bus.connection()
first = Lumenstat([], env)  # the tray app on the offscreen platform
owner = wait_for(lambda: name_owner(conn, NAME), 30)
if not checks.expect(owner, "the first instance owns %s" % NAME):
    print(first.stop(), first.stderr())
    checks.finish()
service = conn.get_object(NAME, "/")
# Nobody follows yet: no Tick goes over the bus at all.
if shutil.which("dbus-monitor"):
    mon = subprocess.Popen(["dbus-monitor", "--address", bus.address,
                            "type='signal',interface='%s',member='Tick'" % IFACE],
                           stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    time.sleep(2.5)
    mon.terminate()
    checks.expect("member=Tick" not in mon.communicate()[0], "no Tick while nobody follows")

began = time.monotonic()
second = run([], env, timeout=30)
checks.expect(second.returncode == 0 and time.monotonic() - began < 10,
              "a second start exits 0 at once: %s" % second.stderr.strip())
checks.expect(first.proc.poll() is None and name_owner(conn, NAME) == owner,
              "the first instance keeps running and keeps the name")
shown = run(["--show"], env, timeout=30)
checks.expect(shown.returncode == 0, "--show asks the running instance: %r" % shown.stderr)
# A panel plug-in's click: the overload with the plug-in's point and panel edge.
try:
    service.ShowPanel(dbus.Int32(500), dbus.Int32(30), "top", signature="iis",
                      dbus_interface=IFACE)
    service.ShowPanel(dbus.Int32(500), dbus.Int32(30), "top", signature="iis",
                      dbus_interface=IFACE)
    plugin_click = ""
except dbus.DBusException as e:
    plugin_click = e.get_dbus_message()
checks.expect(plugin_click == "", "ShowPanel(x, y, edge) toggles the panel: %r" % plugin_click)

# --monitor prints the first instance's ticks: its session time, not a fresh one.
time.sleep(4)
follower = run(["--monitor", "--json", "--ticks", "3"], env)
times = [seconds(json.loads(line)["time"]) for line in follower.stdout.splitlines()]
checks.expect(follower.returncode == 0 and len(times) == 3 and times[0] >= 3
              and times == sorted(times), "3 ticks of the running sampler: %r" % times)
checks.expect(name_owner(conn, NAME) == owner, "followers never take the name")

# --set reaches the running instance, typed and checked against the key table.
values = (("app.netMenu.boxType", 7), ("WantsBatteryNotification", ["20", "10"]),
          ("com.quillfern.lumenstat.appDataUsage.widgetData", {"k": {"n": -1}}),
          ("app.settings.floatWindowBackgroundAlpha", 1.0))
# The alpha goes as "1" and comes back as 1.0: the key's type decides.
args = sum((["--set", "%s=%s" % (k, int(v) if type(v) is float else json.dumps(v))]
            for k, v in values), [])
result = run(args, env)
checks.expect(result.returncode == 0 and "running instance" in result.stdout,
              "--set talks to the running instance: %r" % result.stderr)


def value(key):
    return json.loads(str(service.GetValue(key, dbus_interface=IFACE)))


for key, expected in values:
    got = value(key)
    checks.expect(got == expected and type(got) is type(expected),
                  "%s arrives as %r: %r" % (key, expected, got))
removed = run(["--set", "app.netMenu.boxType="], env)
checks.expect(removed.returncode == 0 and value("app.netMenu.boxType") is None,
              "an empty value removes the key")
try:
    service.SetValue("NoSuchKey", dbus.Int64(1, variant_level=1), dbus_interface=IFACE)
    refused = ""
except dbus.DBusException as e:
    refused = e.get_dbus_message()
checks.expect("unknown settings key" in refused, "an unknown key is refused: %r" % refused)

# A follower takes over when the instance it follows ends.
taker = Lumenstat(["--monitor", "--json", "--ticks", "6"], env)
checks.expect(taker.wait_lines(2, 30), "the follower prints the instance's ticks")
checks.expect(first.stop(signal.SIGTERM) == 0, "the first instance ends on SIGTERM")
# The follower is now the instance, without a display: it says it has no panel.
wait_for(lambda: name_owner(conn, NAME) not in (None, owner), 10)
for method in ("ShowPanel", "ShowSettings"):
    try:
        getattr(conn.get_object(NAME, "/"), method)(dbus_interface=IFACE, signature="")
        no_panel = ""
    except dbus.DBusException as e:
        no_panel = e.get_dbus_name()
    checks.expect(no_panel == "com.quillfern.Lumenstat.Error.NoPanel",
                  "a headless instance answers %s with an error: %r" % (method, no_panel))
rc = taker.wait(60)
own = [seconds(json.loads(t)["time"]) for t in taker.texts()]
checks.expect(rc == 0 and len(own) == 6 and own[-1] < own[0],
              "the follower carries on by itself, its session time anew: %r" % own)
with open(os.path.join(env["XDG_CONFIG_HOME"], "lumenstat", "settings.json")) as f:
    checks.expect(json.load(f).get("WantsBatteryNotification") == ["20", "10"],
                  "settings set over the bus are on disk after exit")

# With no session bus there is no single-instance check: two monitors sample.
_, lonely = environment()
pair = [Lumenstat(["--monitor", "--ticks", "2"], lonely) for _ in range(2)]
checks.expect(all(m.wait(60) == 0 and m.count() == 2 for m in pair),
              "without a session bus every monitor samples by itself")
checks.finish()
