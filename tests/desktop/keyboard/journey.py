#!/usr/bin/python3 -B
"""Works the window by keys alone, as a user does in a day: `journey.py RAVANT_DESKTOP RAVANT`.

Each step is awaited in what a screen reader is told.
"""

import json
import re
import signal
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "support"))

# pylint: disable=wrong-import-position
from desktop_case import DesktopCase  # noqa: E402
from private_desktop import until  # noqa: E402

STEPS = 30


class KeyboardJourney(DesktopCase):
    # What the window shows.

    def wait_for(self, role=None, name=None, states=(), within=None):
        return self.desktop.wait_for(role, name, ["showing", *states], within)

    def wait_gone(self, role=None, name=None):
        self.desktop.wait_gone(role, name, ["showing"])

    def focused(self, role=None, name=None):
        return self.wait_for(role, name, ["focused"])

    def names(self, container, states=()):
        """Of the rows of a list or tree, from the top to the bottom."""
        found = self.desktop.find(None, container, ["showing"])
        rows = self.desktop.find_all("list item", None, ["showing", *states], found) if found else []
        return [row.name for row in sorted(rows, key=lambda row: row.extents[1])]

    def wait_for_names(self, container, *names):
        self.desktop.wait_until(lambda: self.names(container) == list(names), f"{container}: {names}")

    def wait_for_row(self, container, name):
        """`name` is a text or a pattern."""
        fits = (lambda row: row == name) if isinstance(name, str) else name.search
        self.desktop.wait_until(lambda: any(map(fits, self.names(container))), f"{name} in {container}")

    def step_to(self, key, role, name):
        """Presses a key until it has led to what is wanted, each time when the last press has had its effect."""
        for _ in range(STEPS):
            before = self.desktop.find_all(None, None, ["focused"])
            if self.desktop.find(role, name, ["focused"]):
                return
            self.desktop.keys(key)
            until(lambda: self.desktop.find_all(None, None, ["focused"]) != before, 2)
        self.fail(f"{STEPS} times {key} do not lead to {role} {name}\n{self.desktop.tree()}")

    # What the user does.

    def start_conversation(self, prompt):
        self.desktop.keys("Ctrl+N")
        self.send(prompt)
        self.wait_for("frame", f"{prompt} — Ravant")

    # A day.

    def test_a_first_day(self):
        self.register_demo_agent()
        self.register_editor()
        self.desktop.start()
        self.tells_what_to_do_first()
        self.adds_a_folder()
        self.sends_a_first_prompt()
        self.reads_what_was_done()
        self.unfolds_the_tool_calls()
        self.finds_a_word()
        self.renames()
        self.goes_to_another_conversation_by_the_palette()
        self.goes_back_and_forward()
        self.archives_and_takes_it_back()
        self.zooms()
        self.changes_the_settings()
        self.quits()

    def tells_what_to_do_first(self):
        self.wait_for("label", "Add a folder to work in.")
        self.wait_for("label", "Claude Code is ready.")
        self.wait_for("push button", "Add project")

    def adds_a_folder(self):
        self.desktop.keys("Ctrl+O")
        self.wait_for("dialog", "Add project")
        self.focused("text", "Path")
        self.desktop.type("wor")
        self.wait_for("list item", "work", ["selected"])
        self.desktop.keys("Enter")
        self.wait_for("list item", "This folder: work", ["selected"])
        self.desktop.keys("Enter")
        self.wait_for("list item", "work", [], self.wait_for("tree", "Projects"))
        self.focused("text", "Prompt")

    def sends_a_first_prompt(self):
        self.start_conversation("Say hello.")
        self.wait_for_row("Projects", "Say hello., running")
        self.wait_for_row("Projects", re.compile(r"^Say hello\.(, unread)?$"))

    def reads_what_was_done(self):
        self.wait_for("list", "Transcript")
        for begins in ("You: Say hello.", "Claude Code: I am Ravant's demo agent", "Tool calls: ", "Claude Code: Done.",
                       "Code, markdown: "):
            self.wait_for_row("Transcript", re.compile("^" + re.escape(begins)))
        self.wait_for_row("Projects", "Say hello.")

    def unfolds_the_tool_calls(self):
        self.desktop.keys("Ctrl+L")
        self.focused("text", "Prompt")
        self.step_to("Shift+Tab", "list", "Transcript")
        self.step_to("Up", "list item", re.compile("^Tool calls: .*collapsed"))
        self.desktop.keys("Right")
        self.focused("list item", re.compile("^Tool calls: .*expanded"))
        self.wait_for_row("Transcript", re.compile("ls"))
        self.desktop.keys("Left")
        self.focused("list item", re.compile("^Tool calls: .*collapsed"))

    def finds_a_word(self):
        self.desktop.keys("Ctrl+F")
        self.focused("text", "Find in this conversation")
        self.desktop.type("NOTES")
        self.wait_for(None, re.compile("^([0-9]+ of )?[0-9]+ messages?"))
        self.desktop.keys("Esc")
        self.wait_gone("text", "Find in this conversation")

    def renames(self):
        self.desktop.keys("F2")
        self.focused("text", re.compile("^(New name|Title)$"))
        self.desktop.keys("Ctrl+A")
        self.desktop.type("Greeting")
        self.desktop.keys("Enter")
        self.wait_for("frame", "Greeting — Ravant")
        self.wait_for_row("Projects", "Greeting")

    def goes_to_another_conversation_by_the_palette(self):
        self.start_conversation("A second one")
        self.desktop.keys("Ctrl+K")
        self.focused("text", "Go to or run")
        self.desktop.type("greet")
        self.desktop.wait_until(lambda: any(name.startswith("Greeting") for name in self.picked()),
                                "the conversation as the picked result")
        self.desktop.keys("Enter")
        self.wait_gone("text", "Go to or run")
        self.wait_for("frame", "Greeting — Ravant")

    def picked(self):
        return self.names("Results", ["selected"])

    def goes_back_and_forward(self):
        self.desktop.keys("Alt+Left")
        self.wait_for("frame", "A second one — Ravant")
        self.desktop.keys("Alt+Right")
        self.wait_for("frame", "Greeting — Ravant")

    def archives_and_takes_it_back(self):
        self.desktop.keys("Ctrl+Shift+A")
        self.wait_for("push button", "Undo")
        self.desktop.wait_until(lambda: "Greeting" not in self.names("Projects"), "it to leave the sidebar")
        self.step_to("F6", "push button", "Undo")
        self.desktop.keys("Enter")
        self.wait_for_row("Projects", "Greeting")

    def zooms(self):
        height = self.row_height()
        self.desktop.keys("Ctrl++")
        self.desktop.wait_until(lambda: self.row_height() > height, "higher rows")
        self.desktop.keys("Ctrl+0")
        self.desktop.wait_until(lambda: self.row_height() == height, "rows as high as before")

    def row_height(self):
        return self.desktop.find("push button", "Latest conversations").extents[3]

    def register_editor(self):
        """One that writes down what it is to open."""
        self.opened = self.desktop.home / "opened"
        editor = self.desktop.programs / "editor"
        part = f"{self.opened}.part"
        editor.write_text(f"#!/bin/sh\nprintf '%s' \"$*\" > '{part}' && mv '{part}' '{self.opened}'\n")
        editor.chmod(0o755)
        self.set(editor=str(editor))

    def changes_the_settings(self):
        self.desktop.keys("Ctrl+,")
        self.desktop.wait_until(self.opened.exists, "an editor")
        self.assertEqual(self.opened.read_text(), str(self.desktop.settings))
        height = self.row_height()
        self.set(keybindings_find="Ctrl+Shift+G", window_zoom=110)  # what is set last is seen last
        self.desktop.wait_until(lambda: self.row_height() > height, "higher rows")
        self.desktop.keys("Ctrl+Shift+G")
        self.focused("text", "Find in this conversation")
        self.desktop.keys("Esc")
        self.wait_gone("text", "Find in this conversation")

    def quits(self):
        self.desktop.wait_until(lambda: not any("running" in name for name in self.names("Projects")), "nothing to run")
        self.desktop.keys("Ctrl+Q")
        self.assertEqual(self.desktop.wait_for_end(), 0)

    # Prompts behind one that runs.

    def test_prompts_that_wait(self):
        self.run_ravant("project", "add", str(self.work))
        self.register_waiting_agent()
        self.desktop.start("--project", str(self.work))
        self.send("one")
        self.wait_for_row("Projects", "one, running")
        for prompt in ("two", "three", "four"):
            self.send(prompt)
            self.wait_for_row("Queued prompts", f"Queued: {prompt}")
        self.wait_for_names("Queued prompts", "Queued: two", "Queued: three", "Queued: four")
        self.moves_the_last_up()
        self.removes_the_first_and_takes_it_back()
        self.go_on()
        self.wait_for_names("Queued prompts", "Queued: four", "Queued: three")
        self.edits_the_next()
        self.stops()
        self.desktop.end()
        self.assertEqual(self.told(), ["one finished", "two cancelled"])

    def moves_the_last_up(self):
        self.step_to("Shift+Tab", "list item", "Queued: two")
        self.desktop.keys("Down", "Down")
        self.focused("list item", "Queued: four")
        self.choose("Move up", "Shift+F10")
        self.wait_for_names("Queued prompts", "Queued: two", "Queued: four", "Queued: three")
        self.desktop.keys("Shift+Up")
        self.wait_for_names("Queued prompts", "Queued: two", "Queued: three", "Queued: four")
        self.focused("list item", "Queued: three")
        self.desktop.keys("Shift+Down")
        self.wait_for_names("Queued prompts", "Queued: two", "Queued: four", "Queued: three")

    def choose(self, entry, key="Enter"):
        """From the menu of the row that has the focus, which a key opens at its first."""
        self.desktop.keys(key)
        self.focused("menu item", "Edit")
        self.step_to("Down", "menu item", entry)
        self.desktop.keys("Enter")
        self.wait_gone("menu item", entry)

    def removes_the_first_and_takes_it_back(self):
        self.step_to("Up", "list item", "Queued: two")
        self.desktop.keys("Delete")
        self.wait_for_names("Queued prompts", "Queued: four", "Queued: three")
        self.step_to("F6", "push button", "Undo")
        self.desktop.keys("Enter")
        self.wait_for_names("Queued prompts", "Queued: two", "Queued: four", "Queued: three")

    def edits_the_next(self):
        self.desktop.keys("Ctrl+L")
        self.focused("text", "Prompt")
        self.step_to("Shift+Tab", "list item", re.compile("^Queued: "))
        self.step_to("Up", "list item", "Queued: four")
        self.choose("Edit")
        self.focused("text", "Prompt")
        self.desktop.wait_until(lambda: self.prompt() == "four", "the prompt in the composer")
        self.wait_for_names("Queued prompts", "Queued: three")

    def stops(self):
        self.wait_for("push button", "Stop")
        self.desktop.keys("Ctrl+.")
        self.wait_gone("push button", "Stop")
        self.wait_for_names("Queued prompts", "Queued: three")

    def told(self):
        """The prompts of the conversation, each with how it ended."""
        items = json.loads(self.run_ravant("conversation", "show", self.conversation(), "--json"))["items"]
        return [f"{item['text']} {item['endReason']}" for item in items if item["kind"] == "userMessage"]

    # A machine that fails.

    def test_a_killed_program_comes_back_as_it_was(self):
        self.run_ravant("project", "add", str(self.work))
        self.register_waiting_agent()
        self.desktop.start("--project", str(self.work))
        self.send("other")
        self.wait_for_row("Projects", "other, running")
        self.go_on()
        self.wait_for_row("Projects", "other")
        self.start_conversation("one")
        self.wait_for_row("Projects", "one, running")
        self.desktop.keys("Alt+Down")
        self.wait_for("frame", "other — Ravant")
        self.desktop.keys("Ctrl+L")
        self.write("half a thought")
        self.desktop.wait_until(lambda: '"state":"draft"' in self.run_ravant("conversation", "list", "--json"),
                                "the draft in the store")
        killed = self.desktop.program
        self.desktop.kill()
        self.desktop.start()
        self.wait_for("frame", "other — Ravant")
        self.desktop.wait_until(lambda: self.prompt() == "half a thought", "the draft")
        self.wait_for_row("Projects", "one, interrupted")
        self.assertTrue(until(lambda: not killed.children(), self.desktop.patience), killed.children())
        self.desktop.end()

    # Another program.

    def test_a_run_of_another_program_is_followed(self):
        self.run_ravant("project", "add", str(self.work))
        self.register_waiting_agent()
        self.desktop.start("--project", str(self.work))
        run = self.start_ravant(*self.asked("one"))
        self.wait_for_row("Projects", "one, running")
        self.desktop.keys("Alt+Down")
        self.wait_for("frame", "one — Ravant")
        self.wait_for_row("Transcript", "You: one")
        self.wait_for_row("Transcript", "Claude Code: I am at: one")
        self.go_on()
        self.wait_for_row("Transcript", "Claude Code: Done with: one")
        self.wait_for_row("Projects", "one")
        self.assertEqual(run.wait(self.desktop.patience), 0)
        self.desktop.end(signal.SIGTERM)


if __name__ == "__main__":
    KeyboardJourney.main(*sys.argv[1:])
