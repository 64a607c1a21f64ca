"""`lumenstat --usage` prints the hourly totals kept in group.json, without a display: in
any locale with a decimal point, in UTC when the time zone is unknown, and with the hours of
a monitor that just ended, however it ended."""
import datetime
import json
import os
import signal
import subprocess
import sys
import tempfile
import time

SKIP = 77


def fail(message):
    print("FAIL:", message)
    sys.exit(1)


def run(binary, env, *args):
    return subprocess.run([binary, *args], env=env, capture_output=True, text=True, timeout=60)


def rows_of(out):
    """label -> (received, sent) for the table rows and the total line."""
    rows = {}
    for line in out.splitlines()[2:]:
        words = line.split()
        if len(words) == 5:
            rows[words[0]] = (words[1] + " " + words[2], words[3] + " " + words[4])
    return rows


def twelve_hour(hour):
    return "%d%s" % (hour - 12 if hour > 12 else hour, "PM" if hour > 11 else "AM")


def check_once(binary, env, group_path):
    now = datetime.datetime.now(datetime.timezone.utc)
    hour_ago = now - datetime.timedelta(hours=1)
    yesterday = now - datetime.timedelta(days=1, hours=1)
    key = lambda t: t.strftime("%Y-%m-%d %H")
    document = {
        "DataUsageTimeRange": 1,
        "app.dataUsage.data": [
            {"timeIdentifier": key(yesterday), "bytesIn": 4096, "bytesOut": 4096},
            {"timeIdentifier": key(hour_ago), "bytesIn": 1024, "bytesOut": 512},
            {"timeIdentifier": key(now), "bytesIn": 2048, "bytesOut": 3},
            {"timeIdentifier": key(now), "bytesIn": 1.5, "bytesOut": 3},
        ],
    }
    with open(group_path, "w") as f:
        json.dump(document, f)
    before = open(group_path, "rb").read()

    today = run(binary, env, "--usage", "today")
    last24 = run(binary, env, "--usage", "24h")
    default = run(binary, env, "--usage")
    bad = run(binary, env, "--usage", "week")
    if key(now) != key(datetime.datetime.now(datetime.timezone.utc)):
        return False  # the hour turned while the commands ran; try again

    for name, result in (("today", today), ("24h", last24), ("default", default)):
        if result.returncode != 0:
            fail("--usage %s exited %d: %s" % (name, result.returncode, result.stderr))
    if bad.returncode != 2:
        fail("--usage week exited %d, expected 2" % bad.returncode)

    lines = today.stdout.splitlines()
    if lines[0] != "Data usage today":
        fail("unexpected title %r" % lines[0])
    labels = [line.split()[0] for line in lines[2:-1]]
    expected = ["%dH" % h for h in range(23)] + ["24H"]
    if labels != expected:
        fail("today labels %r" % labels)
    rows = rows_of(today.stdout)
    hour = now.hour
    current = "24H" if hour == 23 else "%dH" % hour
    if rows.get(current) != ("2.00 MB", "3.00 KB"):
        fail("row %s reads %r" % (current, rows.get(current)))
    same_day = hour_ago.date() == now.date()
    expected_total = ("3.00 MB", "515.00 KB") if same_day else ("2.00 MB", "3.00 KB")
    if rows.get("total") != expected_total:
        fail("today's total reads %r, expected %r" % (rows.get("total"), expected_total))

    lines = last24.stdout.splitlines()
    if lines[0] != "Data usage in the last 24 hours" or len(lines) != 2 + 24 + 1:
        fail("unexpected 24h output:\n" + last24.stdout)
    if not lines[-2].startswith(twelve_hour(hour) + " "):
        fail("last row %r is not the current hour %s" % (lines[-2], twelve_hour(hour)))
    if not lines[2].startswith(twelve_hour((hour + 1) % 24) + " "):
        fail("first row %r is not 23 hours ago" % lines[2])
    if rows_of(last24.stdout).get("total") != ("3.00 MB", "515.00 KB"):
        fail("24h total reads %r" % (rows_of(last24.stdout).get("total"),))

    if default.stdout != last24.stdout:
        fail("--usage without a range does not follow the stored DataUsageTimeRange 1")

    # A German locale still prints a decimal point; an unknown zone counts in UTC and says so.
    german = run(binary, dict(env, LC_ALL="de_DE.UTF-8", LANG="de_DE.UTF-8"), "--usage", "today")
    if german.returncode != 0 or german.stdout != today.stdout:
        fail("--usage under de_DE differs:\n" + german.stdout + german.stderr)
    nowhere = run(binary, dict(env, TZ="Nowhere/Bogus"), "--usage", "today")
    if nowhere.returncode != 0 or nowhere.stdout != today.stdout:
        fail("--usage with an unknown zone differs:\n" + nowhere.stdout)
    if nowhere.stderr.count("unknown time zone") != 1 or "UTC" not in nowhere.stderr:
        fail("the unknown zone is not said once: %r" % nowhere.stderr)
    if open(group_path, "rb").read() != before:
        fail("--usage changed group.json")
    return True


def hours_saved(group_path):
    try:
        with open(group_path) as f:
            return json.load(f).get("app.dataUsage.data", [])
    except (OSError, ValueError):
        return []


def check_exit_paths(binary, env, group_path):
    """The monitor's hours reach group.json at the end of --ticks N and on each signal."""
    ends = [("--ticks 3", None)] + [(sig.name, sig) for sig in
                                     (signal.SIGTERM, signal.SIGINT, signal.SIGHUP)]
    for name, sig in ends:
        os.remove(group_path)
        args = ["--monitor", "--ticks", "3"] if sig is None else ["--monitor"]
        started = datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%d %H")
        proc = subprocess.Popen([binary, *args], env=env, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, text=True)
        if sig is not None:
            for _ in range(2):
                proc.stdout.readline()
            proc.send_signal(sig)
        out, err = proc.communicate(timeout=60)
        if proc.returncode != 0:
            fail("the monitor ended by %s exited %d: %s" % (name, proc.returncode, err))
        hour = datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%d %H")
        keys = [h.get("timeIdentifier") for h in hours_saved(group_path)]
        if hour not in keys and started not in keys:
            fail("after %s the hour %s is not saved: %r" % (name, hour, keys))
        usage = run(binary, env, "--usage", "today")
        if usage.returncode != 0 or "total" not in usage.stdout:
            fail("--usage after %s: %s" % (name, usage.stderr))


def main():
    binary = os.environ.get("LUMENSTAT_BINARY")
    if not binary or not os.access(binary, os.X_OK):
        print("SKIP: LUMENSTAT_BINARY is not set")
        return SKIP
    with tempfile.TemporaryDirectory() as tmp:
        config = os.path.join(tmp, "config")
        os.makedirs(os.path.join(config, "lumenstat"))
        env = {
            "PATH": os.environ.get("PATH", "/usr/bin:/bin"),
            "HOME": tmp,
            "XDG_CONFIG_HOME": config,
            "XDG_DATA_HOME": os.path.join(tmp, "data"),
            "TZ": "UTC",
            "LC_ALL": "C",
            "LANG": "C",
        }
        for name in ("ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"):
            if name in os.environ:
                env[name] = os.environ[name]
        usage = run(binary, env, "--help")
        if "--usage" not in usage.stdout + usage.stderr:
            print("SKIP: this lumenstat build does not offer --usage yet")
            return SKIP
        group_path = os.path.join(config, "lumenstat", "group.json")
        for _ in range(3):
            if check_once(binary, env, group_path):
                break
        else:
            fail("the hour kept turning")
        check_exit_paths(binary, env, group_path)
        print("ok")
        return 0


if __name__ == "__main__":
    sys.exit(main())
