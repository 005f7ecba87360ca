#!/usr/bin/env bash
# Installs what is missing, builds Ferrymark.exe and starts it under Wine on a
# demo machine (a Wine prefix of its own). With a display the window shows there
# and the script waits for it to close; without one it runs under Xvfb, saves a
# screenshot and ends the program.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/setup.sh
cmake --preset win64 >/dev/null
cmake --build --preset win64 --target Ferrymark
build=build/win64
prefix=$PWD/$build/demo-prefix
tools/wine-prefix.sh "$prefix"

export WINEPREFIX=$prefix WINEARCH=win64 WINEDEBUG=-all
export WINEDLLOVERRIDES='mscoree,mshtml=;winemenubuilder.exe=d'
loader=/usr/lib/wine/wine64
[ -x "$loader" ] || loader=wine
program=$PWD/$build/bin/Ferrymark.exe

if [ -n "${DISPLAY:-}" ]; then
  echo "Starting Ferrymark on display $DISPLAY; close its window to end."
  "$loader" "$program" || echo "Ferrymark ended with exit code $?"
  wineserver -w || true
  exit 0
fi

shot=$PWD/$build/demo-screenshot.png
rm -f "$shot"
xvfb-run -a -s "-screen 0 1024x768x24" bash -c '
  "$1" "$2" >/dev/null 2>&1 &
  for _ in $(seq 1 60); do
    sleep 1
    grep -q "Appcast URL" "$3" 2>/dev/null && break
  done
  sleep 3
  import -window root "$4"
  wineserver -k
' demo "$loader" "$program" "$prefix/drive_c/ProgramData/Kestrane/Ferrymark/log.txt" "$shot"
echo "No display: Ferrymark ran under Xvfb. Screenshot: $shot"
echo "Its log: $prefix/drive_c/ProgramData/Kestrane/Ferrymark/log.txt"
