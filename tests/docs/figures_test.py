#!/usr/bin/env python3
"""The page of figures says what the files say, and names what is missing."""

import json
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SCRIPT = Path(__file__).resolve().parent.parent.parent / "script/figures"


class Figures(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.path = Path(self.folder.name)

    def write(self, name, figures):
        text = figures if isinstance(figures, str) else json.dumps(figures)
        (self.path / f"{name}.json").write_text(text, encoding="utf-8")

    def page(self, status=0):
        done = subprocess.run([sys.executable, SCRIPT, "--from", self.path, "--to", self.path / "page.md"],
                              capture_output=True, text=True, timeout=60, check=False)
        self.assertEqual(done.returncode, status, done.stderr)
        return (self.path / "page.md").read_text(encoding="utf-8") if status == 0 else done.stderr

    def section(self, name):
        parts = [part for part in self.page().split("## ") if part.startswith((f"{name}:", f"{name}\n"))]
        self.assertEqual(len(parts), 1)
        return parts[0]

    def test_each_key_is_a_row(self):
        self.write("torture", {"casesRun": 4711, "worst_call_ms": 12.3456789, "leaks": 0, "clean": True,
                               "odd key": "a|b"})
        text = self.section("torture")
        for row in ("| cases run | 4711 |", "| worst call ms | 12.35 |", "| leaks | 0 |", "| clean | yes |",
                    "| odd key | a\\|b |"):
            self.assertIn(row + "\n", text)

    def test_where_it_is_from(self):
        self.write("soak", {"commit": "abc1234", "date": "2026-01-02", "machine": "a big one", "days": 50})
        text = self.section("soak")
        self.assertIn("Commit abc1234, 2026-01-02, a big one.\n", text)
        self.assertNotIn("| commit", text)

    def test_what_has_no_file_is_named(self):
        self.write("soak", {"days": 50})
        text = self.page()
        self.assertEqual(text.count("Not run."), 10)
        self.assertIn("## torture: each inner call fails, one after the other\n\nNot run.\n", text)

    def test_a_file_of_another_name_has_a_section_too(self):
        self.write("weather", {"rain": 3})
        self.assertIn("## weather\n", self.page())

    def test_inner_objects_and_lists_are_rows(self):
        self.write("coverage", {"room": {"log": 95.5, "queue": 100.0}, "files": ["a", "b"]})
        text = self.section("coverage")
        for row in ("| room.log | 95.5 |", "| room.queue | 100 |", "| files | a, b |"):
            self.assertIn(row + "\n", text)

    def test_benchmarks_stand_beside_their_best_peer(self):
        self.write("bench", [
            {"name": "log.line", "unit": "ns", "ours": 1000.0, "limit": 790.0, "limitName": "write(2)",
             "peers": {"slow": 4000.0, "quick": 2000.0}},
            {"name": "alone", "unit": "us", "ours": 2.5, "limit": None, "limitName": None, "peers": {}}])
        text = self.section("bench")
        self.assertIn("| log.line | ns | 1000 | 2000 | quick | 0.50 | 790 | write(2) |\n", text)
        self.assertIn("| alone | us | 2.5 |  |  |  |  |  |\n", text)

    def test_a_file_that_holds_no_figures_is_an_error(self):
        for wrong in ("{", "3", '[{"name": "x"}]'):
            self.write("fuzz", wrong)
            self.assertIn("fuzz.json does not hold figures", self.page(status=1))


unittest.main()
