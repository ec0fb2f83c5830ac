# Completion of the options of vex-sample; made by scripts/lib/tables.
# Behind: engine.bash
# shellcheck shell=bash disable=SC2034 # _vex_complete reads what the others set

_vex_sample_value() {
  case $1 in
    " --first-date" | " --days" | " --messages" | " --messages-per-file" | " --start" | " --pixels" | " --seed" | " --satellite" | " --l2-version") kind=text ;;
    " --kinds") kind=words words=(l1c ozo trg clp twt ems) ;;
    " --layout") kind=word words=(1 2) ;;
    " --edition") kind=word words=(3 4) ;;
    " --grid") kind=word words=(on off) ;;
  esac
}

_vex_sample_place() {
  case $1 in
    "")
      options=(--first-date --days --messages --messages-per-file --start --pixels --seed --satellite --kinds --layout --l2-version --edition --gaps --missing --indep --grid -h --help)
      commands=() places=(folder)
      ;;
  esac
}

_vex_sample() { _vex_complete _vex_sample; }

complete -F _vex_sample vex-sample
