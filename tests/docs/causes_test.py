#!/usr/bin/env python3
"""The check of docs/causes.md finds each kind of fault in it; and the page as it stands has none."""

import importlib.machinery
import importlib.util
import sys
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
sys.dont_write_bytecode = True  # beside the script
loader = importlib.machinery.SourceFileLoader("messages", str(ROOT / "script/messages"))
messages = importlib.util.module_from_spec(importlib.util.spec_from_loader("messages", loader))
loader.exec_module(messages)

LOGGED = {("disk %s full", "error"): {"a.cpp"}, ("slow", "warning"): {"a.cpp"}, ("step %d", "debug"): {"a.cpp"}}
ENTRY = "### One\n\n- `disk %s full`\n- `slow`\n\nMeaning: It is.\n\nCause: A disk.\n\nCure: Another one.\n"


class Causes(unittest.TestCase):
    def problems(self, text, marks=frozenset()):
        return [line.removeprefix("docs/causes.md: ") for line in messages.cause_problems(text, LOGGED, set(marks))]

    def test_a_page_that_names_all_but_debug_lines_is_right(self):
        self.assertEqual(self.problems(ENTRY), [])
        self.assertEqual(self.problems(ENTRY.replace("- `slow`", "- `slow`\n- `step %d`")), [])

    def test_a_message_without_an_entry_is_found(self):
        self.assertEqual(self.problems(ENTRY.replace("- `slow`\n", "")), ['no entry for "slow"'])

    def test_a_mark_of_the_log_without_an_entry_is_found(self):
        self.assertEqual(self.problems(ENTRY, {"<<< Throttled >>>"}), ['no entry for "<<< Throttled >>>"'])

    def test_a_message_that_no_source_logs_is_found(self):
        self.assertEqual(self.problems(ENTRY.replace("- `slow`", "- `slow`\n- `gone`")),
                         ["'One' names \"gone\", which no source logs"])

    def test_a_message_in_two_entries_is_found(self):
        self.assertEqual(self.problems(ENTRY + ENTRY.replace("One", "Two").replace("- `slow`\n", "")),
                         ["\"disk %s full\" is in 'One' and in 'Two'"])

    def test_an_entry_without_meaning_cause_or_cure_is_found(self):
        for part in ("Meaning", "Cause", "Cure"):
            self.assertEqual(self.problems(ENTRY.replace(f"{part}: ", f"{part}:\n")), [f"'One' has no {part}"])

    def test_an_entry_without_a_message_is_found(self):
        self.assertEqual(self.problems(ENTRY + "### Two\n\nMeaning: a\n\nCause: b\n\nCure: c\n"),
                         ["'Two' names no message"])

    def test_the_sources_hold_messages_and_marks_to_check_against(self):
        self.assertGreater(sum(level not in messages.INNER_LEVELS for _, level in messages.logged()), 150)
        self.assertEqual(messages.marks(), {"<<< %s Throttled >>>\\n",
                                            ">>> Error writing log, %llu bytes discarded. Disk full?\\n"})

    def test_the_page_is_right(self):
        text = messages.CAUSES.read_text(encoding="utf-8")
        self.assertEqual(messages.cause_problems(text, messages.logged(), messages.marks()), [])


unittest.main()
