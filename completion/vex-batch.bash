# Completion of the options of vex-batch; made by scripts/tables.
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

_vex_batch_value() {
  case $1 in
    " -j" | " --jobs" | " --retries" | " --timeout" | " --sbatch" | " --max-tasks" | " --pieces-per-task" | " --array-size") kind=text ;;
    " --by") kind=word words=(day month) ;;
    " --out" | " --merge-out" | " --vex") kind=path ;;
    " --index") kind=folder ;;
    " --engine") kind=word words=(local slurm) ;;
    " plan -j" | " plan --jobs" | " plan --retries" | " plan --timeout" | " plan --sbatch" | " plan --max-tasks" | " plan --pieces-per-task" | " plan --array-size") kind=text ;;
    " plan --by") kind=word words=(day month) ;;
    " plan --out" | " plan --merge-out" | " plan --vex") kind=path ;;
    " plan --index") kind=folder ;;
    " plan --engine") kind=word words=(local slurm) ;;
  esac
}

_vex_batch_place() {
  case $1 in
    "")
      options=(-h --help --version -j --jobs --by --out --retries --timeout --dry-run --strict --merge --cat --merge-out --vex --index --engine --sbatch --max-tasks --pieces-per-task --array-size --wait)
      commands=(status run-piece plan todo workflow) places=()
      ;;
    " status")
      options=(-h --help)
      commands=() places=(folder)
      ;;
    " run-piece")
      options=(-h --help)
      commands=() places=(path text+)
      ;;
    " plan")
      options=(-h --help --version -j --jobs --by --out --retries --timeout --dry-run --strict --merge --cat --merge-out --vex --index --engine --sbatch --max-tasks --pieces-per-task --array-size --wait)
      commands=() places=()
      ;;
    " todo")
      options=(-h --help)
      commands=() places=(path)
      ;;
    " workflow")
      options=(-h --help)
      commands=() places=()
      ;;
  esac
}

_vex_value() {
  case $1 in
    " -cfg" | " -out" | " -alt") kind=path ;;
    " -d" | " -d2" | " -myd2") kind=folder ;;
    " -of") kind=word words=(bin txt txtstat) ;;
    " -fd" | " -ld" | " -c" | " -tbref" | " -maxres" | " -skip" | " -box" | " -mila" | " -mala" | " -milo" | " -malo" | " -on" | " -sln" | " -fov" | " -va" | " -tr" | " -qlt" | " -mca" | " -lca" | " -sf" | " -lf" | " -avg" | " -var" | " -ef" | " -ef2" | " -mf" | " -mf2" | " -histlat" | " -histpix" | " -histcloud" | " -histland" | " -histsnow" | " -histavg" | " -histvar") kind=text ;;
    " -avhrr" | " -tb" | " -bi" | " -sk" | " -stsext") kind=word words=(1 0) ;;
    " -t2") kind=words words=(ozo trg clp twt ems) ;;
    " -tp") kind=word words=(day night all) ;;
    " -st") kind=word words=(sea land all) ;;
    " -boxstat") kind=word words=(1 180-360) ;;
  esac
}

_vex_place() {
  case $1 in
    "")
      options=(-h -cfg -d -d2 -myd2 -out -of -fd -ld -c -avhrr -t2 -tb -tbref -maxres -skip -bi -box -mila -mala -milo -malo -on -sln -fov -va -tr -tp -st -alt -qlt -mca -lca -sf -lf -avg -var -ef -ef2 -mf -mf2 -sk -stsext -boxstat -histlat -histpix -histcloud -histland -histsnow -histavg -histvar)
      commands=() places=()
      ;;
  esac
}

# Behind -- stand the words of vex.
_vex_batch() {
  local i line=("${COMP_WORDS[@]}")
  for ((i = 1; i < COMP_CWORD; ++i)); do
    if [[ ${line[i]} == -- ]]; then
      local COMP_WORDS=(vex "${line[@]:i+1}") COMP_CWORD=$((COMP_CWORD - i))
      _vex_complete _vex
      return
    fi
  done
  _vex_complete _vex_batch
}

complete -F _vex_batch vex-batch
