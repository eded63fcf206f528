#!/usr/bin/env python3
"""The rules of tests/docs/blocks.py: each kind of block that lies is found out, and none passes unread.

rules_test.py BUILD SOURCE"""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import blocks

BUILD, SOURCE = Path(sys.argv.pop(1)).resolve(), Path(sys.argv.pop(1)).resolve()


def page(*lines):
    return "\n".join(lines) + "\n"


def block(head, *lines):
    return page("```" + head, *lines, "```")


class Form(unittest.TestCase):
    def refused(self, text, why):
        with self.assertRaisesRegex(blocks.BlockError, why):
            blocks.parse("page.md", text)

    def test_blocks_have_their_line_language_and_words(self):
        found = blocks.parse("page.md", page("# Page", "", "```console numbers-vary status=3", "$ false", "```", "",
                                             "  ```sh file=a.sh no-run: needs a Mac", "  true", "  ```")).blocks
        self.assertEqual([(b.line, b.language, b.text) for b in found],
                         [(3, "console", "$ false\n"), (7, "sh", "true\n")])
        self.assertEqual((found[0].numbers_vary, found[0].status), (True, 3))
        self.assertEqual((found[1].file, found[1].reason), ("a.sh", "needs a Mac"))

    def test_a_language_without_a_rule_is_refused(self):
        self.refused(block("python", "pass"), "page.md:1: no rule for the language 'python'")

    def test_a_block_without_a_language_is_refused(self):
        self.refused(block("", "x"), "no rule for the language ''")

    def test_an_unknown_word_is_refused(self):
        self.refused(block("sh fast", "true"), "unknown word 'fast'")
        self.refused(block("sh status=1", "false"), "unknown word 'status=1'")
        self.refused(block("sh file=../a", "true"), "unknown word")

    def test_no_run_needs_a_reason(self):
        self.refused(block("sh no-run:", "true"), "no-run without a reason")
        self.refused(block("sh no-run", "true"), "unknown word 'no-run'")

    def test_an_indented_block_is_refused(self):
        self.refused(page("Text", "", "    mavr devices"), "page.md:3: an indented block")

    def test_a_block_without_an_end_is_refused(self):
        self.refused(page("```sh", "true"), "the block has no end")

    def test_a_console_begins_with_a_command(self):
        for text in ("output\n", ""):
            with self.assertRaises(blocks.BlockError):
                blocks.split_console(blocks.Block("page.md", 1, "console", text))

    def test_every_language_has_a_rule(self):
        self.assertEqual(set(blocks.RULES) | set(blocks.NEVER_RUN), set(blocks.LANGUAGES))


class Output(unittest.TestCase):
    def test_output_fits_itself_and_no_other(self):
        self.assertTrue(blocks.fits(["a 1", "b"], "a 1\nb\n", False))
        for shown in ("a 1\n", "a 1\nb\nc\n", "a 2\nb\n", ""):
            self.assertFalse(blocks.fits(["a 1", "b"], shown, False))

    def test_dots_stand_for_lines_or_for_text(self):
        self.assertTrue(blocks.fits(["a", "...", "z"], "a\nb\nc\nz\n", False))
        self.assertTrue(blocks.fits(["a", "..."], "a\n", False))
        self.assertTrue(blocks.fits(["..."], "", False))
        self.assertTrue(blocks.fits(["a ... z"], "a b c z\n", False))
        self.assertFalse(blocks.fits(["a", "...", "z"], "a\nb\n", False))

    def test_numbers_vary_where_the_block_says_so(self):
        self.assertTrue(blocks.fits(["30.01 fps of 30"], "9 fps of 30\n", True))
        self.assertFalse(blocks.fits(["30.01 fps"], "none fps\n", True))
        self.assertFalse(blocks.fits(["30.01 fps"], "30.02 fps\n", False))

    def test_no_output_is_expected_where_none_stands(self):
        self.assertTrue(blocks.fits([], "", False))
        self.assertFalse(blocks.fits([], "mavr: error\n", False))


class Links(unittest.TestCase):
    def test_a_link_to_nowhere_and_a_missing_heading_are_found(self):
        with tempfile.TemporaryDirectory() as folder:
            root = Path(folder)
            (root / "a.md").write_text("# One thing: `two`\n[ok](b.md#b-1), [x](c.md) [y](b.md#c) [z](#one-thing-two) "
                                       "[web](https://example.org/)\n", encoding="utf-8")
            (root / "b.md").write_text("## B 1\n", encoding="utf-8")
            self.assertEqual(blocks.link_faults(root, ["a.md", "b.md"]), [
                "a.md: the link to c.md leads nowhere", "a.md: there is no heading #c in b.md"])

    def test_a_file_that_is_not_there_is_found(self):
        with tempfile.TemporaryDirectory() as folder:
            root = Path(folder)
            (root / "lib").mkdir()
            (root / "lib/Log.h").touch()
            (root / "a.md").write_text("`lib/Log.h` `lib/Log` `lib/` `lib/NAME.h` `lib/Gone.h` `lib/gone/`\n",
                                       encoding="utf-8")
            self.assertEqual(blocks.path_faults(root, ["a.md"]),
                             ["a.md: there is no lib/Gone.h", "a.md: there is no lib/gone/"])


class Running(unittest.TestCase):
    """Each language: a block that is right, and one that is wrong."""

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.prefix = Path(cls.folder.name) / "prefix"
        subprocess.run(["cmake", "--install", str(BUILD), "--prefix", str(cls.prefix)], check=True,
                       stdout=subprocess.DEVNULL)

    def run_blocks(self, text):
        with tempfile.TemporaryDirectory() as folder:
            box = blocks.Sandbox(Path(folder), self.prefix, SOURCE, BUILD)
            return [blocks.run_block(each, box) for each in blocks.parse("page.md", text).blocks]

    def right(self, text):
        self.assertNotIn(False, self.run_blocks(text))

    def wrong(self, text, why):
        with self.assertRaisesRegex(blocks.BlockError, why):
            self.run_blocks(text)

    def test_c(self):
        self.right(block("c", "uint8_t on = 0;", "code = Mmdr_IsEnabled(handle, &on);", "if (!on) { code = 1; }"))
        self.wrong(block("c", "code = 7;"), "fails")
        self.wrong(block("c", "code = Mmdr_Nothing(handle);"), "does not compile")
        self.right(block("c", "#include <mmdr/mmdr.h>", "int main(void) { return Mmdr_GetLibVersion() == 2 ? 0 : 1; }"))
        self.wrong(block("c", "#include <mmdr/mmdr.h>", "int main(void) { return 1; }"), "fails")

    def test_cpp(self):
        self.right(block("cpp", '#include "libs/utils/RegUtils.h"', "struct One {};") + block("cpp", "One another;"))
        self.wrong(block("cpp", "One another;"), "does not compile")

    def test_cmake(self):
        self.right(block("cmake", "find_package(mavrCliLib 2 REQUIRED)",
                         "target_link_libraries(host PRIVATE mavrCliLib::mavrCliLib)"))
        self.wrong(block("cmake", "find_package(mavrCliLib 9 REQUIRED)"), "does not configure")
        self.wrong(block("cmake", "find_package(mavrCliLib 2 REQUIRED)"), "does not build")

    def test_sh(self):
        self.right(block("sh", "mavr devices", "test -e /opt/mavr/bin/mavr"))
        self.wrong(block("sh", "false", "true"), "fails")
        self.assertEqual(self.run_blocks(block("sh no-run: needs a Mac", "false")), [False])

    def test_console(self):
        self.right(block("console status=1", "$ export A=b", "$ echo $A", "b", "$ echo c; false", "c"))
        self.wrong(block("console", "$ echo b", "c"), "shows")
        self.wrong(block("console", "$ echo b"), "shows")
        self.wrong(block("console", "$ false"), "ends with 1, not 0")
        self.wrong(block("console status=1", "$ false", "$ false"), "ends with 1, not 0")
        self.wrong(block("console", "$ exit 0", "$ true"), "did not come to the end")

    def test_toml(self):
        self.right(block("toml", "[log]", "keepOld = 5"))
        self.wrong(block("toml", "[log"), "the doctor says")

    def test_json(self):
        self.right(block("json", '{ "cameras": [] } // none'))
        self.wrong(block("json", '{ "cameras": 1 }'), "the doctor says")
        self.wrong(block("json", '{ "cameraz": [] }'), "the doctor says")

    def test_xml(self):
        self.right(block("xml", '<plist version="1.0"><dict/></plist>'))
        self.wrong(block("xml", "<plist>"), "the doctor says")

    def test_log(self):
        self.right(block("log", "2026-11-12T18:30:00.123Z In(05)+ main b"))
        self.wrong(block("log", "2026-11-12 In(05) main b"), "no line of a log")


unittest.main()
