#!/usr/bin/env bash
# Builds both presets and runs every test layer: native (ASan + UBSan), Wine unit
# tests and the end-to-end tests of the real program under Wine and Xvfb.
set -uo pipefail
cd "$(dirname "$0")/.."

bash tools/setup.sh || exit 1
cmake --preset native >/dev/null && cmake --build --preset native || exit 1
cmake --preset win64 >/dev/null && cmake --build --preset win64 || exit 1

status=0
log_native=build/native/ctest-output.txt
log_win64=build/win64/ctest-output.txt

echo "== native: core with the POSIX backend =="
ctest --preset native 2>&1 | tee "$log_native"
[ "${PIPESTATUS[0]}" -eq 0 ] || status=1

echo "== win64: Wine unit tests and the program end to end under Xvfb =="
rm -rf build/win64/screenshots && mkdir -p build/win64/screenshots
xvfb-run -a -s "-screen 0 1280x1024x24" ctest --preset win64 2>&1 | tee "$log_win64"
[ "${PIPESTATUS[0]}" -eq 0 ] || status=1
# The run ends its Wine server itself (wineserver.stop); this catches a run that
# was cut short.
WINEPREFIX=$PWD/build/win64/wineprefix wineserver -k 2>/dev/null || true

for shot in build/win64/screenshots/*.bmp; do
  [ -f "$shot" ] || continue
  convert "$shot" "${shot%.bmp}.png" && rm -f "$shot"
done
ls build/win64/screenshots/*.png >/dev/null 2>&1 &&
  echo "Screenshots: $(ls build/win64/screenshots/*.png | tr '\n' ' ')"

# One closing line over both runs.
total() { grep -hoE "tests failed out of [0-9]+" "$log_native" "$log_win64" | awk '{s+=$5} END {print s+0}'; }
failed() { grep -hoE "[0-9]+ tests failed out of" "$log_native" "$log_win64" | awk '{s+=$1} END {print s+0}'; }
skipped=$(grep -hcE "\(Skipped\)$" "$log_native" "$log_win64" | awk '{s+=$1} END {print s+0}')
all=$(total); bad=$(failed)
[ "$all" -gt 0 ] || { echo "no tests ran"; status=1; }
echo "$((all - bad - skipped)) passed, $bad failed, $skipped skipped"
exit $status
