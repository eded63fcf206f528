#!/usr/bin/env python3
"""Man page and completions against --help: each command, option and choice is there, and nothing else is.

completion_test.py MAVR FOLDER      FOLDER: of mavr.1 and completion/"""

import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from command_help import HIDDEN, read_commands

MAVR, FOLDER = sys.argv.pop(1), Path(sys.argv.pop(1)).resolve()
COMMANDS = read_commands(MAVR)
COMMANDS[("option",)].choices = ["all", "default", "preferred"]  # or a number, so that --help names them in prose
SHOWN = {path: command for path, command in COMMANDS.items() if path and path[0] not in HIDDEN}
LEAVES = {path: command for path, command in SHOWN.items() if not command.kinds}


def long_options(command):
    return {option for option in command.options if option.startswith("--")}


class ManPage(unittest.TestCase):
    def setUp(self):
        page = (FOLDER / "mavr.1").read_text(encoding="utf-8")
        self.synopsis, rest = page.split(".Sh SYNOPSIS\n")[1].split(".Sh DESCRIPTION\n")
        self.description = rest.split(".Sh ENVIRONMENT")[0]

    def forms(self):
        """{path: {option: whether an argument is behind it}} of the synopsis, all forms of a command together."""
        found = {}
        for form in self.synopsis.split(".Nm\n")[1:]:
            words = re.match(r"\.Cm ([a-z ]+)\n", form).group(1).split()
            options = re.findall(r"Fl -([a-z-]+)( Ar)?", form)
            found.setdefault(tuple(words), {}).update({f"--{name}": bool(value) for name, value in options})
        return found

    def items(self):
        """{path: text} of the description."""
        found = {}
        for item in self.description.split(".It Cm ")[1:]:
            head, text = item.split("\n", 1)
            for name in head.split(" Oo ")[0].split(" , "):
                found[tuple(name.split())] = head + "\n" + text
        return found

    def test_the_synopsis_has_the_options_of_each_command(self):
        wanted = {path: {option: value for option, value in command.options.items() if option not in ("-h", "--help")}
                  for path, command in LEAVES.items()}
        self.assertEqual(self.forms(), wanted)

    def test_each_command_and_option_is_described(self):
        items = self.items()
        items[("dump", "convert")] = items[("dump", "info")]
        del items[("bag",)]
        self.assertEqual(items.keys(), LEAVES.keys())
        for path, command in LEAVES.items():
            for option in long_options(command) - {"--help", "--json"}:
                self.assertIn(f".Fl -{option.removeprefix('--')}", items[path], f"{command} {option}")
        for option in long_options(COMMANDS[()]) | {"--json"}:
            self.assertIn(f"Fl -{option.removeprefix('--')}", self.description)

    def test_a_hidden_command_is_described(self):
        for name in HIDDEN:
            item = self.items()[(name,)]
            for option in long_options(COMMANDS[(name,)]) - {"--help"}:
                self.assertIn(f"Fl -{option.removeprefix('--')}", item)

    def test_defaults_are_those_of_help(self):
        for path, command in LEAVES.items():
            text = subprocess.run([MAVR, *path, "--help"], capture_output=True, text=True, check=True).stdout
            for default in re.findall(r"^  --(?!loss)[a-z-]+ \w+\S*(?: in \[.*?\])?=(\S+)", text, re.M):
                self.assertIn(default, self.items()[path], f"{command}: the default {default}")


class Bash(unittest.TestCase):
    def complete(self, *words):
        script = ('source "$1"; shift; COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)); _mavr; '
                  '[ ${#COMPREPLY[@]} -eq 0 ] || printf "%s\\n" "${COMPREPLY[@]}"')
        with tempfile.TemporaryDirectory() as empty:  # no file of it is offered
            return subprocess.run(["bash", "-uc", script, "-", str(FOLDER / "completion/mavr.bash"), *words], cwd=empty,
                                  capture_output=True, text=True, check=True).stdout.split()

    def options(self, *words):
        return {word for word in self.complete(*words) if word.startswith("-")}

    def words(self, *words):
        return {word for word in self.complete(*words) if not word.startswith("-")}

    def test_commands(self):
        self.assertEqual(self.words("mavr", ""), set(COMMANDS[()].kinds))
        self.assertEqual(self.options("mavr", ""), long_options(COMMANDS[()]))
        self.assertEqual(self.complete("mavr", "pref"), ["preferred", "prefer"])

    def test_kinds_and_choices(self):
        for path, command in SHOWN.items():
            if command.kinds or command.choices:
                self.assertEqual(self.words("mavr", *path, ""), set(command.kinds or command.choices), command)
                self.assertIn("--help", self.options("mavr", *path, ""))

    def test_options(self):
        for path, command in LEAVES.items():
            self.assertEqual(self.options("mavr", *path, *command.choices[:1], "--"), long_options(command), command)


class Zsh(unittest.TestCase):
    def complete(self, *words):
        """What is offered: the words that _describe and _arguments are called with."""
        script = ('_describe() { print -rl -- ${(P)2} }; _arguments() { print -rl -- "$@" }; '
                  'file=$1; shift; words=("$@"); CURRENT=$#; source $file')
        return subprocess.run(["zsh", "-fc", script, "-", str(FOLDER / "completion/_mavr"), *words], capture_output=True,
                              text=True, check=True).stdout.splitlines()

    def options(self, *words):
        return {match.group(1) for line in self.complete(*words)
                if (match := re.match(r"(?:\([^)]*\))?(--[a-z-]+)\[", line))}

    def values(self, *words):
        return {match.group(1) for line in self.complete(*words)
                if (match := re.match(r"(?:\([^)]*\))?(--[a-z-]+)\[[^]]*\]:", line))}

    def test_commands(self):
        names = {line.split(":")[0] for line in self.complete("mavr", "") if not line.startswith("-")}
        self.assertEqual(names, set(COMMANDS[()].kinds))
        self.assertEqual(self.options("mavr", ""), long_options(COMMANDS[()]))

    def test_kinds_and_choices(self):
        for path, command in SHOWN.items():
            if command.kinds or command.choices:
                offered = [re.search(r":\(([\w ]+)\)$", line) for line in self.complete("mavr", *path, "")]
                words = {word for match in offered if match for word in match.group(1).split()}
                self.assertEqual(words, set(command.kinds or command.choices), command)

    def test_options(self):
        for path, command in LEAVES.items():
            words = ("mavr", *path, *command.choices[:1], "--")
            self.assertEqual(self.options(*words), long_options(command), command)
            self.assertEqual(self.values(*words), {option for option, value in command.options.items() if value}, command)


class Help(unittest.TestCase):
    def test_is_read(self):
        self.assertEqual(COMMANDS[("record",)].kinds, ["video", "audio"])
        self.assertEqual(COMMANDS[("prefer",)].choices, ["camera", "microphone"])
        self.assertEqual(COMMANDS[("dump", "convert")].options, {"-h": False, "--help": False, "--rate": True})
        self.assertGreater(len(LEAVES), 10)


unittest.main()
