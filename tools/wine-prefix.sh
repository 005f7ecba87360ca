#!/usr/bin/env bash
# Creates a Wine prefix for Ferrymark's tests and demo, once.
#
# A new prefix links Documents, Pictures, Desktop and the other shell folders to
# the Unix home folder, so that two of them are one folder and the program would
# write into the machine's home. They are replaced here by real, empty folders.
set -euo pipefail
prefix=$1
stamp=$prefix/.ferrymark-ready

# Any other link below the users' folders (AppData\Roaming\Microsoft\Windows\
# Templates points at the home folder too) becomes a real, empty folder, so that
# nothing below C:\ leads out of the prefix. Also done for an existing prefix.
replace_user_links() {
  find "$prefix/drive_c/users" -type l -print0 | while IFS= read -r -d '' item; do
    rm -f "$item"
    mkdir -p "$item"
  done
}
# A second drive D: of the prefix's own, for a simulator installed on another
# drive. Also done for an existing prefix.
add_second_drive() {
  if [ ! -e "$prefix/dosdevices/d:" ]; then
    mkdir -p "$prefix/drive_d"
    ln -sfn ../drive_d "$prefix/dosdevices/d:"
  fi
}
if [ -f "$stamp" ]; then
  replace_user_links
  add_second_drive
  touch "$stamp"
  exit 0
fi

export WINEPREFIX=$prefix
export WINEARCH=win64
export WINEDEBUG=-all
export WINEDLLOVERRIDES='mscoree,mshtml=;winemenubuilder.exe=d'
mkdir -p "$prefix"
loader=/usr/lib/wine/wine64
[ -x "$loader" ] || loader=wine
echo "wine-prefix: creating $prefix"
DISPLAY= "$loader" wineboot --init >/dev/null 2>&1 || true
wineserver -w || true
# The program is made for Windows 10; a new prefix reports Windows 7.
"$loader" winecfg -v win10 >/dev/null 2>&1 || true
wineserver -w || true

for user_folder in "$prefix"/drive_c/users/*/; do
  for name in Desktop Documents Downloads Music Pictures Videos Templates; do
    item=${user_folder}${name}
    if [ -L "$item" ]; then
      rm -f "$item"
      mkdir -p "$item"
    fi
  done
done
replace_user_links
add_second_drive
[ -f "$prefix/system.reg" ] || { echo "wine-prefix: wineboot did not create the prefix" >&2; exit 1; }
touch "$stamp"
