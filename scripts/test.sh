#!/usr/bin/env bash
# Installs what the tests need, builds and tests with each preset of the list, checks the format, compares
# the release build's instruction counts with their budgets and runs clang-tidy:  scripts/test.sh [ preset... ]
# Without a list also the checks of what no preset covers: a build within another project, the scripts,
# the packages.
# The last line tells how many tests and checks passed and failed; the exit status is 1 if any did.
source "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/common.sh"

presets=("$@")
wholeRun=false
if [ "${#presets[@]}" = 0 ]; then
  wholeRun=true
  presets=(release dev clang ordinary)
fi
mapfile -t missing < <(missingPackages cmake cmake g++ g++ clang++ clang ninja ninja-build \
  clang-format clang-format clang-tidy clang-tidy valgrind valgrind python3 python3 make make \
  dpkg-shlibdeps dpkg-dev)
[ -e /usr/include/gtest/gtest.h ] || missing+=(libgtest-dev)
[ -e /usr/include/benchmark/benchmark.h ] || missing+=(libbenchmark-dev)
installPackages "${missing[@]}" || exit 1

cd "$root" || exit 1
jobs=$(nproc)
passed=0
failed=0

# Counts one check that is no test program, and shows its output if it failed.
check() {
  local name=$1
  shift
  if quietly "$@"; then
    passed=$((passed + 1))
    echo "$name: ok"
  else
    failed=$((failed + 1))
    echo "$name: FAILED"
  fi
}

# Builds a preset and runs its tests, whose output goes to a file.
buildAndTest() {
  configureAndBuild "$1" -j "$jobs" && ctest --preset "$1" -j "$jobs" -V >"$2" 2>&1
}

# Builds a preset and adds up the results of its single tests.
testPreset() {
  local preset=$1 log status ok bad
  log=$(mktemp)
  alone "$preset" buildAndTest "$preset" "$log"
  status=$?
  if [ ! -s "$log" ]; then
    rm -f "$log"
    failed=$((failed + 1))
    echo "$preset: the build FAILED"
    return
  fi
  # Lines of running tests have a number in front. A failing test is named twice: where it ran, with its
  # time, and in the list at the end.
  ok=$(grep -c '^[0-9]*: \[       OK \]' "$log")
  bad=$(grep -c '^[0-9]*: \[  FAILED  \].*ms)' "$log")
  if [ "$status" != 0 ]; then
    local number
    for number in $(sed -n 's/^\t *\([0-9]*\) - .*(\(Skipped\|Disabled\))$//; s/^\t *\([0-9]*\) - .*(.*)$/\1/p' "$log"); do
      grep "^$number: " "$log" | grep -v '\[       OK \]\|\[ RUN      \]' | head -n 100
    done
    tail -n 15 "$log"
    # A program that ended early has no line of its own for the test that ended it.
    [ "$bad" -gt 0 ] || bad=1
  elif [ "$ok" = 0 ]; then
    bad=1
    echo "no tests ran"
  fi
  rm -f "$log"
  passed=$((passed + ok))
  failed=$((failed + bad))
  echo "$preset: $ok passed, $bad failed"
}

mapfile -t ownFiles < <(find src tests bench -name '*.cpp' -o -name '*.h' -o -name '*.def' | grep -v '\.def$')
check "format" clang-format --dry-run -Werror "${ownFiles[@]}"
check "documents of the switches" scripts/make_docs.py --check
for preset in "${presets[@]}"; do testPreset "$preset"; done

# The program within another project, optimised for debugging, without link-time optimisation.
buildWithin() {
  cmake -S tests/within -B build/within -G Ninja -DCMAKE_CXX_COMPILER=g++ -DCMAKE_CXX_FLAGS=-Werror \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo && cmake --build build/within --target texts &&
    grep -q 'buffer\[((16) \* 1024)\]' build/within/report.i
}
if [ "$wholeRun" = true ]; then
  check "build within another project" alone within buildWithin
  check "fast paths" scripts/compare_paths.sh
  check "scripts" alone scripts tests/scripts_test.sh
  check "packages" alone packages tests/install_test.sh
fi
if [[ " ${presets[*]} " == *" release "* ]]; then check "instructions" bench/instructions.sh; fi
if [ -f build/clang/compile_commands.json ]; then
  tidy() {
    find src -name '*.cpp' ! -name '*_win32.cpp' -print0 |
      xargs -0 -n 4 -P "$jobs" clang-tidy --quiet --warnings-as-errors='*' -p build/clang
  }
  check "clang-tidy" tidy
fi
echo "$passed passed, $failed failed"
[ "$failed" = 0 ]
