#!/usr/bin/env bash
# Turns the BMP screenshots that the Windows-side tests write into PNG files.
#   convert-screenshots.sh FOLDER
set -euo pipefail
for shot in "$1"/*.bmp; do
  [ -f "$shot" ] || continue
  convert "$shot" "${shot%.bmp}.png" && rm -f "$shot"
done
