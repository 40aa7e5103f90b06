#!/usr/bin/env bash
# Writes a seed corpus for each fuzz target from the cases:  make_seeds.sh CORPUS-DIRECTORY
set -e
cases=$(cd "$(dirname "${BASH_SOURCE[0]}")/../cases" && pwd)
corpus=$1
mkdir -p "$corpus"/fuzz_unit "$corpus"/fuzz_options "$corpus"/fuzz_expr

# One seed for each case: its switches, its first file and up to two more; for the options, the command
# line with the case's own configuration and response text; for the expressions, those of its #if lines.
for caseFile in "$cases"/*.case; do
  awk -v corpus="$corpus" -v theme="$(basename "$caseFile" .case)" '
    function flush(  name) {
      name = theme "-" number
      if (files > 0) {
        printf "%s\n----\n%s\n----\n%s\n----\n%s", args, text[1], text[2], text[3] > (corpus "/fuzz_unit/" name)
        close(corpus "/fuzz_unit/" name)
      }
      if (args != "" || config != "") {
        printf "%s\n----\n%s\n----\n%s", args, config, response > (corpus "/fuzz_options/" name)
        close(corpus "/fuzz_options/" name)
      }
      if (conditions != "") {
        printf "%s", conditions > (corpus "/fuzz_expr/" name)
        close(corpus "/fuzz_expr/" name)
      }
      number++; files = 0; args = ""; conditions = ""; config = ""; response = ""; file = ""
      text[1] = text[2] = text[3] = ""
    }
    BEGIN { number = 0 }
    /^=== / { flush(); next }
    /^--- args/ { args = substr($0, 10); file = ""; next }
    /^--- file/ { file = $3; if (file !~ /\.(cfg|rsp)$/) files++; next }
    /^--- / { file = ""; next }
    file ~ /\.cfg$/ { config = config $0 "\n"; next }
    file ~ /\.rsp$/ { response = response $0 "\n"; next }
    file != "" {
      text[files] = text[files] $0 "\n"
      if (match($0, /^#(el)?if /)) conditions = conditions substr($0, RLENGTH + 1) "\n"
    }
    END { flush() }
  ' "$caseFile"
done
