#!/usr/bin/env bash
# Installs what is missing, builds Ferrymark.exe and starts it under Wine on a
# demo machine: a Wine prefix of its own that looks like a flight-simulator PC,
# with all six simulators installed in their usual folders and no location given
# to Ferrymark yet, so that it opens as on its first start on a real PC.
#
# With a display the window shows there and the script waits for it to close.
# Without one it runs under Xvfb and tells the story itself: the locations of
# Prepar3D v4, Prepar3D v5 and Flight Simulator X, then Prepar3D v4 activated,
# with a screenshot of each step.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/setup.sh
cmake --preset win64 >/dev/null
cmake --build --preset win64 --target Ferrymark ferrymark_demo
build=$PWD/build/win64
prefix=$build/demo-prefix
# Under Xvfb, with no window manager, on Wine's virtual desktop: its screenshots
# then show whole windows with caption and frame.
if [ -n "${DISPLAY:-}" ]; then tools/wine-prefix.sh "$prefix"; else tools/wine-prefix.sh "$prefix" --virtual-desktop; fi

export WINEPREFIX=$prefix WINEARCH=win64 WINEDEBUG=-all
export WINEDLLOVERRIDES='mscoree,mshtml=;winemenubuilder.exe=d'
loader=/usr/lib/wine/wine64
[ -x "$loader" ] || loader=wine
program=$build/bin/Ferrymark.exe
demo=$build/bin/ferrymark_demo.exe

# A fresh machine on every run: whatever an earlier demo switched goes first.
wineserver -k 2>/dev/null || true
"$loader" "$demo" install | tr -d '\r'
log=$prefix/drive_c/ProgramData/Kestrane/Ferrymark/log.txt

if [ -n "${DISPLAY:-}" ]; then
  echo
  echo "Starting Ferrymark on display $DISPLAY; close its window to end."
  echo "Double-click a simulator to give its location (the folders above), pick a"
  echo "target (Prepar3D v3, v4 or v5) and press Activate."
  "$loader" "$program" || echo "Ferrymark ended with exit code $?"
  wineserver -w || true
  echo "Its log: $log"
  exit 0
fi

shots=$build/demo-screenshots
rm -rf "$shots" && mkdir -p "$shots"
windows_shots="Z:$(printf '%s' "$shots" | tr / '\\')"
windows_program="Z:$(printf '%s' "$program" | tr / '\\')"
echo
echo "No display: Ferrymark runs under Xvfb and the demo drives it."
status=0
xvfb-run -a -s "-screen 0 1280x1024x24" bash -c '"$1" "$2" drive "$3" "$4"; code=$?; wineserver -k; exit $code' \
  demo "$loader" "$demo" "$windows_program" "$windows_shots" >"$shots/steps.txt" || status=$?
echo "Screenshots of the steps:"
for shot in "$shots"/*.bmp; do
  [ -f "$shot" ] || continue
  convert "$shot" "${shot%.bmp}.png" && rm -f "$shot"
  echo "  ${shot%.bmp}.png"
done
echo "Its log: $log"
[ "$status" -eq 0 ] || { echo "The demo stopped early (exit code $status)." >&2; exit "$status"; }
