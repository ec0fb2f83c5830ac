# How bash completes the options of vex and of the programs beside it. What their words stand for, the functions of each
# program tell, in files that scripts/lib/tables makes; cmake --install puts this one in front of each.
# shellcheck shell=bash disable=SC2034,SC2154 # it and they set what the others read

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
