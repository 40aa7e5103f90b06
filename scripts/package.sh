#!/usr/bin/env bash
# Packs the program for those who don't build it:  scripts/package.sh [ deb ] [ tar ] [ windows ]
#
# deb and tar, which are also made without an argument: build/vsp32_*.deb and build/vsp32-*.tar.gz, with the
# program, its language libraries, the man page, the completions of the shells, the package for CMake, the
# documents and the licence. The archive may be unpacked anywhere.
#
# windows: build/vsp32-windows.zip with the program, its language library, texts that tell how to use it, and
# the licence.
source "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/common.sh"

kinds=("$@")
[ "$#" != 0 ] || kinds=(deb tar)
for kind in "${kinds[@]}"; do
  case $kind in
  deb | tar | windows) ;;
  *)
    echo "usage: scripts/package.sh [ deb ] [ tar ] [ windows ]" >&2
    exit 2
    ;;
  esac
done

cd "$root" || exit 1
# The date of the sources, so that the same sources give the same package.
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct 2>/dev/null || echo 1000000000)
export SOURCE_DATE_EPOCH

# Packs the program of the release build:  packLinux GENERATOR...
packLinux() {
  local generators folder file missing
  mapfile -t missing < <(missingPackages cmake cmake g++ g++ ninja ninja-build dpkg-shlibdeps dpkg-dev)
  installPackages "${missing[@]}" || return
  buildPreset release -j "$(nproc)" --target vsp32 || return
  folder=$(mktemp -d)
  generators=$(IFS=';' && echo "$*")
  if quietly cpack --config build/release/CPackConfig.cmake -G "$generators" -B "$folder"; then
    for file in "$folder"/*.deb "$folder"/*.tar.gz; do
      [ -e "$file" ] || continue
      cp "$file" build/ && echo "build/${file##*/}: $(stat -c %s "$file") bytes"
    done
  else
    rm -rf "$folder"
    return 1
  fi
  rm -rf "$folder"
}

packWindows() {
  local missing folder package
  mapfile -t missing < <(missingPackages cmake cmake ninja ninja-build zip zip \
    i686-w64-mingw32-g++-posix g++-mingw-w64-i686-posix i686-w64-mingw32-windres binutils-mingw-w64-i686)
  installPackages "${missing[@]}" || return
  buildPreset windows -j "$(nproc)" --target vsp32 language_vsp32_DEU || return
  folder=$(mktemp -d)
  package=$folder/vsp32
  mkdir "$package"
  cp build/windows/vsp32.exe build/windows/vsp32.DEU "$package"
  # Texts with the line ends of the system that they are for.
  sed 's/$/\r/' windows/readme.txt >"$package/README.txt"
  sed 's/$/\r/' windows/switches.txt >"$package/SWITCHES.txt"
  sed 's/$/\r/' LICENSE >"$package/LICENSE.txt"
  find "$package" -exec touch -d "@$SOURCE_DATE_EPOCH" {} +
  rm -f build/vsp32-windows.zip
  (cd "$folder" && TZ=UTC zip -qrX9 "$root/build/vsp32-windows.zip" vsp32)
  rm -rf "$folder"
  [ -f build/vsp32-windows.zip ] || return
  echo "build/vsp32-windows.zip: $(stat -c %s build/vsp32-windows.zip) bytes"
}

generators=()
for kind in "${kinds[@]}"; do
  case $kind in
  deb) generators+=(DEB) ;;
  tar) generators+=(TGZ) ;;
  windows) packWindows || exit 1 ;;
  esac
done
[ "${#generators[@]}" = 0 ] || packLinux "${generators[@]}" || exit 1
