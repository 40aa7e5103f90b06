# Completion of vsp32's switches in bash. Made by scripts/make_docs.py.
_vsp32() {
  local line=${COMP_LINE:0:COMP_POINT} word prefix value names=() kept i
  # The whole word: bash takes it apart at '=' and ':'.
  word=${line##*[[:space:]]}
  COMPREPLY=()
  case $word in
  -I?*)
    mapfile -t names < <(compgen -P -I -d -S / -- "${word#-I}")
    compopt -o nospace
    ;;
  -L?*)
    mapfile -t names < <(compgen -P -L -d -S / -- "${word#-L}")
    compopt -o nospace
    ;;
  -o?*)
    mapfile -t names < <(compgen -P -o -f -- "${word#-o}")
    ;;
  -n?*)
    mapfile -t names < <(compgen -P -n -d -S / -- "${word#-n}")
    compopt -o nospace
    ;;
  --stdin=*)
    mapfile -t names < <(compgen -P --stdin= -f -- "${word#--stdin=}")
    ;;
  --line-markers=*)
    mapfile -t names < <(compgen -P --line-markers= -W "family gnu" -- "${word#--line-markers=}")
    ;;
  --messages=*)
    mapfile -t names < <(compgen -P --messages= -W "family gnu sarif sarif:" -- "${word#--messages=}")
    ;;
  --deps=*)
    mapfile -t names < <(compgen -P --deps= -f -- "${word#--deps=}")
    ;;
  --deps-target=*)
    mapfile -t names < <(compgen -P --deps-target= -f -- "${word#--deps-target=}")
    ;;
  --trace=*)
    mapfile -t names < <(compgen -P --trace= -f -- "${word#--trace=}")
    ;;
  --include-graph=*)
    mapfile -t names < <(compgen -P --include-graph= -f -- "${word#--include-graph=}")
    ;;
  --explain=*)
    mapfile -t names < <(compgen -P --explain= -f -- "${word#--explain=}")
    ;;
  -w[a-z]* | -w+* | -w-[a-z]*)
    prefix=${word%%[a-z0-9]*}
    [[ $word == -w[a-z]* ]] && prefix=-w
    [[ $word == -w[+-]* ]] && prefix=${word:0:3}
    mapfile -t names < <(compgen -P "$prefix" -W "amp big ccc com cpt csu def dup eff msg nak ngu obs ofp osh ovf pia prc rng rpt sig spa sus ucp zdi" -- "${word#"$prefix"}")
    ;;
  -*)
    mapfile -t names < <(compgen -W "-D -U -I -L -VI -VF -VF+ -VF4 -VF3 -VF- -idl -o -n -B -P -S -P- -S- -Sc -Sr -Sd -Sk -Ss -Sg -P. -P-. -A -A+ -AU -AK -AT -A- -C -C+ -C- -CP -K -i -u -w -w+ -w- -w! -w!- -j -g -jb -gb -q -3 -4 -5 -6 -3- -4- -5- -6- -p -pr -pm -ps -pc -p- -pr- -pm- -tW -W -tWC- -WC- -tC- -tW- -W- -tWC -WC -tC -tWM -WM -tWU -WU -tWD -WD -tWDE -WDE -tWED -WED -tWE -WE -tWCD -WCD -tCD -tWCDE -WCDE -tCDE -tDd -tDde -tDi -tWP -WP -vG -vGd -vGt -vGc -vG1 -vG2 -vG3 -vG- -vG0 -x -x- -xd -xd- --help --version --jobs= --stdin= --line-markers= --messages= --deps= --deps-target= --deps-phony --trace= --include-graph= --explain=" -- "$word")
    compopt -o nospace
    if [ "${#names[@]}" = 1 ] && [[ " -VI -VF -VF+ -VF4 -VF3 -VF- -idl -B -P -S -P- -S- -Sc -Sr -Sd -Sk -Ss -Sg -P. -P-. -A -A+ -AU -AK -AT -A- -C -C+ -C- -K -u -w -w+ -w- -w! -w!- -jb -gb -q -3 -4 -5 -6 -3- -4- -5- -6- -p -pr -pm -ps -pc -p- -pr- -pm- -tW -W -tWC- -WC- -tC- -tW- -W- -tWC -WC -tC -tWM -WM -tWU -WU -tWD -WD -tWDE -WDE -tWED -WED -tWE -WE -tWCD -WCD -tCD -tWCDE -WCDE -tCDE -tDd -tDde -tDi -tWP -WP -vG -vGd -vGt -vGc -vG1 -vG2 -vG3 -vG- -vG0 -x -x- -xd -xd- --help --version --deps-phony " == *" ${names[0]} "* ]]; then names=("${names[0]} "); fi
    ;;
  [@+]*)
    mapfile -t names < <(compgen -P "${word:0:1}" -f -- "${word:1}")
    ;;
  *)
    compopt -o filenames
    mapfile -t names < <(compgen -f -- "$word")
    ;;
  esac
  # Bash replaces only what follows the last character at which it splits words.
  kept=${word%"${word##*["$COMP_WORDBREAKS"]}"}
  for i in "${!names[@]}"; do COMPREPLY[i]=${names[i]#"$kept"}; done
}
complete -F _vsp32 vsp32
