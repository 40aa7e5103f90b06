#!/usr/bin/env bash
# Tests the tests: makes small faults in a copy of the sources, one after the other, and tells which of
# them no test notices:  scripts/mutate.sh [ SEED [ COUNT ] ]
# The same seed gives the same faults as long as src stays the same. The copy and its build are kept in
# build/mutants. The last line counts; scripts/mutate.py tells what faults there are.
source "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/common.sh"

seed=${1:-1}
count=${2:-50}
tree=$root/build/mutants/tree

# Makes the copy anew and builds and tests it as it is. The copies get new times, so that nothing is left
# of the last fault of an earlier run.
prepare() {
  local missing
  mapfile -t missing < <(missingPackages cmake cmake g++ g++ ninja ninja-build python3 python3)
  [ -e /usr/include/gtest/gtest.h ] || missing+=(libgtest-dev)
  installPackages "${missing[@]}" || return
  rm -rf "$tree" && mkdir -p "$tree" &&
    find "$root" -mindepth 1 -maxdepth 1 ! -name build ! -name .git -exec cp -r -t "$tree" {} + &&
    cmake -S "$tree" -B "$tree/../build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-O1 \
      -DVSP_BENCH=OFF &&
    cmake --build "$tree/../build" &&
    ctest --test-dir "$tree/../build" -j "$(nproc)" --output-on-failure
}

mutate() {
  quietly prepare && python3 "$root/scripts/mutate.py" "$tree" "$tree/../build" "$seed" "$count"
}
alone mutants mutate
