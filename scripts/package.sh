#!/usr/bin/env bash
# Packs the program for those who don't build it:  scripts/package.sh windows
# The result is build/vsp32-windows.zip: the program, its language library, a text that tells how to use
# it, and the licence.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

if [ "$#" != 1 ] || [ "$1" != windows ]; then
  echo "usage: scripts/package.sh windows" >&2
  exit 2
fi
mapfile -t missing < <(missingPackages cmake cmake ninja ninja-build zip zip \
  i686-w64-mingw32-g++-posix g++-mingw-w64-i686-posix i686-w64-mingw32-windres binutils-mingw-w64-i686)
installPackages "${missing[@]}" || exit 1
buildPreset windows -j "$(nproc)" --target vsp32 language_vsp32_DEU || exit 1

cd "$root" || exit 1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
package=$folder/vsp32
mkdir "$package"
cp build/windows/vsp32.exe build/windows/vsp32.DEU "$package"
# Texts with the line ends of the system that they are for.
sed 's/$/\r/' windows/readme.txt >"$package/README.txt"
sed 's/$/\r/' LICENSE >"$package/LICENSE.txt"
# The date of the sources, so that the same sources give the same package.
date=$(git log -1 --format=%ct 2>/dev/null || echo 1000000000)
find "$package" -exec touch -d "@$date" {} +
rm -f build/vsp32-windows.zip
(cd "$folder" && TZ=UTC zip -qrX9 "$root/build/vsp32-windows.zip" vsp32) || exit 1
echo "build/vsp32-windows.zip: $(stat -c %s build/vsp32-windows.zip) bytes"
