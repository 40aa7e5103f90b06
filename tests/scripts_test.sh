#!/usr/bin/env bash
# Runs the scripts as they come, in a fresh copy of the tree whose path holds a blank: two run.sh at once,
# which must not build into each other's files, and each script through a symbolic link. run.sh starts the build
# tool only after a change, tells what takes long, and says so plainly if it may not build.
root=$(cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.." && pwd)
work=$root/build/scripts-test
fresh="$work/fresh tree"
status=0

fail() {
  echo "$*"
  status=1
}

rm -rf "$work"
mkdir -p "$fresh" "$work/1" "$work/2"
find "$root" -mindepth 1 -maxdepth 1 ! -name build ! -name .git -exec cp -r -t "$fresh" {} + || exit 1
ln -s "$fresh/scripts/run.sh" "$work/run"
ln -s "fresh tree/scripts/test.sh" "$work/test"
ln -s run "$work/run again"

runs=()
for directory in 1 2; do
  echo "int number = $directory;" >"$work/$directory/a.c"
  (cd "$work/$directory" && exec "../run again" -q -P- a.c >log 2>steps) &
  runs+=($!)
done
for directory in 1 2; do
  wait "${runs[directory - 1]}" || fail "run $directory ended with $?"
  [ "$(cat "$work/$directory/log")" = "a.c:" ] || fail "run $directory printed: $(cat "$work/$directory/log")"
  grep -q "^int number = $directory;" "$work/$directory/a.i" || fail "run $directory left no output"
done

# One of them has configured and built, and has told how long that took.
for step in configuring building; do
  [ "$(cat "$work"/[12]/steps | grep -c "^run.sh: $step \.\.\. [0-9]*\.[0-9] s\$")" = 1 ] ||
    fail "$step is not told once: $(cat "$work"/[12]/steps)"
done

# From now on the build tool takes a note and does nothing.
mkdir "$work/tools"
printf '#!/bin/sh\ntouch "%s/started"\n' "$work" >"$work/tools/cmake"
chmod +x "$work/tools/cmake"
# Whether run.sh starts it: "started" or "".
buildTool() {
  local said
  rm -f "$work/started"
  said=$(cd "$work/1" && PATH=$work/tools:$PATH "../run again" -q -P- a.c 2>&1)
  [ "$(tail -n 1 <<<"$said")" = "a.c:" ] || fail "run.sh printed: $said"
  [ ! -e "$work/started" ] || echo started
}
changes=("touch src/base.h" "touch src/new.cpp" "rm src/new.cpp" "mv src/old.cpp src/driver/old.cpp" "touch CMakeLists.txt"
  "touch scripts/common.sh" "touch cmake/tests.cmake" "touch build/release/CMakeCache.txt" "touch -d 2001-01-01 src/base.h")
touch -d 2001-01-01 "$fresh/src/old.cpp"
buildTool >/dev/null
[ -z "$(buildTool)" ] || fail "the build tool is started for nothing"
for change in "${changes[@]}"; do
  (cd "$fresh" && sleep 0.01 && $change)
  [ "$(buildTool)" = started ] || fail "the build tool isn't started after: $change"
  [ -z "$(buildTool)" ] || fail "the build tool is started twice after: $change"
done

# Somebody else, who may look at the tree and not write to it. Only root can become somebody else.
asNobody() {
  (cd / && setpriv --reuid=65534 --regid=65534 --clear-groups "$@")
}
if [ "$(id -u)" != 0 ]; then
  echo "not tested: a user who may not write to the tree"
elif ! asNobody test -x "$fresh/scripts/run.sh"; then
  echo "not tested: another user can't reach $fresh"
else
  result=$(asNobody "$work/run" -q -ocon "$work/1/a.c" 2>&1) && grep -q "int number = 1;" <<<"$result" ||
    fail "another user got: $result"
  touch "$fresh/src/base.h"
  result=$(asNobody "$work/run" -q -ocon "$work/1/a.c" 2>&1) && fail "another user got past a change"
  grep -qF "user nobody may not write to $fresh/build" <<<"$result" || fail "another user is told: $result"
fi

# A preset that doesn't exist: what is left to do are the checks of the sources, and telling that it failed.
result=$("$work/test" none 2>/dev/null) && fail "test.sh of no preset succeeded"
[ "$(sed -n 1p <<<"$result")" = "format: ok" ] && [ "$(tail -n 1 <<<"$result")" = "2 passed, 1 failed" ] ||
  fail "test.sh printed: $result"
rm -rf "$work"
exit "$status"
