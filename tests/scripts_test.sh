#!/usr/bin/env bash
# Runs the scripts as they come, in a fresh copy of the tree whose path holds a blank: two run.sh at once,
# which must not build into each other's files, and each script through a symbolic link.
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
  (cd "$work/$directory" && exec "../run again" -q -P- a.c >log 2>&1) &
  runs+=($!)
done
for directory in 1 2; do
  wait "${runs[directory - 1]}" || fail "run $directory ended with $?"
  [ "$(cat "$work/$directory/log")" = "a.c:" ] || fail "run $directory printed: $(cat "$work/$directory/log")"
  grep -q "^int number = $directory;" "$work/$directory/a.i" || fail "run $directory left no output"
done

# A preset that doesn't exist: what is left to do is the check of the format, and telling that it failed.
result=$("$work/test" none 2>&1) && fail "test.sh of no preset succeeded"
[ "$(sed -n 1p <<<"$result")" = "format: ok" ] && [ "$(tail -n 1 <<<"$result")" = "1 passed, 1 failed" ] ||
  fail "test.sh printed: $result"
rm -rf "$work"
exit "$status"
