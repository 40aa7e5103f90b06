#!/usr/bin/env bash
# Makes the packages, installs them into directories of their own, runs what is installed, builds the example
# project with it by ninja, by make through CMake and by its own Makefile, walks the guide, and takes the package
# out again.
# After a change, exactly the outputs that depend on it must be rebuilt.
root=$(cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.." && pwd)
work="$root/build/install test"
status=0

fail() {
  echo "$*"
  status=1
}

rm -rf "$work"
mkdir -p "$work"
cd "$work" || exit 1
made=$("$root/scripts/package.sh") || fail "package.sh ended with $?"
package=$(sed -n 's/^\(build\/vsp32_.*\.deb\): [0-9]* bytes$/\1/p' <<<"$made")
archive=$(sed -n 's/^\(build\/vsp32-.*\.tar\.gz\): [0-9]* bytes$/\1/p' <<<"$made")
[ -n "$package" ] && [ -n "$archive" ] || { fail "package.sh printed: $made"; exit 1; }

# --- The Debian package ---

# Only root can give files to root; for others the files are enough.
target=$work/target
mkdir -p "$target/var/lib/dpkg/"{info,updates,triggers}
touch "$target/var/lib/dpkg/"{status,available}
# Some hosts are set up to leave documents out.
manage() { dpkg --root="$target" --force-depends --path-include='*' --log=/dev/null "$@" >>dpkg.log 2>&1; }
if [ "$(id -u)" = 0 ]; then
  manage --install "$root/$package" || fail "dpkg --install: $(cat dpkg.log)"
else
  dpkg-deb -x "$root/$package" "$target" || fail "dpkg-deb -x ended with $?"
fi
program=$target/usr/bin/vsp32
version=$(dpkg-deb -f "$root/$package" Version)
# --help, --version and the banner come from one run each.
"$program" --version | grep -qx "vsp32 $version" || fail "the version isn't $version: $("$program" --version)"
"$program" 2>/dev/null | grep -q "Preprocessor $version " || fail "the banner isn't that of $version"
printf '#include "none.h"\n' >missing.c
german="Fehler E2209 missing.c 1: Include-Datei 'none.h' kann nicht geöffnet werden"
LC_ALL=de_DE.UTF-8 "$program" -q missing.c | grep -qFx "$german" || fail "the package speaks no German"
zcat "$target/usr/share/man/man1/vsp32.1.gz" | cmp - "$root/docs/vsp32.1" || fail "the man page is another one"
for file in doc/vsp32/copyright doc/vsp32/docs/switches.md doc/vsp32/examples/project/Makefile \
  bash-completion/completions/vsp32 zsh/vendor-completions/_vsp32 fish/vendor_completions.d/vsp32.fish; do
  [ -s "$target/usr/share/$file" ] || fail "there is no $file"
done

# --- The archive ---

mkdir elsewhere
tar -xzf "$root/$archive" -C elsewhere --strip-components=1 || fail "the archive can't be unpacked"
ln -s "../install test/elsewhere/bin/vsp32" link
LC_ALL=de_DE.UTF-8 ./link -q missing.c | grep -qFx "$german" || fail "the archive speaks no German"

# --- The completion of bash ---

# What bash offers for the word, the only argument on the line; separated by blanks.
offers() {
  bash -c 'compopt() { :; }; source "$1"; COMP_LINE="vsp32 $2" COMP_POINT=$((6 + ${#2})); _vsp32; echo "${COMPREPLY[*]}"' \
    offers "$root/completions/vsp32.bash" "$1"
}
[ "$(offers -S)" = "-S -S- -Sc -Sr -Sd -Sk -Ss -Sg" ] || fail "-S is completed as: $(offers -S)"
[ "$(offers -wd)" = "-wdef -wdup" ] || fail "-wd is completed as: $(offers -wd)"
[ "$(offers -Iels)" = "-Ielsewhere/" ] || fail "-Iels is completed as: $(offers -Iels)"
[ "$(offers --messages=g)" = "gnu" ] || fail "--messages=g is completed as: $(offers --messages=g)"
[ "$(offers --deps-p)" = "--deps-phony " ] || fail "--deps-p is completed as: $(offers --deps-p)"
for word in $(offers --messages=) ; do
  case $word in *:) word=${word}log ;; esac
  "$program" -q --messages="$word" missing.c >message.log 2>&1
  grep -q "Incorrect command line option" message.log && fail "--messages=$word is offered and refused"
done

# --- Builds with what is installed ---

# Runs a build and tells which outputs it made:  rebuilt COMMAND...
rebuilt() {
  sleep 0.02
  touch stamp
  sleep 0.02
  "$@" >build.log 2>&1 || fail "$* ended with $?: $(cat build.log)"
  find . -name '*.i' -newer stamp -printf '%f\n' | sort | paste -sd ' '
}
expect() {
  local what=$1 texts=$2 found
  shift 2
  found=$(rebuilt "$@")
  [ "$found" = "$texts" ] || fail "$what: rebuilt are '$found', not '$texts': $(cat build.log)"
}

# A copy of the example in the current directory, built by a command from nothing and after changes.
buildExample() {
  expect "$1: all" "main.i sum.i table.i" "${@:2}"
  expect "$1: nothing" "" "${@:2}"
  touch include/table.h
  expect "$1: a header of two" "main.i table.i" "${@:2}"
  touch src/parts/sum.h
  expect "$1: a quoted header" "main.i sum.i" "${@:2}"
  touch src/table.c
  expect "$1: a source" "table.i" "${@:2}"
  touch switches
  expect "$1: the response file" "main.i sum.i table.i" "${@:2}"
  # A header that is new in a text counts from the next time on, and one that is gone is in nobody's way.
  echo '#include "extra.h"' >>src/parts/sum.c
  echo 'word extra;' >include/extra.h
  expect "$1: a new header" "sum.i" "${@:2}"
  touch include/extra.h
  expect "$1: the new header has changed" "sum.i" "${@:2}"
  sed -i '$d' src/parts/sum.c
  rm include/extra.h
  expect "$1: the new header is gone" "sum.i" "${@:2}"
  grep -rqF 'typedef unsigned long word;' --include=main.i . || fail "$1: the define isn't in force"
}
freshExample() {
  rm -rf "$work/$1" && cp -r "$target/usr/share/doc/vsp32/examples/project" "$work/$1" && cd "$work/$1" || exit 1
}
freshExample "by make"
PATH=$target/usr/bin:$PATH buildExample Makefile make
for generator in Ninja "Unix Makefiles"; do
  freshExample "by $generator"
  cmake -S . -B out -G "$generator" -Dvsp32_DIR="$target/usr/lib/cmake/vsp32" >cmake.log 2>&1 ||
    fail "CMake for $generator: $(cat cmake.log)"
  buildExample "$generator" cmake --build out
done
cd "$work" || exit 1

# The CMake package is in a build directory too, and switches with a semicolon stay whole.
mkdir tree && cp -r "$root/examples/project/." tree
sed -i 's/DEFINES TARGET=2/DEFINES "TARGET=2;EXTRA=3"/; s/OPTIONS /OPTIONS "-DONE=1;TWO" /' tree/CMakeLists.txt
echo 'TARGET EXTRA ONE TWO' >>tree/src/table.c
cmake -S tree -B tree/out -G Ninja -Dvsp32_DIR="$root/build/release" >cmake.log 2>&1 &&
  cmake --build tree/out >>cmake.log 2>&1 || fail "with the build directory: $(cat cmake.log)"
grep -q '^2 3 1[[:space:]]*$' tree/out/texts/src/table.i || fail "the defines are lost: $(tail -n 3 tree/out/texts/src/table.i)"

# --- The guide ---

python3 "$root/tests/guide_test.py" "$target/usr" || fail "the guide doesn't work as written"

# --- The package is removed ---

if [ "$(id -u)" = 0 ]; then
  manage --remove vsp32 || fail "dpkg --remove: $(cat dpkg.log)"
  left=$(find "$target" -mindepth 1 ! -path "$target/var*" ! -type d)
  [ -z "$left" ] || fail "left behind: $left"
fi
cd "$root" && rm -rf "$work"
exit "$status"
