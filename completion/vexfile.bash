# Completion of the options of vexfile; made by scripts/lib/tables.
# Behind: engine.bash
# shellcheck shell=bash disable=SC2034 # _vex_complete reads what the others set

_vexfile_value() {
  case $1 in
    " dump --pixels" | " dump --fields") kind=text ;;
    " convert --compression") kind=word words=(0 1 2 3 4 5 6 7 8 9) ;;
    " cat -o" | " cat --out") kind=path ;;
    " merge-stat --tbref") kind=text ;;
    " merge-stat -o" | " merge-stat --out") kind=path ;;
    " grid --elevation") kind=path ;;
    " grid --variable") kind=text ;;
    " grid --lakes") kind=word words=(land sea) ;;
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
      options=(-h --help --debug --version)
      commands=(info check dump convert cat merge-stat grid plot) places=()
      ;;
    " info")
      options=(-h --help --debug --json)
      commands=() places=(path+)
      ;;
    " check")
      options=(-h --help --debug --values)
      commands=() places=(path+)
      ;;
    " dump")
      options=(-h --help --debug --pixels --fields)
      commands=() places=(path)
      ;;
    " convert")
      options=(-h --help --debug --compression --uncompressed --force)
      commands=() places=(path+)
      ;;
    " cat")
      options=(-h --help --debug -o --out --force)
      commands=() places=(path+)
      ;;
    " merge-stat")
      options=(-h --help --debug --tbref -o --out --force)
      commands=() places=(path+)
      ;;
    " grid")
      options=(-h --help --debug --elevation --variable --lakes --force)
      commands=() places=(path)
      ;;
    " plot")
      options=(-h --help --debug)
      commands=(map spectrum profile statistics grid) places=()
      ;;
    " plot map")
      options=(-h --help --debug --channel --index --title --field --limits --projection --land)
      commands=() places=(path path)
      ;;
    " plot spectrum")
      options=(-h --help --debug --pixels)
      commands=() places=(path path)
      ;;
    " plot profile")
      options=(-h --help --debug --pixels)
      commands=() places=(path path)
      ;;
    " plot statistics")
      options=(-h --help --debug --field --limits --projection --land)
      commands=() places=(path path)
      ;;
    " plot grid")
      options=(-h --help --debug)
      commands=() places=(path path)
      ;;
  esac
}

_vexfile() { _vex_complete _vexfile; }

complete -F _vexfile vexfile
