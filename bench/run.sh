#!/usr/bin/env bash
# Runs the micro benchmarks and the whole-process figure: the CPU time the headless monitor
# uses over 60 ticks (one minute), as a share of one core.
set -euo pipefail
BUILD=${1:-build}
for b in "$BUILD"/bench/*_bench; do
  [ -x "$b" ] || continue
  echo "== $(basename "$b")"
  "$b" --benchmark_min_time=0.2
done

echo "== whole process: lumenstat --monitor --ticks 60"
cfg=$(mktemp -d)
trap 'rm -rf "$cfg"' EXIT
start=$(date +%s.%N)
/usr/bin/time -f "%U %S %M" -o "$cfg/time" env XDG_CONFIG_HOME="$cfg" XDG_DATA_HOME="$cfg" \
  "$BUILD/lumenstat" --monitor --ticks 60 >/dev/null
end=$(date +%s.%N)
read -r user sys maxrss <"$cfg/time"
python3 - "$user" "$sys" "$maxrss" "$start" "$end" <<'PY'
import sys
user, sys_, rss, start, end = (float(x) for x in sys.argv[1:])
wall = end - start
cpu = user + sys_
print(f"wall {wall:.1f} s, cpu {cpu:.3f} s ({100 * cpu / wall:.3f} % of one core), max RSS {rss / 1024:.1f} MB")
PY
