#!/usr/bin/env bash
# Installs what building and testing Ferrymark needs on Debian 12, from Debian's
# packages only. Safe to run again: it installs only what is missing and adds
# the source-package entry once.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config dpkg-dev
  g++-mingw-w64-x86-64-posix mingw-w64-tools binutils-mingw-w64-x86-64
  wine wine64 xvfb xauth imagemagick
  # the glyphs of the caption buttons (Marlett) in the screenshots of whole windows
  fonts-wine
  sqlite3 libsqlite3-dev libgtest-dev googletest liblief-dev python3
  # shipping: the installer, signing and the manual
  wixl msitools python3-olefile osslsigncode openssl weasyprint poppler-utils
  # proof: the fuzz target of the SimBase reader
  clang libfuzzer-14-dev
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

# pugixml is built in its wide configuration from Debian's source package, which needs
# a deb-src entry. It is derived from the machine's own apt configuration: the entry
# that serves the pugixml binary package here is copied with its type changed to
# deb-src, keeping its mirror, suites, components and signing key, so the setup works
# with whatever archive the machine is configured for.
src_sources=/etc/apt/sources.list.d/ferrymark-deb-src.sources
src_list=/etc/apt/sources.list.d/ferrymark-deb-src.list

# "file:line" of each configured entry whose index lists libpugixml-dev.
pugixml_entries() {
  apt-cache policy libpugixml-dev 2>/dev/null |
    awk '$NF == "Packages" && $2 ~ /:\/\// { print $2 " " $3 " " }' | sort -u |
    while read -r site release_component; do
      apt-get indextargets 'Identifier: Packages' |
        awk -v want="Description: $site $release_component " '
          index($0, want) == 1 { hit = 1 }
          /^Sourcesentry: / && hit { print $2; hit = 0 }
          /^$/ { hit = 0 }'
    done | sort -u
}

# The deb-src twin of one entry: a deb822 stanza or a one-line entry.
source_twin() {
  local file=${1%:*} line=${1##*:}
  case $file in
    *.sources)
      awk -v at="$line" '
        function emit(   i) { for (i = 1; i <= n; i++) print block[i]; print "" }
        /^[ \t]*$/ { if (found) { emit(); done = 1; exit } n = 0; next }
        { if ($0 ~ /^Types:/) $0 = "Types: deb-src"; block[++n] = $0 }
        NR == at { found = 1 }
        END { if (found && !done) emit() }' "$file" >>"$src_sources.new" ;;
    *)
      sed -n "${line}p" "$file" | sed -E 's/^[[:space:]]*deb([[:space:]])/deb-src\1/' >>"$src_list.new" ;;
  esac
}

need_update=0
if [ ! -f "$src_sources" ] && [ ! -f "$src_list" ]; then
  entries=$(pugixml_entries)
  if [ -z "$entries" ]; then
    # A machine that has never run apt-get update has no package index to ask.
    apt-get update -q
    entries=$(pugixml_entries)
  fi
  if [ -z "$entries" ]; then
    echo "setup: no configured apt source offers libpugixml-dev, so its source package cannot be found" >&2
    exit 1
  fi
  rm -f "$src_sources.new" "$src_list.new"
  for entry in $entries; do source_twin "$entry"; done
  [ -f "$src_sources.new" ] && mv "$src_sources.new" "$src_sources"
  [ -f "$src_list.new" ] && sort -u "$src_list.new" >"$src_list" && rm -f "$src_list.new"
  echo "setup: deb-src entries derived from $(echo $entries)"
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
