"""`lumenstat --usage` prints the hourly totals kept in group.json, without a display: with a
decimal point under a German locale, in UTC when the time zone is unknown, and with the hours
of a monitor that just ended, however it ended."""
import datetime
import json
import os
import shutil
import signal
import subprocess
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "app"))
from itest_support import Checks, binary, environment  # noqa: E402
from namespace_itest import german_locale  # noqa: E402

HOUR = "%Y-%m-%d %H"


def run(env, *args):
    return subprocess.run([binary(), *args], env=env, capture_output=True, text=True, timeout=60)


def rows(out):
    """label -> "received sent" for the table rows and the total line."""
    return {w[0]: " ".join(w[1:]) for w in map(str.split, out.splitlines()[2:]) if len(w) == 5}


def check_tables(checks, env, group_path):
    """False when the hour turned while the commands ran."""
    now = datetime.datetime.now(datetime.timezone.utc)
    hour_ago, day_ago = now - datetime.timedelta(hours=1), now - datetime.timedelta(hours=25)
    with open(group_path, "w") as f:
        json.dump({"DataUsageTimeRange": 1, "app.dataUsage.data": [
            {"timeIdentifier": day_ago.strftime(HOUR), "bytesIn": 4096, "bytesOut": 4096},
            {"timeIdentifier": hour_ago.strftime(HOUR), "bytesIn": 1024, "bytesOut": 512},
            {"timeIdentifier": now.strftime(HOUR), "bytesIn": 2048, "bytesOut": 3},
            {"timeIdentifier": now.strftime(HOUR), "bytesIn": 1.5, "bytesOut": 3}]}, f)
    before = open(group_path, "rb").read()
    today, last24, default = (run(env, "--usage", *r) for r in (["today"], ["24h"], []))
    nowhere = run(dict(env, TZ="Nowhere/Bogus"), "--usage", "today")
    if now.strftime(HOUR) != datetime.datetime.now(datetime.timezone.utc).strftime(HOUR):
        return False
    lines = today.stdout.splitlines()
    checks.expect(lines[0] == "Data usage today", "title %r" % lines[0])
    labels = [line.split()[0] for line in lines[2:-1]]
    checks.expect(labels == ["%dH" % h for h in range(23)] + ["24H"], "labels %r" % labels)
    current = "24H" if now.hour == 23 else "%dH" % now.hour
    checks.expect(rows(today.stdout).get(current) == "2.00 MB 3.00 KB", today.stdout)
    same_day = hour_ago.date() == now.date()
    total = "3.00 MB 515.00 KB" if same_day else "2.00 MB 3.00 KB"
    checks.expect(rows(today.stdout).get("total") == total, "today's total: " + today.stdout)
    lines = last24.stdout.splitlines()
    ampm = lambda h: "%d%s " % (h - 12 if h > 12 else h, "PM" if h > 11 else "AM")  # noqa: E731
    checks.expect(lines[0] == "Data usage in the last 24 hours" and len(lines) == 27 and
                  lines[2].startswith(ampm((now.hour + 1) % 24)) and
                  lines[-2].startswith(ampm(now.hour)) and
                  rows(last24.stdout).get("total") == "3.00 MB 515.00 KB", last24.stdout)
    checks.expect(default.stdout == last24.stdout, "no range follows DataUsageTimeRange 1")
    checks.expect(nowhere.stdout == today.stdout and
                  nowhere.stderr.count("unknown time zone") == 1 and "UTC" in nowhere.stderr,
                  "an unknown zone counts in UTC and says so once: " + nowhere.stderr)
    checks.expect(open(group_path, "rb").read() == before, "--usage changed group.json")
    return True


def check_exit_paths(checks, env, group_path):
    """The monitor's hours reach group.json at the end of --ticks N and on SIGINT and SIGHUP
    (SIGTERM's way to the same exit path: tests/network/namespace_itest.py)."""
    for sig in (None, signal.SIGINT, signal.SIGHUP):
        os.remove(group_path)
        started = datetime.datetime.now(datetime.timezone.utc).strftime(HOUR)
        proc = subprocess.Popen([binary(), "--monitor"] + (["--ticks", "3"] if sig is None else []),
                                env=env, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        if sig is not None:
            proc.stdout.readline()
            proc.stdout.readline()
            proc.send_signal(sig)
        err = proc.communicate(timeout=60)[1]
        with open(group_path) as f:
            keys = [h.get("timeIdentifier") for h in json.load(f).get("app.dataUsage.data", [])]
        hour = datetime.datetime.now(datetime.timezone.utc).strftime(HOUR)
        checks.expect(proc.returncode == 0 and (hour in keys or started in keys),
                      "after %s: exit %d, hours %r %s" % (sig, proc.returncode, keys, err))


def main():
    home, env = environment()
    env.update(TZ="UTC", LC_ALL="C", LANG="C")
    group_path = os.path.join(home, "config", "lumenstat", "group.json")
    os.makedirs(os.path.dirname(group_path))
    checks = Checks()
    german = dict(env)
    if not german_locale(german, home):
        print("note: de_DE.UTF-8 cannot be generated here; the tables are checked in C only")
    for locale_env in (env, german) if german != env else (env,):
        if not any(check_tables(checks, locale_env, group_path) for _ in range(3)):
            checks.expect(False, "the hour kept turning")
    check_exit_paths(checks, env, group_path)
    shutil.rmtree(home, ignore_errors=True)
    checks.finish()


if __name__ == "__main__":
    main()
