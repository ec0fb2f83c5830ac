# Completion of the options of vex; made by scripts/lib/tables.
# Behind: engine.bash
# shellcheck shell=bash disable=SC2034 # _vex_complete reads what the others set

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

_vex() { _vex_complete _vex; }

complete -F _vex vex
