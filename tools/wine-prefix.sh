#!/usr/bin/env bash
# Creates a Wine prefix for Ferrymark's tests and demo, once.
#   wine-prefix.sh PREFIX [--virtual-desktop]
#
# A new prefix links Documents, Pictures, Desktop and the other shell folders to
# the Unix home folder, so that two of them are one folder and the program would
# write into the machine's home. They are replaced here by real, empty folders.
set -euo pipefail
prefix=$(realpath -m "$1")
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
# With --virtual-desktop, Wine's own virtual desktop for the whole prefix, else
# none. With no window manager (under Xvfb) Wine's top-level windows lack their
# caption and frame; on its virtual desktop Wine draws them itself, so that
# screenshots show whole windows. Also done for an existing prefix.
desktop=${2:-}
use_virtual_desktop() {
  local loader=/usr/lib/wine/wine64 set=no
  [ -x "$loader" ] || loader=wine
  grep -q '^"Desktop"="Default"' "$prefix/user.reg" 2>/dev/null && set=yes
  if [ "$desktop" = --virtual-desktop ] && [ "$set" = no ]; then
    WINEPREFIX=$prefix WINEDEBUG=-all DISPLAY= "$loader" reg add 'HKCU\Software\Wine\Explorer' \
      /v Desktop /d Default /f >/dev/null 2>&1 || true
    WINEPREFIX=$prefix WINEDEBUG=-all DISPLAY= "$loader" reg add 'HKCU\Software\Wine\Explorer\Desktops' \
      /v Default /d 1280x1024 /f >/dev/null 2>&1 || true
  elif [ "$desktop" != --virtual-desktop ] && [ "$set" = yes ]; then
    WINEPREFIX=$prefix WINEDEBUG=-all DISPLAY= "$loader" reg delete 'HKCU\Software\Wine\Explorer' \
      /v Desktop /f >/dev/null 2>&1 || true
  else
    return 0
  fi
  WINEPREFIX=$prefix wineserver -w || true
}
# Wine draws the caption buttons (close, minimise, maximise) with the Marlett
# font, which it does not find in Debian's fonts-wine folder on its own; without
# it the close box shows the letter "r". Also done for an existing prefix.
add_caption_button_font() {
  local font=/usr/share/wine/fonts/marlett.ttf
  [ -f "$font" ] && [ -d "$prefix/drive_c/windows/Fonts" ] && cp -n "$font" "$prefix/drive_c/windows/Fonts/" || true
}
if [ -f "$stamp" ]; then
  replace_user_links
  add_second_drive
  use_virtual_desktop
  add_caption_button_font
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
use_virtual_desktop
add_caption_button_font
[ -f "$prefix/system.reg" ] || { echo "wine-prefix: wineboot did not create the prefix" >&2; exit 1; }
touch "$stamp"
