# Completion of the options of vex-archive; made by scripts/lib/tables.
# Behind: engine.bash
# shellcheck shell=bash disable=SC2034 # _vex_complete reads what the others set

_vex_archive_value() {
  case $1 in
    " list --gap") kind=text ;;
  esac
}

_vex_archive_place() {
  case $1 in
    "")
      options=(-h --help)
      commands=(sort list check) places=()
      ;;
    " sort")
      options=(--copy --move)
      commands=() places=(folder+)
      ;;
    " list")
      options=(--json --gap)
      commands=() places=(folder)
      ;;
    " check")
      options=()
      commands=() places=(folder)
      ;;
  esac
}

_vex_archive() { _vex_complete _vex_archive; }

complete -F _vex_archive vex-archive
