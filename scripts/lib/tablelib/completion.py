"""Completion for bash and zsh."""

from .commands import Command, Word

MADE = "# Completion of the options of {name}; made by scripts/lib/tables.\n"

# bash

TAIL = r"""
# Behind -- stand the words of {tail}.
{function}() {{
  local i line=("${{COMP_WORDS[@]}}")
  for ((i = 1; i < COMP_CWORD; ++i)); do
    if [[ ${{line[i]}} == -- ]]; then
      local COMP_WORDS=({tail} "${{line[@]:i+1}}") COMP_CWORD=$((COMP_CWORD - i))
      _vex_complete {inner}
      return
    fi
  done
  _vex_complete {function}
}}
"""


def bash_name(command: Command) -> str:
    return "_" + command.path[0].replace("-", "_")


def key(command: Command) -> str:
    """How the functions name a command: the words behind the program, each with a blank in front."""
    return "".join(" " + word for word in command.path[1:])


def telling(places: list[Word]) -> list[Word]:
    """Places up to one that may be repeated: behind it nothing tells them apart."""
    many = [place.many for place in places]
    return places[:many.index(True) + 1] if True in many else places


def value_rows(command: Command) -> list[str]:
    """The options of a command that take a value, together where they take the same."""
    rows: dict[str, list[str]] = {}
    for option in command.options:
        if option.value != "none":
            words = f" words=({' '.join(option.words)})" if option.words else ""
            rows.setdefault(f"kind={option.value}{words}", []).extend(f'"{key(command)} {name}"' for name in option.names)
    return [f"    {' | '.join(names)}) {does} ;;" for does, names in rows.items()]


def place_row(command: Command) -> str:
    options = " ".join(name for option in command.options for name in option.names)
    places = " ".join(place.value + "+" * place.many for place in telling(command.places))
    return (f'    "{key(command)}")\n      options=({options})\n      commands=({" ".join(command.below)}) '
            f"places=({places})\n      ;;")


def bash_functions(command: Command) -> str:
    name, every = bash_name(command), list(command.all())
    values = "\n".join(row for one in every for row in value_rows(one))
    return (f"{name}_value() {{\n  case $1 in\n{values}\n  esac\n}}\n\n{name}_place() {{\n  case $1 in\n"
            + "\n".join(map(place_row, every)) + "\n  esac\n}\n")


def bash(command: Command, behind: Command) -> str:
    """The file of a program, to be read behind others; `behind` is that whose words stand behind --."""
    program, name = command.path[0], bash_name(command)
    text = MADE.format(name=program) + f"# Behind: engine.bash{f' {behind.path[0]}.bash' * bool(command.tail)}\n"
    text += "# shellcheck shell=bash disable=SC2034 # _vex_complete reads what the others set\n\n" + bash_functions(command)
    if command.tail:
        text += TAIL.format(function=name, tail=behind.path[0], inner=bash_name(behind))
    else:
        text += f"\n{name}() {{ _vex_complete {name}; }}\n"
    return text + f"\ncomplete -F {name} {program}\n"


# zsh


def quoted(text: str) -> str:
    return "'" + text.replace("'", "'\\''") + "'"


def escaped(text: str) -> str:
    """Text within an argument of _arguments."""
    for sign in "\\:[]":
        text = text.replace(sign, "\\" + sign)
    return text


def action(word: Word) -> str:
    return {"path": "_files", "folder": "_files -/", "word": f"({' '.join(word.words)})",
            "words": f"_values -s , {word.form.partition(',')[0]} {' '.join(word.words)}"}.get(word.value, " ")


def zsh_option(option: Word) -> list[str]:
    """The arguments of _arguments for an option, one for each of its names."""
    shut = " ".join((*option.names, *option.rivals))
    value = f":{escaped(option.form)}:{action(option)}" if option.value != "none" else ""
    rows = []
    for name in option.names:
        joined = "=" if value and name.startswith("--") else ""
        before = "*" if option.many else f"({shut})" if len(shut.split()) > 1 else ""
        rows.append(quoted(f"{before}{name}{joined}[{escaped(option.help)}]{value}"))
    return rows


def zsh_place(place: Word) -> str:
    return quoted(f"{'*' if place.many else ''}:{escaped(place.form)}:{action(place)}")


def zsh_arguments(command: Command) -> str:
    rows = [row for option in command.options for row in zsh_option(option)]
    rows += [zsh_place(place) for place in telling(command.places)]
    if command.below:
        listed = " ".join(f'{name}\\:"{escaped(one.help)}"' for name, one in command.below.items())
        rows.append(quoted(f"1:command:(({listed}))"))
    return " \\\n      ".join(["_arguments", *rows])


ZSH_WALK = """\
local place=''
while (( CURRENT > 2 )) && [[ "$place $words[2]" == ({paths}) ]]; do
  place="$place $words[2]"
  shift words
  (( CURRENT-- ))
done
"""
ZSH_TAIL = """\
integer at=${{words[(i)--]}}
if (( at < CURRENT )); then  # behind it stand the words of {tail}
  words=({tail} "${{(@)words[at + 1, -1]}}")
  (( CURRENT -= at - 1 ))
  _{tail}
  return
fi
"""


def zsh(command: Command, behind: Command) -> str:
    every = list(command.all())
    text = f"#compdef {command.path[0]}\n" + MADE.format(name=command.path[0]) + "\n"
    text += ZSH_TAIL.format(tail=behind.path[0]) if command.tail else ""
    if len(every) == 1:
        return text + zsh_arguments(command).replace("\n    ", "\n") + "\n"
    text += ZSH_WALK.format(paths="|".join(quoted(key(one)) for one in every[1:]))
    rows = "".join(f"  {quoted(key(one))})\n    {zsh_arguments(one)}\n    ;;\n" for one in every)
    return f"{text}case $place in\n{rows}esac\n"
