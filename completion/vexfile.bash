# Completion of the options of vexfile; made by scripts/tables.
# shellcheck shell=bash disable=SC2034 # _vex_complete reads what the others set

# Puts what fits the word at the cursor into COMPREPLY.
_vex_reply() { # kind of value, word, words...
  local kind=$1 word=$2 head='' each
  shift 2
  case $kind in
    path | folder)
      compopt -o filenames 2>/dev/null # which quotes blanks; there is none outside of a completion
      mapfile -t COMPREPLY < <(if [[ $kind == path ]]; then compgen -f -- "$word"; else compgen -d -- "$word"; fi)
      ;;
    word) mapfile -t COMPREPLY < <(compgen -W "$*" -- "$word") ;;
    words)
      compopt -o nospace 2>/dev/null
      [[ $word == *,* ]] && head=${word%,*},
      for each in "$@"; do
        [[ ,$head == *,$each,* || $head$each != "$word"* ]] || COMPREPLY+=("$head$each")
      done
      ;;
  esac
}

# Completes the word at the cursor. PROGRAM_value says of a command and an option what is its value, PROGRAM_place of
# a command what may follow it.
_vex_complete() { # program
  local program=$1 word=${COMP_WORDS[COMP_CWORD]} place='' kind=none at=0 fresh=1 i
  local words=() options=() commands=() places=() line=()
  COMPREPLY=()
  for ((i = 1; i < COMP_CWORD; ++i)); do
    [[ ${COMP_WORDS[i]} == = ]] || line+=("${COMP_WORDS[i]}") # of --name=value
  done
  [[ $word != = ]] || word=''
  for i in "${line[@]}"; do
    "${program}_place" "$place"
    if [[ $kind != none ]]; then
      kind=none
    elif [[ $i == -* ]]; then
      kind=none
      "${program}_value" "$place $i"
      fresh=0
    elif [[ $fresh == 1 && " ${commands[*]} " == *" $i "* ]]; then
      place+=" $i"
    else
      at=$((at + 1)) fresh=0
    fi
  done
  "${program}_place" "$place"
  if [[ $kind != none ]]; then
    _vex_reply "$kind" "$word" "${words[@]}"
  elif [[ $word == -* ]]; then
    _vex_reply word "$word" "${options[@]}"
  elif [[ $fresh == 1 && ${#commands[@]} -gt 0 ]]; then
    _vex_reply word "$word" "${commands[@]}"
  elif [[ ${#places[@]} -eq 0 ]]; then
    _vex_reply word "$word" "${options[@]}"
  else # the last one may be repeated
    i=${places[at < ${#places[@]} ? at : ${#places[@]} - 1]}
    if [[ $at -lt ${#places[@]} || $i == *+ ]]; then _vex_reply "${i%+}" "$word"; fi
  fi
}

_vexfile_value() {
  case $1 in
    " dump --pixels" | " dump --fields") kind=text ;;
    " convert --compression") kind=word words=(0 1 2 3 4 5 6 7 8 9) ;;
    " cat -o" | " cat --out") kind=path ;;
    " merge-stat --tbref") kind=text ;;
    " merge-stat -o" | " merge-stat --out") kind=path ;;
    " plot map --channel" | " plot map --index" | " plot map --title" | " plot map --field" | " plot map --limits") kind=text ;;
    " plot map --projection") kind=word words=(robinson platecarree lambert stereographic) ;;
    " plot map --land") kind=path ;;
    " plot spectrum --pixels") kind=text ;;
    " plot profile --pixels") kind=text ;;
    " plot statistics --field" | " plot statistics --limits") kind=text ;;
    " plot statistics --projection") kind=word words=(robinson platecarree lambert stereographic) ;;
    " plot statistics --land") kind=path ;;
  esac
}

_vexfile_place() {
  case $1 in
    "")
      options=(-h --help --version)
      commands=(info check dump convert cat merge-stat plot) places=()
      ;;
    " info")
      options=(-h --help --json)
      commands=() places=(path+)
      ;;
    " check")
      options=(-h --help)
      commands=() places=(path+)
      ;;
    " dump")
      options=(-h --help --pixels --fields)
      commands=() places=(path)
      ;;
    " convert")
      options=(-h --help --compression --uncompressed --force)
      commands=() places=(path+)
      ;;
    " cat")
      options=(-h --help -o --out --force)
      commands=() places=(path+)
      ;;
    " merge-stat")
      options=(-h --help --tbref -o --out --force)
      commands=() places=(path+)
      ;;
    " plot")
      options=(-h --help)
      commands=(map spectrum profile statistics) places=()
      ;;
    " plot map")
      options=(-h --help --channel --index --title --field --limits --projection --land)
      commands=() places=(path path)
      ;;
    " plot spectrum")
      options=(-h --help --pixels)
      commands=() places=(path path)
      ;;
    " plot profile")
      options=(-h --help --pixels)
      commands=() places=(path path)
      ;;
    " plot statistics")
      options=(-h --help --field --limits --projection --land)
      commands=() places=(path path)
      ;;
  esac
}

_vexfile() { _vex_complete _vexfile; }

complete -F _vexfile vexfile
