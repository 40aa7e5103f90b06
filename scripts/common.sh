# Sourced by the other scripts: the place of the project, and what they do in common.

# Whatever links led to the script.
root=$(cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.." && pwd)

# Installs the packages that are given. Says so in a line on standard error, and shows the output only if
# that fails. Asks for nothing.
installPackages() {
  [ "$#" -eq 0 ] || alone install installNow "$@"
}
installNow() {
  local sudo=()
  [ "$(id -u)" = 0 ] || sudo=(sudo -n)
  if ! command -v apt-get >/dev/null || { [ "${#sudo[@]}" != 0 ] && ! sudo -n true 2>/dev/null; }; then
    echo "Please install: $*" >&2
    return 1
  fi
  step "installing $*" aptInstall "$@"
}
aptInstall() {
  "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -qq &&
    "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "$@"
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

# Runs a long command with its output kept back, and tells on standard error what is done and how long it
# took, in one line:  step WHAT COMMAND...
step() {
  local what=$1 log status start=${EPOCHREALTIME/[.,]/} taken
  shift
  printf '%s: %s ... ' "$(basename "$(readlink -f "$0")")" "$what" >&2
  log=$(mktemp)
  "$@" >"$log" 2>&1
  status=$?
  taken=$(((${EPOCHREALTIME/[.,]/} - start) / 100000))
  if [ "$status" = 0 ]; then
    printf '%d.%d s\n' $((taken / 10)) $((taken % 10)) >&2
  else
    echo "failed" >&2
    cat "$log" >&2
  fi
  rm -f "$log"
  return "$status"
}

# Runs a command while no other script of this tree does the same:  alone NAME COMMAND...
# Two that configure or build in one directory at once would break each other.
alone() {
  local name=$1
  shift
  mkdir -p "$root/build" || return
  (
    if ! flock -n 9; then
      echo "$(basename "$(readlink -f "$0")"): waiting for another script that is at work on $name" >&2
      flock 9
    fi && "$@" 9>&-
  ) 9>"$root/build/.$name.lock"
}

# Configures a preset, with ninja if the directory is new and ninja is there.
configure() {
  local generator=()
  if [ ! -f "$root/build/$1/CMakeCache.txt" ] && command -v ninja >/dev/null; then generator=(-G Ninja); fi
  (cd "$root" && cmake --preset "$1" "${generator[@]}")
}

# Configures a preset and builds it:  buildPreset PRESET [ ARGUMENT... ]
buildPreset() {
  alone "$1" configureAndBuild "$@"
}
configureAndBuild() {
  local preset=$1
  shift
  quietly configure "$preset" && (cd "$root" && quietly cmake --build --preset "$preset" "$@")
}
