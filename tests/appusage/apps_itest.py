"""Per-app usage end to end: the app instance with tracking on runs the stand-in tool that
plays recorded chunks over a procfs tree, stores the day when it ends, and after a restart
`lumenstat --apps today --json` shows the same figures, from the running instance and from
the database. The monitor never starts the tool."""
import json
import os
import shutil
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "app"))
from itest_support import Bus, Checks, Lumenstat, binary, environment, name_owner, wait_for  # noqa

SOURCE = os.environ.get("LUMENSTAT_SOURCE_DIR",
                        os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", ".."))
FIXTURES = os.path.join(SOURCE, "tests", "fixtures", "appusage")
NAME = "com.quillfern.Lumenstat"

checks, bus = Checks(), Bus()
home, env = environment(bus.address)
conn = bus.connection()
os.makedirs(os.path.join(home, "config", "lumenstat"))
with open(os.path.join(home, "config", "lumenstat", "settings.json"), "w") as f:
    json.dump({"WantsAppDataUsageTracking": True}, f)
# The user's own entries live in the data home, beside the database.
shutil.copytree(os.path.join(FIXTURES, "home-share", "applications"),
                os.path.join(home, "data", "applications"))
args_file, done_file = os.path.join(home, "args"), os.path.join(home, "done")
env.update(LUMENSTAT_PROCFS_ROOT=os.path.join(FIXTURES, "proc"),
           XDG_DATA_DIRS=os.path.join(FIXTURES, "system-share"),
           LUMENSTAT_NETTOP_PATH=os.path.join(SOURCE, "tests", "appusage", "fake_nettop.sh"),
           FAKE_NETTOP_CHUNKS=os.path.join(FIXTURES, "chunks"), FAKE_NETTOP_ARGS=args_file,
           FAKE_NETTOP_DONE=done_file, FAKE_NETTOP_INTERVAL="0.1")


def apps_json(*extra):
    import subprocess
    r = subprocess.run([binary(), "--apps", "today", "--json", *extra], env=env,
                       capture_output=True, text=True, timeout=60)
    checks.expect(r.returncode == 0, "--apps exits 0, not %d: %s" % (r.returncode, r.stderr))
    try:
        return json.loads(r.stdout)
    except ValueError:
        checks.expect(False, "--apps --json prints JSON, not %r" % r.stdout)
        return {}


def figures(report):
    return [(a["bundleIdentifier"], a["name"], a["bytesIn"], a["bytesOut"])
            for a in report.get("apps", [])] + \
           [(None, a["name"], a["bytesIn"], a["bytesOut"]) for a in report.get("others", [])]


# The monitor keeps no per-app usage: it never starts the tool.
monitor = Lumenstat(["--monitor", "--ticks", "2"], env)
checks.expect(monitor.wait(30) == 0, "the monitor ends after its ticks")
checks.expect(not os.path.exists(args_file), "the monitor did not start the traffic tool")

app = Lumenstat([], env)
checks.expect(wait_for(lambda: os.path.exists(done_file), 30),
              "the app instance started the tool, which played every chunk")
time.sleep(0.5)
with open(args_file) as f:
    checks.expect(f.read().split("\n")[:10] ==
                  ["-d", "-P", "-J", "bytes_in, bytes_out", "-x", "-L", "0", "-c", "-t",
                   "external"], "the tool gets the ten arguments")
live = apps_json()
firefox = next((a for a in live.get("apps", []) if a["name"] == "Firefox ESR"), {})
checks.expect(firefox.get("bundleIdentifier") == "firefox-esr" and
              (firefox.get("bytesIn"), firefox.get("bytesOut")) == (4090, 609),
              "Firefox with its children: %r" % firefox)
# The lists' rules themselves: tests/appusage/provider_test and report_test.
tool_pid = int(open("/proc/%d/task/%d/children" % (app.proc.pid, app.proc.pid)).read().split()[0]) \
    if os.path.exists("/proc/%d/task/%d/children" % (app.proc.pid, app.proc.pid)) else None
checks.expect(app.stop() == 0, "the app ends cleanly on SIGTERM")
if tool_pid:
    checks.expect(wait_for(lambda: not os.path.exists("/proc/%d" % tool_pid), 10),
                  "the tool ended with the app")

# A restart within the day: the stored hours go on; the new tool's first chunk is dropped.
os.remove(done_file)
env["FAKE_NETTOP_CHUNKS"] = os.path.join(home, "first-only")
os.makedirs(env["FAKE_NETTOP_CHUNKS"])
shutil.copy(os.path.join(FIXTURES, "chunks", "01"), env["FAKE_NETTOP_CHUNKS"])
app = Lumenstat([], env)
checks.expect(wait_for(lambda: os.path.exists(done_file) and name_owner(conn, NAME), 30),
              "the restarted instance runs the tool again")
again = apps_json()
checks.expect(figures(again) == figures(live),
              "after a restart the instance shows the stored day: %r" % figures(again))
checks.expect(app.stop() == 0, "the restarted app ends cleanly")
stored = apps_json()
checks.expect(figures(stored) == figures(live),
              "without an instance the database shows the day: %r" % figures(stored))
checks.expect(oct(os.stat(os.path.join(home, "data", "lumenstat", "net.db")).st_mode & 0o777)
              == "0o600", "the database is private")
checks.finish()
