#!/usr/bin/env python3
"""'mavr redirect' as its users meet it: two processes, a report, and what is left when one of them goes.
redirect_test.py MAVR"""

import array
import json
import os
import signal
import struct
import subprocess
import sys
import time
import unittest
import zlib
from html.parser import HTMLParser
from pathlib import Path

from command_help import read_command
from mavr_test import GIVEN, MAVR, ToolTest, in_real_time

COUNTER = {"name": "Counting Camera", "uniqueId": "count", "pattern": "counter",
           "formats": [{"width": 1280, "height": 720, "maxFrameRate": 30}]}
TONE = {"name": "Tone Microphone", "uniqueId": "tone", "toneHz": 1000, "level": 0.5}
PATIENCE = 60  # seconds until something hangs


def parent_of(pid):
    try:
        return int(Path(f"/proc/{pid}/stat").read_text(encoding="utf-8").rpartition(")")[2].split()[1])
    except (OSError, ValueError):
        return None


def sides_of(pid):
    """{"client": pid, "agent": pid} of a running redirection, as far as they are there."""
    found = {}
    for entry in Path("/proc").iterdir():
        if entry.name.isdigit() and parent_of(entry.name) == pid:
            try:
                words = (entry / "cmdline").read_bytes().split(b"\0")
            except OSError:
                continue
            if b"redirect-side" in words:
                found[words[2].decode()] = int(entry.name)
    return found


def is_running(pid):
    try:
        return Path(f"/proc/{pid}/stat").read_text(encoding="utf-8").rpartition(")")[2].split()[0] != "Z"
    except OSError:
        return False


class Page(HTMLParser):
    """What a page refers to, and how often each element comes."""

    def __init__(self, text):
        super().__init__()
        self.elements, self.references = {}, []
        self.feed(text)

    def handle_starttag(self, tag, attrs):
        self.elements[tag] = self.elements.get(tag, 0) + 1
        self.references += [value for name, value in attrs if name in ("src", "href")]


class RedirectTest(ToolTest):
    def setUp(self):
        super().setUp()
        self.out = self.home / "report"
        self.simulate([COUNTER], [TONE])

    def redirect(self, *arguments, seconds="1", status=0):
        return self.mavr("redirect", "--seconds", seconds, "--out", str(self.out), *arguments, status=status)

    def report(self):
        return json.loads((self.out / "report.json").read_text(encoding="utf-8"))

    def start(self, *arguments):
        process = subprocess.Popen([MAVR, "redirect", "--seconds", "30", "--out", str(self.out), *arguments],
                                   env=self.environment, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.addCleanup(self.reap, process)
        return process

    @staticmethod
    def reap(process):
        if process.poll() is None:
            process.kill()
        process.communicate()

    def await_sides(self, process):
        self.await_until(lambda: len(sides_of(process.pid)) == 2 and (self.out / "sound.wav").is_file())
        time.sleep(0.5)  # some frames
        return sides_of(process.pid)

    def await_until(self, holds):
        end = time.monotonic() + PATIENCE
        while not holds():
            self.assertLess(time.monotonic(), end, "it hangs")
            time.sleep(0.01)


class Report(RedirectTest):
    def test_has_help(self):
        self.assertIn("--reliable-video", self.mavr("redirect", "--help").stdout)

    @in_real_time
    def test_every_frame_and_chunk_arrives_and_is_checked(self):
        text = self.redirect().stdout
        self.assertIn("every frame and every datagram is accounted for", text)
        self.assertIn(f"{self.out}/report.html", text)
        report = self.report()
        video, audio = report["video"], report["audio"]
        self.assertTrue(report["complete"] and report["accountAgrees"])
        self.assertEqual((video["device"], video["width"], video["height"], video["channel"]),
                         ("Counting Camera", 640, 480, "lossy"))
        self.assertGreater(video["framesComplete"], 5)
        self.assertEqual(video["framesLost"], video["framesSent"] - video["framesComplete"])
        self.assertEqual(video["numbersInPictures"]["readable"], video["framesComplete"])
        self.assertEqual(video["numbersInPictures"]["unreadable"] + video["numbersInPictures"]["backwards"], 0)
        self.assertGreater(audio["chunksComplete"], 10)
        self.assertEqual(audio["chunksLost"], 0)
        self.assertAlmostEqual(audio["peakDb"], -6, delta=0.5)
        self.assertGreater(video["captureToArrivalMs"]["median"], 0)
        self.assertGreater(report["cpu"]["bothPercent"], 0)

    def test_the_page_needs_nothing_else_and_shows_pictures_and_plots(self):
        self.redirect("--loss", "10")
        text = (self.out / "report.html").read_text(encoding="utf-8")
        page = Page(text)
        self.assertEqual(page.elements.get("svg"), 7)
        self.assertNotIn("script", page.elements)
        self.assertEqual([reference[:22] for reference in page.references], ["data:image/png;base64,", "sound.wav"])
        self.assertIn("Counting Camera", text)

    def test_the_contact_sheet_is_a_picture_of_the_frames(self):
        self.redirect()
        data = (self.out / "pictures.png").read_bytes()
        self.assertEqual(data[:8], b"\x89PNG\r\n\x1a\n")
        width, height, depth, kind = struct.unpack(">IIBB", data[16:26])
        self.assertEqual((width, depth, kind), (660, 8, 2))
        self.assertEqual((height - 4) % 124, 0)
        body, at = b"", 8
        while at < len(data):
            size, name = struct.unpack(">I4s", data[at:at + 8])
            body += data[at + 8:at + 8 + size] if name == b"IDAT" else b""
            at += 12 + size
        self.assertEqual(len(zlib.decompress(body)), height * (1 + 3 * width))

    @in_real_time
    def test_the_sound_is_the_microphones_tone(self):
        self.redirect()
        data = (self.out / "sound.wav").read_bytes()
        self.assertEqual((data[:4], int.from_bytes(data[24:28], "little")), (b"RIFF", 48000))
        tone = array.array("h", data[44:])
        self.assertEqual(len(tone), self.report()["audio"]["chunksComplete"] * 960)
        rises = [i for i in range(1, len(tone)) if tone[i - 1] < 0 <= tone[i]]
        self.assertAlmostEqual((len(rises) - 1) * 48000 / (rises[-1] - rises[0]), 1000, delta=1)

    def test_what_others_must_not_see_is_the_users_alone(self):
        self.redirect()
        self.assertEqual(self.out.stat().st_mode & 0o777, 0o700)
        for name in ("report.html", "report.json", "pictures.png", "sound.wav"):
            self.assertEqual((self.out / name).stat().st_mode & 0o077, 0, name)

    def test_as_json_it_is_the_report(self):
        printed = json.loads(self.redirect("--json").stdout)
        self.assertEqual(printed, self.report())

    def test_a_former_report_is_replaced(self):
        self.out.mkdir()
        (self.out / "report.json").write_text("{}", encoding="utf-8")
        (self.out / "report.html").write_text("old", encoding="utf-8")
        self.redirect()
        self.assertIn("video", self.report())
        self.assertNotEqual((self.out / "report.html").read_text(encoding="utf-8"), "old")

    @in_real_time
    def test_the_preferred_devices_are_taken(self):
        other = {"name": "Other", "uniqueId": "other", "pattern": "bars"}
        self.simulate([COUNTER, other], [TONE, {"name": "Other Microphone", "uniqueId": "other", "level": 0.25}])
        self.mavr("prefer", "camera", "--name", "Other")
        self.mavr("prefer", "microphone", "--name", "Other Microphone")
        self.redirect()
        report = self.report()
        self.assertEqual((report["video"]["device"], report["audio"]["device"]), ("Other", "Other Microphone"))
        self.assertIsNone(report["video"]["numbersInPictures"], "bars show no numbers")
        self.assertAlmostEqual(report["audio"]["peakDb"], -12, delta=0.5)


class Loss(RedirectTest):
    def test_losses_of_the_lossy_channel_are_counted_right(self):
        self.redirect("--loss", "10", seconds="2")
        video, audio = self.report()["video"], self.report()["audio"]
        self.assertGreater(video["datagramsDropped"], 0)
        self.assertEqual(video["datagramsLost"], video["datagramsDropped"] + video["datagramsRefused"])
        self.assertEqual(video["datagramsReceived"] + video["datagramsLost"], video["datagramsSent"])
        self.assertEqual(video["framesComplete"] + video["framesLost"], video["framesSent"])
        self.assertGreater(video["framesLost"], 0)
        self.assertEqual((audio["datagramsLost"], audio["chunksLost"]), (0, 0))
        self.assertTrue(self.report()["accountAgrees"])

    def test_a_reliable_channel_loses_nothing(self):
        self.redirect("--loss", "10", "--reliable-video")
        video = self.report()["video"]
        self.assertEqual(video["channel"], "reliable")
        self.assertEqual((video["datagramsDropped"], video["datagramsLost"], video["framesLost"]), (0, 0, 0))
        self.assertEqual(video["framesComplete"], video["framesSent"])

    def test_the_loss_of_everything_is_told_too(self):
        self.redirect("--loss", "100")
        video = self.report()["video"]
        self.assertEqual((video["framesComplete"], video["datagramsLost"]), (0, video["datagramsSent"]))


class Devices(RedirectTest):
    def test_one_kind_of_device_is_enough(self):
        self.simulate([COUNTER], [])
        self.assertRegex(self.redirect().stdout, "sound +none")
        self.assertIsNone(self.report()["audio"])
        self.simulate([], [TONE])
        self.redirect()
        self.assertIsNone(self.report()["video"])

    def test_without_devices_it_fails_with_a_hint(self):
        self.simulate([], [])
        done = self.redirect(status=1)
        self.assertEqual(done.stderr, "mavr: Neither a camera nor a microphone could be started. 'mavr doctor' finds out "
                                      "why; the log has the details.\n")

    def test_a_camera_that_goes_is_told_with_the_frames_it_gave(self):
        self.simulate([{**COUNTER, "fail": {"unplugAfterFrames": 5}}], [TONE])
        self.assertIn("unplugged after 5 frames", self.redirect().stdout)
        video = self.report()["video"]
        self.assertLessEqual(video["framesSent"], 5, "a busy machine leaves some out")
        self.assertEqual((video["framesComplete"], video["framesLost"]), (video["framesSent"], 0))

    def test_devices_that_give_nothing_are_an_error(self):
        slow = [{"width": 64, "height": 48, "minFrameRate": 0.1, "maxFrameRate": 0.1}]
        self.simulate([{"name": "Slow", "uniqueId": "slow", "formats": slow}], [])
        done = self.redirect(status=1)
        self.assertIn("mavr: No picture and no sound came from the devices.", done.stderr)


class Ends(RedirectTest):
    def test_the_report_shows_what_arrived_until_the_client_was_killed(self):
        process = self.start()
        sides = self.await_sides(process)
        os.kill(sides["client"], signal.SIGKILL)
        stdout, stderr = process.communicate(timeout=PATIENCE)
        self.assertEqual(process.returncode, 1, stdout + stderr)
        self.assertIn("mavr: The capturing side was ended by signal 9. The report shows what arrived until then.", stderr)
        self.assertIn("not known", stdout)
        report = self.report()
        self.assertFalse(report["complete"])
        self.assertGreater(report["video"]["framesComplete"], 0)
        self.assertIsNone(report["video"]["framesSent"])

    def test_the_client_ends_when_the_agent_was_killed(self):
        process = self.start()
        sides = self.await_sides(process)
        os.kill(sides["agent"], signal.SIGKILL)
        _, stderr = process.communicate(timeout=PATIENCE)
        self.assertEqual(process.returncode, 1)
        self.assertIn("mavr: The receiving side was ended by signal 9.", stderr)

    def test_both_end_when_the_command_was_killed(self):
        process = self.start()
        sides = self.await_sides(process)
        process.kill()
        process.communicate()
        self.await_until(lambda: not any(is_running(pid) for pid in sides.values()))
        self.assertTrue(self.report()["complete"])

    def test_an_interrupt_ends_it_with_a_whole_report(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            with self.subTest(number):
                process = self.start()
                self.await_sides(process)
                process.send_signal(number)
                stdout, stderr = process.communicate(timeout=PATIENCE)
                self.assertEqual(process.returncode, 0, stdout + stderr)
                self.assertTrue(self.report()["complete"] and self.report()["accountAgrees"])
                (self.out / "sound.wav").unlink()

    def test_an_agent_that_was_stopped_for_a_while_loses_nothing_on_a_reliable_channel(self):
        process = self.start("--reliable-video")
        sides = self.await_sides(process)
        os.kill(sides["agent"], signal.SIGSTOP)
        time.sleep(0.5)
        os.kill(sides["agent"], signal.SIGCONT)
        process.send_signal(signal.SIGINT)
        process.communicate(timeout=PATIENCE)
        self.assertEqual(process.returncode, 0)
        self.assertEqual(self.report()["video"]["framesLost"], 0)


class Wrong(RedirectTest):
    def test_numbers_out_of_range_are_usage_errors(self):
        for arguments in (("--seconds", "0"), ("--seconds", "x"), ("--loss", "101"), ("--loss", "-1")):
            with self.subTest(arguments):
                self.mavr("redirect", *arguments, status=2)

    def test_a_folder_that_cannot_be_made_is_told(self):
        (self.home / "file").write_text("", encoding="utf-8")
        for folder in (self.home / "file", self.home / "file/below", self.home / "a/b/c"):
            done = self.mavr("redirect", "--out", str(folder), status=1)
            self.assertIn(f"mavr: '{folder}' cannot be made: ", done.stderr)

    def test_a_file_that_cannot_be_written_is_told(self):
        (self.out / "pictures.png").mkdir(parents=True)
        done = self.redirect(status=1)
        self.assertIn("pictures.png' cannot be written", done.stderr)

    def test_a_side_alone_says_who_starts_it(self):
        for side in ("client", "agent"):
            done = self.mavr("redirect-side", side, "--socket", "77", status=1)
            self.assertIn("This command is started by 'mavr redirect'.", done.stderr)
        self.assertNotIn("redirect-side", self.mavr("--help").stdout)


def tearDownModule():
    """Each option is given in some test."""
    if len(sys.argv) == 1:  # all tests
        missing = GIVEN.missing([read_command(MAVR, ("redirect",))])
        if missing:
            raise AssertionError(f"no test gives with success: {', '.join(missing)}")


if __name__ == "__main__":
    unittest.main()
