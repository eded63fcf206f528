#!/usr/bin/env python3
"""The tool on the Mac's backend and the stand-in frameworks.  tool_test.py PROGRAM"""

import json
import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

PROGRAM = sys.argv.pop(1)


class StandInTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.home = Path(folder.name)
        self.environment = {"PATH": os.environ["PATH"], "HOME": folder.name,
                            "XDG_CONFIG_HOME": f"{folder.name}/config", "XDG_STATE_HOME": f"{folder.name}/state"}
        for name in ("ASAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"):
            if name in os.environ:
                self.environment[name] = os.environ[name]

    def mavr(self, *arguments):
        done = subprocess.run([PROGRAM, *arguments], env=self.environment, capture_output=True, text=True, timeout=60,
                              check=False)
        self.assertEqual(done.returncode, 0, f"{arguments}: {done.stdout}{done.stderr}")
        self.assertNotIn("without pool", done.stderr)
        return done.stdout

    def test_devices_are_those_of_the_stand_ins(self):
        self.assertEqual(json.loads(self.mavr("devices", "--json")), {
            "cameras": [{"userId": "FaceTime Camera#cam-1", "name": "FaceTime Camera"},
                        {"userId": "FaceTime Camera#cam-2", "name": "FaceTime Camera 2"}],
            "microphones": [{"userId": "MacBook Microphone#mic-1", "name": "MacBook Microphone"}]})

    def test_status_names_the_platform(self):
        self.assertEqual(json.loads(self.mavr("status", "--json"))["platform"], "avfoundation")

    def test_formats_are_those_of_the_camera(self):
        self.assertIn("1280", self.mavr("formats", "FaceTime Camera#cam-2"))

    def test_doctor_finds_the_users_permission(self):
        self.assertIn("camera access", self.mavr("doctor"))

    def test_a_recording_has_pictures(self):
        out = self.home / "out.y4m"
        self.mavr("record", "video", "--size", "320x240", "--fps", "30", "--seconds", "1", "--out", str(out))
        content = out.read_bytes()
        self.assertTrue(content.startswith(b"YUV4MPEG2 W320 H240"), content[:40])
        self.assertGreater(content.count(b"FRAME"), 3)

    def test_a_recording_has_sound(self):
        out = self.home / "out.wav"
        self.mavr("record", "audio", "--seconds", "1", "--out", str(out))
        self.assertGreater(out.stat().st_size, 8000)


unittest.main()
