#!/usr/bin/env bash
# Builds the program if need be and runs it:  scripts/run.sh [ options ] file...
# Names of files are taken from the directory of the caller; the exit status is the program's.
source "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/common.sh"

build=$root/build/release
# Its time is that of the last build's start.
stamp=$build/.current

# True if nothing that the program is built from has changed since the last build. A file that is new or gone,
# or has come with an old date, counts: it changes the directory, or the file's own record.
isCurrent() {
  local changed
  [ -x "$build/vsp32" ] && [ -e "$stamp" ] &&
    changed=$(find "$root/src" "$root/cmake" "$root"/{CMakeLists.txt,CMakePresets.json,scripts/{run,common}.sh} \
      "$build/CMakeCache.txt" -cnewer "$stamp" -print -quit 2>/dev/null) && [ -z "$changed" ]
}

# The file that the build tool reads exists only after configuring has succeeded.
isConfigured() {
  [ -f "$build/build.ninja" ] || [ -f "$build/Makefile" ]
}

buildProgram() {
  # Another script may have built it while this one waited.
  ! isCurrent || return 0
  isConfigured || step "configuring" configure release || return
  touch "$stamp.new"
  step "building" cmake --build "$build" --target vsp32 -j "$(nproc)" && mv "$stamp.new" "$stamp"
}

# True if this user may write what a build writes.
mayBuild() {
  mkdir -p "$root/build" && : >>"$root/build/.release.lock" && { [ ! -e "$build" ] || [ -w "$build" ]; }
} 2>/dev/null

if ! isCurrent; then
  if ! mayBuild; then
    cat >&2 <<EOF
run.sh: the program has to be built, and user $(id -un) may not write to $root/build.
Let the owner of the tree run scripts/run.sh once, or build the program elsewhere:
    cmake -S '$root' -B DIRECTORY && cmake --build DIRECTORY --target vsp32
EOF
    exit 1
  fi
  mapfile -t missing < <(missingPackages cmake cmake g++ g++)
  if ! command -v ninja >/dev/null && ! command -v make >/dev/null; then missing+=(make); fi
  installPackages "${missing[@]}" && alone release buildProgram || exit 1
fi
exec "$build/vsp32" "$@"
