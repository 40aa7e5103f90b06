#!/usr/bin/env bash
# Builds the program for Windows with the cross compiler and tests it under Wine:
#   scripts/test-windows.sh
# It installs what is missing and keeps Wine in a folder of its own below build/. The last line tells how
# many tests passed, failed and were skipped; the exit status is 1 if any failed, and 77 if the tools can't
# be had here.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
source "$root/scripts/wine.sh"
cd "$root" || exit 1
jobs=$(nproc)

# --- Tools ---

mapfile -t missing < <(missingPackages cmake cmake g++ g++ ninja ninja-build setpriv util-linux \
  i686-w64-mingw32-g++-posix g++-mingw-w64-i686-posix i686-w64-mingw32-windres binutils-mingw-w64-i686 \
  /usr/lib/wine/wine64 wine64 xargs findutils ps procps)
[ -e /usr/include/gtest/gtest.h ] || missing+=(libgtest-dev)
[ -e /usr/src/googletest/googletest/src/gtest-all.cc ] || missing+=(googletest)
if [ "${#missing[@]}" -gt 0 ]; then
  command -v apt-get >/dev/null || notHere "there is no apt-get to install ${missing[*]}"
  if [ "$(id -u)" != 0 ] && ! sudo -n true 2>/dev/null; then notHere "only root can install ${missing[*]}"; fi
  installPackages "${missing[@]}" >/dev/null 2>&1 || notHere "these packages can't be installed: ${missing[*]}"
fi

wine=$root/build/wine
mkdir -p "$wine"
if [ "$(id -u)" = 0 ] && ! reachable "$wine"; then
  # The user who runs Wine can't look into the project: a folder of its own elsewhere.
  wine=/var/tmp/vsp32-wine
  mkdir -p "$wine" && reachable "$wine" || notHere "user $wineUser can't reach $wine"
fi
fetchWindowsParts || notHere "the 32-bit parts of Wine can't be fetched"
makePrefix || notHere "Wine does not start here"

# --- Builds ---

if ! buildPreset release -j "$jobs" --target vsp32 run_cases wine_test start || ! buildPreset windows -j "$jobs"; then
  echo "the build FAILED"
  echo "0 passed, 1 failed, 0 skipped"
  exit 1
fi

# What the tests use stands where every user can read it.
rm -rf "$wine/programs" && mkdir -p "$wine/programs"
cp build/windows/*.exe build/windows/*.dll build/windows/vsp32.DEU "$wine/programs"
cp build/release/{vsp32,run_cases,wine_test} "$wine/programs"
cp -r tests/cases "$wine/programs"
cp build/windows/*.exe "$wine/prefix/drive_c/vsp"
cp build/release/start "$wine"
for name in hold windows_test; do ln -sf start "$wine/$name.exe"; done
rm -rf "$wine/prefix/drive_c/scratch"
asTester 10 mkdir -p "$wine/prefix/drive_c/scratch/unit"
trap 'endSession; wait' EXIT
startSession || notHere "Wine's services do not start here"

# --- Tests ---

passed=0
failed=0
skipped=0
logs=$(mktemp -d)

# Adds the results of a log of GoogleTest to the sums, and shows what failed.
count() {
  local name=$1 status=$2 log=$3 ok bad left
  ok=$(grep -ac '^\[       OK \]' "$log")
  bad=$(grep -ac '^\[  FAILED  \].*ms)' "$log")
  left=$(grep -ac '^\[  SKIPPED \].*ms)' "$log")
  if [ "$status" != 0 ] || [ "$ok" = 0 ]; then
    grep -av '\[       OK \]\|\[ RUN      \]' "$log" | head -n 100
    # A program that ended early has no line for the test that ended it.
    [ "$bad" -gt 0 ] || bad=1
  fi
  passed=$((passed + ok))
  failed=$((failed + bad))
  skipped=$((skipped + left))
  echo "$name: $ok passed, $bad failed, $left skipped"
  # The reason stands in the line behind that of the place.
  grep -a -B 2 '^\[  SKIPPED \].*ms)' "$log" | grep -av '^\[\|^--' | sort | uniq -c | sed 's/^ */  skipped: /'
}

# The cases, in four parts at once: most of a run is waiting for Wine.
shards=4
runCases() {
  local shard pids=() status=0
  for ((shard = 0; shard < shards; shard++)); do
    wineVariables=(GTEST_TOTAL_SHARDS=$shards GTEST_SHARD_INDEX=$shard VSP_TWIN="$wine/programs/vsp32")
    asTester 500 "$wine/programs/run_cases" "$wine"/programs/cases/*.case </dev/null >"$logs/cases.$shard" 2>&1 &
    pids+=($!)
  done
  wineVariables=()
  for pid in "${pids[@]}"; do wait "$pid" || status=1; done
  cat "$logs"/cases.? >"$logs/cases"
  return $status
}
runCases
count "cases" $? "$logs/cases"

asTester 200 "$wine/programs/wine_test" </dev/null >"$logs/program" 2>&1
count "program" $? "$logs/program"

cp build/windows/*.dll build/windows/windows_test.exe build/windows/vsp32.DEU "$wine/prefix/drive_c/scratch/unit"
(cd "$wine/prefix/drive_c/scratch/unit" && asTester 200 "$wine/windows_test.exe") \
  </dev/null >"$logs/units" 2>&1
count "units" $? "$logs/units"

rm -rf "$logs"
echo "$passed passed, $failed failed, $skipped skipped"
[ "$failed" = 0 ]
