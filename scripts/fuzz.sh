#!/usr/bin/env bash
# Runs each fuzz target for some seconds under both sanitizers:  scripts/fuzz.sh [ SECONDS ]
# The corpora stay in build/corpus; what a target finds is kept in build/finds and makes the exit
# status 1.
source "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/common.sh"

seconds=${1:-60}
mapfile -t missing < <(missingPackages cmake cmake clang++ clang ninja ninja-build)
if command -v clang++ >/dev/null; then
  version=$(clang++ -dumpversion | cut -d. -f1)
  runtime=$(clang++ -print-runtime-dir 2>/dev/null)
  [ -e "$runtime/libclang_rt.fuzzer-x86_64.a" ] || missing+=("libclang-rt-$version-dev")
else
  missing+=(libclang-rt-14-dev)
fi
installPackages "${missing[@]}" || exit 1

cd "$root" || exit 1
buildPreset fuzz -j "$(nproc)" || exit 1
mkdir -p build/finds
scratch=$(mktemp -d -p "$([ -w /dev/shm ] && echo /dev/shm || echo /tmp)")
trap 'rm -rf "$scratch"' EXIT
export FUZZ_SCRATCH=$scratch
"$root/tests/fuzz/make_seeds.sh" build/corpus || exit 1
status=0
# The targets change their directory, so all paths are absolute.
for target in "$root"/build/fuzz/fuzz_*; do
  [ -x "$target" ] && [ -f "$target" ] || continue
  name=$(basename "$target")
  log=$root/build/finds/$name.log
  # The target moves into a scratch directory, so the paths are absolute. What it prints goes to /dev/null, the fuzzer's own lines to the log.
  if ASAN_OPTIONS=detect_leaks=0 "$target" -max_total_time="$seconds" -max_len=4096 \
    -rss_limit_mb=2048 -timeout=10 -artifact_prefix="$root/build/finds/$name-" -close_fd_mask=1 \
    "$root/build/corpus/$name" >/dev/null 2>"$log"; then
    echo "$name: $(grep -o 'Done .*' "$log")"
  else
    status=1
    echo "$name: FOUND something, see $log"
    grep -m 5 'ERROR\|runtime error\|SUMMARY\|Test unit written' "$log"
  fi
done
exit "$status"
