#!/usr/bin/env bash
# Builds the program if need be and runs it:  scripts/run.sh [ options ] file...
# Names of files are taken from the directory of the caller; the exit status is the program's.
source "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/common.sh"

mapfile -t missing < <(missingPackages cmake cmake g++ g++)
if ! command -v ninja >/dev/null && ! command -v make >/dev/null; then missing+=(make); fi
installPackages "${missing[@]}" || exit 1

# The file that the build tool reads stands only when configuring has ended well.
isConfigured() {
  [ -f "$root/build/release/build.ninja" ] || [ -f "$root/build/release/Makefile" ]
}
buildProgram() {
  { isConfigured || configure release; } && cmake --build "$root/build/release" --target vsp32
}
alone release quietly buildProgram || exit 1
exec "$root/build/release/vsp32" "$@"
