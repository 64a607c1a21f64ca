# Set-up and measuring functions shared by the idle benchmarks (sourced).

# A private working folder, removed at exit with every process listed in pids.
work=$(mktemp -d)
pids=()
cleanup() {
  for p in "${pids[@]}"; do kill "$p" 2>/dev/null; done
  sleep 0.3
  for p in "${pids[@]}"; do kill -9 "$p" 2>/dev/null; done
  rm -rf "$work"
}
trap cleanup EXIT

# Run time in ns of every thread of the given processes (the scheduler's exact figure).
run_ns() {
  local total=0 p t
  for p in "$@"; do
    for t in /proc/"$p"/task/*/schedstat; do
      [ -r "$t" ] && total=$((total + $(cut -d' ' -f1 "$t")))
    done
  done
  echo "$total"
}
rss_mb() { awk '/VmRSS/ {printf "%.1f", $2 / 1024}' /proc/"$1"/status; }
ratio() { python3 -c "import sys; a, b = int(sys.argv[1]), int(sys.argv[2]); print(f'{a / b:.2f}' if b else 'inf')" "$1" "$2"; }
ms() { python3 -c "import sys; print(f'{int(sys.argv[1]) / 1e6:.1f}')" "$1"; }
