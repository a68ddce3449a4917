#!/usr/bin/python3 -B
"""Where the keyboard is after each way through the window: `keyboard_test.py RAVANT_DESKTOP RAVANT`."""

import json
import re
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "support"))

# pylint: disable=wrong-import-position
from desktop_case import DesktopCase  # noqa: E402


class Keyboard(DesktopCase):
    def setUp(self):
        super().setUp()
        self.register_agent()
        for title in ("apples", "birds", "cherries"):
            self.run_ravant("run", "--project", str(self.work), "--agent", "claude", "--model", "demo", title)

    def has_keyboard(self, role, name=None):
        return self.desktop.wait_for(role, name, ["focused", "showing"])

    def shows(self, title):
        self.desktop.wait_for("frame", f"{title} — Ravant")

    def expect_writing(self, title):
        """What is typed is in the prompt of the conversation, and in no other one."""
        self.shows(title)
        self.has_keyboard("text", "Prompt")
        self.desktop.wait_until(lambda: self.prompt() == "", "its own prompt")
        self.desktop.type("a word")
        self.desktop.wait_until(lambda: self.prompt() == "a word", "what was typed")
        self.desktop.keys("Ctrl+A", "Del")
        self.desktop.wait_until(lambda: self.prompt() == "", "an empty prompt")

    def prompt(self):
        return self.desktop.find("text", "Prompt", ["showing"]).text

    def to_tree(self):
        self.desktop.keys("Ctrl+L")
        self.has_keyboard("text", "Prompt")
        self.desktop.keys("F6")
        self.has_keyboard("list item")

    def test_what_is_shown_is_written_in(self):
        self.desktop.start()
        self.desktop.keys("Alt+Down")
        self.expect_writing("cherries")
        self.desktop.keys("Alt+Down")
        self.expect_writing("birds")
        self.desktop.keys("Alt+Left")
        self.expect_writing("cherries")
        self.desktop.keys("Ctrl+Tab", "Enter")
        self.expect_writing("birds")
        self.desktop.keys("Ctrl+K")
        self.has_keyboard("text", "Go to or run")
        self.desktop.type("apples")
        self.desktop.wait_for("list item", re.compile("^apples"), ["selected"], self.desktop.find("list", "Results"))
        self.desktop.keys("Enter")
        self.expect_writing("apples")
        self.desktop.end()
        self.desktop.start()
        self.expect_writing("apples")
        self.desktop.end()

    def test_what_goes_elsewhere_leaves_the_keyboard_at_its_row(self):
        self.desktop.start()
        self.desktop.keys("Alt+Down")
        self.shows("cherries")
        self.to_tree()
        self.has_keyboard("list item", re.compile("^cherries"))
        self.desktop.keys("Down", "Down")
        self.has_keyboard("list item", re.compile("^apples"))
        _, birds, _ = json.loads(self.run_ravant("conversation", "list", "--json"))
        self.run_ravant("conversation", "delete", birds["id"], "--yes")
        self.desktop.wait_gone("list item", re.compile("^birds"), ["showing"])
        self.has_keyboard("list item", re.compile("^apples"))
        self.desktop.end()

    def test_what_closes_gives_the_keyboard_back(self):
        self.desktop.start()
        self.desktop.keys("Alt+Down")
        self.has_keyboard("text", "Prompt")
        for opened, what in (("Ctrl+K", "Go to or run"), ("Ctrl+Shift+F", "Search everything"),
                             ("Ctrl+M", "Choose or type a model"), ("Ctrl+F", "Find in this conversation")):
            self.desktop.keys(opened)
            self.has_keyboard("text", what)
            self.desktop.keys("Esc")
            self.expect_writing("cherries")
        self.desktop.keys("Ctrl+O")
        self.desktop.wait_for("dialog", "Add project")
        self.desktop.keys("Esc")
        self.desktop.wait_gone("dialog", "Add project", ["showing"])
        self.expect_writing("cherries")
        for key in ("Enter", "Escape"):
            self.desktop.keys("Ctrl+L", "F2")
            self.has_keyboard("text", "Title")
            self.desktop.keys(key)
            self.has_keyboard("text", "Prompt")
        self.desktop.end()

    def test_what_was_deleted_comes_back_by_the_keys_of_undo(self):
        self.desktop.start()
        self.desktop.keys("Alt+Down")
        self.expect_writing("cherries")
        self.to_tree()
        self.desktop.keys("Delete")
        self.desktop.wait_for(name="“cherries” was deleted.")
        self.desktop.keys("Ctrl+Z")
        self.shows("cherries")
        self.desktop.wait_gone(name="“cherries” was deleted.")
        self.desktop.end()

    def test_the_menu_of_what_is_shown_leaves_the_row_with_the_keyboard_alone(self):
        self.desktop.start()
        self.desktop.keys("Alt+Down")
        self.shows("cherries")
        self.to_tree()
        self.desktop.keys("Down")
        self.has_keyboard("list item", re.compile("^birds"))
        self.desktop.press(self.desktop.find("push button", "More", ["showing"]))
        self.desktop.press(self.desktop.wait_for("menu item", re.compile("^Delete"), ["showing"]))
        self.desktop.wait_for(name="“cherries” was deleted.")
        self.desktop.end()

    def test_a_list_is_walked_and_left(self):
        self.desktop.start()
        self.desktop.keys("Alt+Down")
        self.shows("cherries")
        self.to_tree()
        self.desktop.keys("Down", "Space")
        self.shows("birds")
        self.has_keyboard("list item", "birds")
        self.desktop.type("w")
        self.has_keyboard("text", "Prompt")
        self.desktop.wait_until(lambda: self.prompt() == "w", "the letter that the list has no use for")
        self.desktop.keys("BackSpace")
        self.to_tree()
        self.desktop.keys("Enter")
        self.expect_writing("birds")

        self.to_tree()
        self.desktop.keys("Delete")
        self.shows("apples")
        self.has_keyboard("list item")
        self.desktop.keys("Shift+F6", "Shift+F6")
        self.desktop.keys("F6")
        self.desktop.wait_until(lambda: self.focused_region() == "Notices", "the keyboard at the notice")
        self.has_keyboard("push button", "Undo")
        self.desktop.keys("Enter")
        self.expect_writing("birds")

        self.desktop.keys("Ctrl+Shift+A")
        self.desktop.wait_for("push button", "Undo")
        self.desktop.wait_until(lambda: self.focused_region() == "Conversation", "the keyboard in what is shown")
        self.desktop.keys("F6")
        self.has_keyboard("push button", "Undo")
        self.desktop.keys("Esc")
        self.desktop.wait_gone("push button", "Undo")
        self.desktop.wait_until(lambda: self.focused_region() == "Conversation", "the keyboard in what is shown")
        self.desktop.end()

    def run_by_palette(self, words, title):
        self.desktop.keys("Ctrl+K")
        self.has_keyboard("text", "Go to or run")
        self.desktop.type(words)
        self.desktop.wait_for("list item", re.compile(f"^{title}"), ["selected"], self.desktop.find("list", "Results"))
        self.desktop.keys("Enter")

    def test_what_has_no_keys_of_its_own_is_in_the_palette_and_can_be_given_some(self):
        bindings = {"attachFiles": "Alt+1", "archivedConversations": "Alt+2", "deleteConversation": "Alt+3"}
        for command, bound in bindings.items():
            self.run_ravant("settings", "set", f"keybindings.{command}", bound)
        self.desktop.start()
        self.desktop.keys("Alt+Down")
        self.shows("cherries")
        for run in (lambda: self.desktop.keys("Alt+1"), lambda: self.run_by_palette("attach", "Attach files")):
            run()
            self.desktop.wait_for("dialog", "Attach files", ["showing"])
            self.desktop.keys("Esc")
            self.desktop.wait_gone("dialog", "Attach files", ["showing"])

        self.desktop.keys("Ctrl+Shift+L", "Alt+2")
        self.desktop.wait_for(name="No archived conversation.", states=["showing"])
        self.desktop.keys("Alt+2")
        self.desktop.wait_gone(name="No archived conversation.", states=["showing"])

        # The one that is shown, but in a list the one that the keyboard is at, and none at a project.
        self.run_by_palette("delete", "Delete conversation")
        self.shows("birds")
        self.desktop.keys("F6")
        self.has_keyboard("push button", "Undo")
        self.desktop.keys("F6")
        self.has_keyboard("list item", "birds")
        self.desktop.keys("Down", "Alt+3")
        self.desktop.wait_for(name=re.compile("“apples” was deleted"), states=["showing"])
        self.shows("birds")
        self.desktop.keys("Home", "Alt+3", "Ctrl+L")
        self.has_keyboard("text", "Prompt")
        self.shows("birds")
        self.desktop.end()

    def test_a_run_that_failed_is_tried_again_by_a_command(self):
        self.register_agent("echo out of paper >&2; exit 1")
        self.ask("Go.", fails=True)
        self.desktop.start("--conversation", self.conversation())
        transcript = self.desktop.wait_for("list", "Transcript")
        self.desktop.wait_for("list item", re.compile("^Failed: "), ["showing"], transcript)
        self.run_by_palette("again", "Try again or continue")
        self.desktop.wait_until(lambda: len(self.desktop.find_all("list item", "You: Go.", within=transcript)) == 2,
                                "the same prompt")
        self.desktop.end()

    def test_a_project_is_chosen_for_a_new_conversation(self):
        other = self.desktop.home / "tiles"
        other.mkdir()
        self.desktop.start()
        self.desktop.keys("Ctrl+Shift+N")
        self.has_keyboard("text", "Prompt")  # there is no choice yet
        self.run_ravant("project", "add", str(other))
        self.desktop.wait_for("list item", "tiles", [], self.desktop.find("tree", "Projects"))
        self.desktop.keys("Ctrl+Shift+N")
        self.has_keyboard("text", "New conversation in")
        self.assertEqual([row.name for row in self.choices()], [f"tiles, {other}", f"work, {self.work}"])
        self.desktop.type("tile")
        self.desktop.wait_until(lambda: len(self.choices()) == 1, "the one that is meant")
        self.desktop.keys("Enter")
        self.has_keyboard("text", "Prompt")
        self.desktop.wait_for("heading", "tiles", ["showing"])
        self.desktop.end()

    def choices(self):
        rows = self.desktop.find_all("list item", None, ["showing"], self.desktop.find("list", "Projects to choose from"))
        return sorted(rows, key=lambda row: row.extents[1])


if __name__ == "__main__":
    Keyboard.main(*sys.argv[1:])
