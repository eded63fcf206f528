"""What `mavr --help` and the --help of each command say, as a table."""

import re
import subprocess
from dataclasses import dataclass, field

HIDDEN = ("bag",)  # has --help, and is not in the list of commands


@dataclass
class Command:
    path: tuple  # ("record", "video"); () for the program itself
    options: dict = field(default_factory=dict)  # {"--size": True, "--json": False}: whether it takes a value
    kinds: list = field(default_factory=list)  # commands below it
    choices: list = field(default_factory=list)  # words that its first positional may be

    def __str__(self):
        return " ".join(("mavr", *self.path))


def section(text, title):
    match = re.search(rf"^{title}:\n((?:[ \t]+.*\n)*)", text, re.M)
    return match.group(1) if match else ""


def read_command(mavr, path):
    text = subprocess.run([mavr, *path, "--help"], capture_output=True, text=True, timeout=60, check=True).stdout
    command = Command(path)
    for names, rest in re.findall(r"^  (-\S+)(.*)$", section(text, "Options"), re.M):
        for name in names.split(","):
            command.options[name] = re.match(r" (TEXT|UINT|INT|FLOAT)\b", rest) is not None
    command.kinds = re.findall(r"^  ([a-z-]+)\b", section(text, "Subcommands"), re.M)
    choices = re.search(r"^  \w+ TEXT:\{([\w,]+)\}", section(text, "Positionals"), re.M)
    command.choices = choices.group(1).split(",") if choices else []
    return command


def read_commands(mavr):
    """{path: Command}, the program itself included."""
    found, waiting = {}, [(), *((name,) for name in HIDDEN)]
    while waiting:
        path = waiting.pop(0)
        found[path] = read_command(mavr, path)
        waiting += [(*path, kind) for kind in found[path].kinds]
    return found


class GivenOptions:
    """Which options of which command a test has given with success."""

    def __init__(self):
        self.given = set()

    def note(self, arguments):
        words = [str(argument) for argument in arguments]
        path = tuple(word for word in words[:2] if re.fullmatch(r"[a-z]+", word))
        for word in words:
            if word.startswith("-"):
                name = word.split("=")[0]
                self.given |= {(path, name), (path[:1], name), ((), name)}

    def missing(self, commands):
        """Long options that no test has given, of those commands."""
        return sorted(f"{command} {option}" for command in commands for option in command.options
                      if option.startswith("--") and (command.path, option) not in self.given)
