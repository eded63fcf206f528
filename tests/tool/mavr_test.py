#!/usr/bin/env python3
"""The command-line tool as its users meet it: arguments in, text, JSON and exit status out.  mavr_test.py MAVR"""

import array
import functools
import json
import os
import plistlib
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest
import zlib
from pathlib import Path

from command_help import GivenOptions, read_commands

MAVR = sys.argv.pop(1)
COMMANDS = ("devices", "preferred", "prefer", "option", "status", "doctor", "formats", "record", "dump", "redirect")
GIVEN = GivenOptions()

CAMERAS = [
    {"name": "Desk Camera", "uniqueId": "cam-b", "formats": [
        {"width": 1280, "height": 720}, {"width": 640, "height": 480}, {"width": 640, "height": 480},
        {"width": 640, "height": 360}]},
    {"name": "Desk Camera", "uniqueId": "cam-a"},
]
MICROPHONES = [{"name": "Desk Microphone", "uniqueId": "mic-1"}]


def in_real_time(test):
    """A machine that is too busy for real time loses sound now and then; what is wrong is wrong each time."""
    @functools.wraps(test)
    def repeated(self):
        for _ in range(4):
            try:
                return test(self)
            except AssertionError as trouble:
                print(f"again: {trouble}", file=sys.stderr)
        return test(self)
    return repeated


def output_of(*command):
    """What another program makes of our files: its standard output."""
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=60, check=True).stdout


def probe(path, entries):
    """What ffprobe says of the one stream in a file, all of which it reads."""
    streams = json.loads(output_of("ffprobe", "-v", "error", "-count_frames", "-show_entries", "stream=" + entries,
                                   "-of", "json", path))["streams"]
    return streams[0] if len(streams) == 1 else streams


class ToolTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.home = Path(self.folder.name)
        self.environment = {
            "PATH": os.environ["PATH"], "HOME": str(self.home), "MAVR_OSAL": "simulated",
            "XDG_CONFIG_HOME": str(self.home / "config"), "XDG_STATE_HOME": str(self.home / "state")}
        for name in ("ASAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"):
            if name in os.environ:
                self.environment[name] = os.environ[name]
        self.simulate(CAMERAS, MICROPHONES)

    def simulate(self, cameras, microphones):
        path = self.home / "devices.json"
        path.write_text(json.dumps({"cameras": cameras, "microphones": microphones}), encoding="utf-8")
        self.environment["MAVR_SIMULATION"] = str(path)

    def settings_file(self):
        return self.home / "config/corvane/com.corvane.mavr.plist"

    def store(self, **values):
        self.settings_file().parent.mkdir(parents=True, exist_ok=True)
        self.settings_file().write_bytes(plistlib.dumps(values))

    def mavr(self, *arguments, status=0, **options):
        done = subprocess.run([MAVR, *arguments], env=self.environment, capture_output=True, text=True, timeout=60,
                              check=False, **options)
        self.assertEqual(done.returncode, status, f"{arguments}: {done.stdout}{done.stderr}")
        if status == 0:
            GIVEN.note(arguments)
        return done

    def json(self, *arguments, status=0):
        return json.loads(self.mavr(*arguments, "--json", status=status).stdout)

    def finding(self, check, status=0):
        found = [row for row in self.json("doctor", status=status)["checks"] if row["check"] == check]
        self.assertEqual(len(found), 1, f"one finding on {check}")
        return found[0]


class Devices(ToolTest):
    def test_lists_devices_in_the_order_of_their_ids_with_doubles_numbered(self):
        self.assertEqual(self.json("devices"), {
            "cameras": [{"userId": "Desk Camera#cam-a", "name": "Desk Camera"},
                        {"userId": "Desk Camera#cam-b", "name": "Desk Camera 2"}],
            "microphones": [{"userId": "Desk Microphone#mic-1", "name": "Desk Microphone"}]})

    def test_lists_names_for_people(self):
        text = self.mavr("devices").stdout
        self.assertIn("  Desk Camera 2  Desk Camera#cam-b\n", text)
        self.assertIn("  Desk Microphone  Desk Microphone#mic-1\n", text)

    def test_says_where_to_look_when_there_are_none(self):
        self.simulate([], [])
        self.assertEqual(self.json("devices"), {"cameras": [], "microphones": []})
        self.assertEqual(self.mavr("devices").stdout.count("none; 'mavr doctor' finds out why"), 2)

    def test_shows_two_hundred_devices(self):
        self.simulate([{"name": "C", "uniqueId": f"c{i:03}"} for i in range(200)], [])
        names = [camera["name"] for camera in self.json("devices")["cameras"]]
        self.assertEqual(names, ["C"] + [f"C {i}" for i in range(2, 201)])

    def test_control_characters_in_a_name_do_not_act_on_the_terminal(self):
        self.simulate([{"name": "Evil\u001b[2J\u202eCam", "uniqueId": "x"}], [])
        self.assertIn("Evil\\x1B[2J\\xE2\\x80\\xAECam", self.mavr("devices").stdout)

    def test_a_long_name_is_cut_at_the_entry(self):
        self.simulate([{"name": "n" * 300, "uniqueId": "x"}], [])
        self.assertEqual(self.json("devices")["cameras"][0]["name"], "n" * 259)

    def test_a_missing_simulation_file_lists_nothing_and_the_doctor_names_it(self):
        self.environment["MAVR_SIMULATION"] = str(self.home / "absent.json")
        self.assertEqual(self.json("devices"), {"cameras": [], "microphones": []})
        self.assertIn("absent.json", self.mavr("doctor", status=1).stdout)

    def test_an_unknown_platform_lists_nothing_and_the_doctor_names_it(self):
        self.environment["MAVR_OSAL"] = "bogus"
        self.assertEqual(self.json("devices"), {"cameras": [], "microphones": []})
        self.assertIn("bogus", self.mavr("doctor", status=1).stdout)


class Preferences(ToolTest):
    def test_a_camera_is_preferred_by_id_by_a_piece_of_it_and_by_name(self):
        for arguments in (("--id", "Desk Camera#cam-b"), ("--id", "cam-b"), ("--name", "Desk Camera 2")):
            with self.subTest(arguments):
                self.mavr("prefer", "camera", *arguments)
                self.assertEqual(self.json("preferred"), {
                    "camera": {"userId": "Desk Camera#cam-b", "name": "Desk Camera 2"}, "microphone": None})
                self.mavr("prefer", "camera", "--clear")
                self.assertIsNone(self.json("preferred")["camera"])

    def test_a_device_with_a_long_id_is_preferred_and_shown(self):
        self.simulate([{"name": "Long", "uniqueId": "x" * 250}], [{"name": "Long", "uniqueId": "y" * 200}])
        for kind in ("camera", "microphone"):
            listed = self.json("devices")[kind + "s"][0]
            self.assertIn("It selects Long", self.mavr("prefer", kind, "--id", listed["userId"]).stdout)
            self.assertEqual(self.json("preferred")[kind], listed)

    def test_a_microphone_is_preferred_by_name_when_it_is_present(self):
        self.assertIn("It selects Desk Microphone", self.mavr("prefer", "microphone", "--name", "Desk Microphone").stdout)
        self.assertEqual(self.json("preferred")["microphone"]["userId"], "Desk Microphone#mic-1")

    def test_an_absent_microphone_is_not_preferred_by_name_alone(self):
        done = self.mavr("prefer", "microphone", "--name", "Gone", status=1)
        self.assertEqual(done.stderr, "mavr: No microphone is called 'Gone'. An absent microphone is preferred by --id; "
                                      "'mavr devices' lists those present.\n")

    def test_an_absent_camera_is_stored_and_said_to_be_absent(self):
        self.assertIn("No camera that is present now matches", self.mavr("prefer", "camera", "--id", "gone").stdout)
        self.assertIsNone(self.json("preferred")["camera"])

    def test_a_store_that_cannot_be_written_is_told(self):
        self.home.joinpath("config").write_text("a file where the folder should be", encoding="utf-8")
        done = self.mavr("prefer", "camera", "--id", "cam-b", status=1)
        self.assertEqual(done.stderr, "mavr: The preference could not be stored. Run 'mavr doctor' to find the cause.\n")

    def test_the_option_is_stored_by_word_and_by_number(self):
        self.assertEqual(self.json("option"), {"option": 0, "name": "all"})
        self.assertEqual(self.json("option", "preferred"), {"option": 2, "name": "preferred"})
        self.assertEqual(self.json("option", "1"), {"option": 1, "name": "default"})
        self.assertEqual(self.mavr("option").stdout, "1 default\n")

    def test_an_option_out_of_range_is_stored_and_told(self):
        done = self.mavr("option", "5", "--json", status=1)
        self.assertEqual(json.loads(done.stdout), {"option": 5, "name": None})
        self.assertIn("mavr: The stored microphone option 5 is none of 0, 1, 2.", done.stderr)


class Formats(ToolTest):
    def test_each_size_once_in_ascending_order(self):
        self.assertEqual(self.json("formats", "cam-b")["sizes"], [
            {"width": 640, "height": 360}, {"width": 640, "height": 480}, {"width": 1280, "height": 720}])
        self.assertEqual(self.json("formats", "Desk Camera 2")["camera"]["userId"], "Desk Camera#cam-b")

    def test_a_name_is_the_camera_of_that_name_and_not_the_first_id_that_holds_it(self):
        self.assertEqual(self.json("formats", "Desk Camera")["camera"]["userId"], "Desk Camera#cam-a")

    def test_an_unknown_camera_is_an_error_with_a_hint(self):
        done = self.mavr("formats", "nothing", status=1)
        self.assertEqual(done.stderr, "mavr: No camera matches 'nothing'. 'mavr devices' lists those present.\n")


class Record(ToolTest):
    """What 'mavr record' makes, taken apart byte by byte."""

    def setUp(self):
        super().setUp()
        self.simulate_capture(pattern="gradient")
        self.out = self.home / "out"

    def simulate_capture(self, **camera):
        path = self.home / "devices.json"
        path.write_text(json.dumps({"cameras": [
            {"name": "Desk Camera", "uniqueId": "cam-a", "formats": [{"width": 640, "height": 360, "maxFrameRate": 30}],
             **camera}], "microphones": MICROPHONES}), encoding="utf-8")

    def pixels(self, path):
        """Width, height and the RGB bytes of a PNG with 8 bits a channel."""
        data = path.read_bytes()
        self.assertEqual(data[:8], b"\x89PNG\r\n\x1a\n")
        at, body, shape = 8, b"", None
        while at < len(data):
            length, kind = struct.unpack(">I4s", data[at:at + 8])
            chunk = data[at + 8:at + 8 + length]
            if kind == b"IHDR":
                shape = struct.unpack(">IIBBBBB", chunk)
            elif kind == b"IDAT":
                body += chunk
            at += 12 + length
        width, height, depth, colour = shape[:4]
        self.assertEqual((depth, colour), (8, 2))
        packed, stride, rows = zlib.decompress(body), 3 * width, []
        previous = bytes(stride)
        for row in range(height):
            kind, line = packed[row * (stride + 1)], bytearray(packed[row * (stride + 1) + 1:(row + 1) * (stride + 1)])
            for i in range(stride):
                left, up = line[i - 3] if i >= 3 else 0, previous[i]
                corner = previous[i - 3] if i >= 3 else 0
                if kind == 4:
                    guess = left + up - corner
                    near = min((abs(guess - left), 0, left), (abs(guess - up), 1, up), (abs(guess - corner), 2, corner))
                line[i] = (line[i] + (0, left, up, (left + up) // 2, near[2] if kind == 4 else 0)[kind]) % 256
            rows.append(bytes(line))
            previous = rows[-1]
        return width, height, rows

    def test_a_picture_has_bars_above_and_below_a_wider_camera(self):
        text = self.mavr("record", "video", "--size", "160x120", "--out", str(self.out) + ".png").stdout
        self.assertIn("640x360 from the camera, 160x120 recorded, LETTERBOX", text)
        width, height, rows = self.pixels(Path(str(self.out) + ".png"))
        self.assertEqual((width, height), (160, 120))
        for row in (0, 7, 13, 106, 112, 119):
            self.assertEqual(max(rows[row]), 0, f"row {row} is black")
        brightness = [sum(rows[60][3 * x:3 * x + 3]) for x in range(0, 160, 16)]
        self.assertEqual(brightness, sorted(brightness), "the gradient rises to the right")
        self.assertLess(brightness[0], 60)
        self.assertGreater(brightness[-1], 600)

    def test_a_stream_holds_each_frame_behind_its_header(self):
        summary = self.json("record", "video", "--size", "64x36", "--seconds", "0.5", "--out", str(self.out) + ".y4m")
        data = Path(str(self.out) + ".y4m").read_bytes()
        head, frames = data.split(b"\n", 1)
        self.assertEqual(head, b"YUV4MPEG2 W64 H36 F30:1 Ip A1:1 C420jpeg XCOLORRANGE=FULL")
        size = len(b"FRAME\n") + 64 * 36 * 3 // 2
        self.assertEqual(len(frames), summary["framesWritten"] * size)
        self.assertGreater(summary["framesWritten"], 2)
        for frame in range(summary["framesWritten"]):
            self.assertEqual(frames[frame * size:frame * size + 6], b"FRAME\n")
        self.assertEqual(summary["camera"], {"userId": "Desk Camera#cam-a", "name": "Desk Camera"})
        self.assertEqual(summary["scaling"], "LETTERBOX")
        # On a busy machine a frame may be lost, or be found before its event was waited for, which counts as a miss.
        self.assertGreaterEqual(summary["framesKept"], summary["framesWritten"])
        self.assertEqual(summary["framesDelivered"], summary["framesKept"] + summary["framesDropped"])
        self.assertGreaterEqual(summary["framesMissed"], 0)
        self.assertIsNone(summary["instead"])

    def test_a_dump_is_told_and_converted(self):
        dump = str(self.out) + ".dump"
        summary = self.json("record", "video", "--size", "64x36", "--seconds", "0.5", "--out", dump)
        facts = self.json("dump", "info", dump)
        self.assertEqual({key: facts[key] for key in ("media", "width", "height", "pixelFormat", "frameSize", "samples")},
                         {"media": "video", "width": 64, "height": 36, "pixelFormat": "I420", "frameSize": 3456,
                          "samples": summary["framesWritten"]})
        self.assertIn("video, 64x36 I420, 3456 bytes a frame", self.mavr("dump", "info", dump).stdout)
        self.mavr("dump", "convert", dump, str(self.out) + ".y4m")
        stream = Path(str(self.out) + ".y4m").read_bytes().split(b"\n", 1)[1]
        self.assertEqual(len(stream), summary["framesWritten"] * (6 + 3456))
        record = Path(dump).read_bytes()[408:]
        self.assertEqual(stream[6:6 + 3456], record[216:216 + 3456])
        self.mavr("dump", "convert", dump, str(self.out) + ".png")
        self.assertEqual(self.pixels(Path(str(self.out) + ".png"))[:2], (64, 36))
        self.mavr("dump", "convert", dump, str(self.out) + ".y4m", "--rate", "7")
        self.assertIn(b" F7:1 ", Path(str(self.out) + ".y4m").read_bytes()[:60])
        self.assertIn("holds pictures", self.mavr("dump", "convert", dump, str(self.out) + ".wav", status=1).stderr)

    def test_a_stream_is_read_by_ffprobe(self):
        path = str(self.out) + ".y4m"
        summary = self.json("record", "video", "--size", "64x36", "--fps", "15", "--seconds", "0.5", "--out", path)
        self.assertEqual(probe(path, "codec_name,width,height,pix_fmt,r_frame_rate,sample_aspect_ratio,nb_read_frames"),
                         {"codec_name": "rawvideo", "width": 64, "height": 36, "pix_fmt": "yuv420p",
                          "sample_aspect_ratio": "1:1", "r_frame_rate": "15/1",
                          "nb_read_frames": str(summary["framesWritten"])})

    def test_a_dump_is_not_converted_into_itself(self):
        dump = Path(str(self.out) + ".png")
        self.mavr("record", "video", "--size", "64x36", "--seconds", "0.2", "--out", str(self.out) + ".dump")
        Path(str(self.out) + ".dump").rename(dump)
        before = dump.read_bytes()
        link = self.home / "link.png"
        link.symlink_to(dump)
        for out in (dump, self.home / "." / dump.name, link):
            done = self.mavr("dump", "convert", str(dump), str(out), status=1)
            self.assertIn("is the dump itself. Give another name", done.stderr)
        self.assertEqual(dump.read_bytes(), before)

    def test_the_time_of_a_dump_goes_on_where_its_clock_wraps(self):
        dump = self.home / "wrapped.dump"
        records = [struct.pack("<IIII", 4201, i, (2**32 - 50 + 100 * i) % 2**32, 1) + bytes(200 + 6) for i in range(3)]
        dump.write_bytes(struct.pack("<8I", 420, 1, 1, 2, 2, 2, 2, 6) + bytes(376) + b"".join(records))
        facts = self.json("dump", "info", str(dump))
        self.assertEqual((facts["samples"], facts["seconds"], facts["rate"]), (3, 0.2, 10))

    def test_a_dump_in_the_cameras_place_whose_frames_are_no_pictures_is_refused(self):
        dump = self.home / "in.dump"
        header = struct.pack("<8I", 420, 1, 1, 2, 640, 480, 2, 16) + bytes(376)
        dump.write_bytes(header + struct.pack("<IIII", 4201, 0, 7, 1) + bytes(200 + 16))
        self.store(DebugImportVideoEnable=True, DebugImportVideoFilename=str(dump))
        for name in ("out.png", "out.y4m", "out.dump"):
            done = self.mavr("record", "video", "--seconds", "0.5", "--out", str(self.home / name), status=1)
            self.assertIn("says 16 bytes a frame where a picture has 460800.", done.stderr)

    def test_a_dump_in_the_cameras_place_is_recorded_and_told(self):
        dump = str(self.home / "in.dump")
        self.mavr("record", "video", "--size", "64x36", "--seconds", "0.2", "--out", dump)
        self.store(DebugImportVideoEnable=True, DebugImportVideoFilename=dump)
        done = self.mavr("record", "video", "--size", "64x36", "--seconds", "0.2", "--out", str(self.out) + ".y4m")
        self.assertEqual(done.stderr, "mavr: The settings put a dump file in the camera's place.\n")
        stream = Path(str(self.out) + ".y4m").read_bytes().split(b"\n", 1)[1]
        self.assertEqual(stream[6:6 + 3456], Path(dump).read_bytes()[408 + 216:408 + 216 + 3456])

    def test_an_interrupt_before_the_first_frame_is_told(self):
        path = self.home / "devices.json"
        slow = [{"width": 64, "height": 48, "minFrameRate": 0.1, "maxFrameRate": 0.1}]
        path.write_text(json.dumps({"cameras": [{"name": "A", "uniqueId": "1", "formats": slow}]}), encoding="utf-8")
        with subprocess.Popen([MAVR, "record", "video", "--out", str(self.out) + ".y4m"], env=self.environment,
                              stderr=subprocess.PIPE, text=True) as recording:
            while not Path(str(self.out) + ".y4m").exists():
                time.sleep(0.01)
            recording.send_signal(signal.SIGINT)
            text = recording.communicate(timeout=30)[1]
        self.assertEqual((recording.returncode, text), (1, "mavr: Interrupted before a frame came from 'A'. It gets 4 "
                                                           "seconds for its first one.\n"))

    def test_what_is_no_dump_is_told(self):
        settings = self.home / "text"
        settings.write_text("no dump", encoding="utf-8")
        self.assertIn("is no dump.", self.mavr("dump", "info", str(settings), status=1).stderr)
        self.assertIn("cannot be opened.", self.mavr("dump", "info", str(self.home), status=1).stderr)
        self.assertIn("cannot be opened.", self.mavr("dump", "info", str(self.home / "none"), status=1).stderr)

    def test_a_camera_that_is_not_there_is_replaced_and_told(self):
        done = self.mavr("record", "video", "--device", "Door", "--seconds", "0.2")
        self.assertEqual(done.stderr, "mavr: No camera matches 'Door'; 'Desk Camera' is recorded instead.\n")

    def test_the_preferred_camera_is_recorded(self):
        self.simulate([{"name": "A", "uniqueId": "1"}, {"name": "B", "uniqueId": "2"}], [])
        self.store(srcWCamId="B#2")
        self.assertEqual(self.json("record", "video", "--seconds", "0.2")["camera"]["userId"], "B#2")

    def test_a_camera_that_goes_is_told_with_the_frames_it_gave(self):
        self.simulate_capture(fail={"unplugAfterFrames": 1})
        summary = self.json("record", "video", "--seconds", "60")
        self.assertEqual(summary["framesWritten"], 1)
        self.assertIn("unplugged", summary["health"])

    def test_no_frame_within_four_seconds_is_an_error(self):
        path = self.home / "devices.json"
        slow = [{"width": 64, "height": 48, "minFrameRate": 0.1, "maxFrameRate": 0.1}]
        path.write_text(json.dumps({"cameras": [{"name": "A", "uniqueId": "1", "formats": slow}]}), encoding="utf-8")
        done = self.mavr("record", "video", status=1)
        self.assertEqual(done.stderr, "mavr: No frame came from 'A' within 4 seconds. Is another program holding it? "
                                      "'mavr doctor' looks at what capture stands on.\n")

    def test_a_file_that_cannot_be_written_is_told(self):
        for name in ("out.png", "out.y4m", "out.dump"):
            done = self.mavr("record", "video", "--seconds", "0.2", "--out", str(self.home / "none" / name), status=1)
            self.assertIn("cannot be written", done.stderr)

    def test_an_interrupt_ends_it_with_a_summary(self):
        with subprocess.Popen([MAVR, "record", "video", "--seconds", "60", "--out", str(self.out) + ".y4m"],
                              env=self.environment, stdout=subprocess.PIPE, text=True) as recording:
            while not Path(str(self.out) + ".y4m").exists() or Path(str(self.out) + ".y4m").stat().st_size < 1000000:
                time.sleep(0.01)
            recording.send_signal(signal.SIGINT)
            text = recording.communicate(timeout=30)[0]
        self.assertEqual(recording.returncode, 0)
        self.assertIn("taken", text)


class RecordAudio(ToolTest):
    def setUp(self):
        super().setUp()
        self.path = self.home / "devices.json"
        self.tones(({"name": "Desk", "uniqueId": "1", "toneHz": 440, "level": 0.5, "default": True},
                    {"name": "Desk", "uniqueId": "2", "toneHz": 1000, "level": 0.1}))
        self.out = str(self.home / "out")

    def tones(self, microphones):
        self.path.write_text(json.dumps({"cameras": [], "microphones": list(microphones)}), encoding="utf-8")

    def samples(self, path):
        data = Path(path).read_bytes()
        self.assertEqual(data[:4] + data[8:16], b"RIFFWAVEfmt ")
        self.assertEqual(data[36:40], b"data")
        return struct.unpack("<I", data[24:28])[0], array.array("h", data[44:])

    def frequency(self, rate, samples):
        """From the first to the last time that the tone rises through zero."""
        rises = [i - samples[i] / (samples[i] - samples[i - 1]) for i in range(1, len(samples))
                 if samples[i - 1] < 0 <= samples[i]]
        return (len(rises) - 1) * rate / (rises[-1] - rises[0])

    @in_real_time
    def test_the_default_microphones_tone(self):
        summary = self.json("record", "audio", "--seconds", "0.5", "--out", self.out + ".wav")
        rate, samples = self.samples(self.out + ".wav")
        self.assertEqual((rate, len(samples)), (48000, 24000))
        self.assertAlmostEqual(self.frequency(rate, samples), 440, delta=0.1)
        self.assertAlmostEqual(summary["peakDb"], -6.02, delta=0.05)
        self.assertAlmostEqual(summary["rmsDb"], -9.03, delta=0.05)
        self.assertEqual((summary["chunksTaken"], summary["chunkSize"], summary["chunksLost"]), (25, 1920, 0))
        self.assertEqual(summary["microphone"], "the default microphone")

    @in_real_time
    def test_the_length_of_a_chunk_is_the_one_asked_for(self):
        summary = self.json("record", "audio", "--chunk-ms", "50", "--rate", "16000", "--seconds", "0.5")
        self.assertEqual((summary["chunkSize"], summary["sampleRate"]), (1600, 16000))
        self.assertAlmostEqual(summary["seconds"], 0.5, delta=0.05)

    def test_sox_and_ffprobe_read_the_sound_up_to_the_end_of_its_file(self):
        path = self.out + ".wav"
        self.mavr("record", "audio", "--seconds", "0.5", "--rate", "16000", "--out", path)
        for flag, expected in (("-t", "wav"), ("-r", "16000"), ("-c", "1"), ("-b", "16"),
                               ("-e", "Signed Integer PCM")):
            self.assertEqual(output_of("soxi", flag, path).decode().strip(), expected, flag)
        self.assertEqual(output_of("sox", path, "-t", "raw", "-"), Path(path).read_bytes()[44:])
        self.assertEqual(probe(path, "codec_name,sample_rate,channels"),
                         {"codec_name": "pcm_s16le", "sample_rate": "16000", "channels": 1})
        decoded = output_of("ffmpeg", "-v", "error", "-i", path, "-f", "s16le", "-")
        self.assertEqual(decoded, Path(path).read_bytes()[44:])

    @in_real_time
    def test_another_microphone_by_its_name_and_by_a_piece_of_its_id(self):
        for device in ("Desk 2", "Desk#2", "#2"):
            summary = self.json("record", "audio", "--device", device, "--seconds", "0.2", "--rate", "16000", "--out",
                                self.out + ".wav")
            self.assertEqual(summary["microphone"], "Desk 2")
            rate, samples = self.samples(self.out + ".wav")
            self.assertEqual(rate, 16000)
            self.assertAlmostEqual(self.frequency(rate, samples), 1000, delta=0.5)

    def test_the_preferred_microphone(self):
        self.store(srcAudioInId="Desk#2")
        self.assertEqual(self.json("record", "audio", "--seconds", "0.1")["microphone"], "Desk 2")

    def test_one_that_is_not_there_is_replaced_and_told(self):
        done = self.mavr("record", "audio", "--device", "Door", "--seconds", "0.1")
        self.assertEqual(done.stderr, "mavr: No microphone matches 'Door'; the default one is recorded instead.\n")
        self.assertIn("level   peak -6.0 dBFS, RMS -9.0 dBFS", done.stdout)

    @in_real_time
    def test_a_dump_becomes_the_same_sound(self):
        self.mavr("record", "audio", "--seconds", "1", "--rate", "16000", "--out", self.out + ".dump")
        facts = self.json("dump", "info", self.out + ".dump")
        self.assertEqual((facts["media"], facts["chunkSize"], facts["samples"]), ("audio", 640, 50))
        self.mavr("dump", "convert", self.out + ".dump", self.out + ".wav")
        rate, samples = self.samples(self.out + ".wav")
        self.assertEqual((rate, len(samples)), (16000, 16000))
        self.assertAlmostEqual(self.frequency(rate, samples), 440, delta=0.1)
        self.mavr("dump", "convert", self.out + ".dump", self.out + ".wav", "--rate", "8000")
        self.assertEqual(self.samples(self.out + ".wav")[0], 8000)
        self.assertIn("holds sound", self.mavr("dump", "convert", self.out + ".dump", "x.y4m", status=1).stderr)

    def test_without_a_microphone_it_fails_with_a_hint(self):
        self.tones(())
        self.assertEqual(self.mavr("record", "audio", status=1).stderr,
                         "mavr: No microphone could be started. 'mavr doctor' finds out why; the log has the details.\n")

    def test_a_microphone_that_goes_ends_it_with_what_there_was(self):
        self.tones(({"name": "Desk", "uniqueId": "1", "fail": {"unplugAfterBuffers": 20}},))
        summary = self.json("record", "audio", "--seconds", "60")
        self.assertIn("unplugged", summary["health"])
        self.assertEqual(summary["chunksTaken"], 10)  # of 20 ms, from 20 buffers of 10.67

    def test_no_chunk_within_four_seconds_and_an_interrupt_before_one_are_told(self):
        self.tones(({"name": "Desk", "uniqueId": "1", "default": True, "fail": {"unplugAfterBuffers": 1}},))
        command = ("record", "audio", "--chunk-ms", "1000", "--out", self.out + ".wav")
        text = self.mavr(*command, status=1).stderr
        self.assertRegex(text, r"^mavr: No sound came from the default microphone within 4 seconds: .*unplugged.*\. Is it "
                               r"plugged in, and may programs listen\? 'mavr doctor' looks at what capture stands on\.$")
        Path(self.out + ".wav").unlink()
        with subprocess.Popen([MAVR, *command], env=self.environment, stderr=subprocess.PIPE, text=True) as recording:
            while not Path(self.out + ".wav").exists():
                time.sleep(0.01)
            recording.send_signal(signal.SIGINT)
            text = recording.communicate(timeout=30)[1]
        self.assertEqual((recording.returncode, text),
                         (1, "mavr: Interrupted before sound came from the default microphone. It gets 4 seconds for "
                             "its first chunk.\n"))


class Status(ToolTest):
    def test_tells_everything_that_decides(self):
        self.store(**{
            "srcWCamId": "cam-b", "IsDisabled": True, "srcAudioInOption": 1,
            "Software\\Policies\\Corvane\\Zenthar\\Agent\\MAVRDisableMAVR": "disableAudio",
            "Software\\Policies\\Corvane\\Zenthar\\Agent\\MAVRWebcamMaxFrameRate": 10})
        status = self.json("status")
        log = status.pop("log")
        self.assertTrue(log.startswith(str(self.home / "state/Logs/Corvane/zenthar-MAVR-")), log)
        self.assertEqual(status, {
            "enabled": False, "policy": {"disabled": "audio", "maxFrameRate": 10},
            "option": {"option": 1, "name": "default"},
            "preferred": {"camera": {"userId": "Desk Camera#cam-b", "name": "Desk Camera 2"}, "microphone": None},
            "platform": "simulated", "settings": str(self.settings_file())})


class Doctor(ToolTest):
    def test_all_is_well(self):
        report = self.json("doctor")
        self.assertTrue(report["ok"])
        self.assertEqual({row["verdict"] for row in report["checks"]}, {"ok"}, report)

    def test_a_damaged_settings_file(self):
        self.settings_file().parent.mkdir(parents=True)
        self.settings_file().write_bytes(b"<plist><dict><key>srcWCamId</key><str")
        found = self.finding("settings file", status=1)
        self.assertEqual(found["verdict"], "failure")
        self.assertIn(str(self.settings_file()), found["result"])
        self.assertEqual(self.finding("settings file")["verdict"], "warning")  # put aside by now

    def test_a_settings_folder_that_cannot_be_written(self):
        self.home.joinpath("config").write_text("", encoding="utf-8")
        self.assertEqual(self.finding("settings file", status=1)["verdict"], "failure")

    def test_a_log_folder_that_cannot_be_written(self):
        self.home.joinpath("state").write_text("", encoding="utf-8")
        found = self.finding("log file", status=1)
        self.assertEqual(found["verdict"], "failure")

    def test_a_broken_configuration_file(self):
        config = self.home / "config/corvane/config.toml"
        config.parent.mkdir(parents=True)
        config.write_text("\n[log\n", encoding="utf-8")
        found = self.finding("configuration", status=1)
        self.assertIn(str(config), found["result"])
        self.assertIn("2", found["result"])

    def test_a_policy_that_limits(self):
        self.store(**{"Software\\Policies\\Corvane\\Zenthar\\Agent\\MAVRWebcamMaxResWidth": 320})
        found = self.finding("policy")
        self.assertEqual((found["verdict"], found["result"]), ("warning", "Policy limits the camera: maxWidth 320."))

    def test_a_policy_that_disables(self):
        self.store(**{"Software\\Policies\\Corvane\\Zenthar\\Agent\\MAVRDisableMAVR": "true"})
        self.assertEqual(self.finding("policy")["result"], "Policy disables audio and video.")

    def test_the_users_switch(self):
        self.store(IsDisabled=True)
        self.assertEqual(self.finding("user's switch")["verdict"], "warning")

    def test_an_absent_preferred_camera_and_what_would_match(self):
        self.store(srcWCamId="Desk Camera#cam-z")
        found = self.finding("preferred camera")
        self.assertEqual(found["verdict"], "warning")
        self.assertEqual(found["result"], "'Desk Camera#cam-z' is stored and absent. 'Desk Camera' is present and looks like it.")
        self.assertEqual(found["advice"], "If it is the one: mavr prefer camera --id 'Desk Camera#cam-a'")

    def test_an_absent_preferred_microphone_with_nothing_like_it(self):
        self.store(srcAudioInId="Headset#h1", srcAudioInName="Headset")
        self.assertEqual(self.finding("preferred microphone")["result"],
                         "'Headset' is stored and absent. Nothing like it is present.")

    def test_an_option_out_of_range(self):
        self.store(srcAudioInOption=9)
        self.assertEqual(self.finding("microphone option", status=1)["verdict"], "failure")


class Bag(ToolTest):
    def test_shows_a_tree_and_each_text_on_the_wire(self):
        self.assertEqual(self.mavr("bag", "a=1", "peer/name=\u00e9", "peer/limits/x=", "plain").stdout, (
            "a = 1\npeer\n  name = \u00e9\n  limits\n    x = \nplain = \n\nOn the wire:\n"
            "a\n  Utf8   31\n  Utf16  31 00\n"
            "peer/name\n  Utf8   C3 A9\n  Utf16  E9 00\n"
            "peer/limits/x\n  Utf8   \n  Utf16  \n"
            "plain\n  Utf8   \n  Utf16  \n"))

    def test_shows_the_same_as_json_with_names_that_come_twice(self):
        shown = self.json("bag", "a=1", "A=\U0001F600", "b/c=d=e")
        self.assertEqual(shown["bag"], [{"name": "a", "value": "1"}, {"name": "A", "value": "\U0001F600"},
                                        {"name": "b", "bag": [{"name": "c", "value": "d=e"}]}])
        self.assertEqual(shown["strings"][1], {
            "path": "A", "utf8": {"bytes": "F0 9F 98 80", "readsBack": True},
            "utf16": {"bytes": "3D D8 00 DE", "readsBack": True}})

    def test_the_sample_reads_back_in_both_encodings(self):
        strings = self.json("bag")["strings"]
        self.assertEqual(len(strings), 7)
        for text in strings:
            self.assertTrue(text["utf8"]["readsBack"] and text["utf16"]["readsBack"], text)

    def test_what_cannot_be_written_or_changes_on_its_way_is_told(self):
        text = self.mavr("bag", b"cut=a\xc3", b"loose=\xf4\x80\x80\x80").stdout
        self.assertIn("cut\n  Utf8   61 C3\n  Utf16  cannot be written\n", text)
        self.assertIn("  Utf16  C0 DB 00 DC  reads back as another text\n", text)

    def test_a_name_is_a_text_or_a_bag_and_lies_no_deeper_than_a_line_shows(self):
        self.assertEqual(self.mavr("bag", "a=1", "a/b=2", status=1).stderr,
                         "mavr: 'a' is a text already and can hold no other. Choose another name for one of them.\n")
        self.assertIn("more than 64 levels deep", self.mavr("bag", "a/" * 65 + "b=1", status=1).stderr)

    def test_is_not_in_the_list_of_commands_and_has_help(self):
        self.assertNotIn("bag", self.mavr("--help").stdout)
        self.assertIn("--json", self.mavr("bag", "--help").stdout)


class CommandLine(ToolTest):
    def test_every_command_has_help(self):
        commands = read_commands(MAVR)
        self.assertEqual(sorted(commands[()].kinds), sorted(COMMANDS))
        for path in commands:
            self.assertIn("--help", self.mavr(*path, "--help").stdout)

    def test_usage_errors_exit_with_2_and_a_hint(self):
        wrong = ((), ("nonsense",), ("devices", "--jsn"), ("prefer",), ("prefer", "speaker", "--id", "x"),
                 ("prefer", "camera"), ("prefer", "camera", "--id", "x", "--clear"), ("option", "loud"), ("formats",),
                 ("record",), ("record", "video", "--size", "3x3"), ("record", "video", "--fps", "0"),
                 ("record", "audio", "--rate", "1"), ("dump",),
                 ("dump", "info"), ("dump", "convert", "x"))
        for arguments in wrong:
            with self.subTest(arguments):
                done = self.mavr(*arguments, status=2)
                self.assertTrue(done.stderr.startswith("mavr: "), done.stderr)
                self.assertIn("--help", done.stderr)
                self.assertEqual(done.stderr.count("\n"), 1, done.stderr)
                self.assertEqual(done.stdout, "")

    def test_version(self):
        self.assertRegex(self.mavr("--version").stdout, r"^mavr \d+\.\d+\.\d+\n$")

    def test_output_that_cannot_be_written_is_an_error(self):
        for arguments in (["devices"], ["--help"], ["prefer", "--help"], ["--version"]):
            with self.subTest(arguments), open("/dev/full", "w", encoding="utf-8") as full:
                done = subprocess.run([MAVR, *arguments], env=self.environment, stdout=full, stderr=subprocess.PIPE, text=True,
                                      timeout=60, check=False)
                self.assertEqual(done.returncode, 1)
                self.assertIn("mavr: Standard output cannot be written.", done.stderr)


def tearDownModule():
    """Each option of each command is given in some test; those of the redirection in redirect_test.py."""
    if __name__ == "__main__" and len(sys.argv) == 1:  # all tests
        missing = GIVEN.missing(command for path, command in read_commands(MAVR).items() if path[:1] != ("redirect",))
        if missing:
            raise AssertionError(f"no test gives with success: {', '.join(missing)}")


if __name__ == "__main__":
    unittest.main()
