"""Sleep and wake through a mocked systemd-logind on a private system bus: the headless
instance holds a delay inhibitor, stops sampling and saves its data when PrepareForSleep(true)
arrives, releases the lock, and resumes sampling and re-takes the lock on wake."""
import atexit
import json
import os
import signal
import subprocess
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from itest_support import Bus, Checks, Lumenstat, environment, name_owner, skip, wait_for  # noqa

try:
    import dbus
    import dbusmock  # noqa: F401
except ImportError:
    skip("python3-dbusmock is not installed for this python")

LOGIND, MANAGER = "org.freedesktop.login1", "org.freedesktop.login1.Manager"


checks, session, system_bus = Checks(), Bus(), Bus()
home, env = environment(session.address, system_bus.address)
mock = subprocess.Popen(["/usr/bin/python3", "-m", "dbusmock", "--template", "logind", "--system"],
                        env=env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
atexit.register(mock.kill)
config = os.path.join(env["XDG_CONFIG_HOME"], "lumenstat")


def stored(name):
    try:
        with open(os.path.join(config, name)) as f:
            return json.load(f)
    except (OSError, ValueError):
        return {}


system = system_bus.connection()
if not wait_for(lambda: name_owner(system, LOGIND), 15):
    skip("the logind mock did not start")
logind = system.get_object(LOGIND, "/org/freedesktop/login1")


def ours():  # the inhibitor locks we hold, as (what, who, why, mode)
    return [tuple(str(x) for x in i[:4]) for i in logind.ListInhibitors(dbus_interface=MANAGER)
            if str(i[1]) == "Lumenstat"]


def prepare_for_sleep(sleeping):
    logind.EmitSignal(MANAGER, "PrepareForSleep", "b", [dbus.Boolean(sleeping)],
                      dbus_interface="org.freedesktop.DBus.Mock")


app = Lumenstat(["--monitor", "--json"], env)
checks.expect(app.wait_lines(2, 30), "the monitor printed ticks")
locks = wait_for(ours, 10)
checks.expect(locks and locks[0][0] == "sleep" and locks[0][3] == "delay",
              "a delay inhibitor for sleep is held while running: %r" % (locks,))

# Let the start-up writes reach disk, then change a setting and go to sleep at once: only the
# sleep path's flush can put it on disk before the writer's delay is over.
time.sleep(3)
session_conn = session.connection()
session_conn.get_object("com.quillfern.Lumenstat", "/").SetValue(
    "app.count.appReviewRequest", dbus.Int64(42, variant_level=1),
    dbus_interface="com.quillfern.Lumenstat")
asked = time.monotonic()
prepare_for_sleep(True)
checks.expect(wait_for(lambda: not ours(), 10), "the inhibitor is released on sleep")
if time.monotonic() - asked < 1.5:
    checks.expect(stored("settings.json").get("app.count.appReviewRequest") == 42,
                  "settings were flushed before the lock was released")
# Data usage is saved every 60 ticks; this early it can only come from the sleep path.
checks.expect("app.dataUsage.data" in stored("group.json"), "data usage saved on sleep")

time.sleep(1.2)  # a tick already on its way may still arrive
asleep = app.count()
time.sleep(3)
checks.expect(app.count() == asleep, "no ticks asleep (%d -> %d)" % (asleep, app.count()))
checks.expect(app.proc.poll() is None, "the instance keeps running while asleep")

prepare_for_sleep(False)
checks.expect(app.wait_lines(asleep + 2, 10), "sampling restarts after wake")
checks.expect(wait_for(ours, 10), "the inhibitor is taken again on wake")
times = [json.loads(t)["time"] for t in app.texts()]
checks.expect(times[-1] > times[0] or len(times[-1]) > len(times[0]),
              "session time runs on across sleep: %r" % times)

checks.expect(app.stop(signal.SIGTERM) == 0, "SIGTERM ends the instance cleanly")
checks.expect(wait_for(lambda: not ours(), 5), "no inhibitor left after exit")
checks.expect(wait_for(lambda: not name_owner(session_conn, "com.quillfern.Lumenstat"), 5),
              "the bus name is given up at exit")
checks.expect(stored("settings.json").get("app.count.appReviewRequest") == 42,
              "settings are on disk after exit")
checks.finish()
