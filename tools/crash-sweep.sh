#!/usr/bin/env bash
# The switch of the six-simulator machine stopped at every change that it makes,
# activation and deactivation, each point brought back as the user would and
# compared with the machine before the first switch. Builds the native core
# without sanitizers first (build/sweep), since every point is a whole round trip,
# and shares the points between two processes (SWEEP_JOBS). Prints one report per
# point that does not come back whole, and ends with the figure of its kind:
#
#   bash tools/crash-sweep.sh                  # power cut at each change:   sweep: points=P whole=W
#   bash tools/crash-sweep.sh --kind fail      # each change fails instead:  errors: points=P whole=W
#   bash tools/crash-sweep.sh --kind recover   # cut again while recovering: recovery: points=P whole=W
#
# Further arguments go to the sweep: --every K, --inner K, --only a:N, --list.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake -S . -B build/sweep -G Ninja -DCMAKE_BUILD_TYPE=Release -DFERRYMARK_SANITIZE=OFF >/dev/null
cmake --build build/sweep --target crash_sweep >/dev/null
jobs=${SWEEP_JOBS:-2}
# Every point copies the machine twice: in memory where the machine has it.
[ -z "${TMPDIR:-}" ] && [ -d /dev/shm ] && [ -w /dev/shm ] && export TMPDIR=/dev/shm
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
  grep -vE '^(sweep|errors|recovery): (points=|[0-9]+ s$)' "$out/$i" || true
done
figure=$(sed -n 's/^\(sweep\|errors\|recovery\): points=.*/\1/p' "$out/0" | head -1)
[ -n "$figure" ] || { echo "crash-sweep: the sweep printed no figure" >&2; exit 1; }
points=$(cat "$out"/* | sed -n "s/^$figure: points=\([0-9]*\) whole=.*/\1/p" | awk '{s+=$1} END {print s+0}')
whole=$(cat "$out"/* | sed -n "s/^$figure: points=[0-9]* whole=\([0-9]*\)$/\1/p" | awk '{s+=$1} END {print s+0}')
echo "$figure: $((SECONDS - start)) s"
echo "$figure: points=$points whole=$whole"
# 0 when every point came back whole.
exit $status
