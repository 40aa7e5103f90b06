#!/usr/bin/env bash
# Counts the instructions that the release build needs for five fixed texts and compares them with
# budgets.txt; fails if one takes over 5 % more than its budget:
#   bench/instructions.sh [ --update ]
# --update writes the counts as the new budgets. Counts don't depend on how busy the machine is, so this
# notices a loss that a clock would miss.
#
# A count must not depend on the processor either. The C library chooses its string routines by what the
# processor can do, and some of their limits by the size of its caches; the tunables below take away all that
# is newer than the first x86-64 and fix the limits. The environment holds nothing else, since the start of a
# process reads all of it. What is left (length of paths, cache levels counted at the start) is some
# thousands of instructions in ten million or more.
source "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/../scripts/common.sh"

features=-AVX512F,-AVX512VL,-AVX512BW,-AVX2,-AVX,-FMA,-BMI1,-BMI2,-LZCNT,-MOVBE,-POPCNT,-ERMS,-FSRM,-RTM
features+=,-SSE4_2,-SSE4_1,-SSSE3,-XSAVE,-XSAVEC,-Slow_BSF,-AVX_Fast_Unaligned_Load,-Prefer_No_VZEROUPPER
features+=,-Prefer_ERMS,-Prefer_FSRM,-Fast_Copy_Backward,Fast_Unaligned_Load,Fast_Unaligned_Copy
tunables=glibc.cpu.hwcaps=$features
tunables+=:glibc.cpu.x86_data_cache_size=0x8000:glibc.cpu.x86_shared_cache_size=0x100000
tunables+=:glibc.cpu.x86_non_temporal_threshold=0xc0000

budgets=$root/bench/budgets.txt
work=$root/build/instructions
update=no
case $* in
  "") ;;
  --update) update=yes ;;
  *) echo "usage: bench/instructions.sh [ --update ]" >&2; exit 1 ;;
esac

mapfile -t missing < <(missingPackages valgrind valgrind)
installPackages "${missing[@]}" || exit 1
buildPreset release --target vsp32 make_source || exit 1

# Prints the count of a run on the text of a kind.
count() {
  cd "$work/$1" || return 1
  env -i LC_ALL=C GLIBC_TUNABLES="$tunables" "$(command -v valgrind)" --tool=cachegrind --cache-sim=no \
    --cachegrind-out-file=/dev/null --log-file=log "$root/build/release/vsp32" -q "$1.c" >/dev/null &&
    sed -n '/I *refs:/ { s/.*: *//; s/,//g; p }' log
}

rm -rf "$work"
failed=0
lines=()
for pair in large:1024 macros:384 headers:512 skipped:4096 comments:4096; do
  kind=${pair%:*}
  "$root/build/release/make_source" "$kind" "${pair#*:}" "$work/$kind" || exit 1
  instructions=$(count "$kind")
  if [ -z "$instructions" ]; then
    echo "$kind: can't be counted" >&2
    exit 1
  fi
  lines+=("$kind $instructions")
  budget=$(awk -v kind="$kind" '$1 == kind { print $2 }' "$budgets")
  if [ "$update" = no ] && ! awk -v kind="$kind" -v now="$instructions" -v budget="${budget:-0}" 'BEGIN {
      over = budget > 0 ? (now / budget - 1) * 100 : 100
      printf "%-10s %12d instructions, budget %12d, %+6.2f %%\n", kind, now, budget, over
      exit over > 5 }'; then
    failed=1
  fi
done
if [ "$update" = yes ]; then
  {
    echo "# Instructions of the release build for the texts of instructions.sh, which writes this file."
    printf '%s\n' "${lines[@]}"
  } >"$budgets"
  cat "$budgets"
fi
exit "$failed"
