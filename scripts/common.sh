# Sourced by the other scripts: the place of the project, and the installing of what is missing.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# Installs the packages that are given, quietly, and shows the output only if that fails.
installPackages() {
  local log sudo=""
  [ "$#" -gt 0 ] || return 0
  [ "$(id -u)" = 0 ] || sudo=sudo
  if ! command -v apt-get >/dev/null || { [ -n "$sudo" ] && ! command -v sudo >/dev/null; }; then
    echo "Please install: $*" >&2
    return 1
  fi
  log=$(mktemp)
  if ! { $sudo env DEBIAN_FRONTEND=noninteractive apt-get update -qq &&
    $sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "$@"; } \
    >"$log" 2>&1; then
    cat "$log" >&2
    rm -f "$log"
    return 1
  fi
  rm -f "$log"
}

# Prints the package of each pair "command package" whose command isn't there.
missingPackages() {
  while [ "$#" -gt 1 ]; do
    command -v "$1" >/dev/null || echo "$2"
    shift 2
  done
}

# Runs a command with its output kept back, and shows it only if the command fails.
quietly() {
  local log status
  log=$(mktemp)
  "$@" >"$log" 2>&1
  status=$?
  [ "$status" = 0 ] || cat "$log" >&2
  rm -f "$log"
  return "$status"
}

# Configures a preset, with ninja if the directory is new and ninja is there.
configure() {
  local generator=()
  if [ ! -f "$root/build/$1/CMakeCache.txt" ] && command -v ninja >/dev/null; then generator=(-G Ninja); fi
  (cd "$root" && cmake --preset "$1" "${generator[@]}")
}
