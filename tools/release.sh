#!/usr/bin/env bash
# Builds the release: dist/Ferrymark-<version>-x64.msi, signed, holding the signed
# program and its manual.
#
#   bash tools/release.sh                        build, test and package the release
#   bash tools/release.sh --check-reproducible   two clean builds in two folders,
#                                                compared byte for byte
#
# Signing: a release certificate is named in the environment, either
#   FERRYMARK_SIGN_PKCS12=release.p12 (and FERRYMARK_SIGN_PASSWORD), or
#   FERRYMARK_SIGN_CERT=cert.pem and FERRYMARK_SIGN_KEY=key.pem.
# Without one the build signs with a throwaway certificate of its own.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
bash tools/setup.sh
version=$(sed -n 's/^project(Ferrymark VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
package=Ferrymark-$version-x64.msi

sign_args=()
for name in FERRYMARK_SIGN_PKCS12 FERRYMARK_SIGN_CERT FERRYMARK_SIGN_KEY; do
  [ -n "${!name:-}" ] && sign_args+=("-D$name=$(realpath "${!name}")")
done

xvfb() { xvfb-run -a -s "-screen 0 1280x1024x24" "$@"; }

# The program, and the screenshots of its end-to-end run, which the manual shows.
build_and_shoot() {
  cmake --preset win64 "${sign_args[@]}" >/dev/null
  cmake --build --preset win64
  echo "== the end-to-end run, for the manual's pictures =="
  rm -rf build/win64/screenshots && mkdir -p build/win64/screenshots
  xvfb ctest --preset win64 -R '^e2e\.'
  tools/convert-screenshots.sh build/win64/screenshots
}

if [ "${1:-}" = --check-reproducible ]; then
  [ -f build/win64/screenshots/main-active.png ] || build_and_shoot
  work=$(mktemp -d /tmp/ferrymark-reproducible.XXXXXX)
  # The copy below is no git checkout: both builds take the commit's time from here.
  export SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct)}
  # Both builds sign with one certificate, as a release does.
  if [ "${#sign_args[@]}" -eq 0 ]; then
    openssl req -x509 -newkey rsa:2048 -nodes -days 3650 -subj "/CN=Ferrymark reproducibility check" \
      -keyout "$work/key.pem" -out "$work/cert.pem" 2>/dev/null
    sign_args=("-DFERRYMARK_SIGN_CERT=$work/cert.pem" "-DFERRYMARK_SIGN_KEY=$work/key.pem")
  fi
  # One build from this tree, one from a copy of its files elsewhere, each in a new folder.
  mkdir -p "$work/copy"
  git ls-files -z | tar -c --null -T - | tar -x -C "$work/copy"
  first=$root/build/reproducible-a
  second=$work/copy/build/elsewhere/b
  rm -rf "$first"
  for pair in "$root:$first" "$work/copy:$second"; do
    source=${pair%%:*} binary=${pair#*:}
    echo "== clean build in $binary =="
    cmake -S "$source" -B "$binary" -G Ninja -DCMAKE_BUILD_TYPE=Release \
      -DCMAKE_TOOLCHAIN_FILE="$source/cmake/mingw-w64-x86_64.cmake" \
      -DFERRYMARK_SCREENSHOTS="$root/build/win64/screenshots" "${sign_args[@]}" >/dev/null
    cmake --build "$binary" --target launcher_stub_signed Ferrymark msi >/dev/null
  done
  status=0
  for file in unsigned/Ferrymark.exe bin/FerrymarkStub.exe bin/Ferrymark.exe signed/FerrymarkStub.exe \
              Manual.pdf "unsigned/$package" "$package"; do
    if cmp -s "$first/$file" "$second/$file"; then
      echo "same      $(sha256sum <"$first/$file" | cut -c1-16)  $file"
    else
      echo "DIFFERENT $file: $(cmp "$first/$file" "$second/$file" 2>&1 | head -1)"; status=1
    fi
  done
  rm -rf "$work" "$first"
  [ "$status" -eq 0 ] && echo "The two builds are byte for byte the same." || echo "The builds differ." >&2
  exit "$status"
fi

build_and_shoot
echo "== the manual and the installer: built, checked, installed and uninstalled under Wine =="
xvfb ctest --preset win64 -L release
mkdir -p dist
cp "build/win64/$package" "dist/$package"
cafile=$(sed -n 's/^FERRYMARK_SIGN_CAFILE:FILEPATH=//p' build/win64/CMakeCache.txt)
for signed in build/win64/bin/Ferrymark.exe "dist/$package"; do
  echo "$signed: $(osslsigncode verify -CAfile "$cafile" -in "$signed" 2>/dev/null |
    grep -E "^(Signature verification|Failed)" | head -1)"
done
echo "Release: dist/$package ($(stat -c %s "dist/$package") bytes, sha256 $(sha256sum <"dist/$package" | cut -c1-64))"
