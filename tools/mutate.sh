#!/usr/bin/env bash
# The mutation run: how many deliberate slips in the product do the tests catch?
# Not part of the test run (tools/test-all.sh); run it by hand.
#
#   bash tools/mutate.sh [--only native|wine|e2e] [--list] [--check] [--matrix] [NUMBER...]
#
# Each mutant of tools/mutants.txt (one a line: file, layers, original text,
# replacement, description, separated by tabs; "<NL>" stands for a line break)
# is applied alone, to a copy of the source tree of its own worker process
# (build/mutate/wN/src), never to the tree itself. The copy is built without
# sanitizers, and the layers named on the mutant's line run under a time limit:
#   native  ctest of the Linux build (core with the POSIX backend)
#   wine    the Wine unit tests of the win64 build (ctest -R '^wine\.')
#   e2e     the program end to end under Wine and Xvfb (ctest -R '^e2e\.')
# A mutant is killed when its build fails, a test fails, or the time runs out;
# the line of each survivor is printed, then "mutants: N killed: K".
#
# Before any mutant, every worker builds its unmutated copy and runs the layers
# it will need: should they not pass, every mutant would look killed, so the run
# stops there.
#
# --matrix runs every test of every layer a mutant names, not stopping at the
# first failure, and writes the tests that failed to matrix.txt (mutant, tab,
# the failing tests separated by spaces). Then it prints, for each test, the
# mutants that it alone kills: what the suite would lose without that test.
#
# Environment: MUTATE_JOBS (workers, default 2), MUTATE_TIMEOUT (seconds a
# mutant's tests may take, per layer, default 240 native and 900 under Wine),
# MUTATE_BUILD_TIMEOUT (seconds a build may take, default 900), MUTATE_WORK
# (the folder of the copies and results, default build/mutate).
set -uo pipefail
cd "$(dirname "$0")/.."
root=$PWD
list=$root/tools/mutants.txt
work=${MUTATE_WORK:-$root/build/mutate}
jobs=${MUTATE_JOBS:-2}
build_limit=${MUTATE_BUILD_TIMEOUT:-900}
only=""
action=run
matrix=no
picked=()

while [ $# -gt 0 ]; do
  case $1 in
    --only) only=$2; shift 2 ;;
    --list) action=list; shift ;;
    --check) action=check; shift ;;
    --matrix) matrix=yes; shift ;;
    -h|--help) sed -n '2,/^set -uo/p' "$0" | sed '$d; s/^# \{0,1\}//'; exit 0 ;;
    [0-9]*) picked+=("$1"); shift ;;
    *) echo "mutate.sh: unknown argument $1" >&2; exit 2 ;;
  esac
done
case $only in ""|native|wine|e2e) ;; *) echo "mutate.sh: --only native, wine or e2e" >&2; exit 2 ;; esac

# The mutants, numbered from 1 in the order of the list (comments and blank
# lines do not count).
# The line is split by hand: read with IFS=tab would take two tabs around an
# empty replacement for one.
files=() layers=() originals=() replacements=() descriptions=()
while IFS= read -r line; do
  case $line in ''|'#'*) continue ;; esac
  fields=()
  while [[ $line == *$'\t'* ]]; do
    fields+=("${line%%$'\t'*}")
    line=${line#*$'\t'}
  done
  fields+=("$line")
  [ ${#fields[@]} -eq 5 ] || { echo "mutate.sh: not five fields: ${fields[*]}" >&2; exit 2; }
  files+=("${fields[0]}") layers+=("${fields[1]}") originals+=("${fields[2]}")
  replacements+=("${fields[3]}") descriptions+=("${fields[4]}")
done <"$list"
total=${#files[@]}

selected=()
if [ ${#picked[@]} -gt 0 ]; then
  for n in "${picked[@]}"; do
    [ "$n" -ge 1 ] && [ "$n" -le "$total" ] || { echo "mutate.sh: no mutant $n" >&2; exit 2; }
    selected+=("$n")
  done
else
  for ((n = 1; n <= total; n++)); do selected+=("$n"); done
fi
if [ -n "$only" ]; then
  kept=()
  for n in "${selected[@]}"; do
    [[ ",${layers[n - 1]}," == *",$only,"* ]] && kept+=("$n")
  done
  selected=("${kept[@]}")
fi
# Native mutants first: they are the quick ones.
ordered=()
for n in "${selected[@]}"; do [[ ${layers[n - 1]} == *native* ]] && ordered+=("$n"); done
for n in "${selected[@]}"; do [[ ${layers[n - 1]} != *native* ]] && ordered+=("$n"); done
selected=("${ordered[@]}")

describe() { # number
  local i=$(($1 - 1))
  printf '%3d %s [%s] %s\n' "$1" "${files[i]}" "${layers[i]}" "${descriptions[i]}"
}

# Replaces the one occurrence of the original text in FILE; fails when the text
# is not there exactly once.
apply_mutant() { # file original replacement
  python3 - "$@" <<'EOF'
import sys
path, original, replacement = sys.argv[1], sys.argv[2], sys.argv[3]
original = original.replace("<NL>", "\n")
replacement = replacement.replace("<NL>", "\n")
with open(path, encoding="utf-8", newline="") as f:
    text = f.read()
count = text.count(original)
if count != 1:
    sys.exit(f"{path}: the original text occurs {count} times")
with open(path, "w", encoding="utf-8", newline="") as f:
    f.write(text.replace(original, replacement))
EOF
}

if [ "$action" = list ]; then
  for n in "${selected[@]}"; do describe "$n"; done
  exit 0
fi
if [ "$action" = check ]; then
  status=0
  for n in "${selected[@]}"; do
    i=$((n - 1))
    tmp=$(mktemp)
    cp "$root/${files[i]}" "$tmp"
    apply_mutant "$tmp" "${originals[i]}" "${replacements[i]}" || { echo "mutant $n"; status=1; }
    cmp -s "$tmp" "$root/${files[i]}" && { echo "mutant $n changes nothing"; status=1; }
    rm -f "$tmp"
  done
  [ $status -eq 0 ] && echo "${#selected[@]} mutants apply"
  exit $status
fi
[ ${#selected[@]} -gt 0 ] || { echo "mutate.sh: no mutant selected" >&2; exit 2; }

needs() { # layer: does any selected mutant need it?
  local n
  for n in "${selected[@]}"; do [[ ",${layers[n - 1]}," == *",$1,"* ]] && return 0; done
  return 1
}
native_needed=no win64_needed=no
needs native && native_needed=yes
{ needs wine || needs e2e; } && win64_needed=yes

mkdir -p "$work"
# One results file for each --only, so that a run of the Wine mutants keeps the
# native mutants' results.
queue=$work/queue${only:+-$only}
results=$work/results${only:+-$only}.txt
matrix_file=$work/matrix${only:+-$only}.txt
printf '%s\n' "${selected[@]}" >"$queue"
: >"$results"
[ $matrix = yes ] && : >"$matrix_file"
start=$(date +%s)

# Builds the copy's build folders; returns non-zero when a build fails.
build() { # worker-dir log
  local dir=$1 log=$2
  if [ $native_needed = yes ]; then
    timeout -k 10 "$build_limit" cmake --build "$dir/native" >>"$log" 2>&1 || return 1
  fi
  if [ $win64_needed = yes ] && [ "${3:-all}" != native ]; then
    timeout -k 10 "$build_limit" cmake --build "$dir/win64" >>"$log" 2>&1 || return 1
  fi
  return 0
}

# Runs one layer; 0 passed, 1 a test failed, 124 out of time.
run_layer() { # worker-dir layer log
  local dir=$1 layer=$2 log=$3 status stop=--stop-on-failure
  [ $matrix = yes ] && stop=""
  case $layer in
    native)
      (cd "$dir/native" && timeout -k 10 "${MUTATE_TIMEOUT:-240}" \
        ctest $stop --output-on-failure) >>"$log" 2>&1
      status=$? ;;
    wine|e2e)
      (cd "$dir/win64" && timeout -k 10 "${MUTATE_TIMEOUT:-900}" \
        xvfb-run -a -s "-screen 0 1280x1024x24" \
        ctest -LE release -R "^$layer\\." $stop --output-on-failure) >>"$log" 2>&1
      status=$?
      WINEPREFIX=$dir/win64/wineprefix wineserver -k >/dev/null 2>&1 || true ;;
  esac
  [ "$status" -eq 0 ] && return 0
  [ "$status" -eq 124 ] || [ "$status" -eq 137 ] && return 124
  return 1
}

worker() { # number
  local w=$1 dir=$work/w$1 log n i target layer how status seconds began
  mkdir -p "$dir"
  # The copy of the tracked files, refreshed for every run. Its files get the
  # time of the copy (-m), so that nothing built from a mutant of an earlier
  # run, aborted before its rebuild, is taken as up to date.
  rm -rf "$dir/src" && mkdir -p "$dir/src"
  (cd "$root" && git ls-files -z | tar --null -cf - -T -) | tar -m -xf - -C "$dir/src"
  log=$dir/baseline.log
  : >"$log"
  if [ $native_needed = yes ]; then
    cmake -S "$dir/src" -B "$dir/native" -G Ninja -DCMAKE_BUILD_TYPE=Release \
      -DFERRYMARK_SANITIZE=OFF -DCMAKE_CXX_FLAGS=-Wno-error=null-dereference >>"$log" 2>&1
  fi
  if [ $win64_needed = yes ]; then
    cmake -S "$dir/src" -B "$dir/win64" -G Ninja -DCMAKE_BUILD_TYPE=Release \
      -DCMAKE_TOOLCHAIN_FILE="$dir/src/cmake/mingw-w64-x86_64.cmake" >>"$log" 2>&1
  fi
  # The no-op check: the unmutated copy builds and passes every layer needed.
  if ! build "$dir" "$log"; then
    echo "worker $w: the unmutated tree does not build (see $log)" >"$dir/baseline.failed"
    return 1
  fi
  for layer in native wine e2e; do
    needs $layer || continue
    if ! run_layer "$dir" $layer "$log"; then
      echo "worker $w: the unmutated tree fails the $layer layer (see $log)" >"$dir/baseline.failed"
      return 1
    fi
  done
  touch "$dir/baseline.passed"
  # Waits for the other workers' no-op checks before any mutant.
  while :; do
    local ready=0 k
    for ((k = 1; k <= jobs; k++)); do
      [ -e "$work/w$k/baseline.failed" ] && return 1
      [ -e "$work/w$k/baseline.passed" ] && ready=$((ready + 1))
    done
    [ $ready -eq "$jobs" ] && break
    sleep 2
  done

  while :; do
    # Takes the next mutant from the shared queue.
    n=$(flock "$queue.lock" sh -c 'n=$(head -n 1 "$1"); [ -n "$n" ] && sed -i 1d "$1"; echo "$n"' _ "$queue")
    [ -n "$n" ] || break
    i=$((n - 1))
    target=$dir/src/${files[i]}
    log=$dir/mutant-$n.log
    began=$(date +%s)
    cp "$target" "$dir/original"
    # Whatever happens, the copy gets its file back.
    trap 'cp "$dir/original" "$target"' EXIT
    trap 'cp "$dir/original" "$target"; exit 130' INT TERM
    if ! apply_mutant "$target" "${originals[i]}" "${replacements[i]}" >"$log" 2>&1; then
      how="not applied"
      status=error
    else
      status=survived how=""
      if ! build "$dir" "$log" "$([[ ${layers[i]} == native ]] && echo native)"; then
        status=killed how=build
      else
        for layer in ${layers[i]//,/ }; do
          run_layer "$dir" "$layer" "$log"
          case $? in
            0) ;;
            124) status=killed how="$layer timeout" ;;
            *) status=killed how="$layer test" ;;
          esac
          [ $status = killed ] && [ $matrix = no ] && break
        done
      fi
    fi
    if [ $matrix = yes ]; then
      # ctest lists the failures as "  7 - native.Name (Failed)".
      printf '%s\t%s\n' "$n" "$(sed -n '/The following tests FAILED/,$p' "$log" |
        sed -nE 's/^[[:space:]]*[0-9]+ - ([^ ]+) \(.*/\1/p' | sort -u | tr '\n' ' ')" >>"$matrix_file"
    fi
    cp "$dir/original" "$target"
    trap - EXIT INT TERM
    seconds=$(($(date +%s) - began))
    printf '%s\t%s\t%s\t%s\n' "$n" "$status" "$how" "$seconds" >>"$results"
    printf '[w%s] %s %s%s (%ss)\n' "$w" "$(describe "$n" | sed 's/^ *//')" "$status" \
      "${how:+ by $how}" "$seconds" >&2
  done
}

pids=()
for ((w = 1; w <= jobs; w++)); do
  rm -f "$work/w$w/baseline.passed" "$work/w$w/baseline.failed"
done
for ((w = 1; w <= jobs; w++)); do
  worker "$w" &
  pids+=($!)
done
for pid in "${pids[@]}"; do wait "$pid"; done

failed=$(cat "$work"/w*/baseline.failed 2>/dev/null)
if [ -n "$failed" ]; then
  echo "$failed"
  echo "mutate.sh: the unmutated tree must pass first; no mutant was judged"
  exit 1
fi

echo "== surviving mutants =="
while IFS=$'\t' read -r n status how seconds; do
  [ "$status" = survived ] && describe "$n"
done < <(sort -n "$results")
errors=$(awk -F'\t' '$2 == "error"' "$results" | wc -l)
[ "$errors" -eq 0 ] || echo "mutants that did not apply: $(awk -F'\t' '$2 == "error" {print $1}' "$results" | tr '\n' ' ')"
judged=$(awk -F'\t' '$2 != "error"' "$results" | wc -l)
killed=$(awk -F'\t' '$2 == "killed"' "$results" | wc -l)
for how in build test timeout; do
  printf 'killed by %s: %s\n' "$how" "$(awk -F'\t' -v h="$how" '$2 == "killed" && $3 ~ h' "$results" | wc -l)"
done
if [ $matrix = yes ]; then
  echo "== the mutants each test alone kills =="
  sort -t$'\t' -k1,1n -u "$matrix_file" |
    awk -F'\t' '{ n = split($2, names, " "); if (n == 1) only[names[1]] = only[names[1]] " " $1
                   for (k = 1; k <= n; k++) seen[names[k]] = 1 }
         END { for (test in seen) printf "%s:%s\n", test, (test in only) ? only[test] : " none" }' | sort
fi
echo "time: $(($(date +%s) - start)) s"
echo "mutants: $judged killed: $killed"
[ "$judged" -eq "${#selected[@]}" ]
