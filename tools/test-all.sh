#!/usr/bin/env bash
# Builds both presets and runs every test layer: native (ASan + UBSan), Wine unit
# tests, the end-to-end tests of the real program under Wine and Xvfb, and then
# the release tests: the manual built from their screenshots, and the installer.
set -uo pipefail
cd "$(dirname "$0")/.."

bash tools/setup.sh || exit 1
cmake --preset native >/dev/null && cmake --build --preset native || exit 1
cmake --preset win64 >/dev/null && cmake --build --preset win64 || exit 1

status=0
log_native=build/native/ctest-output.txt
log_win64=build/win64/ctest-output.txt
log_release=build/win64/ctest-release-output.txt

echo "== native: core with the POSIX backend =="
ctest --preset native 2>&1 | tee "$log_native"
[ "${PIPESTATUS[0]}" -eq 0 ] || status=1

echo "== win64: Wine unit tests and the program end to end under Xvfb =="
rm -rf build/win64/screenshots && mkdir -p build/win64/screenshots
xvfb-run -a -s "-screen 0 1280x1024x24" ctest --preset win64 -LE release 2>&1 | tee "$log_win64"
[ "${PIPESTATUS[0]}" -eq 0 ] || status=1
# The run ends its Wine server itself (wineserver.stop); this catches a run that
# was cut short.
WINEPREFIX=$PWD/build/win64/wineprefix wineserver -k 2>/dev/null || true

tools/convert-screenshots.sh build/win64/screenshots
ls build/win64/screenshots/*.png >/dev/null 2>&1 &&
  echo "Screenshots: $(ls build/win64/screenshots/*.png | tr '\n' ' ')"

# The manual shows those screenshots; with it the installer is built, and both are
# checked: the manual's text and pages, the installer under Wine.
echo "== release: the manual and the installer =="
xvfb-run -a -s "-screen 0 1280x1024x24" ctest --preset win64 -L release 2>&1 | tee "$log_release"
[ "${PIPESTATUS[0]}" -eq 0 ] || status=1
WINEPREFIX=$PWD/build/win64/wineprefix wineserver -k 2>/dev/null || true

# One closing line over both runs.
total() { grep -hoE "tests failed out of [0-9]+" "$log_native" "$log_win64" "$log_release" | awk '{s+=$5} END {print s+0}'; }
failed() { grep -hoE "[0-9]+ tests failed out of" "$log_native" "$log_win64" "$log_release" | awk '{s+=$1} END {print s+0}'; }
skipped=$(grep -hcE "\(Skipped\)$" "$log_native" "$log_win64" "$log_release" | awk '{s+=$1} END {print s+0}')
all=$(total); bad=$(failed)
[ "$all" -gt 0 ] || { echo "no tests ran"; status=1; }
echo "$((all - bad - skipped)) passed, $bad failed, $skipped skipped"
exit $status
