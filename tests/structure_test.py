#!/usr/bin/env python3
"""Holds the tree against its own rules: which room may know which, one pair one name, sources listed by name, the
map and the table of rooms in docs/architecture.md, the settings in docs/settings.md, and platform words behind the
seam only. Exits 1 and says what is wrong where."""

import re
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
MAX_LINES = 600

# Room -> rooms that it may include besides itself. The arrows point one way: from the top of this table no room is
# reached from below.
ALLOWED = {
    "include/mmdr": set(),
    "osal": set(),
    "lib/corvanebase": {"osal"},
    "lib/log": {"lib/corvanebase", "osal"},
    "lib/mfw/common": {"osal"},
    "lib/mfw/messageframework": {"lib/mfw/common"},
    "libs/utils": {"lib/mfw/common", "osal"},
    "libs/mmdr/device": {"lib/corvanebase"},
    "libs/avManager/devices": {"osal", "libs/mmdr/device", "libs/utils", "lib/mfw/common"},
    "libs/common/codec": {"libs/utils", "lib/mfw/common"},
    "libs/avCap": {"libs/common/codec", "libs/utils", "lib/mfw/common"},
    "libs/common": {
        "libs/common/codec", "libs/avCap", "libs/avManager/devices", "libs/mmdr/device", "libs/utils", "lib/mfw/common",
    },
    "libs/avManager": {
        "libs/avManager/devices", "libs/common", "libs/mmdr/device", "libs/utils", "lib/mfw/common", "osal",
    },
    "libs/pcoip_mfw": {"lib/mfw/common", "lib/mfw/messageframework", "libs/utils", "osal"},
    "libs/pcoip_mfw/linux": {"lib/corvanebase", "lib/log", "lib/mfw/common", "libs/pcoip_mfw", "libs/utils", "osal"},
    "pcoip_host/local": {"pcoip_host", "libs/pcoip_mfw", "libs/utils", "lib/mfw/common", "osal"},
    "libs/mmdr": {
        "include/mmdr", "libs/avManager/devices", "libs/common", "libs/mmdr/device", "libs/pcoip_mfw/linux",
        "libs/utils", "lib/mfw/common",
    },
    "pcoip_host": {"libs/pcoip_mfw", "lib/mfw/common", "osal"},
}
PROGRAMS = ("tools", "examples", "bench", "fuzz", "tests")  # may know everything
PUBLIC_ONLY = ("examples",)

# Words of one operating system or of one device backend, which only the seam may know.
PLATFORM = re.compile(
    r'^\s*#\s*(?:if|ifdef|ifndef|elif).*\b(?:__APPLE__|__linux__|_WIN32)\b'
    r'|^\s*#\s*include\s*[<"](?:pipewire|spa|plist|AVFoundation|CoreAudio|CoreMedia|CoreVideo|CoreFoundation|dispatch|mach)/')
PLATFORM_FREE = ("osal/", "tests/kit/", "tests/integration/", "bench/", "fuzz/")
TEST_FILE = re.compile(r"(_test\.(cpp|c|h)|TestKit\.(h|cpp))$")
INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"')
# A class whose source is too long for one file: its parts, and the header that declares them.
PARTS = {
    "lib/log/LogFileCreate.cpp": "lib/log/LogFileOutput.h",
    "lib/log/LogFileMerge.cpp": "lib/log/LogFileOutput.h",
    "lib/log/LogFileStart.cpp": "lib/log/LogFileOutput.h",
    "lib/log/LogStart.cpp": "lib/log/Log.h",
    "libs/pcoip_mfw/channelThreads.cpp": "libs/pcoip_mfw/pcoip_channel.h",
    "lib/mfw/messageframework/propertybagequals.cpp": "lib/mfw/messageframework/propertybagbody.h",
    "pcoip_host/local/LocalHostThread.cpp": "pcoip_host/local/LocalHost.h",
    "lib/mfw/messageframework/propertybagerror.cpp": "lib/mfw/messageframework/propertybag.h",
    "libs/avManager/VideoRecService.cpp": "libs/avManager/VideoRec.h",
}
# A source without a header of its own name: entry points, and one-function files of a family that shares a header.
NO_HEADER = re.compile(r"(_test|main|Main|Command|Fuzzer|Bench)\.(cpp|c)$")


def files():
    if not (ROOT / ".git").exists():  # unpacked from the source archive
        names = (path.relative_to(ROOT).as_posix() for path in sorted(ROOT.rglob("*")) if path.is_file())
        return [name for name in names if not name.startswith("build/")]
    out = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=ROOT, check=True, capture_output=True,
                         text=True).stdout
    return [name for name in out.splitlines() if (ROOT / name).is_file()]


def room_of(path):
    """The longest room that the path lies in."""
    fits = [room for room in ALLOWED if path.startswith(room + "/")]
    return max(fits, key=len) if fits else None


def resolve(source, target):
    if target.startswith("osal/") and (ROOT / "osal/include" / target).is_file():
        return "osal/include/" + target
    if target.startswith("mmdr/"):
        return "include/" + target
    if (ROOT / target).is_file():
        return target
    beside = (Path(source).parent / target).as_posix()
    return beside if (ROOT / beside).is_file() else None


def check_includes(source, lines, problems):
    room = room_of(source)
    is_test = TEST_FILE.search(source) is not None
    for number, line in enumerate(lines, 1):
        match = INCLUDE.match(line)
        if not match:
            continue
        where = f"{source}:{number}"
        target = resolve(source, match.group(1))
        if target is None:
            problems.append(f'{where}: "{match.group(1)}" is no file of this tree')
            continue
        other = room_of(target)
        if source.startswith(PUBLIC_ONLY) and other != "include/mmdr":
            problems.append(f"{where}: an example knows only the public header, not {target}")
        if room is None or is_test:
            continue
        if other is None:
            problems.append(f"{where}: {room} may not include {target}")
        elif other != room and other not in ALLOWED[room]:
            problems.append(f"{where}: {room} may not know {other}")


def check_platform_words(source, lines, problems):
    if source.startswith(PLATFORM_FREE):
        return
    for number, line in enumerate(lines, 1):
        if PLATFORM.search(line):
            problems.append(f"{source}:{number}: a platform word outside osal/: {line.strip()}")


NAMED_BY_VERBS = ("fuzz/ReplayMain.cpp", "tests/kit/NoThread.cpp")  # of cmake/MavrTests.cmake


def check_pair_and_list(source, problems):
    path = ROOT / source
    if not re.search(r"\.(cpp|c|mm)$", source):
        return
    cmake = next((folder / "CMakeLists.txt" for folder in path.parents
                  if (folder / "CMakeLists.txt").is_file()), None)
    if source.startswith("examples/") or source in NAMED_BY_VERBS:  # the examples are projects of their own
        return
    relative = path.relative_to(cmake.parent).as_posix()
    if not re.search(r"(?<![\w/])" + re.escape(relative) + r"(?![\w])", cmake.read_text(encoding="utf-8")):
        problems.append(f"{source}: not listed by name in {cmake.relative_to(ROOT)}")
    if room_of(source) and not NO_HEADER.search(source) and not source.startswith(("osal/", "lib/corvanebase/")):
        public = ROOT / "include/mmdr" / (path.stem + ".h")
        header = ROOT / PARTS.get(source, path.with_suffix(".h").relative_to(ROOT).as_posix())
        if not header.is_file() and not public.is_file():
            problems.append(f"{source}: no header of the same name beside it")


def check_length(source, lines, problems):
    if len(lines) > MAX_LINES:
        problems.append(f"{source}: {len(lines)} lines; past {MAX_LINES} it is asking to be two")


def check_map(names, problems):
    page = ROOT / "docs/architecture.md"
    text = page.read_text(encoding="utf-8") if page.is_file() else ""
    for room in list(ALLOWED) + ["tools/mavr"]:
        if f"`{room}/`" not in text:
            problems.append(f"docs/architecture.md: the map lacks `{room}/`")
    for folder in re.findall(r"^\| `([\w/]+)/` \|", text, re.M):
        if not any(name.startswith(folder + "/") for name in names):
            problems.append(f"docs/architecture.md: the map names {folder}/, which does not exist")


def check_rooms(problems):
    """The page's table of rooms says what ALLOWED says."""
    text = (ROOT / "docs/architecture.md").read_text(encoding="utf-8")
    table = text[text.index("## Which room may know which"):text.index("## The seam")]
    rows = {room: set(re.findall(r"`([^`]+)`", known))
            for room, known in re.findall(r"^\| `([^`]+)` \| (.*) \|$", table, re.M)}
    rows["include/mmdr"] = set()  # a header alone
    for room in sorted(set(rows) | set(ALLOWED)):
        if rows.get(room) != ALLOWED.get(room):
            problems.append(f"docs/architecture.md: what {room} may know differs from ALLOWED in tests/structure_test.py")


# A setting that is read by its name, or by a constant of the same file that holds it.
SETTING_READ = re.compile(
    r"\b(?:RegUtils::Get(?:Bool|DWORD|String)\s*\(\s*[^,]+,|ConfigSettings::Get(?:BOOL|DWORD|String)\s*\()"
    r'\s*"(\w+)"')


def check_settings(names, problems):
    page = (ROOT / "docs/settings.md").read_text(encoding="utf-8")
    keys = [key for row in re.findall(r"^\| (`[^|]*) \|", page, re.M) for key in re.findall(r"`([^`]+)`", row)]
    sources = {name: (ROOT / name).read_text(encoding="utf-8") for name in names
               if name.startswith("libs/") and name.endswith(".cpp") and not name.endswith("_test.cpp")}
    for name, text in sources.items():
        for setting in SETTING_READ.findall(text):
            if not any(key.endswith(setting) for key in keys):
                problems.append(f"docs/settings.md: lacks {setting}, which {name} reads")
    literals = set(re.findall(r'"(\w+)"', "\n".join(sources.values())))
    for key in keys:
        if re.sub(r"^(Debug|\\miscSettings)(?=\w)", "", key) not in literals:
            problems.append(f"docs/settings.md: no source names {key}")


def main():
    names = files()
    problems = []
    for name in names:
        if not re.search(r"\.(h|cpp|c|mm)$", name):
            continue
        lines = (ROOT / name).read_text(encoding="utf-8").splitlines()
        check_includes(name, lines, problems)
        check_platform_words(name, lines, problems)
        check_pair_and_list(name, problems)
        check_length(name, lines, problems)
    check_map(names, problems)
    check_rooms(problems)
    check_settings(names, problems)
    for problem in problems:
        print(problem)
    print(f"{len(names)} files, {len(problems)} problems")
    return 1 if problems else 0


sys.exit(main())
