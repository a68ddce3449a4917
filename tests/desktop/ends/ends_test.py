#!/usr/bin/python3 -B
"""How the window begins and ends, and what it leaves: `ends_test.py RAVANT_DESKTOP RAVANT`."""

import fcntl
import json
import re
import signal
import sqlite3
import subprocess
import sys
from contextlib import closing
from pathlib import Path

from gi.repository import GLib

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "support"))

# pylint: disable=wrong-import-position
from accessible import call  # noqa: E402
from desktop_case import DesktopCase  # noqa: E402
from private_desktop import until  # noqa: E402

DEMO = Path(__file__).resolve().parents[3] / "examples" / "run-desktop-demo"
NAME, OBJECT = "com.ravant.Ravant", "/com/ravant/Ravant"


class Ends(DesktopCase):
    def projects(self):
        return [project["path"] for project in json.loads(self.run_ravant("project", "list", "--json"))]

    def activate(self, method, arguments):
        call(self.desktop.bus, NAME, OBJECT, "org.freedesktop.Application", method, arguments)

    def hand_over(self, *arguments):
        """Starts the program once more, which gives what it is to do to the one that runs and ends."""
        first = self.desktop.program
        self.desktop.launch(*arguments)
        self.assertEqual(self.desktop.wait_for_end(), 0)
        self.desktop.program = first

    def test_a_second_start_hands_over_but_for_another_data_folder(self):
        self.desktop.start()
        first = self.desktop.program
        self.hand_over("--project", str(self.work))
        self.desktop.wait_until(lambda: self.projects() == [str(self.work)], "the project")
        self.desktop.wait_for("text", "Prompt", ["showing"])
        self.desktop.keys("Ctrl+Shift+L")
        self.desktop.wait_gone("text", "Prompt", ["showing"])
        self.hand_over("--new-conversation")
        self.desktop.wait_for("text", "Prompt", ["showing"])
        self.desktop.launch("--data-dir", str(self.desktop.home / "other"))
        self.desktop.wait_for("frame", "Ravant")
        other = self.desktop.program
        self.desktop.program = first
        self.assertEqual(self.desktop.end(), 0)
        # What the desktop asks of Ravant is not for one over a data folder of its own, also where that is alone.
        self.assertFalse(self.has_name())
        self.desktop.program = other
        self.assertEqual(self.desktop.end(), 0)
        self.desktop.start(RAVANT_DATA_DIR=str(self.desktop.home / "other"))
        self.assertFalse(self.has_name())
        self.assertEqual(self.desktop.end(), 0)

    def test_what_a_killed_one_left_keeps_no_start_away_and_its_selection_is_back(self):
        self.run_ravant("project", "add", str(self.work))
        self.register_agent("exit 1")
        self.desktop.start("--project", str(self.work))
        self.desktop.wait_until(lambda: "newConversation" in self.selection(), "the stored selection")
        self.desktop.kill()
        self.desktop.start()
        self.desktop.keys("Ctrl+B")
        self.desktop.wait_gone("panel", "Sidebar", ["showing"])
        self.assertEqual(self.desktop.end(), 0)
        self.assertIn("newConversation", self.selection())
        self.desktop.start()
        self.assertIsNone(self.desktop.find("panel", "Sidebar", ["showing"]))
        self.desktop.end()

    def test_tells_that_it_waits_for_a_store_which_another_program_upgrades(self):
        self.run_ravant("project", "list")
        with (self.desktop.data / "store.lock").open("rb+") as upgrading:
            fcntl.flock(upgrading, fcntl.LOCK_EX)
            self.desktop.launch()
            self.desktop.wait_for("label", "Opening…")
            self.hand_over("--project", str(self.work))
            self.hand_over()
        self.desktop.wait_for("text", "Prompt", ["showing"])
        self.assertEqual(self.projects(), [str(self.work)])
        self.assertEqual(self.desktop.end(), 0)

    def selection(self):
        with closing(sqlite3.connect(self.desktop.data / "store.sqlite")) as store:
            return str(store.execute("SELECT snapshot FROM window_selection").fetchall())

    def test_the_desktop_starts_it_by_a_message(self):
        self.desktop.launch("--activated")
        self.desktop.wait_until(self.has_name, "the name on the bus")
        self.assertIsNone(self.desktop.find("frame", None, ["showing"]))
        self.activate("Open", GLib.Variant("(asa{sv})", ([self.work.as_uri()], {})))
        self.desktop.wait_for("frame", "Ravant", ["showing"])
        self.desktop.wait_until(lambda: self.projects() == [str(self.work)], "the project")
        self.activate("ActivateAction", GLib.Variant("(sava{sv})", ("new-conversation", [], {})))
        self.activate("Activate", GLib.Variant("(a{sv})", ({},)))
        self.assertEqual(self.desktop.end(), 0)

    def has_name(self):
        return self.desktop.has_name(NAME)

    def test_a_store_that_cannot_be_opened_is_told_and_can_be_mended(self):
        self.desktop.data.mkdir(parents=True)
        store = self.desktop.data / "store.sqlite"
        store.write_text("This is no store.\n" * 1000, encoding="utf-8")
        self.desktop.start()
        self.desktop.wait_for(name=re.compile(re.escape(str(self.desktop.data))))
        self.desktop.press(self.desktop.find("push button", "Quit"))
        self.assertEqual(self.desktop.wait_for_end(), 1)
        self.desktop.start()
        self.desktop.wait_for("push button", "Try again")
        store.unlink()
        self.desktop.press(self.desktop.find("push button", "Try again"))
        self.desktop.wait_for("panel", "Sidebar", ["showing"])
        self.assertEqual(self.desktop.end(), 0)

    def test_a_data_folder_that_is_none_is_told_once_and_a_signal_ends_it(self):
        file = self.desktop.home / "notes.txt"
        file.write_text("x", encoding="utf-8")
        self.desktop.start("--data-dir", str(file))
        self.desktop.wait_for(name=f"The data folder {file} is a file, not a folder.")
        self.assertEqual(len(self.desktop.find_all(name=re.compile(re.escape(str(file))), states=["showing"])), 1)
        self.assertIsNone(self.desktop.find("push button", "Show folder", ["showing"]))
        self.assertEqual(self.desktop.end(), 1)

    def test_without_a_display_it_says_so(self):
        environment = {name: value for name, value in self.desktop.environment.items()
                       if name not in ("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM")}
        display = self.desktop.environment["DISPLAY"]
        for named, words in (({}, ()), ({"DISPLAY": ":9999"}, ()),
                             ({"WAYLAND_DISPLAY": "nobody", "DISPLAY": ":9999"}, ()),
                             ({"QT_QPA_PLATFORM": "xcb"}, ()),
                             ({"QT_QPA_PLATFORM": "wayland;xcb:verbose", "DISPLAY": ":9999"}, ()),
                             # The display that answers is not the one of the platform.
                             ({"QT_QPA_PLATFORM": "xcb", "DISPLAY": display}, ("--platform", "wayland-egl")),
                             ({"QT_QPA_PLATFORM": "offscreen"}, ("-platform=xcb",))):
            done = subprocess.run([self.program, *words], env=environment | named, cwd=self.work,
                                  stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=60, check=False)
            self.assertEqual((done.returncode, done.stdout), (1, ""), (named, words))
            self.assertRegex(done.stderr, "^ravant-desktop: there is no display: [^\n]*\n$")

    def test_the_demo_tells_its_caller_that_there_is_no_display(self):
        environment = self.desktop.environment | {"DISPLAY": ":9999", "TMPDIR": str(self.desktop.home)}
        done = subprocess.run([DEMO, self.ravant, self.program], env=environment, cwd=self.work,
                              stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=60, check=False)
        self.assertEqual(done.returncode, 3, done)
        self.assertIn("there is no display", done.stderr)
        self.assertEqual(list(self.desktop.home.glob("ravant-demo.*")), [])

    def test_a_platform_without_a_display_needs_none(self):
        environment = {name: value for name, value in self.desktop.environment.items()
                       if name not in ("DISPLAY", "WAYLAND_DISPLAY")}
        with subprocess.Popen([self.program], env=environment | {"QT_QPA_PLATFORM": "xcb;offscreen"}, cwd=self.work,
                              stdin=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True) as program:
            self.assertTrue(until(lambda: (self.desktop.data / "store.sqlite").exists(), self.desktop.patience))
            program.send_signal(signal.SIGTERM)
            self.assertNotIn("there is no display", program.communicate(timeout=60)[1])

    def test_a_run_in_flight_is_asked_about_and_leaves_no_process(self):
        self.start_with_a_run()
        self.desktop.keys("Ctrl+Q")
        self.desktop.wait_for("push button", "Keep running in the background")
        self.desktop.keys("Esc")
        self.desktop.wait_gone("push button", "Keep running in the background", ["showing"])
        self.desktop.keys("Ctrl+Q")
        self.desktop.press(self.desktop.wait_for("push button", "Keep running in the background", ["showing"]))
        self.desktop.wait_gone("frame", None, ["showing"])
        self.hand_over()
        self.desktop.wait_for("frame", None, ["showing"])
        self.desktop.focus_window()
        self.desktop.keys("Ctrl+Q")
        self.desktop.press(self.desktop.wait_for("push button", "Stop and quit", ["showing"]))
        self.assertEqual(self.desktop.wait_for_end(), 0)

    def test_a_signal_in_a_run_leaves_no_process_and_a_double_one_is_one(self):
        self.start_with_a_run()
        self.desktop.program.process.send_signal(signal.SIGTERM)
        self.assertEqual(self.desktop.end(signal.SIGTERM), 0)

    def test_the_display_goes_away_in_a_run_and_leaves_no_process(self):
        # Qt ends the program at once, with all that it holds: that is no leak.
        environment = self.desktop.environment
        environment["ASAN_OPTIONS"] = environment.get("ASAN_OPTIONS", "") + ":detect_leaks=0"
        self.start_with_a_run()
        program = self.desktop.program
        self.desktop.end_display()
        self.assertEqual(self.desktop.wait_for_end(), 1)
        self.assertTrue(until(lambda: not program.children(), self.desktop.patience), program.children())
        self.assertRegex(program.said(), "^The X11 connection broke [^\n]*\n$")
        program.words.write_text("", encoding="utf-8")

    def test_the_session_bus_goes_away_and_the_window_goes_on(self):
        self.desktop.run_beside("gnome-keyring-daemon", "--foreground", "--components=secrets")
        self.assertTrue(until(lambda: self.desktop.has_name("org.freedesktop.secrets"), self.desktop.patience))
        self.run_ravant("project", "add", str(self.work))
        self.register_agent()
        program = self.desktop.start("--project", str(self.work))
        self.write("Say more.")
        self.desktop.wait_until(lambda: self.desktop.connections_of(program.pid) > 1, "one to the key store")
        self.desktop.end_bus()
        # A run elsewhere whose end would be told by a notice, then one of the window itself.
        self.ask("Say hello.")
        elsewhere = self.conversations()[0]["items"]
        self.desktop.wait_until(self.is_sent, "the prompt of the window")
        self.desktop.wait_until(lambda: [found["items"] for found in self.conversations()] == [elsewhere] * 2, "an answer")
        self.assertEqual(self.desktop.end(signal.SIGHUP), 0)

    def is_sent(self):
        """Presses Enter: a composer that learns of another conversation can be busy, and nothing tells when it is not."""
        self.desktop.keys("Enter")
        return len(self.conversations()) == 2

    def conversations(self):
        return json.loads(self.run_ravant("conversation", "list", "--json"))

    def test_a_backup_takes_the_place_of_a_store_that_is_none(self):
        self.run_ravant("project", "add", str(self.work))
        store = self.desktop.data / "store.sqlite"
        with closing(sqlite3.connect(store)) as kept:
            version = kept.execute("PRAGMA user_version").fetchone()[0]
            kept.execute("VACUUM INTO ?", (str(store.with_name(f"store-version-{version}-2026-01-02T090000.sqlite")),))
        for file in self.desktop.data.glob("store.sqlite*"):
            file.unlink()
        store.write_text("This is no store.\n" * 1000, encoding="utf-8")
        self.desktop.start()
        self.desktop.press(self.desktop.wait_for("push button", "Open from backup", ["showing"]))
        self.desktop.wait_for("panel", "Sidebar", ["showing"])
        self.assertEqual(self.projects(), [str(self.work)])
        self.assertEqual(self.desktop.end(), 0)

    def start_with_a_run(self):
        self.run_ravant("project", "add", str(self.work))
        self.register_agent("sleep 300 &\nwait")
        self.desktop.start("--project", str(self.work))
        self.send("Wait.")
        self.desktop.wait_until(lambda: any("sleep" in line for line in self.desktop.program.children().values()),
                                "the agent")


if __name__ == "__main__":
    Ends.main(*sys.argv[1:])
