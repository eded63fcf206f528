#!/usr/bin/env python3
"""Holds the Mac's backend against osal/apple/api.txt: it uses no call, type, constant or selector that is not listed
there, nothing listed is unused or newer than the oldest macOS that is supported, and the stand-in headers declare no
function, class or selector that a Mac lacks.  Exits 1 and says what is wrong where.

    api_test.py            check
    api_test.py --used     print what the sources use, for the list
"""

import re
import sys
from pathlib import Path

FOLDER = Path(__file__).resolve().parent.parent.parent / "osal/apple"
OLDEST_SUPPORTED = (13, 0)

PLATFORM = re.compile(
    r"\b((?:AV|CM|CV|CF|NS)[A-Z]\w+|k(?:CM|CV|CF|Audio)\w+|AudioObject\w+|dispatch_\w+|DISPATCH_\w+|mach_\w+|sysdir_\w+"
    r"|SYSDIR_\w+|sysctlbyname|_NSGet\w+|OSStatus|UInt(?:8|32)|Boolean|noErr)\b")
OURS = {"CFOwned", "AVFoundationSession", "AVFoundationDevices"}
FRAMEWORK = re.compile(r"^\s*#\s*(?:include|import)\s*<((?:\w+/\w+|mach-o/\w+|sysdir|sys/sysctl|mach/mach_time)\.h)>", re.M)
ATTRIBUTES = {"nodiscard", "maybe_unused", "gnu"}
TOKEN = re.compile(r"@\w+|\w+|::|[^\s\w]")


def without_comments_and_texts(text):
    text = re.sub(r'//[^\n]*|/\*.*?\*/', " ", text, flags=re.S)
    return re.sub(r'"(?:\\.|[^"\\\n])*"', '""', text)


def closing(tokens, start):
    """Index of the bracket that closes the one at `start`."""
    depth = 0
    for index in range(start, len(tokens)):
        if tokens[index] in "([{":
            depth += 1
        elif tokens[index] in ")]}":
            depth -= 1
            if depth == 0:
                return index
    raise ValueError("brackets do not match")


def selector_of(tokens):
    """The selector of a message expression's inside, or None when it is something else in brackets."""
    parts, last, depth, ternaries = [], None, 0, 0
    for index, token in enumerate(tokens):
        if token in "([{":
            depth += 1
        elif token in ")]}":
            depth -= 1
        elif depth == 0 and token == "?":
            ternaries += 1
        elif depth == 0 and token == ":":
            if ternaries > 0:
                ternaries -= 1
            elif index > 0 and re.fullmatch(r"\w+", tokens[index - 1]):
                parts.append(tokens[index - 1] + ":")
        elif depth == 0 and re.fullmatch(r"[A-Za-z_]\w*", token):
            last = (index, token)
    if parts:
        return "".join(parts)
    if last is None or last[0] == 0 or last[0] != len(tokens) - 1 or tokens[last[0] - 1] in ("::", ".", "&", ","):
        return None
    return last[1]


def selectors_sent(text):
    tokens = TOKEN.findall(text)
    found = set()
    for index, token in enumerate(tokens):
        if token != "[":
            continue
        before = tokens[index - 1] if index else ""
        is_subscript = re.fullmatch(r"\w+|\]|\)", before) and before not in ("return", "in") and not (
            before == ")" and tokens[index + 1:index + 2] != ["]"])
        inside = tokens[index + 1:closing(tokens, index)]
        if is_subscript or not inside or inside[0] in ("&", "=", "this") or inside[0] in ATTRIBUTES:
            continue
        selector = selector_of(inside)
        if selector is not None:
            found.add(selector)
    return found


def methods_declared(text):
    """Selectors of the method declarations and definitions in a text."""
    found = set()
    for match in re.finditer(r"^\s*[-+]\s*\([^)]*\)\s*([^;{]+)[;{]", text, re.M):
        parts = re.findall(r"(\w+)\s*:(?!:)", match.group(1))
        found.add("".join(part + ":" for part in parts) if parts else match.group(1).split()[0])
    return found


class Sources:
    def __init__(self):
        self.names, self.sent, self.defined, self.own, self.headers = {}, {}, {}, set(), {}
        for path in sorted(FOLDER.iterdir()):
            if path.suffix not in (".h", ".cpp", ".mm") or path.stem.endswith("_test"):
                continue
            raw = path.read_text(encoding="utf-8")
            for header in FRAMEWORK.findall(raw):
                self.headers.setdefault(header, path.name)
            text = without_comments_and_texts(re.sub(r"^\s*#\s*(?:include|import).*$", "", raw, flags=re.M))
            for name in PLATFORM.findall(text):
                if name not in OURS:
                    self.names.setdefault(name, path.name)
            if path.suffix == ".mm" or path.name == "AVFoundationGuard.h":
                for selector in selectors_sent(text):
                    self.sent.setdefault(selector, path.name)
            for interface in re.findall(r"@interface.*?@end", text, re.S):
                self.own |= methods_declared(interface)
            for implementation in re.findall(r"@implementation.*?@end", text, re.S):
                for selector in methods_declared(implementation):
                    self.defined.setdefault(selector, path.name)

    def used(self):
        """(kind, name) -> file."""
        used = {("header", name): place for name, place in self.headers.items()}
        used.update({("name", name): place for name, place in self.names.items()})
        used.update({("selector", name): place for name, place in {**self.sent, **self.defined}.items()
                     if name not in self.own})
        return used


def listed():
    entries, problems = {}, []
    for number, line in enumerate((FOLDER / "api.txt").read_text(encoding="utf-8").splitlines(), 1):
        if not line or line.startswith("#"):
            continue
        match = re.fullmatch(r"(\d+)\.(\d+)\s+(header|name|selector|stand-in)\s+(\S+)", line)
        if not match:
            problems.append(f"api.txt:{number}: not VERSION KIND NAME: {line}")
            continue
        version = (int(match.group(1)), int(match.group(2)))
        if version > OLDEST_SUPPORTED:
            problems.append(f"api.txt:{number}: {match.group(4)} is newer than macOS {OLDEST_SUPPORTED[0]}")
        if (match.group(3), match.group(4)) in entries:
            problems.append(f"api.txt:{number}: {match.group(4)} stands there twice")
        entries[match.group(3), match.group(4)] = version
    return entries, problems


def declared_by_stand_ins():
    """(kind, name) -> header, of functions, classes and selectors."""
    found = {}
    for path in sorted((FOLDER / "fakes/include").rglob("*.h")):
        text = without_comments_and_texts(re.sub(r"^\s*#.*$", "", path.read_text(encoding="utf-8"), flags=re.M))
        for block in re.findall(r'extern ""\s*\{(.*?)\n\}', text, re.S) + re.findall(r'extern ""\s+int[^;]*;', text):
            for name in re.findall(r"\b(\w+)\s*\([^;]*\)\s*;", block):
                found[("name", name)] = path.name
        for name in re.findall(r"@(?:interface|protocol)\s+(\w+)", text):
            found[("name", name)] = path.name
        for selector in methods_declared(text):
            found[("selector", selector)] = path.name
    return found


def main():
    used = Sources().used()
    if "--used" in sys.argv:
        for kind, name in sorted(used):
            print(kind, name)
        return 0
    entries, problems = listed()
    for (kind, name), place in sorted(used.items()):
        if (kind, name) not in entries:
            problems.append(f"{place}: the {kind} {name} is not in api.txt")
    for kind, name in sorted(entries.keys() - used.keys()):
        if kind != "stand-in":
            problems.append(f"api.txt: nothing uses the {kind} {name}")
    for (kind, name), place in sorted(declared_by_stand_ins().items()):
        if (kind, name) not in entries and ("stand-in", name) not in entries:
            problems.append(f"fakes/include, {place}: declares the {kind} {name}, which is not in api.txt")
    for problem in problems:
        print(problem)
    print(f"{len(used)} uses, {len(entries)} entries, {len(problems)} problems")
    return 1 if problems or len(used) < 100 else 0


if __name__ == "__main__":
    sys.exit(main())
