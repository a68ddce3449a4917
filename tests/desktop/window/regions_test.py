#!/usr/bin/python3 -B
"""The regions of the window by keys alone, wide and narrow, and the way to the next that needs the user:
`regions_test.py RAVANT_DESKTOP RAVANT`."""

import json
import re
import subprocess
import sys
import unittest
from pathlib import Path

TESTS = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(TESTS / "desktop/support"))

# pylint: disable=wrong-import-position
from accessible import walk  # noqa: E402
from desktop_session import DesktopSession  # noqa: E402

DEMO_AGENT = TESTS.parent / "examples/demo-agent"
REGIONS = ("Sidebar", "Content", "Conversation")


class Regions(unittest.TestCase):
    program = ravant = ""

    def setUp(self):
        self.desktop = self.enterContext(DesktopSession(self.program))
        self.work = self.desktop.home / "work"
        self.work.mkdir()
        self.settings({})
        self.run_ravant("project", "add", str(self.work))
        self.run_ravant("agent", "add", "claude", "--path", str(DEMO_AGENT))

    def settings(self, window):
        self.desktop.settings.parent.mkdir(parents=True, exist_ok=True)
        self.desktop.settings.write_text(json.dumps({"keyStore": "file", "claude": {"asRoot": True}, "window": window}),
                                         encoding="utf-8")

    def run_ravant(self, *arguments):
        subprocess.run([self.ravant, *arguments], env=self.desktop.environment, cwd=self.work, capture_output=True,
                       stdin=subprocess.DEVNULL, timeout=60, check=True)

    def focused_region(self):
        for name in REGIONS:
            region = self.desktop.find("panel", name, ["showing"])
            if region and any("focused" in found.states for found, _ in walk(region)):
                return name
        return None

    def expect_focus(self, region):
        self.desktop.wait_until(lambda: self.focused_region() == region, f"the focus in {region}")

    def test_the_focus_goes_round_and_comes_back_to_where_it_was(self):
        self.desktop.start("--project", str(self.work))
        self.desktop.wait_for("text", "Prompt", ["focused"])
        self.desktop.keys("F6")
        self.expect_focus("Sidebar")
        self.desktop.keys("Shift+F6")
        self.desktop.wait_for("text", "Prompt", ["focused"])
        self.desktop.keys("Ctrl+K")
        self.desktop.wait_for("text", "Go to or run", ["focused"])
        self.desktop.keys("Esc")
        self.desktop.wait_for("text", "Prompt", ["focused"])
        handle = self.desktop.find("slider", "Width of the sidebar", ["showing"])
        before = self.desktop.find("panel", "Sidebar").extents[2]
        handle.take_focus()
        self.desktop.keys("Right")
        self.desktop.wait_until(lambda: self.desktop.find("panel", "Sidebar").extents[2] == before + 8, "a wider sidebar")
        self.desktop.keys("Ctrl+B")
        self.desktop.wait_gone("panel", "Sidebar", ["showing"])
        self.expect_focus("Conversation")
        self.desktop.press(self.desktop.find("push button", "Show sidebar"))
        self.expect_focus("Sidebar")
        self.desktop.end()

    def test_a_narrow_window_has_the_sidebar_over_it_until_something_is_chosen(self):
        self.settings({"geometry": "0,0 800x600"})
        self.desktop.start("--project", str(self.work))
        self.desktop.wait_for("text", "Prompt", ["focused"])
        self.assertIsNone(self.desktop.find("panel", "Sidebar", ["showing"]))
        self.desktop.keys("Ctrl+B")
        self.expect_focus("Sidebar")
        self.desktop.keys("Esc")
        self.desktop.wait_gone("panel", "Sidebar", ["showing"])
        self.desktop.wait_for("text", "Prompt", ["focused"])
        self.desktop.keys("Ctrl+B")
        self.expect_focus("Sidebar")
        self.desktop.keys("Ctrl+Shift+L")
        self.desktop.wait_gone("panel", "Sidebar", ["showing"])
        self.desktop.end()

    def test_a_run_that_ends_is_said_to_a_reader(self):
        self.desktop.start()
        self.run_ravant("run", "--project", str(self.work), "--agent", "claude", "--model", "demo", "Say hello.")
        self.desktop.wait_for(None, re.compile("^Claude Code finished: Say hello"), ["showing"])
        self.desktop.keys("Ctrl+J")
        self.desktop.wait_for("frame", "Say hello. — Ravant")
        self.desktop.end()


if __name__ == "__main__":
    Regions.program, Regions.ravant = (str(Path(word).resolve()) for word in sys.argv[1:3])
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
