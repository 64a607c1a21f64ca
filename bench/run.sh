#!/usr/bin/env bash
# Runs the micro benchmarks and the whole-process figures of the headless monitor:
#  - CPU time of `lumenstat --monitor --ticks 60` (start-up included), as a share of one core;
#  - the steady-state share over 30 s after start-up, from the scheduler's exact run times.
set -euo pipefail
BUILD=${1:-build}
for b in "$BUILD"/bench/*_bench; do
  [ -x "$b" ] || continue
  echo "== $(basename "$b")"
  "$b" --benchmark_min_time=0.2
done

cfg=$(mktemp -d)
trap 'rm -rf "$cfg"' EXIT
export XDG_CONFIG_HOME="$cfg" XDG_DATA_HOME="$cfg" DBUS_SESSION_BUS_ADDRESS=disabled:

echo "== whole process: lumenstat --monitor --ticks 60"
/usr/bin/time -f "%U %S %M %e" -o "$cfg/time" "$BUILD/lumenstat" --monitor --ticks 60 >/dev/null
read -r user sys maxrss wall <"$cfg/time"
python3 -c "
u, s, rss, wall = $user, $sys, $maxrss, $wall
print(f'wall {wall:.1f} s, cpu {u + s:.3f} s ({100 * (u + s) / wall:.3f} % of one core), max RSS {rss / 1024:.1f} MB')"

echo "== steady state: 30 s after start-up"
"$BUILD/lumenstat" --monitor >/dev/null &
pid=$!
sleep 3
run_ns() { cat /proc/"$pid"/task/*/schedstat | awk '{s += $1} END {print s}'; }
a=$(run_ns)
sleep 30
b=$(run_ns)
rss=$(awk '/VmRSS/ {print $2}' /proc/"$pid"/status)
kill "$pid"
wait "$pid" 2>/dev/null || true
python3 -c "print(f'cpu {($b - $a) / 1e6:.1f} ms over 30 s ({($b - $a) / 30e9 * 100:.3f} % of one core), RSS {$rss / 1024:.1f} MB')"
