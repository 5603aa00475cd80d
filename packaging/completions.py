#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""usage: completions.py PROGRAM FOLDER

Writes what bash, zsh and fish offer for a program into FOLDER/bash, FOLDER/zsh and FOLDER/fish. All of it
comes from what the program tells with --help, so that nothing is offered that it does not know.
"""

import os
import pathlib
import re
import subprocess
import sys

LICENCE = ["# SPDX-FileCopyright" "Text: 2026 The Clipmule Sync developers", "# SPDX-License-" "Identifier: MIT"]
# What a value is, by the name that the help gives it: a shell's own completion, or words which the help
# lists as this expression finds them.
FOLDERS = {"DIR"}
FILES = {"FILE"}
WORDS = {"KIND": r"Take the files for this: (.*?)\.", "MODE": r"--paste-mode MODE\]\s+(.*)",
         "DOMAIN": r"DOMAIN is (.*?);", "WHAT": r'"(.*?)" keeps'}
# What the programs tell while somebody types, one a line, up to a tab.
ASKED = {"SERVICE": {"pair": "clipmule-preferences discover --wait 1", "": "clipmule-preferences list"},
         "BROWSER": {"": "clipmule-web list 2>/dev/null | cut -f 2"}}


class Option:
    def __init__(self, short, long, value, purpose):
        self.short, self.long, self.value, self.purpose = short, long, value, purpose


class Usage:
    """The options that stand alone, and those of each command, by its word, with purpose and operands."""

    def __init__(self, text):
        self.text = text
        # A purpose goes on below itself.
        flat = re.sub(r"\n {12,}(?=\S)", " ", text)
        self.options = [Option(*match) for match in re.findall(
            r"^  (?:-(\w), )?--([a-z-]+)(?: <([A-Z=]+)>)? {2,}(.*)$", flat, re.MULTILINE)]
        self.arguments = re.findall(r"(?<=^Arguments:\n)  ([A-Z]+)", flat, re.MULTILINE)
        self.commands = {}
        # The options of a command stand in brackets, also on the lines below it.
        told = re.search(r"^Commands:\n((?:  .*\n)+)" if "\nCommands:\n" in text else
                         r"(?s)^Usage: clipmule-preferences(.*)", flat, re.MULTILINE)
        if told:
            flat = re.sub(r"\n {6}(?=\[)(.*?)(?: {2,}.*)?$", r"\n+\1", told[1], flags=re.MULTILINE)
            for form, purpose, more in re.findall(r"^  ([a-z].*?) {2,}(.*)((?:\n\+.*)*)$", flat, re.MULTILINE):
                for word in re.match(r"[a-z]+(?:, [a-z]+)*", form)[0].split(", "):
                    options = [Option("", *each, "") for each in
                               re.findall(r"--([a-z-]+)(?: ([A-Z:]+))?", form + more)]
                    self.commands[word] = (purpose, re.findall(r"(?<= )[A-Z]+(?= |$)", form.split("[")[0]), options)

    def words(self, value):
        """The words that a value is one of; none where it is anything."""
        found = re.search(WORDS[value], re.sub(r"\s*\n\s+", " ", self.text)
                          if value == "KIND" else self.text) if value in WORDS else None
        return re.split(r", | or ", found[1]) if found else []


def asked(value, command):
    return ASKED[value].get(command, ASKED[value][""]) if value in ASKED else ""


def bash(program, usage):
    def values():
        every = usage.options + [option for _, _, options in usage.commands.values() for option in options]
        for option in {option.long: option for option in every if option.value}.values():
            action = ("compgen -d" if option.value in FOLDERS else "compgen -f" if option.value in FILES else
                      f"compgen -W '{' '.join(usage.words(option.value))}'")
            yield f"    --{option.long}) reply=({action} --) ;;"

    def commands():
        for word, (_, operands, options) in usage.commands.items():
            yield (f"    {word}) words='{' '.join('--' + option.long for option in options)}'"
                   f" command='{asked(operands[0], word) if operands else ''}' ;;")

    alone = " ".join([*usage.commands, *("--" + option.long for option in usage.options)])
    name = "_" + program.replace("-", "_")
    files = "compgen -f --" if set(usage.arguments) & FILES else ":"
    return os.linesep.join(LICENCE) + f"""
{name}() {{
    local current=${{COMP_WORDS[COMP_CWORD]}} words='{alone}' command='' reply=() line
    case ${{COMP_WORDS[COMP_CWORD - 1]}} in
{os.linesep.join(values())}
    esac
    if [ ${{#reply[@]}} -gt 0 ]; then
        mapfile -t COMPREPLY < <("${{reply[@]}}" "$current")
        return
    fi
    [ "$COMP_CWORD" = 1 ] || case ${{COMP_WORDS[1]}} in
{os.linesep.join(commands()) or "    *) ;;"}
    esac
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current"; {files} "$current")
    if [ "$command" ] && [ "$COMP_CWORD" = 2 ]; then
        while IFS=$'\\t' read -r line _; do
            [[ $line != "$current"* ]] || COMPREPLY+=("$(printf %q "$line")")
        done < <(eval "$command" 2>/dev/null)
    fi
}}
complete -F {name} {program}
"""


def zsh(program, usage):
    def quoted(text):
        return text.replace("'", "'\\''").replace("[", "\\[").replace("]", "\\]").replace(":", "\\:")

    def action(value):
        return ("_files -/" if value in FOLDERS else "_files" if value in FILES else
                f"({' '.join(usage.words(value))})" if usage.words(value) else " ")

    def of(option):
        value = f":{option.value.replace(':', ' ')}:{action(option.value)}" if option.value else ""
        names = (f"'(-{option.short} --{option.long})'{{-{option.short},--{option.long}}}" if option.short
                 else f"--{option.long}")
        purpose = f"[{quoted(option.purpose)}]" if option.purpose else ""
        return f"{names}'{purpose}{value}'" if purpose or value else names

    def operand(number, value, command):
        tells = asked(value, command)
        return (f"'{number}:{value}:{{local -a names; names=(${{${{(f)\"$({tells} 2>/dev/null)\"}}%%$'\\t'*}}); "
                "compadd -a names}'").replace("$'\\t'", "$'\\''\\t'\\''") if tells else f"'{number}:{value}:'"

    lines = ["#compdef " + program, *LICENCE]
    if not usage.commands:
        lines.append(" ".join(["_arguments", *map(of, usage.options),
                               *(f"'*:{each}:{action(each) if each in FILES else ''}'" for each in usage.arguments)]))
        return "\n".join(lines) + "\n"
    lines += ["local context state line", "typeset -A opt_args", "local -a commands", "commands=("]
    lines += [f"    '{word}:{quoted(purpose)}'" for word, (purpose, _, _) in usage.commands.items()]
    lines += [")", " ".join(["_arguments", "-C", *map(of, usage.options), "'1:command:->command'", "'*::rest:->rest'"]),
              "case $state in", "command) _describe command commands ;;", "rest)", "    case $words[1] in"]
    for word, (_, operands, options) in usage.commands.items():
        parts = [*map(of, options), *(operand(number, value, word) for number, value in enumerate(operands, 1))]
        lines.append(f"    {word}) " + (" ".join(["_arguments", *parts]) if parts else ":") + " ;;")
    return "\n".join([*lines, "    esac ;;", "esac"]) + "\n"


def fish(program, usage):
    def quoted(text):
        return "'" + text.replace("\\", "\\\\").replace("'", "\\'") + "'"

    def of(option, condition):
        value = ("" if not option.value else " -r" if option.value in FOLDERS | FILES else
                 f" -x -a {quoted(' '.join(usage.words(option.value)))}" if usage.words(option.value) else " -x")
        return (f"complete -c {program}{condition}{' -s ' + option.short if option.short else ''} -l {option.long}"
                f"{value}{' -d ' + quoted(option.purpose) if option.purpose else ''}")

    lines = [*LICENCE, *([] if set(usage.arguments) & FILES else [f"complete -c {program} -f"])]
    lines += [of(option, " -n __fish_use_subcommand" if usage.commands else "") for option in usage.options]
    for word, (purpose, operands, options) in usage.commands.items():
        lines.append(f"complete -c {program} -n __fish_use_subcommand -a {word} -d {quoted(purpose)}")
        seen = f" -n {quoted('__fish_seen_subcommand_from ' + word)}"
        lines += [of(option, seen) for option in options]
        tells = asked(operands[0], word) if operands else ""
        if tells:
            lines.append(f"complete -c {program}{seen} -a {quoted(f'({tells} 2>/dev/null | cut -f 1)')}")
    return "\n".join(lines) + "\n"


def main():
    program, folder = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    told = subprocess.run([program, "--help"], check=True, capture_output=True, encoding="utf-8",
                          env={**os.environ, "QT_QPA_PLATFORM": "offscreen", "LC_ALL": "C.UTF-8"}).stdout
    usage = Usage(told)
    for shell, name, make in (("bash", program.name, bash), ("zsh", "_" + program.name, zsh),
                              ("fish", program.name + ".fish", fish)):
        (folder / shell).mkdir(parents=True, exist_ok=True)
        (folder / shell / name).write_text(make(program.name, usage), encoding="utf-8")


if __name__ == "__main__":
    main()
