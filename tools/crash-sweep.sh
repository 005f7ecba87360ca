#!/usr/bin/env bash
# The switch of the six-simulator machine cut short at every change that it makes,
# activation and deactivation, each point brought back as the user would and
# compared with the machine before the first switch. Builds the native core
# without sanitizers first (build/sweep), since every point is a whole round trip,
# and shares the points between two processes. Prints one report per point that
# does not come back (a documented loss, with its reason, or a finding), and ends
# with "sweep: points=P whole=W".
# Arguments go to the sweep: --every K takes every K-th point.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake -S . -B build/sweep -G Ninja -DCMAKE_BUILD_TYPE=Release -DFERRYMARK_SANITIZE=OFF >/dev/null
cmake --build build/sweep --target crash_sweep >/dev/null
jobs=${SWEEP_JOBS:-2}
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
start=$SECONDS
pids=()
for ((i = 0; i < jobs; i++)); do
  build/sweep/tools/crash-sweep/crash_sweep "$@" --part "$i/$jobs" >"$out/$i" 2>&1 &
  pids+=($!)
done
status=0
for pid in "${pids[@]}"; do
  wait "$pid" || status=1
done
for ((i = 0; i < jobs; i++)); do
  grep -vE '^sweep: (points=|findings=|documented loss|[0-9]+ s$)' "$out/$i" || true
done
# The sum of a figure over the shares: sum PATTERN (a sed expression printing it).
sum() { cat "$out"/* | sed -n "$1" | awk '{s+=$1} END {print s+0}'; }
for kind in 1 2 3; do
  echo "sweep: documented loss ($kind) at $(sum "s/^sweep: documented loss ($kind) at \([0-9]*\) points/\1/p") points"
done
echo "sweep: findings=$(sum 's/^sweep: findings=\([0-9]*\)/\1/p')"
echo "sweep: $((SECONDS - start)) s"
echo "sweep: points=$(sum 's/^sweep: points=\([0-9]*\) .*/\1/p') whole=$(sum 's/^sweep: points=[0-9]* whole=\([0-9]*\)/\1/p')"
# 0 when every point came back whole or with a documented loss.
exit $status
