#!/usr/bin/env bash
# The benchmark: builds a release native build (no sanitizers) and the win64
# build, measures, and prints a table; every figure is the median of RUNS runs
# (default 5), and all of them are taken in this one run.
#
#   bash tools/bench.sh [RUNS]
#   bash tools/bench.sh --table    prints the table of the last run again
#
# Natively, each switch run is followed by the same folder moves done by a bare
# `mv` (one process a move), with 100 and with 100,000 content files: what the
# file system's renames cost, apart from the program.
#
# The six-simulator machine is sized by MachineSizes so that the machine holds
# about 2,000 configuration files and 300 Uninstall entries in all: 21 files per
# slot and backup pattern family (90 families over the six simulators, plus the
# plain-named files), 24 add-on entries per simulator and view (288, plus the
# simulators' own and the unrelated programs'). Content files are set per slot
# and install folder, so that there are about 100 or about 100,000 of them.
# The program prints the totals that it counted on the machine.
set -euo pipefail
cd "$(dirname "$0")/.."
runs=${1:-5}
native=$PWD/build/native-release
win64=$PWD/build/win64
results=$native/bench-results.txt
config=21
uninstall=24
content_small=3
content_large=2564

if [ "$runs" = --table ]; then
  [ -f "$results" ] || { echo "bench: no earlier run" >&2; exit 1; }
  runs=$(grep "^native-small " "$results" | grep -oE "runs_s=[^ ]+" | tr ',' '\n' | wc -l)
else
  bash tools/setup.sh >/dev/null
  # A build that fails shows its own output, not a silent exit.
  quiet() { local out; out=$("$@" 2>&1) || { echo "$out" | tail -40 >&2; echo "bench: failed: $*" >&2; exit 1; }; }
  quiet cmake --preset native-release
  quiet nice -n 10 cmake --build --preset native-release -j2 --target ferrymark_bench
  quiet cmake --preset win64
  quiet nice -n 10 cmake --build --preset win64 -j2 --target Ferrymark ferrymark_bench bench_start bare_dialog \
    bare_dialog_same_libraries bench_same_window

  : >"$results"

  # Natively each measure's machines stand below a root folder of their own on the
  # disk, one folder a run. Nothing of them is removed until every figure is taken:
  # on a disk whose file system steps over recently freed inodes when it makes a
  # file (ext4 without a journal), a removal of 100,000 files would slow every
  # file made in the next minute, whichever measure it belongs to.
  # The same holds for the removal at the end of an earlier run: the measures wait
  # until a minute has passed since it.
  roots=$native/bench-root
  removed=$native/bench-root.removed
  if [ -e "$roots" ]; then rm -rf "$roots"; sync; date +%s >"$removed"; fi
  if [ -f "$removed" ]; then
    wait_s=$(( $(cat "$removed") + 61 - $(date +%s) ))
    if [ "$wait_s" -gt 0 ]; then
      echo "bench: waiting ${wait_s}s, until the inodes that the last removal freed are a minute old"
      sleep "$wait_s"
    fi
  fi
  measure() {
    mkdir -p "$roots/$1"
    FERRYMARK_ROOT=$roots/$1 "$native/tools/bench/ferrymark_bench" "${@:3}" | sed "s/^/$2 /" | tee -a "$results"
  }
  echo "bench: native switch, about 100 content files ($runs runs)"
  measure small native-small switch "$runs" "$content_small" "$config" "$uninstall"
  echo "bench: native switch, about 100,000 content files ($runs runs)"
  measure large native-large switch "$runs" "$content_large" "$config" "$uninstall"
  echo "bench: native Backup against cp ($runs runs)"
  measure backup native backup "$runs" "$config" "$uninstall"

  # Under Wine: a prefix of the benchmark's own, one server for all of it, and a
  # virtual display for the windows.
  prefix=$win64/bench-prefix
  tools/wine-prefix.sh "$prefix"
  export WINEPREFIX=$prefix WINEARCH=win64 WINEDEBUG=-all
  export WINEDLLOVERRIDES='mscoree,mshtml=;winemenubuilder.exe=d'
  to_windows() { printf 'Z:%s' "$1" | tr / '\\'; }
  echo "bench: Wine switch ($runs runs), start to window ($runs runs each)"
  xvfb-run -a -s "-screen 0 1280x1024x24" bash -c '
    set -e
    loader=/usr/lib/wine/wine64; [ -x "$loader" ] || loader=wine
    wineserver -k 2>/dev/null || true
    wineserver -p
    "$loader" "$1/bin/ferrymark_bench.exe" switch "$2" "$3" "$4" "$5" | tr -d "\r" | sed "s/^/wine /"
    "$loader" "$1/bin/ferrymark_bench.exe" prepare-start | tr -d "\r" >/dev/null
    # One start of each first, not counted: Wine loads its own parts on a first start.
    "$loader" "$1/bin/bench_start.exe" "$6" SysListView32 1 >/dev/null
    "$loader" "$1/bin/bench_start.exe" "$7" Button 1 >/dev/null
    "$loader" "$1/bin/bench_start.exe" "$8" Button 1 >/dev/null
    "$loader" "$1/bin/bench_start.exe" "$9" SysListView32 1 >/dev/null
    "$loader" "$1/bin/bench_start.exe" "$6" SysListView32 "$2" | tr -d "\r" | sed "s/^/ferrymark /"
    "$loader" "$1/bin/bench_start.exe" "$7" Button "$2" | tr -d "\r" | sed "s/^/bare /"
    "$loader" "$1/bin/bench_start.exe" "$8" Button "$2" | tr -d "\r" | sed "s/^/libraries /"
    "$loader" "$1/bin/bench_start.exe" "$9" SysListView32 "$2" | tr -d "\r" | sed "s/^/window /"
    wineserver -k
  ' bench "$win64" "$runs" "$content_small" "$config" "$uninstall" \
    "$(to_windows "$win64/bin/Ferrymark.exe")" "$(to_windows "$win64/bin/bare_dialog.exe")" \
    "$(to_windows "$win64/bin/bare_dialog_same_libraries.exe")" \
    "$(to_windows "$win64/bin/bench_same_window.exe")" | tee -a "$results"
  rm -rf "$roots"
  sync
  date +%s >"$removed"
fi

field() { grep "^$1 " "$results" | grep -oE "(^| )$2=[^ ]+" | head -n 1 | cut -d= -f2; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", a / b }'; }
switch_native=$(field native-small median_s)
switch_large=$(field native-large median_s)
switch_wine=$(field wine median_s)
backup=$(field native backup_median_s)
cp_s=$(field native cp_median_s)
start_ferrymark=$(field ferrymark median_s)
start_bare=$(field bare median_s)
start_libraries=$(field libraries median_s)
start_window=$(field window median_s)
content_ratio=$(ratio "$switch_large" "$switch_native")
mv_small=$(field native-small mv_median_s)
mv_large=$(field native-large mv_median_s)
mv_ratio=$(ratio "$mv_large" "$mv_small")
backup_ratio=$(ratio "$backup" "$cp_s")
start_ratio=$(ratio "$start_ferrymark" "$start_bare")
libraries_ratio=$(ratio "$start_libraries" "$start_bare")
own_ratio=$(ratio "$start_ferrymark" "$start_libraries")
window_ratio=$(ratio "$start_window" "$start_libraries")
own_work_ratio=$(ratio "$start_ferrymark" "$start_window")
verdict() { awk -v v="$1" -v g="$2" 'BEGIN { print (v <= g) ? "met" : "MISSED" }'; }
cpu_native=$(field native-small cpu_median_s)
cpu_large=$(field native-large cpu_median_s)
cpu_wine=$(field wine cpu_median_s)
cpu_backup=$(field native backup_cpu_median_s)
cpu_cp=$(field native cp_cpu_median_s)

echo
echo "Machine: $(field native-small config_files) configuration files, $(field native-small uninstall_entries) Uninstall entries;"
echo "content files $(field native-small content_files) against $(field native-large content_files). Medians of $runs runs, seconds;"
echo "cpu: processor seconds of the measuring process (and of cp), without Wine's server."
printf '%-52s %12s %10s %8s %8s\n' "measure" "figure" "goal" "verdict" "cpu"
printf '%-52s %12s %10s %8s %8s\n' "switch there and back, native" "$switch_native" "< 1 s" "$(verdict "$switch_native" 1)" "$cpu_native"
printf '%-52s %12s %10s %8s %8s\n' "switch there and back, Wine" "$switch_wine" "< 3 s" "$(verdict "$switch_wine" 3)" "$cpu_wine"
printf '%-52s %12s %10s %8s %8s\n' "switch with 100,000 content files, native" "$switch_large" "" "" "$cpu_large"
printf '%-52s %12s %10s %8s %8s\n' "  ratio to 100 content files" "$content_ratio" "<= 1.1" "$(verdict "$content_ratio" 1.1)" "$(ratio "$cpu_large" "$cpu_native")"
printf '%-52s %12s %10s %8s %8s\n' "mv of the same $(field native-small folder_moves) folder moves, 100 content files" "$mv_small" "" "" "$(field native-small mv_cpu_median_s)"
printf '%-52s %12s %10s %8s %8s\n' "mv of the same folder moves, 100,000 content files" "$mv_large" "" "" "$(field native-large mv_cpu_median_s)"
printf '%-52s %12s %10s %8s %8s\n' "  ratio to 100 content files" "$mv_ratio" "" "" "$(ratio "$(field native-large mv_cpu_median_s)" "$(field native-small mv_cpu_median_s)")"
printf '%-52s %12s %10s %8s %8s\n' "Backup of the configuration files, native" "$backup" "" "" "$cpu_backup"
printf '%-52s %12s %10s %8s %8s\n' "cp of the same files" "$cp_s" "" "" "$cpu_cp"
printf '%-52s %12s %10s %8s %8s\n' "  ratio Backup / cp" "$backup_ratio" "<= 2" "$(verdict "$backup_ratio" 2)" "$(ratio "$cpu_backup" "$cpu_cp")"
printf '%-52s %12s %10s %8s %8s\n' "start to visible main window, Ferrymark.exe, Wine" "$start_ferrymark" "" "" ""
printf '%-52s %12s %10s %8s %8s\n' "start to visible dialog, bare program, Wine" "$start_bare" "" "" ""
printf '%-52s %12s %10s %8s %8s\n' "  ratio Ferrymark / bare" "$start_ratio" "<= 1.5" "$(verdict "$start_ratio" 1.5)" ""
printf '%-52s %12s %10s %8s %8s\n' "start to visible dialog, same libraries, Wine" "$start_libraries" "" "" ""
printf '%-52s %12s %10s %8s %8s\n' "  ratio same libraries / bare (the libraries)" "$libraries_ratio" "" "" ""
printf '%-52s %12s %10s %8s %8s\n' "  ratio Ferrymark / same libraries (its own)" "$own_ratio" "<= 1.2" "$(verdict "$own_ratio" 1.2)" ""
printf '%-52s %12s %10s %8s %8s\n' "start to visible main window, the window alone, Wine" "$start_window" "" "" ""
printf '%-52s %12s %10s %8s %8s\n' "  ratio window alone / same libraries (the window)" "$window_ratio" "" "" ""
printf '%-52s %12s %10s %8s %8s\n' "  ratio Ferrymark / window alone (start-up work)" "$own_work_ratio" "<= 1.2" "$(verdict "$own_work_ratio" 1.2)" ""
echo "bench: switch_native_s=$switch_native switch_wine_s=$switch_wine content_ratio=$content_ratio mv_content_ratio=$mv_ratio backup_cp_ratio=$backup_ratio start_ratio=$start_ratio start_libraries_ratio=$libraries_ratio start_own_ratio=$own_ratio start_window_ratio=$window_ratio start_own_work_ratio=$own_work_ratio"
