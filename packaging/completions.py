#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""usage: completions.py PROGRAM OUTPUT

Writes OUTPUT.bash, OUTPUT.zsh and OUTPUT.fish, which complete the command line of a program of ours: its commands, their
options, and those options' values. All of it is read from "PROGRAM --help" and, for each command that this names,
"PROGRAM COMMAND --help". What looks like an option there and cannot be read is an error.
"""
import re
import subprocess
import sys
from dataclasses import dataclass, field
from pathlib import Path

OPTION = re.compile(r"  (?:-(?P<letter>\w), |    )--(?P<name>[\w-]+)(?: (?P<value>\S+))?(?:  +(?P<help>.*))?$")
LISTED = re.compile(r"  (?P<name>[a-z][\w-]*)(?P<operands>(?: \S+)*?)(?:  +(?P<help>.*))?$")
TYPES = ["plugindll", "plugindllnotunnel", "hostchecker"]
FILES, FOLDERS = "files", "folders"


@dataclass
class Option:
    letter: str
    name: str
    value: str
    help: str
    # FILES, FOLDERS, a list of words, or none for text that only the user knows.
    values: object = None

    def spellings(self):
        return ([f"-{self.letter}"] if self.letter else []) + [f"--{self.name}"]


@dataclass
class CommandLine:
    name: str
    help: str
    operands: list = field(default_factory=list)
    options: list = field(default_factory=list)

    def operand_values(self):
        """As an option's: those of the first operand that has any."""
        return next(filter(None, (values_of(operand, "", {}) for operand in self.operands)), None)


def values_of(word, option, sections):
    if f"{option.capitalize()}s" in sections:
        return [entry["name"] for entry in sections[f"{option.capitalize()}s"]]
    if "|" in word:
        return word.split("|")
    word = word.strip("[].")
    if word == "TYPE":
        return TYPES
    if word == "TYPE=FILE":
        return [f"{name}=" for name in TYPES]
    if word in ("DIR", "DIRECTORY"):
        return FOLDERS
    return FILES if word in ("FILE", "LIBRARY", "PRIVATE", "PROGRAM", "PUBLIC") else None


def sections_of(text):
    """The lists of a help text, by their headings: what the pattern of a line says, with its continuation lines."""
    sections, entries, pattern = {}, None, None
    for line in text.splitlines():
        if heading := re.fullmatch(r"([A-Z][a-z]+):", line):
            entries = sections.setdefault(heading[1], [])
            pattern = OPTION if heading[1] == "Options" else LISTED
        elif not line.strip():
            entries = None
        elif entries is not None and line.startswith(" " * 10):
            entries[-1]["help"] = " ".join(filter(None, [entries[-1]["help"], line.strip()]))
        elif entries is not None:
            found = pattern.match(line)
            if not found:
                sys.exit(f"completions: not understood: {line}")
            entries.append(found.groupdict())
    return sections


def command_line(words, name="", help_text=""):
    text = subprocess.run([*words, "--help"], check=True, capture_output=True, text=True).stdout
    sections = sections_of(text)
    usage = text.splitlines()[0].split("[options]")
    line = CommandLine(name, help_text, usage[1].split() if len(usage) > 1 else [])
    for entry in sections.get("Options", []):
        values = values_of(entry["value"] or "", entry["name"], sections)
        line.options.append(Option(entry["letter"], entry["name"], entry["value"], entry["help"] or "", values))
    commands = [command_line([*words, entry["name"]], entry["name"], entry["help"] or "")[0]
                for entry in sections.get("Commands", [])]
    if not commands and not line.options:
        sys.exit(f"completions: {' '.join(words)} --help names neither commands nor options")
    return line, commands


def bash_reply(values):
    if isinstance(values, list):
        return f"mapfile -t COMPREPLY < <(compgen -W '{' '.join(values)}' -- \"$cur\")"
    if values in (FILES, FOLDERS):
        return f"compopt -o filenames; mapfile -t COMPREPLY < <(compgen -{'f' if values == FILES else 'd'} -- \"$cur\")"
    return ":"


def bash(program, line, commands):
    function = "_" + program.replace("-", "_")
    out = [f"# Completes the command line of {program}.", f"{function}() {{",
           "    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]} command=",
           "    COMPREPLY=()",
           '    if [ "$cur" = = ]; then cur=; elif [ "$prev" = = ]; then prev=${COMP_WORDS[COMP_CWORD-2]}; fi']
    if commands:
        out.append('    [ "$COMP_CWORD" -le 1 ] || command=${COMP_WORDS[1]}')
    out.append("    case $command:$prev in")
    for one in commands or [line]:
        for option in one.options:
            if option.value:
                spellings = "|".join(f"{one.name}:{spelling}" for spelling in option.spellings())
                out.append(f"        {spellings}) {bash_reply(option.values)}; return ;;")
    out += ["    esac", "    case $command:$cur in"]
    if commands:
        names = [one.name for one in commands] + ["--help", "--version"]
        out.append(f"        :*) {bash_reply(names)} ;;")
    for one in commands or [line]:
        spellings = [spelling for option in one.options for spelling in option.spellings()]
        out.append(f"        {one.name}:-*) {bash_reply(spellings)} ;;")
        if values := one.operand_values():
            out.append(f"        {one.name}:*) {bash_reply(values)} ;;")
    out += ["    esac", "}", f"complete -F {function} {program}"]
    return "\n".join(out) + "\n"


def zsh_text(text):
    return re.sub(r"([\[\]:\\])", r"\\\1", text).replace("'", r"'\''")


def zsh_action(values):
    if isinstance(values, list):
        return f"({' '.join(values)})"
    return {FILES: "_files", FOLDERS: "_files -/", None: " "}[values]


def zsh_arguments(line, indent):
    out = []
    for option in line.options:
        value = f":{zsh_text(option.value)}:{zsh_action(option.values)}" if option.value else ""
        forms = [f"-{option.letter}" + ("+" if value else "")] if option.letter else []
        forms.append(f"--{option.name}" + ("=" if value else ""))
        for form in forms:
            out.append(f"'*{form}[{zsh_text(option.help)}]{value}'")
    for operand in line.operands:
        optional = ":" if operand.startswith("[") else ""
        out.append(f"'{optional}:{zsh_text(operand)}:{zsh_action(values_of(operand, '', {}))}'")
    return (" \\\n" + " " * indent).join(["_arguments -s -S", *out])


def zsh(program, line, commands):
    if not commands:
        return f"#compdef {program}\n\n{zsh_arguments(line, 4)}\n"
    out = [f"#compdef {program}", "", "local -a commands=("]
    out += [f"    '{one.name}:{zsh_text(one.help)}'" for one in commands]
    out += [")", "if (( CURRENT == 2 )); then", f"    _describe command commands", "    return", "fi",
            "local command=$words[2]", "shift words", "(( CURRENT-- ))", "case $command in"]
    for one in commands:
        out += [f"    {one.name})", f"        {zsh_arguments(one, 12)}", "        ;;"]
    return "\n".join([*out, "esac"]) + "\n"


def quoted(text):
    return "'" + text.replace("\\", "\\\\").replace("'", "\\'") + "'"


def fish_values(values):
    if isinstance(values, list):
        return f" -x -a {quoted(' '.join(values))}"
    return {FILES: " -r -F", FOLDERS: " -x -a '(__fish_complete_directories)'", None: " -x"}[values]


def fish(program, line, commands):
    out = [f"# Completes the command line of {program}.", f"complete -c {program} -f"]
    for one in commands:
        out.append(f"complete -c {program} -n __fish_use_subcommand -a {one.name} -d {quoted(one.help)}")
    for one in commands or [line]:
        condition = f" -n '__fish_seen_subcommand_from {one.name}'" if one.name else ""
        if values := one.operand_values():
            out.append(f"complete -c {program}{condition}{' -F' if values == FILES else fish_values(values)}")
        for option in one.options:
            letter = f" -s {option.letter}" if option.letter else ""
            value = fish_values(option.values) if option.value else ""
            out.append(f"complete -c {program}{condition}{letter} -l {option.name}{value} -d {quoted(option.help)}")
    return "\n".join(out) + "\n"


def main():
    program, output = sys.argv[1:]
    name = Path(program).name
    line, commands = command_line([program])
    for shell in (bash, zsh, fish):
        Path(f"{output}.{shell.__name__}").write_text(shell(name, line, commands), encoding="utf-8")


if __name__ == "__main__":
    main()
