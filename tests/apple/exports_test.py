#!/usr/bin/env python3
"""The Mac's link step, as far as another system's linker goes: LLVM's links a library of stubs for both processors with
the export list, the install name and the oldest macOS of the build, and what came out is looked at.  Skips (77) with
its reason without clang, LLVM's linker and its tools.

    exports_test.py LIBRARY      LIBRARY: this system's own, which must not know the stand-ins
"""

import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
EXPORTS = ROOT / "cmake/mavrCliLib.exports"
OLDEST = re.search(r'CMAKE_OSX_DEPLOYMENT_TARGET "([\d.]+)"', (ROOT / "CMakeLists.txt").read_text()).group(1)
ARCHITECTURES = re.search(r'CMAKE_OSX_ARCHITECTURES "([\w;]+)"', (ROOT / "CMakeLists.txt").read_text()).group(1).split(";")


def tool(name):
    found = shutil.which(name) or shutil.which(f"{name}-14")
    if found is None:
        print(f"skipped: there is no {name} (packages clang, lld, llvm)")
        sys.exit(77)
    return found


CLANG, LINKER, NM, LIPO, OBJDUMP = (tool(name) for name in ("clang", "ld64.lld", "llvm-nm", "llvm-lipo", "llvm-objdump"))


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def fail_unless(condition, what):
    if not condition:
        print(f"FAILED: {what}")
        sys.exit(1)


def main():
    header = (ROOT / "include/mmdr/mmdr.h").read_text()
    functions = sorted(set(re.findall(r"\b(Mmdr_\w+)\s*\(", re.sub(r"/\*.*?\*/", "", header, flags=re.S))))
    fail_unless(len(functions) == 10, f"the header declares ten functions, not {functions}")
    wanted = sorted("_" + name for name in functions)
    fail_unless(sorted(EXPORTS.read_text().split()) == wanted, "the export list is the header's functions")

    with tempfile.TemporaryDirectory() as folder:
        folder = Path(folder)
        source = folder / "stubs.c"
        source.write_text('#include "mmdr/mmdr.h"\n' + "".join(f"void *stub_of_{name}(void) {{ return (void *){name}; }}\n"
                                                              for name in functions) +
                          "void not_exported(void) {}\n")
        bodies = folder / "bodies.c"
        bodies.write_text("".join(f"void {name}(void) {{}}\n" for name in functions))
        slices = []
        for architecture in ARCHITECTURES:
            objects = []
            for file in (source, bodies):
                objects.append(str(folder / f"{file.stem}-{architecture}.o"))
                run(CLANG, "-target", f"{architecture}-apple-macos{OLDEST}", "-ffreestanding", "-std=c99", "-fPIC",
                    "-fno-stack-protector", "-I", str(ROOT / "include"), "-c", str(file), "-o", objects[-1])
            slices.append(str(folder / f"libmavrCliLib-{architecture}.dylib"))
            run(LINKER, "-dylib", "-arch", architecture, "-platform_version", "macos", OLDEST, OLDEST, "-undefined",
                "dynamic_lookup", "-exported_symbols_list", str(EXPORTS), "-install_name", "libmavrCliLib",
                "-dead_strip", "-o", slices[-1], *objects)
            exported = sorted(line.split()[-1] for line in
                              run(NM, "--extern-only", "--defined-only", slices[-1]).splitlines() if line)
            fail_unless(exported == wanted, f"{architecture} exports {exported}")
            facts = run(OBJDUMP, "--macho", "--private-headers", slices[-1])
            fail_unless(re.search(rf"minos {re.escape(OLDEST)}\b", facts), f"{architecture} is for macOS {OLDEST}")
        whole = str(folder / "libmavrCliLib.dylib")
        run(LIPO, "-create", *slices, "-output", whole)
        fail_unless(sorted(run(LIPO, whole, "-archs").split()) == sorted(ARCHITECTURES), "both processors are in one file")
        fail_unless("libmavrCliLib\n" in run(OBJDUMP, "--macho", "--dylib-id", whole), "the install name is libmavrCliLib")

    needed = run(OBJDUMP, "--private-headers", sys.argv[1])
    fail_unless("NEEDED" in needed and not re.search(r"gnustep|libobjc", needed), "the product does not know the stand-ins")
    print(f"{len(wanted)} exports, {', '.join(ARCHITECTURES)}, macOS {OLDEST}")


main()
