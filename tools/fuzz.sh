#!/usr/bin/env bash
# Builds the SimBase reader's fuzz target with clang, libFuzzer, ASan and UBSan in
# build/fuzz (outside the default build) and runs it, the templates as the seed.
#
#   bash tools/fuzz.sh [RUNS] [JOBS]   run RUNS executions in all (default 10000000)
#                                      over JOBS processes (default 1)
#   bash tools/fuzz.sh merge           minimise the found corpus into
#                                      tests/fixtures/simbase-corpus, which the
#                                      native test run replays
#
# The found corpus is kept in build/fuzz/corpus between runs; the run's log is
# build/fuzz/fuzz.log. Extra libFuzzer options can be given in FUZZ_OPTIONS.
set -euo pipefail
cd "$(dirname "$0")/.."

build=build/fuzz
corpus=$build/corpus
seeds=resources/simbase
committed=tests/fixtures/simbase-corpus

cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
      -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 \
      -DFERRYMARK_SANITIZE=ON -DFERRYMARK_FUZZ=ON >/dev/null
nice -n 10 cmake --build "$build" --target simbase_fuzz -j2
mkdir -p "$corpus"
target=$build/tests/fuzz/simbase_fuzz
# Leaks are findings too; a finding stops the run.
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}

if [ "${1:-}" = merge ]; then
  # Edges alone, not their hit counts, decide what is kept: the committed corpus
  # stays at a few hundred small files and still reaches every edge.
  rm -rf "$committed" && mkdir -p "$committed"
  "$target" -merge=1 -use_counters=0 "$committed" "$corpus" "$seeds" 2>&1 | grep MERGE-OUTER | tail -n 1
  echo "fuzz: corpus $(ls "$corpus" | wc -l) files -> $committed $(ls "$committed" | wc -l) files"
  exit 0
fi

runs=${1:-10000000}
jobs=${2:-1}
start=$(date +%s)
status=0
if [ "$jobs" -le 1 ]; then
  "$target" -runs="$runs" -max_len=4096 -print_final_stats=1 ${FUZZ_OPTIONS:-} \
      "$corpus" "$seeds" >"$build/fuzz.log" 2>&1 || status=$?
else
  # Each worker runs its share and the shares go into the one corpus.
  rm -f "$build"/fuzz-*.log
  for ((i = 0; i < jobs; i++)); do
    ( cd "$build" && exec "../../$target" -runs=$((runs / jobs)) -max_len=4096 -print_final_stats=1 \
        ${FUZZ_OPTIONS:-} corpus "../../$seeds" >"fuzz-$i.log" 2>&1 ) &
  done
  for ((i = 0; i < jobs; i++)); do wait -n || status=$?; done
  cat "$build"/fuzz-*.log >"$build/fuzz.log"
fi
seconds=$(( $(date +%s) - start ))
executions=$(grep -h "stat::number_of_executed_units" "$build/fuzz.log" | awk '{s+=$2} END {print s+0}')
coverage=$(grep -hoE "cov: [0-9]+" "$build/fuzz.log" | awk '{print $2}' | sort -n | tail -n 1)
echo "fuzz: executions=$executions seconds=$seconds exec_per_s=$(( executions / (seconds > 0 ? seconds : 1) )) cov=${coverage:-0} corpus=$(ls "$corpus" | wc -l) status=$status"
[ "$status" -eq 0 ] || { grep -hE "ERROR|SUMMARY|simbase reader:" "$build/fuzz.log" | head; exit "$status"; }
