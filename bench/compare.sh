#!/usr/bin/env bash
# Runs the program and the preprocessors of the two compilers that the system has on the same work and
# prints the best time of each and the ratio to ours:  bench/compare.sh [ RUNS ]
# The three take turns, so that a slow moment of the machine falls on all of them. For the 200 small files
# vsp32 runs once, the compilers once for each, since they put all outputs of one call into one stream.
source "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/../scripts/common.sh"

runs=${1:-7}
cd "$root" || exit 1
buildPreset release --target vsp32 make_source || exit 1
program=$root/build/release/vsp32
work=$root/build/compare
rm -rf "$work"

# Each takes the kind and leaves its output in the directory of the kind.
ours() { if [ "$1" = small ]; then "$program" -q 's*.c'; else "$program" -q "$1.c"; fi >/dev/null; }
gccRun() {
  if [ "$1" = small ]; then
    for file in s*.c; do gcc -E "$file" -o "${file%.c}.gcc" || return; done
  else
    gcc -E "$1.c" -o "$1.gcc"
  fi
}
clangRun() {
  if [ "$1" = small ]; then
    for file in s*.c; do clang -E "$file" -o "${file%.c}.clang" || return; done
  else
    clang -E "$1.c" -o "$1.clang"
  fi
}

# Microseconds of one run.
measure() {
  local start=$EPOCHREALTIME end
  "$@" 2>/dev/null || echo "$* failed" >&2
  end=$EPOCHREALTIME
  echo $((${end/./} - ${start/./}))
}

echo "best of $runs runs, milliseconds; in brackets: times as long as vsp32"
printf '%-10s %10s %18s %18s\n' text vsp32 "gcc -E" "clang -E"
for pair in large:8192 headers:4096 macros:4096 skipped:8192 small:400; do
  kind=${pair%:*}
  "$root/build/release/make_source" "$kind" "${pair#*:}" "$work/$kind" || exit 1
  cd "$work/$kind" || exit 1
  best=(999999999 999999999 999999999)
  for ((run = 0; run < runs; run++)); do
    index=0
    for tool in ours gccRun clangRun; do
      taken=$(measure "$tool" "$kind")
      [ "$taken" -ge "${best[index]}" ] || best[index]=$taken
      index=$((index + 1))
    done
  done
  awk -v kind="$kind" -v a="${best[0]}" -v b="${best[1]}" -v c="${best[2]}" 'BEGIN {
    printf "%-10s %10.1f %10.1f (%4.1f) %10.1f (%4.1f)\n", kind, a / 1000, b / 1000, b / a, c / 1000, c / a }'
done
