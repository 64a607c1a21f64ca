"""Sleep and wake through a mocked systemd-logind on a private system bus: the headless
instance holds a delay inhibitor, stops sampling and saves its data when PrepareForSleep(true)
arrives, releases the lock, and resumes sampling and re-takes the lock on wake."""
import json
import os
import shutil
import signal
import subprocess
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from itest_support import (Bus, Checks, Lumenstat, environment, name_owner, skip,  # noqa: E402
                           wait_for)

try:
    import dbus
    import dbusmock  # noqa: F401
except ImportError:
    skip("python3-dbusmock is not installed for this python")

LOGIND = "org.freedesktop.login1"
MANAGER = "org.freedesktop.login1.Manager"


def ours(system):
    """The inhibitor locks Lumenstat holds, as (what, who, why, mode)."""
    obj = system.get_object(LOGIND, "/org/freedesktop/login1")
    return [tuple(str(x) for x in i[:4]) for i in obj.ListInhibitors(dbus_interface=MANAGER)
            if str(i[1]) == "Lumenstat"]


def prepare_for_sleep(system, sleeping):
    obj = system.get_object(LOGIND, "/org/freedesktop/login1")
    obj.EmitSignal(MANAGER, "PrepareForSleep", "b", [dbus.Boolean(sleeping)],
                   dbus_interface="org.freedesktop.DBus.Mock")


def read_json(path):
    try:
        with open(path) as f:
            return json.load(f)
    except (OSError, ValueError):
        return {}


def main():
    checks = Checks()
    session = Bus()
    system_bus = Bus()
    home, env = environment(session.address, system_bus.address)
    mock = subprocess.Popen(["/usr/bin/python3", "-m", "dbusmock", "--template", "logind",
                             "--system"], env=env, stdout=subprocess.DEVNULL,
                            stderr=subprocess.DEVNULL)
    app = None
    try:
        system = system_bus.connection()
        if not wait_for(lambda: name_owner(system, LOGIND), 15):
            skip("the logind mock did not start")

        app = Lumenstat(["--monitor", "--json"], env)
        checks.expect(app.wait_lines(2, 30), "the monitor printed ticks")
        locks = wait_for(lambda: ours(system), 10)
        checks.expect(locks and locks[0][0] == "sleep" and locks[0][3] == "delay",
                      "a delay inhibitor for sleep is held while running: %r" % (locks,))

        # Let the start-up writes reach disk, then change a setting and go to sleep at once:
        # only the sleep path's flush can put it on disk before the writer's delay is over.
        time.sleep(3)
        config = os.path.join(env["XDG_CONFIG_HOME"], "lumenstat")
        session_conn = session.connection()
        service = session_conn.get_object("com.quillfern.Lumenstat", "/")
        service.SetValue("app.count.appReviewRequest", dbus.Int64(42, variant_level=1), dbus_interface="com.quillfern.Lumenstat")
        asked = time.monotonic()
        prepare_for_sleep(system, True)
        released = wait_for(lambda: not ours(system), 10)
        waited = time.monotonic() - asked
        checks.expect(released, "the inhibitor is released after the sleep path")
        settings = read_json(os.path.join(config, "settings.json"))
        group = read_json(os.path.join(config, "group.json"))
        if waited < 1.5:
            checks.expect(settings.get("app.count.appReviewRequest") == 42,
                          "settings were flushed before the lock was released: %r" % settings)
        # Data usage is saved every 60 ticks; this early it can only come from the sleep path.
        checks.expect("app.dataUsage.data" in group,
                      "data usage totals saved on sleep: %r" % sorted(group))
        last = json.loads(app.texts()[-1])
        if last.get("netMode") and "kNetActivitiesWiFiDataKey" in group:
            checks.expect(group["kNetActivitiesWiFiDataKey"][0] <= last["netActivities"]["up"] + 1,
                          "the stored traffic totals are not ahead of the ticks")

        time.sleep(1.2)  # a tick already on its way may still arrive
        asleep = app.count()
        time.sleep(3)
        checks.expect(app.count() == asleep,
                      "no ticks while asleep (%d -> %d)" % (asleep, app.count()))
        checks.expect(app.proc.poll() is None, "the instance keeps running while asleep")

        prepare_for_sleep(system, False)
        checks.expect(app.wait_lines(asleep + 2, 10), "sampling restarts after wake")
        checks.expect(wait_for(lambda: ours(system), 10), "the inhibitor is taken again on wake")
        ticks = [json.loads(t) for t in app.texts()]
        times = [t["time"] for t in ticks]
        checks.expect(times[-1] > times[0] or len(times[-1]) > len(times[0]),
                      "session time runs on across sleep: %r" % times)

        rc = app.stop(signal.SIGTERM)
        checks.expect(rc == 0, "SIGTERM ends the instance cleanly (rc %s)" % rc)
        checks.expect(wait_for(lambda: not ours(system), 5), "no inhibitor left after exit")
        checks.expect(wait_for(lambda: name_owner(session_conn, "com.quillfern.Lumenstat") is None,
                               5), "the bus name is given up at exit")
        checks.expect(read_json(os.path.join(config, "settings.json")).get("app.count.appReviewRequest")
                      == 42, "settings are on disk after exit")

        # Without logind on the system bus the app runs on without sleep handling.
        mock.terminate()
        mock.wait(10)
        solo = Lumenstat(["--monitor", "--json", "--ticks", "2"], env)
        checks.expect(solo.proc.wait(60) == 0 and solo.count() == 2,
                      "the monitor runs without logind (rc %s, %d lines)"
                      % (solo.proc.returncode, solo.count()))
    finally:
        if app:
            app.stop(signal.SIGKILL)
        if mock.poll() is None:
            mock.kill()
            mock.wait()
        session.close()
        system_bus.close()
        shutil.rmtree(home, ignore_errors=True)
    checks.finish()


if __name__ == "__main__":
    main()
