"""Launch at login with the real binary: the running instance writes and removes its
autostart entry as WantsAutoLogin changes (`--set` through D-Bus), `--set` alone switches it
when no instance runs, the entry's Exec starts the app (from a folder whose name needs
quoting). The entry's text and mode, replacing an edited one and an unwritable autostart
folder (one line on standard error, the switch stays on) are tests/app/LoginHelper_test."""
import os
import re
import shutil
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from itest_support import Bus, Checks, binary, environment, name_owner, wait_for  # noqa


def exec_arguments(value):
    """The arguments of an Exec value as a launcher splits them: string escapes first, then
    double quotes with their backslash escapes, then %% as %."""
    text = re.sub(r"\\(.)", lambda m: {"s": " ", "n": "\n", "t": "\t", "r": "\r"}.get(
        m.group(1), m.group(1)), value)
    return [(re.sub(r"\\(.)", r"\1", quoted) if not plain else plain).replace("%%", "%")
            for quoted, plain in re.findall(r'"((?:[^"\\]|\\.)*)"|(\S+)', text)]


def entry_exec(path):
    with open(path, encoding="utf-8") as f:
        return next((l[5:].rstrip("\n") for l in f if l.startswith("Exec=")), "")


checks, bus = Checks(), Bus()
home, env = environment(bus.address)
_, offline = environment()
offline.update(XDG_CONFIG_HOME=env["XDG_CONFIG_HOME"], XDG_DATA_HOME=env["XDG_DATA_HOME"])
entry = os.path.join(env["XDG_CONFIG_HOME"], "autostart", "lumenstat.desktop")

# The app from a folder whose name a launcher would split or expand unless quoted.
folder = tempfile.mkdtemp(prefix="lumenstat autostart $HOME ")
app = os.path.join(folder, "lumenstat")
shutil.copy2(binary(), app)


def run(args, environment, timeout=60):
    return subprocess.run([app] + args, env=environment, capture_output=True, text=True,
                          timeout=timeout)


try:
    # Switched on and off in the running instance.
    instance = subprocess.Popen([app, "--monitor"], env=env, stdout=subprocess.DEVNULL)
    checks.expect(wait_for(lambda: name_owner(bus.connection(), "com.quillfern.Lumenstat"), 20),
                  "the instance owns its name on the bus")
    checks.expect(not os.path.exists(entry), "no entry while the setting is off")
    r = run(["--set", "WantsAutoLogin=true"], env)
    checks.expect(r.returncode == 0 and "running instance" in r.stdout, "set through the bus")
    checks.expect(wait_for(lambda: os.path.exists(entry), 10), "the instance wrote the entry")
    if os.path.exists(entry):
        checks.expect(exec_arguments(entry_exec(entry)) == [app],
                      "Exec names the running binary: %r" % entry_exec(entry))
    run(["--set", "WantsAutoLogin=false"], env)
    checks.expect(wait_for(lambda: not os.path.exists(entry), 10), "the instance removed it")
    instance.terminate()
    checks.expect(instance.wait(20) == 0, "the instance ends cleanly")

    # No instance: `--set` switches it by itself; the entry starts the app.
    r = run(["--set", "WantsAutoLogin=false"], offline)
    checks.expect(r.returncode == 0 and not os.path.exists(entry), "--set alone removes it")
    r = run(["--set", "WantsAutoLogin=true"], offline)
    checks.expect(r.returncode == 0 and os.path.exists(entry), "--set alone writes it")
    if os.path.exists(entry):
        command = exec_arguments(entry_exec(entry))
        r = subprocess.run(command + ["--monitor", "--ticks", "1"], env=offline,
                           capture_output=True, text=True, timeout=60)
        checks.expect(r.returncode == 0 and len(r.stdout.splitlines()) == 1,
                      "the entry's command runs the app: rc %d, %r %r" %
                      (r.returncode, r.stdout, r.stderr[-400:]))

finally:
    shutil.rmtree(folder, True)
checks.finish()
