#!/usr/bin/env bash
# Installs what building and testing Ferrymark needs on Debian 12, from Debian's
# packages only. Safe to run again: it installs only what is missing and adds
# the source-package entry once.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config dpkg-dev
  g++-mingw-w64-x86-64-posix mingw-w64-tools binutils-mingw-w64-x86-64
  wine wine64 xvfb xauth imagemagick
  sqlite3 libsqlite3-dev libgtest-dev googletest liblief-dev
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

# pugixml is built in its wide configuration from Debian's source package, which needs
# a deb-src entry for the same archive as the binary packages.
src_list=/etc/apt/sources.list.d/ferrymark-deb-src.sources
need_update=0
if [ ! -f "$src_list" ]; then
  cat >"$src_list" <<'SRC'
Types: deb-src
URIs: http://deb.debian.org/debian
Suites: bookworm bookworm-updates
Components: main
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg
SRC
  need_update=1
fi

if [ "${#missing[@]}" -gt 0 ] || [ "$need_update" = 1 ]; then
  echo "setup: installing ${missing[*]:-(source index only)}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -q
  if [ "${#missing[@]}" -gt 0 ]; then
    apt-get install -y -q --no-install-recommends "${missing[@]}"
  fi
else
  echo "setup: all packages present"
fi

# Debian's mingw g++ defaults to the win32 thread model; the project builds with
# the posix one, which the toolchain file names explicitly.
command -v x86_64-w64-mingw32-g++-posix >/dev/null
command -v wine >/dev/null
