#!/usr/bin/python3 -B
"""Reads a conversation by keys and by the mouse: `reading_test.py RAVANT_DESKTOP RAVANT`."""

import re
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "support"))

# pylint: disable=wrong-import-position
from desktop_case import DesktopCase  # noqa: E402

# Answers in 60 paragraphs and runs no tool.
TALKING_AGENT = r"""
text=
for number in $(seq 1 60); do text="${text}Paragraph $number tells of little.\\n\\n"; done
text="${text}See [the place](https://example.invalid/place)."
echo '{"type":"system","subtype":"init","session_id":"s","tools":[],"model":"demo"}'
printf '{"type":"assistant","message":{"id":"msg_1","type":"message","role":"assistant","model":"demo",'\
'"content":[{"type":"text","text":"%s"}],"stop_reason":null},"parent_tool_use_id":null,"session_id":"s"}\n' "$text"
echo '{"type":"result","subtype":"success","is_error":false,"result":"Done.","session_id":"s"}'
"""

# The same after 12 commands, one of which wrote 30 lines.
WORKING_AGENT = TALKING_AGENT.rsplit("\n", 2)[0] + r"""
lines=
for number in $(seq 1 30); do lines="${lines}line $number\\n"; done
for number in $(seq 1 12); do
  printf '{"type":"assistant","message":{"id":"msg_2","type":"message","role":"assistant","model":"demo",'\
'"content":[{"type":"tool_use","id":"call_%s","name":"Bash","input":{"command":"step %s"}}],"stop_reason":null},'\
'"parent_tool_use_id":null,"session_id":"s"}\n' "$number" "$number"
  printf '{"type":"user","message":{"role":"user","content":[{"tool_use_id":"call_%s","type":"tool_result",'\
'"content":"%s","is_error":false}]},"parent_tool_use_id":null,"session_id":"s"}\n' "$number" "$lines"
done
echo '{"type":"result","subtype":"success","is_error":false,"result":"Done.","session_id":"s"}'
"""


class TranscriptCase(DesktopCase):
    agent = TALKING_AGENT

    def setUp(self):
        super().setUp()
        self.register_agent(self.agent)
        self.run_ravant("project", "add", str(self.work))
        self.run_ravant("run", "--project", str(self.work), "--agent", "claude", "--model", "demo", "Tell me.")
        self.run_ravant("settings", "set", "keybindings.jumpToEnd", "Alt+E")
        self.desktop.start("--conversation", self.conversation())
        self.row(60)

    def row(self, paragraph):
        """A paragraph as it is visible."""
        return self.in_view(f"Claude Code: Paragraph {paragraph} tells of little.")

    def in_view(self, name):
        return self.desktop.wait_until(lambda: self.visible(name), f"{name} in view")

    def visible(self, name):
        listed = self.desktop.find("list", "Transcript", ["showing"])
        row = listed and self.desktop.find(None, name, ["showing"], listed)
        if not row:
            return None
        (_, top, _, height), (_, y, _, _) = listed.extents, row.extents
        return row if top <= y < top + height else None


class Reading(TranscriptCase):
    def prompt(self):
        return self.desktop.find("text", "Prompt", ["showing"]).text

    def test_keeps_what_was_found_in_view_while_it_zooms(self):
        self.desktop.keys("Ctrl+F")
        self.desktop.wait_for("text", "Find in this conversation", ["focused"])
        self.desktop.type("graph 21 ")
        height = self.row(21).extents[3]
        self.desktop.keys(*["Ctrl+plus"] * 6)
        self.desktop.wait_until(lambda: self.row(21).extents[3] > height * 1.8, "the paragraph in larger letters")
        self.desktop.end()

    def test_finds_the_words_and_ends_from_the_prompt(self):
        self.desktop.keys("Ctrl+F")
        self.desktop.wait_for("text", "Find in this conversation", ["focused"])
        self.desktop.type("graph 21 ")
        self.row(21)
        self.desktop.wait_for(None, "1 message", ["showing"])
        self.desktop.keys("Ctrl+L")
        self.desktop.wait_for("text", "Prompt", ["focused"])
        self.desktop.keys("Escape")
        self.desktop.wait_gone("text", "Find in this conversation", ["showing"])
        self.desktop.keys("Alt+E")
        self.row(60)
        self.desktop.end()

    def test_copies_what_the_mouse_selected_unless_the_prompt_has_a_later_selection(self):
        self.desktop.keys("Ctrl+L")
        self.desktop.wait_for("text", "Prompt", ["focused"])
        self.desktop.type("x")
        _, y, _, height = self.row(60).extents
        x = self.desktop.find("text", "Prompt", ["showing"]).extents[0] + 20
        line = str(y + height - 8)
        self.desktop.xdotool("mousemove", str(x), line, "mousedown", "1", "mousemove", str(x + 60), line,
                             "mousemove", str(x + 90), line, "mouseup", "1")
        self.desktop.keys("Ctrl+C", "Ctrl+V")
        self.desktop.wait_until(lambda: len(self.prompt()) > 5 and self.prompt()[1:] in "Paragraph 60 tells of little.", "what was selected in the prompt")
        self.desktop.keys("Shift+Home", "Delete")
        self.desktop.type("word")
        self.desktop.keys("Shift+Home", "Ctrl+C", "End", "Ctrl+V")
        self.desktop.wait_until(lambda: self.prompt().endswith("wordword"), "what was selected in the prompt later")
        self.desktop.end()

    def test_opens_the_menu_of_a_row_with_its_links(self):
        self.desktop.find("list", "Transcript").take_focus()
        self.desktop.wait_for(None, "Transcript", ["focused"])
        self.desktop.keys("End", "Shift+F10")
        self.desktop.wait_for("menu item", "Open https://example.invalid/place", ["showing"])
        self.desktop.wait_for("menu item", "Copy as Markdown", ["focused"])
        self.desktop.keys("Down", "Escape")
        self.desktop.wait_gone("menu item", "Copy as Markdown", ["showing"])
        self.desktop.wait_for("list", "Transcript", ["focused"])
        self.desktop.end()


class ReadingOfWork(TranscriptCase):
    agent = WORKING_AGENT

    def test_shows_what_was_opened_at_the_lower_edge(self):
        self.desktop.find("list", "Transcript").take_focus()
        self.desktop.wait_for(None, "Transcript", ["focused"])
        self.desktop.keys("End", "Right")
        self.in_view("Run step 12, done, collapsed")
        self.in_view("Tool calls: Ran 12 commands, expanded")
        self.desktop.keys(*["Down"] * 12, "Right")
        self.in_view("Run step 12, done, expanded")
        self.in_view(re.compile("line 1\n.*"))
        self.desktop.end()


if __name__ == "__main__":
    Reading.main(*sys.argv[1:])
