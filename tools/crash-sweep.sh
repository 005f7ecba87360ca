#!/usr/bin/env bash
# The switch of the six-simulator machine cut short at every change that it makes,
# activation and deactivation, each point brought back as the user would and
# compared with the machine before the first switch. Builds the native core
# without sanitizers first (build/sweep), since every point is a whole round trip,
# and shares the points between two processes. Prints one report per point that
# does not come back, and ends with "sweep: points=P whole=W".
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
  grep -v '^sweep: points=' "$out/$i" || true
done
points=$(cat "$out"/* | sed -n 's/^sweep: points=\([0-9]*\) whole=.*/\1/p' | awk '{s+=$1} END {print s+0}')
whole=$(cat "$out"/* | sed -n 's/^sweep: points=[0-9]* whole=\([0-9]*\)/\1/p' | awk '{s+=$1} END {print s+0}')
echo "sweep: $((SECONDS - start)) s in all"
echo "sweep: points=$points whole=$whole"
[ "$points" -gt 0 ] && [ "$points" -eq "$whole" ] && [ $status -eq 0 ]
