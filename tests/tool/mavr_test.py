#!/usr/bin/env python3
"""The command-line tool as its users meet it: arguments in, text, JSON and exit status out.  mavr_test.py MAVR"""

import json
import os
import plistlib
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

MAVR = sys.argv.pop(1)
COMMANDS = ("devices", "preferred", "prefer", "option", "status", "doctor", "formats")

CAMERAS = [
    {"name": "Desk Camera", "uniqueId": "cam-b", "formats": [
        {"width": 1280, "height": 720}, {"width": 640, "height": 480}, {"width": 640, "height": 480},
        {"width": 640, "height": 360}]},
    {"name": "Desk Camera", "uniqueId": "cam-a"},
]
MICROPHONES = [{"name": "Desk Microphone", "uniqueId": "mic-1"}]


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
        for command in COMMANDS:
            self.assertIn(command, self.mavr("--help").stdout)
            self.assertIn("--help", self.mavr(command, "--help").stdout)

    def test_usage_errors_exit_with_2_and_a_hint(self):
        wrong = ((), ("nonsense",), ("devices", "--jsn"), ("prefer",), ("prefer", "speaker", "--id", "x"),
                 ("prefer", "camera"), ("prefer", "camera", "--id", "x", "--clear"), ("option", "loud"), ("formats",))
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
        with open("/dev/full", "w", encoding="utf-8") as full:
            done = subprocess.run([MAVR, "devices"], env=self.environment, stdout=full, stderr=subprocess.PIPE, text=True,
                                  timeout=60, check=False)
        self.assertEqual(done.returncode, 1)
        self.assertIn("mavr: Standard output cannot be written.", done.stderr)


if __name__ == "__main__":
    unittest.main()
