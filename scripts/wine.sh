# Sourced by test-windows.sh: a Wine of its own for 32-bit programs, below build/, and how to run in it.
#
# Wine for 64 bits comes from the system's packages. The 32-bit parts, which are Windows files and need no
# 32-bit Linux library, are taken out of the package of the same version for i386; that package isn't
# installed, and the system's own package lists never hear of i386.
#
# Everything under Wine runs as a user that owns nothing else, with a limit on its processes: a fault in
# Wine's desktop has been seen to start processes without end, and root has no limit.

wineUser=29300
wineLimit=400

# Says in one line why the Windows program can't be tested here, and ends the script.
notHere() {
  echo "The Windows program is not tested: $1"
  echo "0 passed, 0 failed, 0 skipped"
  exit 77
}

# True if an ordinary user may look into a directory.
reachable() {
  setpriv --reuid=$wineUser --regid=$wineUser --clear-groups test -x "$1" 2>/dev/null
}

# Runs a command with Wine's environment as the unprivileged user:  asTester SECONDS command...
asTester() {
  local seconds=$1 rights=() limit=$wineLimit
  shift
  if [ "$(id -u)" = 0 ]; then
    rights=(setpriv --reuid=$wineUser --regid=$wineUser --clear-groups)
  else
    # The limit counts what the user runs already.
    limit=$((limit + $(ps -u "$(id -u)" -L --no-headers | wc -l)))
  fi
  "${rights[@]}" env -i PATH=/usr/bin:/bin HOME="$wine/home" USER=tester LC_ALL=C.UTF-8 \
    WINEPREFIX="$wine/prefix" WINEDLLPATH="$wine/i386" WINEDEBUG=-all \
    WINEDLLOVERRIDES="mscoree=d;mshtml=d" \
    VSP_HOST=windows VSP_PROGRAM="$wine/start" VSP_SCRATCH_DIR="$wine/prefix/drive_c/scratch" \
    VSP_WINDOWS_BUILD="$wine/programs" VSP_CASE_SECONDS=60 \
    ${wineVariables[@]+"${wineVariables[@]}"} \
    prlimit --nproc="$limit" --core=0 timeout -k 5 "$seconds" "$@"
}

# Puts the 32-bit parts of Wine into $wine/i386.
fetchWindowsParts() {
  local version uri base suite=()
  version=$(dpkg-query -W -f '${Version}' libwine) || return 1
  [ "$(cat "$wine/i386/version" 2>/dev/null)" != "$version" ] || return 0
  rm -rf "$wine/apt" "$wine/i386"
  mkdir -p "$wine/apt/lists/partial" "$wine/apt/cache/archives/partial" "$wine/i386"
  # The archive from which the installed version comes.
  uri=$(apt-get download --print-uris "libwine=$version" | cut -d"'" -f2)
  base=${uri%/pool/*}
  [ -n "$uri" ] && [ "$base" != "$uri" ] || return 1
  suite=$(. /etc/os-release && echo "$VERSION_CODENAME")
  case $base in *security*) suite=$suite-security ;; esac
  echo "deb $base $suite main" >"$wine/apt/sources.list"
  local options=(-o Dir::State="$wine/apt" -o Dir::State::lists="$wine/apt/lists" -o Dir::State::status=/dev/null
    -o Dir::Cache="$wine/apt/cache" -o Dir::Etc::sourcelist="$wine/apt/sources.list"
    -o Dir::Etc::sourceparts=- -o APT::Architectures=amd64,i386 -o APT::Sandbox::User=)
  apt-get "${options[@]}" -qq update >/dev/null 2>&1 || return 1
  (cd "$wine/apt" && apt-get "${options[@]}" -qq download "libwine:i386=$version" >/dev/null 2>&1) || return 1
  dpkg-deb --fsys-tarfile "$wine"/apt/libwine_*_i386.deb |
    tar -x -C "$wine/i386" --strip-components=5 --wildcards './usr/lib/i386-linux-gnu/wine/i386-windows*' || return 1
  rm -rf "$wine/apt"
  # Without their symbols the files take half the room, and they are copied once more into the prefix.
  find "$wine/i386" -type f -print0 | xargs -0 -n 50 -P "$(nproc)" i686-w64-mingw32-strip -g 2>/dev/null
  echo "$version" >"$wine/i386/version"
}

# Makes the prefix, once.
makePrefix() {
  [ ! -e "$wine/prefix/made" ] || return 0
  rm -rf "$wine/prefix" "$wine/home"
  mkdir -p "$wine/prefix" "$wine/home"
  [ "$(id -u)" != 0 ] || chown $wineUser:$wineUser "$wine/prefix" "$wine/home"
  asTester 120 /usr/lib/wine/wine64 wineboot -i >/dev/null 2>&1 || return 1
  asTester 60 /usr/lib/wine/wineserver64 -w || return 1
  [ -e "$wine/prefix/drive_c/windows/syswow64/kernel32.dll" ] || return 1
  asTester 10 mkdir -p "$wine/prefix/drive_c/vsp" "$wine/prefix/drive_c/scratch" || return 1
  touch "$wine/prefix/made"
}

# Keeps Wine's services up while the tests run.
startSession() {
  asTester 1800 "$wine/hold.exe" </dev/null >/dev/null 2>&1 &
  local tries
  for tries in $(seq 100); do
    asTester 20 "$wine/start" -q </dev/null 2>/dev/null | grep -q 'E2266' && return 0
    sleep 0.2
  done
  return 1
}
endSession() {
  asTester 20 /usr/lib/wine/wineserver64 -k >/dev/null 2>&1
  asTester 20 /usr/lib/wine/wineserver64 -w >/dev/null 2>&1
}
