#!/usr/bin/env python3
"""Runs every code block of the documentation:  blocks_test.py BUILD SOURCE [PAGE...]

tests/docs/blocks.py says what is done with which block. Prints the blocks that can't be run here, and why. Exits 1 when a
block does not do what its page says, or has no rule, and when a link or the name of a file leads nowhere."""

import subprocess
import sys
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import blocks

BUILD, SOURCE = Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve()


def page_names():
    if (SOURCE / ".git").exists():
        names = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "*.md"], cwd=SOURCE, check=True,
                               stdout=subprocess.PIPE, text=True).stdout.splitlines()
    else:  # unpacked from the source archive
        names = [path.relative_to(SOURCE).as_posix() for path in SOURCE.glob("**/*.md")]
    return sorted(name for name in set(names) if (SOURCE / name).is_file() and not name.startswith("build/"))


def run_page(name, root):
    """(faults, blocks run, [block that is not run])"""
    try:
        page = blocks.parse(name, (SOURCE / name).read_text(encoding="utf-8"))
    except blocks.BlockError as error:
        return [str(error)], 0, []
    box = blocks.Sandbox(root / name.replace("/", "_"), root / "prefix", SOURCE, BUILD)
    faults, ran = [], 0
    for block in page.blocks:
        try:
            ran += blocks.run_block(block, box)
        except (blocks.BlockError, subprocess.TimeoutExpired, ValueError) as error:
            faults.append(f"{block.where()}: {error}" if not isinstance(error, blocks.BlockError) else str(error))
    return faults, ran, [block for block in page.blocks if block.reason]


def run_pages(names):
    with tempfile.TemporaryDirectory(prefix="docs-test.", dir=BUILD) as folder:
        root = Path(folder)
        subprocess.run(["cmake", "--install", str(BUILD), "--prefix", str(root / "prefix")], check=True,
                       stdout=subprocess.DEVNULL)
        with ThreadPoolExecutor(max_workers=3) as pool:
            return list(pool.map(run_page, names, [root] * len(names)))


def main():
    started = time.monotonic()
    names = sys.argv[3:] or page_names()
    results = run_pages(names)
    faults = [fault for result in results for fault in result[0]] + blocks.link_faults(SOURCE, page_names())
    faults += blocks.path_faults(SOURCE, page_names())
    idle = [block for result in results for block in result[2]]
    print(f"{len(idle)} blocks can't be run here:")
    for block in idle:
        print(f"  {block.where()}: {block.language}: {block.reason}")
    for fault in faults:
        print(f"\n{fault}")
    print(f"\n{len(names)} pages, {sum(result[1] for result in results)} blocks run, {len(faults)} faults, "
          f"{time.monotonic() - started:.1f} s")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
