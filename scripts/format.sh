#!/usr/bin/env bash
# Formats all sources in place.
source "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/common.sh"
mapfile -t missing < <(missingPackages clang-format clang-format)
installPackages "${missing[@]}" || exit 1
cd "$root" && find src tests bench \( -name '*.cpp' -o -name '*.h' \) -print0 | xargs -0 clang-format -i
