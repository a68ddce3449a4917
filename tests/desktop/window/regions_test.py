#!/usr/bin/python3 -B
"""The regions of the window by keys alone, wide and narrow, and the way to the next that needs the user:
`regions_test.py RAVANT_DESKTOP RAVANT`."""

import re
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "support"))

# pylint: disable=wrong-import-position
from desktop_case import DesktopCase  # noqa: E402


class Regions(DesktopCase):
    def setUp(self):
        super().setUp()
        self.run_ravant("project", "add", str(self.work))
        self.register_agent()

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
        self.set(window_geometry="0,0 800x600")
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

    def test_the_keyboard_works_in_nothing_that_the_sidebar_lies_over(self):
        self.set(window_geometry="0,0 850x600")
        self.ask("Say hello.")
        self.desktop.start("--project", str(self.work))
        self.desktop.keys("Ctrl+Shift+L")
        self.expect_focus("Content")
        self.desktop.keys("Ctrl+B")
        self.expect_focus("Sidebar")
        self.desktop.keys("F6")
        self.expect_focus("Content")
        self.desktop.wait_gone("panel", "Sidebar", ["showing"])

        self.desktop.keys("Ctrl+B")
        self.desktop.find("tree", "Projects").take_focus()
        self.desktop.keys("F2")
        self.desktop.wait_for("text", "New name", ["focused"])
        self.desktop.keys("Ctrl+B")
        self.desktop.wait_gone("panel", "Sidebar", ["showing"])
        self.desktop.keys("Ctrl+B")
        self.desktop.wait_for("tree", "Projects", ["focused"])
        self.desktop.end()

    def test_a_name_that_is_not_written_to_its_end_leaves_the_keyboard_where_it_went(self):
        self.set(window_geometry="0,0 1200x700")
        self.ask("Say hello.")
        self.desktop.start()
        self.desktop.keys("Alt+Down")
        self.desktop.wait_for("text", "Prompt", ["focused"])
        self.desktop.keys("Ctrl+Shift+L")
        self.desktop.wait_for("list", "Latest conversations", ["showing"])
        for role, region in (("tree", "Sidebar"), ("list", "Content")):
            for _ in range(2):  # as well the second time
                self.desktop.find(role, re.compile("Projects|Latest conversations")).take_focus()
                self.desktop.keys("F2")
                self.desktop.wait_for("text", "New name", ["focused"])
                self.desktop.keys("Esc")
                self.desktop.wait_gone("text", "New name")
                self.expect_focus(region)
                self.desktop.keys("F2")
                self.desktop.wait_for("text", "New name", ["focused"])
                self.desktop.find("text", "Prompt").take_focus()
                self.desktop.wait_gone("text", "New name")
                self.desktop.wait_for("text", "Prompt", ["focused"])
        for region in ("Sidebar", "Content", "Conversation"):
            self.desktop.keys("F6")
            self.expect_focus(region)
        self.desktop.end()

    def test_a_narrow_window_has_the_list_that_is_asked_for_over_what_is_shown(self):
        self.run_ravant("settings", "set", "keybindings.archivedConversations", "Alt+1")
        self.set(window_geometry="0,0 720x480")
        self.ask("Say hello.")
        self.desktop.start()
        self.desktop.keys("Alt+Down")
        self.desktop.wait_for("text", "Prompt", ["focused"])
        for _ in range(2):  # the second time the list is selected already
            self.desktop.keys("Ctrl+Shift+L")
            self.expect_focus("Content")
            self.desktop.keys("Esc")
            self.desktop.wait_gone("panel", "Content", ["showing"])
            self.desktop.wait_for("text", "Prompt", ["focused"])
        self.desktop.keys("Ctrl+Shift+L")
        self.expect_focus("Content")
        self.desktop.keys("Enter")
        self.desktop.wait_gone("panel", "Content", ["showing"])
        self.desktop.wait_for("text", "Prompt", ["focused"])
        self.desktop.keys("Alt+1")
        self.desktop.wait_for(name="No archived conversation.", states=["showing"])
        self.desktop.end()

    def test_a_run_that_ends_is_said_to_a_reader(self):
        self.desktop.start()
        self.ask("Say hello.")
        self.desktop.wait_for(None, re.compile("^Claude Code finished.*: Say hello"), ["showing"])
        self.desktop.keys("Ctrl+J")
        self.desktop.wait_for("frame", "Say hello. — Ravant")
        self.desktop.end()


if __name__ == "__main__":
    Regions.main(*sys.argv[1:])
