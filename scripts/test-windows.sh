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
  /usr/lib/wine/wine64 wine64 xargs findutils ps procps zip zip unzip unzip)
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
    grep -av '^\[       OK \]\|^\[ RUN      \]\|^\[[-=]\|^\[  SKIPPED\|^Note: ' "$log" | head -n 200
    # A program that ended early has no line for the test that ended it.
    [ "$bad" -gt 0 ] || bad=1
  fi
  passed=$((passed + ok))
  failed=$((failed + bad))
  skipped=$((skipped + left))
  echo "$name: $ok passed, $bad failed, $left skipped"
  # The reason stands after the line of the place.
  awk '/: Skipped$/ { getline reason } /^\[  SKIPPED \].*ms\)/ { sub(/ \([^(]*$/, ""); sub(/^[^]]*\] /, ""); print "  skipped: " $0 ": " reason }' "$log"
}

# The cases, in four parts at once: most of a run is waiting for Wine.
shards=4
runCases() {
  local shard pids=() status=0
  for ((shard = 0; shard < shards; shard++)); do
    wineVariables=(GTEST_TOTAL_SHARDS=$shards GTEST_SHARD_INDEX=$shard VSP_TWIN="$wine/programs/vsp32")
    asTester 900 "$wine/programs/run_cases" "$wine"/programs/cases/*.case </dev/null >"$logs/cases.$shard" 2>&1 &
    pids+=($!)
  done
  wineVariables=()
  for pid in "${pids[@]}"; do wait "$pid" || status=1; done
  cat "$logs"/cases.? >"$logs/cases"
  [ "$status" = 0 ] || againWhatFailed
}

# Wine loses the start of a program once in some thousand runs. A case that failed runs again by itself, and
# counts by its second run; what had to run twice is shown.
againWhatFailed() {
  local names status
  # In a filter ':' and '-' have meanings of their own.
  names=$(sed -n 's/^\[  FAILED  \] \(.*\) ([0-9]* ms)$/\1/p' "$logs/cases" | sort -u | sed 's/[-:]/?/g' | paste -sd:)
  [ -n "$names" ] || return 1
  echo "run again: ${names//:/, }"
  wineVariables=(VSP_TWIN="$wine/programs/vsp32")
  asTester 300 "$wine/programs/run_cases" "$wine"/programs/cases/*.case --gtest_filter="$names" \
    </dev/null >"$logs/again" 2>&1
  status=$?
  # Each of them must have run, and no part of the first run may have ended early.
  [ "$(grep -ac '^\[       OK \]' "$logs/again")" -ge "$(tr ':' '\n' <<<"$names" | wc -l)" ] || status=1
  [ "$(grep -ac '^\[==========\].* ran\.' "$logs/cases")" = "$shards" ] || status=1
  wineVariables=()
  grep -av '^\[  FAILED  \]' "$logs/cases" >"$logs/first"
  cat "$logs/first" "$logs/again" >"$logs/cases"
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

# Real sources, through both programs: each unit includes one header of the compiler's, of its C++
# library or of GoogleTest. Counts a unit as passed whose outputs are the same, and the messages as one more.
compareSources() {
  local work=$wine/prefix/drive_c/scratch/sources unit name ok=0 bad=0
  mkdir -p "$work/units" "$work/L" "$work/W"
  cp -rL /usr/i686-w64-mingw32/include "$work/inc"
  cp -rL "$(i686-w64-mingw32-g++-posix -print-file-name=include)" "$work/gcc"
  cp -rL "$(i686-w64-mingw32-g++-posix -print-file-name=include/c++)" "$work/cxx"
  cp -rL /usr/src/googletest/googletest "$work/gtest"
  (cd "$work/inc" && ls ./*.h) | awk 'NR % 12 == 1' | while read -r name; do
    echo "#include <${name#./}>" >"$work/units/$(basename "$name" .h).c"
  done
  for name in algorithm string vector map iostream regex random filesystem variant ranges; do
    echo "#include <$name>" >"$work/units/cxx_$name.cpp"
  done
  for name in gtest-all gtest gtest-printers gtest-death-test; do
    echo "#include \"..\\gtest\\SRC\\$name.cc\"" >"$work/units/unit_$name.cpp"
  done
  # Names in both spellings and cases, as old sources have them.
  printf '%s\n' -q -Sk -j0 -g0 '-IINC;gcc;cxx;Cxx\i686-w64-mingw32;gtest\include;gtest' -DNDEBUG -DWIN32_LEAN_AND_MEAN >"$work/switches"
  (cd "$work" && ls units/* | sed 's,/,\\,' >list)
  [ "$(id -u)" != 0 ] || chown -R $wineUser:$wineUser "$work"
  (cd "$work" && asTester 120 "$wine/programs/vsp32" -nL @switches @list) >"$logs/linux.out" 2>"$logs/linux.err"
  (cd "$work" && asTester 300 "$wine/start" -nW @switches @list) </dev/null >"$logs/windows.out" 2>"$logs/windows.err"
  for unit in "$work"/units/*; do
    name=$(basename "${unit%.*}").i
    if [ -e "$work/L/$name" ] && cmp "$work/L/$name" "$work/W/$name"; then ok=$((ok + 1)); else bad=$((bad + 1)); fi
  done
  if cmp "$logs/linux.out" "$logs/windows.out" && cmp "$logs/linux.err" "$logs/windows.err"; then
    ok=$((ok + 1))
  else
    bad=$((bad + 1))
  fi
  passed=$((passed + ok))
  failed=$((failed + bad))
  echo "sources: $ok passed, $bad failed, 0 skipped ($(du -sm "$work/L" | cut -f1) MB of output)"
  rm -rf "$work"
}
compareSources

# The package as a user gets it: it holds what it should, and its program runs where it was unpacked.
checkPackage() {
  local work=$wine/prefix/drive_c/scratch/package ok=0 bad=0 files
  mkdir -p "$work"
  scripts/package.sh windows >"$logs/package" 2>&1 && unzip -q -d "$work" build/vsp32-windows.zip
  files=$(cd "$work" && find . -type f | LC_ALL=C sort | tr '\n' ' ')
  if [ "$files" = "./vsp32/LICENSE.txt ./vsp32/README.txt ./vsp32/SWITCHES.txt ./vsp32/vsp32.DEU ./vsp32/vsp32.exe " ]; then
    ok=$((ok + 1))
  else
    cat "$logs/package"
    echo "the package holds: $files"
    bad=$((bad + 1))
  fi
  printf '#define HOW whole\r\nunpacked HOW\r\n' >"$work/a.c"
  [ "$(id -u)" != 0 ] || chown -R $wineUser:$wineUser "$work"
  wineVariables=(VSP_EXE="$work/vsp32/vsp32.exe")
  (cd "$work" && asTester 60 "$wine/start" -q -P- -oa.i a.c) </dev/null >"$logs/package" 2>&1
  wineVariables=()
  if grep -q '^unpacked whole' "$work/a.i"; then
    ok=$((ok + 1))
  else
    cat "$logs/package"
    bad=$((bad + 1))
  fi
  passed=$((passed + ok))
  failed=$((failed + bad))
  echo "package: $ok passed, $bad failed, 0 skipped"
  rm -rf "$work"
}
checkPackage

rm -rf "$logs"
echo "$passed passed, $failed failed, $skipped skipped"
[ "$failed" = 0 ]
