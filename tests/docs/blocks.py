"""Finds the code blocks of a page and does with each what its language asks for.

A block begins with ```LANGUAGE [WORD...]. A language that is not in this table is a fault:

| Language | What is done |
|---|---|
| text | nothing: pictures, grammars, bytes |
| log | each line must have the form of a log line |
| c | with main(): compiled as C99, linked with the installed library, run; must end with 0. Else the body of a function |
|   | with `handle`, from Mmdr_Init, and `code`: compiled and run in the same way |
| cpp | compiled against the sources, with the cpp blocks of the page before it in front |
| cmake | the rest of a project that has the target `host` of one C file: built against the installed package |
| sh | run by bash; each command must succeed |
| console | lines that begin with "$ " are run by one bash; what each one prints must be what follows it |
| toml | put in the place of the configuration: `mavr doctor` must find nothing wrong with it |
| json | loaded as a simulation file: `mavr doctor` must find nothing wrong with it |
| xml | put in the place of the settings: `mavr doctor` must find nothing wrong with it |

Words behind the language: `file=NAME` saves the block under that name for the blocks behind it; `numbers-vary` lets any
number stand for each number of a console's output; `status=N` is the exit status of a console's last command;
`no-run: REASON`, the last one, says why a block can't be run here.

In a console's output a line `...` stands for any lines and `...` in a line for any text; a run of blanks fits any other.
Paths are shown as a user has them: the home folder as ~, the runtime folder as /run/user/1000, the number of a process in
a log's name as PID.

The blocks of a page are run in order in a folder of their own that looks like a clone after script/demo, with `mavr` on
the PATH, the simulated devices, and the package installed at /opt/mavr."""

import json
import os
import re
import shutil
import subprocess
from dataclasses import dataclass, field
from pathlib import Path

LANGUAGES = ("text", "log", "c", "cpp", "cmake", "sh", "console", "toml", "json", "xml")
NEVER_RUN = ("text",)
PREFIX = "/opt/mavr"
RUNTIME = "/run/user/1000"
LOG_LINE = re.compile(r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z (?:No|Cr|Er|Wa|In|Db)\(\d\d\)\+? \S+ .+$|^\.\.\.$")
C_FLAGS = ["-std=c99", "-Wall", "-Wextra", "-Wpedantic", "-Werror"]
CXX_FLAGS = ["-std=c++20", "-Wall", "-Wextra", "-Werror", "-Wno-unused-variable", "-fsyntax-only"]
C_BODY = """#include <mmdr/mmdr.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
static int32_t body(MmdrHandle *handle) {{
   int32_t code = MMDR_OK;
   (void)handle;
{body}
   return code;
}}
int main(void) {{
   MmdrHandle *handle = NULL;
   int32_t code = Mmdr_Init(1, &handle);
   if (code == MMDR_OK) {{
      code = body(handle);
      Mmdr_Uninit(handle);
   }}
   return (int)code;
}}
"""


class BlockError(Exception):
    """A block that does not do what its page says."""


@dataclass
class Block:
    page: str
    line: int
    language: str
    text: str
    file: str = ""
    numbers_vary: bool = False
    status: int = 0
    reason: str = ""  # why it is not run

    def where(self):
        return f"{self.page}:{self.line}"


@dataclass
class Page:
    name: str
    blocks: list = field(default_factory=list)


def parse_words(block, words):
    """The words behind the language."""
    match = re.search(r"\bno-run:(.*)$", words)
    if match:
        block.reason = match.group(1).strip()
        if len(block.reason) < 8:
            raise BlockError(f"{block.where()}: no-run without a reason")
        words = words[:match.start()]
    for word in words.split():
        if word.startswith("file=") and re.fullmatch(r"[\w.-]+", word[5:]):
            block.file = word[5:]
        elif word == "numbers-vary" and block.language == "console":
            block.numbers_vary = True
        elif re.fullmatch(r"status=\d+", word) and block.language == "console":
            block.status = int(word[7:])
        else:
            raise BlockError(f"{block.where()}: unknown word '{word}'")


def parse(name, text):
    """The page's blocks; a fault in their form raises."""
    page, block, lines = Page(name), None, []
    fence = ""
    for number, line in enumerate(text.splitlines(), 1):
        if block is None:
            match = re.match(r"^( *)```(.*)$", line)
            if match is None:
                if re.match(r"^(?: {4}|\t)\S", line) and lines and not lines[-1].strip():
                    raise BlockError(f"{name}:{number}: an indented block; give it a fence and a language")
                lines.append(line)
                continue
            fence = match.group(1)
            language, _, words = match.group(2).strip().partition(" ")
            block = Block(name, number, language, "")
            if language not in LANGUAGES:
                raise BlockError(f"{name}:{number}: no rule for the language '{language}'")
            parse_words(block, words)
            body = []
        elif line == fence + "```":
            block.text = "".join(part.removeprefix(fence) + "\n" for part in body)
            page.blocks.append(block)
            block, lines = None, []
        else:
            body.append(line)
    if block is not None:
        raise BlockError(f"{block.where()}: the block has no end")
    return page


def split_console(block):
    """[(command, [expected line])]"""
    steps = []
    for line in block.text.splitlines():
        if line.startswith("$ "):
            steps.append((line[2:], []))
        elif steps and steps[-1][0].endswith("\\") and not steps[-1][1]:
            steps[-1] = (steps[-1][0] + "\n" + line.removeprefix("> "), [])
        elif steps:
            steps[-1][1].append(line)
        else:
            raise BlockError(f"{block.where()}: a console begins with a command: '$ ...'")
    if not steps:
        raise BlockError(f"{block.where()}: an empty console")
    return steps


def line_pattern(line, numbers_vary):
    """A regular expression for one expected line."""
    parts = []
    for piece in re.split(r"(\.\.\.|\s+|\d+(?:\.\d+)?)", line.rstrip()):
        if piece == "...":
            parts.append(".*")
        elif piece.isspace():
            parts.append(r"\s+")
        elif numbers_vary and re.fullmatch(r"\d+(?:\.\d+)?", piece):
            parts.append(r"\d+(?:\.\d+)?")
        else:
            parts.append(re.escape(piece))
    return "".join(parts)


def fits(expected, shown, numbers_vary):
    """Whether what was shown is what is expected, blank lines at both ends aside."""
    pattern = ""
    for line in "\n".join(expected).strip("\n").split("\n"):
        pattern += r"(?:.*\n)*?" if line.strip() == "..." else line_pattern(line, numbers_vary) + r"[ \t]*\n"
    shown = shown.strip("\n")
    if not shown and not "".join(expected).strip():
        return True
    return re.fullmatch(pattern, shown + "\n" if shown else "") is not None


class Sandbox:
    """The folder of one page."""

    def __init__(self, root, prefix, source, build):
        self.root, self.prefix, self.source = root, prefix, source
        self.home, self.runtime, self.work = root / "home", root / "run", root / "home/mavr"
        for folder in (self.home, self.runtime, self.work / "build/demo"):
            folder.mkdir(parents=True)
        (self.work / "examples").symlink_to(source / "examples")
        (self.work / "build/release").symlink_to(build)
        self.cpp = ""
        self.count = 0
        self.environment = {
            "PATH": f"{prefix}/bin:/usr/local/bin:/usr/bin:/bin", "HOME": str(self.home), "LANG": "C.UTF-8",
            "XDG_RUNTIME_DIR": str(self.runtime), "MAVR_OSAL": "simulated", "LD_LIBRARY_PATH": f"{prefix}/lib",
        }

    def real(self, text):
        return text.replace(PREFIX, str(self.prefix)).replace(RUNTIME, str(self.runtime))

    def shown(self, text):
        text = text.replace(str(self.prefix), PREFIX).replace(str(self.runtime), RUNTIME).replace(str(self.home), "~")
        return re.sub(r"(zenthar-MAVR-)\d+", r"\1PID", text)

    def run(self, command, **more):
        return subprocess.run(command, cwd=self.work, env={**self.environment, **more}, capture_output=True, text=True,
                              errors="replace", timeout=60, check=False)

    def must(self, block, command, what, **more):
        done = self.run(command, **more)
        if done.returncode != 0:
            raise BlockError(f"{block.where()}: {what} (status {done.returncode})\n{done.stdout}{done.stderr}")
        return done.stdout

    def fresh(self, suffix):
        self.count += 1
        return self.root / f"block{self.count}{suffix}"


def run_c(block, box):
    source, program = box.fresh(".c"), box.fresh("")
    whole = re.search(r"\bint main\s*\(", block.text) is not None
    source.write_text(block.text if whole else C_BODY.format(body=block.text), encoding="utf-8")
    box.must(block, ["cc", *C_FLAGS, f"-I{box.prefix}/include", str(source), f"-L{box.prefix}/lib", "-lmavrCliLib",
                     "-ldl", "-o", str(program)], "does not compile")
    box.must(block, [str(program), f"{box.prefix}/lib/libmavrCliLib.so.2"], "fails")


def run_cpp(block, box):
    box.cpp += block.text
    source = box.fresh(".cpp")
    source.write_text(box.cpp, encoding="utf-8")
    folders = [f"-I{box.source / folder}" for folder in (".", "include", "osal/include")]
    box.must(block, ["c++", *CXX_FLAGS, *folders, str(source)], "does not compile")


def run_cmake(block, box):
    project = box.fresh("")
    project.mkdir()
    shutil.copy(box.source / "examples/host.c", project)
    (project / "CMakeLists.txt").write_text(
        "cmake_minimum_required(VERSION 3.16)\nproject(host C)\nadd_executable(host host.c)\n" + block.text,
        encoding="utf-8")
    box.must(block, ["cmake", "-G", "Ninja", "-S", str(project), "-B", str(project / "build"),
                     f"-DCMAKE_PREFIX_PATH={box.prefix}"], "does not configure")
    box.must(block, ["cmake", "--build", str(project / "build")], "does not build")


def run_sh(block, box):
    box.must(block, ["bash", "-euo", "pipefail", "-c", box.real(block.text)], "fails")


def run_console(block, box):
    steps = split_console(block)
    mark = "--- end of a command, status"
    script = "".join(f"{{ {box.real(command)}\n}} 2>&1 </dev/null\necho \"{mark} $?\"\n" for command, _ in steps)
    output = box.run(["bash", "-c", script]).stdout
    parts = re.split(rf"^{mark} (\d+)\n", box.shown(output), flags=re.M)
    if len(parts) != 2 * len(steps) + 1:
        raise BlockError(f"{block.where()}: bash did not come to the end:\n{output}")
    for index, (command, expected) in enumerate(steps):
        shown, status = parts[2 * index], int(parts[2 * index + 1])
        wanted = block.status if index == len(steps) - 1 else 0
        if status != wanted:
            raise BlockError(f"{block.where()}: '{command}' ends with {status}, not {wanted}:\n{shown}")
        if not fits(expected, shown, block.numbers_vary):
            raise BlockError(f"{block.where()}: '{command}' shows\n{shown}\nwhere the page has\n" + "\n".join(expected))


def doctor_says(block, box, check, **more):
    """Finding of that name; no other finding matters."""
    done = box.run(["mavr", "doctor", "--json"], **more)
    findings = [row for row in json.loads(done.stdout)["checks"] if row["check"] == check]
    if not findings or any(row["verdict"] != "ok" for row in findings):
        raise BlockError(f"{block.where()}: the doctor says: {findings or done.stdout}")
    return findings[0]["result"]


def run_file_of_the_user(block, box, name, check):
    """As a file of the user's configuration folder, in which the doctor's `check` finds it."""
    folder = box.fresh("")
    (folder / "corvane").mkdir(parents=True)
    (folder / "corvane" / name).write_text(block.text, encoding="utf-8")
    if str(folder) not in doctor_says(block, box, check, XDG_CONFIG_HOME=str(folder)):
        raise BlockError(f"{block.where()}: {name} was not read")


def run_toml(block, box):
    run_file_of_the_user(block, box, "config.toml", "configuration")


def run_json(block, box):
    path = box.fresh(".json")
    path.write_text(block.text, encoding="utf-8")
    done = box.run(["mavr", "doctor", "--json"], MAVR_SIMULATION=str(path))
    wrong = [row for row in json.loads(done.stdout)["checks"] if row["check"] == "simulation file"]
    if wrong:
        raise BlockError(f"{block.where()}: the doctor says: {wrong}")
    doctor_says(block, box, "simulated devices", MAVR_SIMULATION=str(path))


def run_xml(block, box):
    run_file_of_the_user(block, box, "com.corvane.mavr.plist", "settings file")


def run_log(block, _):
    for line in block.text.splitlines():
        if not LOG_LINE.match(line):
            raise BlockError(f"{block.where()}: no line of a log: {line}")


RULES = {"log": run_log, "c": run_c, "cpp": run_cpp, "cmake": run_cmake, "sh": run_sh, "console": run_console,
         "toml": run_toml, "json": run_json, "xml": run_xml}


def run_block(block, box):
    if block.file:
        (box.work / block.file).write_text(block.text, encoding="utf-8")
    if block.reason or block.language in NEVER_RUN:
        return False
    RULES[block.language](block, box)
    return True


def anchors(text):
    """The anchors of a page's headings, as they are made on the web."""
    text = re.sub(r"^ *```.*?^ *```$", "", text, flags=re.M | re.S)
    found = set()
    for heading in re.findall(r"^#+ (.+)$", text, re.M):
        anchor = re.sub(r"[^\w\- ]", "", re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", heading).lower()).replace(" ", "-")
        found.add(anchor)
    return found


def link_faults(root, names):
    """Links between files of the tree that lead nowhere."""
    faults = []
    for name in names:
        text = (root / name).read_text(encoding="utf-8")
        prose = re.sub(r"`[^`\n]*`", "", re.sub(r"^ *```.*?^ *```$", "", text, flags=re.M | re.S))
        for target in re.findall(r"\]\(([^)\s]+)\)|<img src=\"([^\"]+)\"", prose):
            target = target[0] or target[1]
            if re.match(r"[a-z]+:", target):
                continue
            path, _, anchor = target.partition("#")
            file = (root / name).parent / path if path else root / name
            if not file.exists():
                faults.append(f"{name}: the link to {target} leads nowhere")
            elif anchor and anchor not in anchors(file.read_text(encoding="utf-8")):
                faults.append(f"{name}: there is no heading #{anchor} in {os.path.relpath(file, root)}")
    return faults


# A file or folder of the tree, named as such.
PATH = re.compile(r"`((?:bench|cmake|docs|examples|fuzz|include|lib|libs|osal|pcoip_host|script|tests|tools)/[\w./-]*"
                  r"|[A-Z]\w+\.(?:md|txt|json))`")


def path_faults(root, names):
    """Names of files and folders that are not there. NAME stands for one of the reader's; without an ending a pair of
    sources, or a folder, is meant."""
    faults = []
    for name in names:
        for target in PATH.findall((root / name).read_text(encoding="utf-8")):
            places = [root / target, root / f"{target}.h", (root / name).parent / target]
            if "NAME" not in target and not any(place.exists() for place in places):
                faults.append(f"{name}: there is no {target}")
    return faults
