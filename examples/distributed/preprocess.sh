#!/usr/bin/env bash
# Preprocesses sources on several hosts at once, with GNU parallel:
#
#   preprocess.sh HOSTS OUT [ SWITCH... ] -- FILE...
#
# HOSTS is a list as parallel takes it: `4/:,8/build1,8/me@build2` is four jobs here and eight on each of two
# others. The tree in the current directory is copied to the others, changed files alone from the second time
# on; FILE and names in switches are relative to it. The texts come back into the directory OUT, the messages
# in the order of the files. The exit status is 1 if any file failed.
#
# Each host needs vsp32, the others rsync as well. VSP32_BATCH sets how many files a job takes (20), VSP32_SSH
# the command that reaches the other hosts (ssh).
set -u

usage() {
  echo "usage: preprocess.sh HOSTS OUT [ SWITCH... ] -- FILE..." >&2
  exit 2
}
[ "$#" -ge 4 ] || usage
hosts=$1
out=$2
shift 2
switches=()
while [ "$#" != 0 ] && [ "$1" != -- ]; do
  switches+=("$1")
  shift
done
[ "$#" -gt 1 ] || usage
shift

# The texts lie in one directory, so their names must differ.
twice=$(for file in "$@"; do basename "${file%.*}"; done | sort | uniq -d)
if [ -n "$twice" ]; then
  echo "preprocess.sh: several files are named $(paste -sd ' ' <<<"$twice")" >&2
  exit 2
fi

ssh=${VSP32_SSH:-ssh}
# Where the tree lies below the home directory on other hosts; one place for each tree.
copy=.cache/vsp32-distributed/$(hostname)-$(pwd | cksum | cut -d' ' -f1)
# The hosts without their numbers of jobs, and without this one, each once.
mapfile -t others < <(tr ',' '\n' <<<"$hosts" | sed 's,^[0-9]*/,,' | grep -vx ':' | sort -u)
mkdir -p "$out"
out=$(cd "$out" && pwd)
# A file that fails leaves no text, not even an old one.
for file in "$@"; do
  file=${file##*/}
  rm -f "$out/${file%.*}.i"
done
for host in "${others[@]}"; do
  $ssh "$host" "mkdir -p $copy/tree && rm -rf $copy/out && mkdir $copy/out" &&
    rsync -a --delete -e "$ssh" --exclude=/.git --exclude="${out##*/}" ./ "$host:$copy/tree/" || exit 1
done

# What a job does before its files: it goes where the tree is, and chooses where the texts go. parallel sets
# the variable to the host of the job; words are quoted for the shell that starts it.
quoted=$(printf '%q ' "${switches[@]}")
here=$(printf 'cd %q && out=%q' "$PWD" "$out")
there="cd \"\$HOME\"/$copy/tree && out=\$HOME/$copy/out"
job="case \$PARALLEL_SSHLOGIN in : | */:) $here ;; *) $there ;; esac && vsp32 -q $quoted -n\"\$out\""
printf '%s\0' "$@" |
  parallel -0 -n "${VSP32_BATCH:-20}" --ssh "$ssh" --sshlogin "$hosts" --keep-order "$job" {}
status=$?

for host in "${others[@]}"; do
  rsync -a -e "$ssh" "$host:$copy/out/" "$out/" || exit 1
done
[ "$status" = 0 ] || exit 1
