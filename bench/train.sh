#!/usr/bin/env bash
# Runs the program over the benchmark's text to make a profile:  train.sh PROGRAM MAKE_SOURCE DIRECTORY
set -e
for kind in large headers macros skipped small; do
  "$2" "$kind" 1024 "$3/$kind"
  (cd "$3/$kind" && if [ "$kind" = small ]; then "$1" -q 's*.c'; else "$1" -q "$kind.c"; fi >/dev/null)
done
