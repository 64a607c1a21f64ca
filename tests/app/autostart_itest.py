"""Launch at login with the real binary: the running instance writes and removes its
autostart entry as WantsAutoLogin changes (`--set` through D-Bus), start-up replaces an entry
the user edited, `--set` alone switches it when no instance runs, the entry's Exec starts the
app (from a folder whose name needs quoting), and an unwritable autostart folder costs one
line on standard error and nothing else."""
import json
import os
import shutil
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from itest_support import Bus, Checks, binary, environment, name_owner, wait_for  # noqa


def unescape(value):
    """A desktop-entry string value without its escapes."""
    out, i = [], 0
    while i < len(value):
        if value[i] == "\\" and i + 1 < len(value):
            out.append({"s": " ", "n": "\n", "t": "\t", "r": "\r"}.get(value[i + 1], value[i + 1]))
            i += 2
        else:
            out.append(value[i])
            i += 1
    return "".join(out)


def exec_arguments(value):
    """The arguments of an Exec value, split and unquoted as a launcher does."""
    text, args, current, quoted, started, i = unescape(value), [], [], False, False, 0
    while i < len(text):
        c = text[i]
        if quoted and c == "\\" and i + 1 < len(text) and text[i + 1] in '"`$\\':
            current.append(text[i + 1])
            i += 1
        elif c == '"':
            quoted, started = not quoted, True
        elif c == " " and not quoted:
            if started or current:
                args.append("".join(current))
            current, started = [], False
        else:
            current.append(c)
        i += 1
    if started or current:
        args.append("".join(current))
    return [a.replace("%%", "%") for a in args]


def entry_keys(path):
    keys = {}
    with open(path, encoding="utf-8") as f:
        for line in f:
            if "=" in line and not line.startswith("#"):
                k, v = line.rstrip("\n").split("=", 1)
                keys[k] = v
    return keys


checks, bus = Checks(), Bus()
home, env = environment(bus.address)
_, offline = environment()
offline.update(XDG_CONFIG_HOME=env["XDG_CONFIG_HOME"], XDG_DATA_HOME=env["XDG_DATA_HOME"])
entry = os.path.join(env["XDG_CONFIG_HOME"], "autostart", "lumenstat.desktop")
settings = os.path.join(env["XDG_CONFIG_HOME"], "lumenstat", "settings.json")

# The app from a folder whose name a launcher would split or expand unless quoted.
folder = tempfile.mkdtemp(prefix="lumenstat autostart $HOME ")
app = os.path.join(folder, "lumenstat")
shutil.copy2(binary(), app)


def run(args, environment, timeout=60):
    return subprocess.run([app] + args, env=environment, capture_output=True, text=True,
                          timeout=timeout)


def start_instance():
    proc = subprocess.Popen([app, "--monitor"], env=env, stdout=subprocess.DEVNULL,
                            stderr=subprocess.PIPE, text=True)
    conn = bus.connection()
    checks.expect(wait_for(lambda: name_owner(conn, "com.quillfern.Lumenstat"), 20),
                  "the instance owns its name on the bus")
    return proc


def stop(proc):
    proc.terminate()
    try:
        proc.wait(20)
    except subprocess.TimeoutExpired:
        proc.kill()
        proc.wait()
    return proc.stderr.read()


try:
    # Switched on and off in the running instance.
    instance = start_instance()
    checks.expect(not os.path.exists(entry), "no entry while the setting is off")
    r = run(["--set", "WantsAutoLogin=true"], env)
    checks.expect(r.returncode == 0 and "running instance" in r.stdout, "set through the bus")
    checks.expect(wait_for(lambda: os.path.exists(entry), 10), "the instance wrote the entry")
    if os.path.exists(entry):
        keys = entry_keys(entry)
        checks.expect(exec_arguments(keys.get("Exec", "")) == [app],
                      "Exec names the running binary: %r" % keys.get("Exec"))
        checks.expect(keys.get("Type") == "Application" and keys.get("Hidden") is None and
                      keys.get("X-GNOME-Autostart-enabled") == "true", "entry keys %r" % keys)
        checks.expect(oct(os.stat(entry).st_mode & 0o7777) == "0o644", "entry mode 0644")
    run(["--set", "WantsAutoLogin=false"], env)
    checks.expect(wait_for(lambda: not os.path.exists(entry), 10), "the instance removed it")
    stop(instance)

    # Start-up applies the setting over an entry the user edited by hand.
    run(["--set", "WantsAutoLogin=true"], offline)
    with open(entry, "w", encoding="utf-8") as f:
        f.write("[Desktop Entry]\nType=Application\nName=Mine\nExec=true\nHidden=true\n")
    instance = start_instance()
    checks.expect(wait_for(lambda: "Hidden" not in entry_keys(entry), 10),
                  "start-up replaced the edited entry")
    stop(instance)

    # No instance: `--set` switches it by itself; the entry starts the app.
    r = run(["--set", "WantsAutoLogin=false"], offline)
    checks.expect(r.returncode == 0 and not os.path.exists(entry), "--set alone removes it")
    r = run(["--set", "WantsAutoLogin=true"], offline)
    checks.expect(r.returncode == 0 and os.path.exists(entry), "--set alone writes it")
    if os.path.exists(entry):
        command = exec_arguments(entry_keys(entry).get("Exec", ""))
        r = subprocess.run(command + ["--monitor", "--ticks", "1"], env=offline,
                           capture_output=True, text=True, timeout=60)
        checks.expect(r.returncode == 0 and len(r.stdout.splitlines()) == 1,
                      "the entry's command runs the app: rc %d, %r %r" %
                      (r.returncode, r.stdout, r.stderr[-400:]))

    # The autostart folder cannot be made: no crash, the switch stays on, one line says why.
    os.remove(entry)
    os.rmdir(os.path.dirname(entry))
    with open(os.path.dirname(entry), "w") as f:
        f.write("not a folder")
    r = run(["--set", "WantsAutoLogin=true"], offline)
    said = [l for l in r.stderr.splitlines() if "launch at login" in l]
    checks.expect(r.returncode == 0 and len(said) == 1, "one line on stderr: %r" % r.stderr)
    with open(settings, encoding="utf-8") as f:
        checks.expect(json.load(f).get("WantsAutoLogin") is True, "the setting stays on")
    r = run(["--monitor", "--ticks", "1"], offline)
    checks.expect(r.returncode == 0 and r.stderr.count("launch at login") == 1,
                  "the app starts anyway: rc %d, %r" % (r.returncode, r.stderr[-400:]))
finally:
    shutil.rmtree(folder, True)
checks.finish()
