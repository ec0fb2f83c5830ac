# Completion of the options of vex-batch; made by scripts/lib/tables.
# Behind: engine.bash vex.bash
# shellcheck shell=bash disable=SC2034 # _vex_complete reads what the others set

_vex_batch_value() {
  case $1 in
    " -j" | " --jobs" | " --retries" | " --timeout" | " --halt" | " --sbatch" | " --max-tasks" | " --pieces-per-task" | " --array-size") kind=text ;;
    " --by") kind=word words=(day month) ;;
    " --out" | " --merge-out" | " --vex") kind=path ;;
    " --index") kind=folder ;;
    " --engine") kind=word words=(local slurm) ;;
    " plan -j" | " plan --jobs" | " plan --retries" | " plan --timeout" | " plan --halt" | " plan --sbatch" | " plan --max-tasks" | " plan --pieces-per-task" | " plan --array-size") kind=text ;;
    " plan --by") kind=word words=(day month) ;;
    " plan --out" | " plan --merge-out" | " plan --vex") kind=path ;;
    " plan --index") kind=folder ;;
    " plan --engine") kind=word words=(local slurm) ;;
  esac
}

_vex_batch_place() {
  case $1 in
    "")
      options=(-h --help --debug --version -j --jobs --by --out --retries --timeout --halt --accept-missing --dry-run --strict --merge --cat --merge-out --digest --vex --index --engine --sbatch --max-tasks --pieces-per-task --array-size --wait)
      commands=(status run-piece plan todo workflow) places=()
      ;;
    " status")
      options=(-h --help --debug)
      commands=() places=(folder)
      ;;
    " run-piece")
      options=(-h --help --debug)
      commands=() places=(path text+)
      ;;
    " plan")
      options=(-h --help --debug --version -j --jobs --by --out --retries --timeout --halt --accept-missing --dry-run --strict --merge --cat --merge-out --digest --vex --index --engine --sbatch --max-tasks --pieces-per-task --array-size --wait)
      commands=() places=()
      ;;
    " todo")
      options=(-h --help --debug)
      commands=() places=(path)
      ;;
    " workflow")
      options=(-h --help --debug)
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
