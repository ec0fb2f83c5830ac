# Completion of the options of vex-status; made by scripts/lib/tables.
# Behind: engine.bash
# shellcheck shell=bash disable=SC2034 # _vex_complete reads what the others set

_vex_status_value() {
  case $1 in

  esac
}

_vex_status_place() {
  case $1 in
    "")
      options=(-h --help)
      commands=() places=(path+)
      ;;
  esac
}

_vex_status() { _vex_complete _vex_status; }

complete -F _vex_status vex-status
