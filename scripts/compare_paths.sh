#!/usr/bin/env bash
# Compares the fast paths with the ordinary ways:  scripts/compare_paths.sh [ SEED [ COUNT ] ]
# The builds release and dev, which reads small blocks, run against the build ordinary on the inputs of
# all cases and on COUNT random programs. What differs is shown and kept in build/finds, and makes the
# exit status 1.
source "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/common.sh"

seed=${1:-1}
count=${2:-3000}
cd "$root" || exit 1
for preset in release dev ordinary; do
  buildPreset "$preset" -j "$(nproc)" || exit 1
done
scratch=$(mktemp -d -p "$([ -w /dev/shm ] && echo /dev/shm || echo /tmp)")
trap 'rm -rf "$scratch"' EXIT
export TMPDIR=$scratch
status=0
for preset in release dev; do
  programs=("build/$preset/vsp32" build/ordinary/vsp32)
  echo "$preset:"
  build/ordinary/compare_paths "${programs[@]}" cases tests/cases/*.case || status=1
  build/ordinary/compare_paths "${programs[@]}" random "$seed" "$count" "$(nproc)" build/finds || status=1
done
exit "$status"
