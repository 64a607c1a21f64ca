#!/usr/bin/env bash
# Runs the micro benchmarks and the whole-process figures:
#  - CPU time of `lumenstat --monitor --ticks 60` (start-up included), as a share of one core;
#  - the idle cost of the headless monitor and of the tray app in xfce4-panel, as multiples
#    of the floor program run beside them (bench/idle.sh).
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

# Idle cost against the floor program, side by side (headless monitor and the tray app in
# xfce4-panel under Xvfb).
bash "$(dirname "$0")/idle.sh" "$BUILD" "${LUMENSTAT_IDLE_SECONDS:-60}"

# The per-process traffic tool against nethogs on 1,000 connections (network namespaces and
# nethogs need root).
if [ "$(id -u)" = 0 ]; then
  echo "== lumenstat-nettop against nethogs -t"
  bash "$(dirname "$0")/nettop_bench.sh" "$BUILD" || true
else
  echo "== lumenstat-nettop against nethogs -t: skipped (needs root)"
fi

# Its UDP capture under a flood of about 100,000 packets a second, beside nethogs -t -C.
if [ "$(id -u)" = 0 ]; then
  echo "== lumenstat-nettop UDP capture against nethogs -t -C"
  bash "$(dirname "$0")/nettop_udp_bench.sh" "$BUILD" || true
fi
