#!/usr/bin/env bash
# Compares the program with other preprocessors of the system on the same texts and prints one table:
#   bench/compare.sh [ --rounds N ] [ --rows name,name ] [ --program PATH ]... [ --install ]
# Without --program the release build is made and measured; with two of them two builds are compared. The
# others are gcc, clang, tcc, pcc-cpp, sdcpp, mcpp and ucpp, as far as they are there; --install gets them
# and the two packages with real sources from Debian. compare.py measures.
source "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/../scripts/common.sh"

install=no
ownBuild=yes
arguments=()
for argument in "$@"; do
  case $argument in
    --install) install=yes; continue ;;
    --program | --program=*) ownBuild=no ;;
  esac
  arguments+=("$argument")
done
missing=()
command -v python3 >/dev/null || missing+=(python3-minimal)
if [ "$install" = yes ]; then
  mapfile -t -O "${#missing[@]}" missing < <(missingPackages gcc gcc clang clang tcc tcc pcc-cpp pcc \
    sdcpp sdcc mcpp mcpp ucpp ucpp)
  [ -e /usr/i686-w64-mingw32/include/windows.h ] || missing+=(mingw-w64-i686-dev)
  [ -e /usr/share/duktape/duktape.c ] || missing+=(duktape-dev)
fi
installPackages "${missing[@]}" || exit 1

targets=(make_source)
if [ "$ownBuild" = yes ]; then
  targets+=(vsp32)
  arguments+=(--program "$root/build/release/vsp32")
fi
buildPreset release --target "${targets[@]}" || exit 1
exec python3 "$root/bench/compare.py" --make-source "$root/build/release/make_source" \
  --work "$root/build/compare" "${arguments[@]}"
