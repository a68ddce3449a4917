#!/usr/bin/python3 -B
"""Walks the accessibility tree of the window in the states it can be in: `walk.py RAVANT_DESKTOP RAVANT`.

In each state: whatever takes focus has a name and a place in the window, no name is twice in one list but in a
transcript, where people and agents repeat themselves, and rows are told from the top to the bottom. And every button
that is there does something when a screen reader presses it, and what scripts look for is found by its name.
"""

import re
import signal
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "support"))

# pylint: disable=wrong-import-position
from accessible import Gone, dump, find_all, misplaced, remembered, walk  # noqa: E402
from desktop_case import UNAVAILABLE, DesktopCase  # noqa: E402
from private_desktop import until  # noqa: E402

BUTTONS = {"push button", "toggle button", "check box", "radio button", "combo box", "menu item"}
LISTS = {"list", "tree", "tree table", "table", "menu", "page tab list"}
# Says a bit of everything, and fails.
SPEAKING_AGENT = r"""cat <<'END'
{"type":"system","subtype":"init","session_id":"s","tools":[],"model":"demo"}
{"type":"assistant","session_id":"s","message":{"id":"m1","role":"assistant","model":"demo","content":[{"type":"text","text":"Look:\n\n```python\nprint(1)\n```"}]}}
{"type":"assistant","session_id":"s","message":{"id":"m2","role":"assistant","model":"demo","content":[{"type":"tool_use","id":"t1","name":"Bash","input":{"command":"ls"}}]}}
{"type":"user","session_id":"s","message":{"role":"user","content":[{"type":"tool_result","tool_use_id":"t1","content":"a\nb"}]}}
{"type":"system","subtype":"compact_boundary","session_id":"s","compact_metadata":{"trigger":"auto","pre_tokens":120000}}
END
echo "out of paper" >&2
exit 1
"""

# What scripts may look for in a window that shows a conversation, by its role and the beginning of its name.
RELIED_ON = [("frame", "Go. — Ravant"), ("panel", "Sidebar"), ("panel", "Content"), ("panel", "Conversation"),
             ("tree", "Projects"), ("list item", "work"), ("list item", "Go."), ("list", "Transcript"), ("text", "Prompt"),
             ("list item", "You: Go."), ("list item", "Claude Code: Look:"), ("list item", "Code, Python: print(1)"),
             ("list item", "Tool calls: "), ("list item", "Failed: "), ("list item", "Compacted: "),
             ("push button", "Agent, "), ("push button", "Model, "), ("push button", "Effort, ")] + [
                 ("push button", name) for name in ("Send", "New conversation", "Add project", "Back", "Forward", "Find",
                                                    "Settings", "More")]

# What these do is not in the tree: they open another program, fill the clipboard, or show the list that is shown.
ELSEWHERE = {"Settings", "Copy", "Latest conversations"}


def faults(root):
    """What a listener could not make sense of or go to, one line each."""
    found = misplaced(root)
    for accessible, _ in walk(root):
        try:
            role, name, states = accessible.role, accessible.name, accessible.states
            if "showing" not in states:
                continue
            if ("focusable" in states or role == "dialog") and role != "label" and not name.strip():
                found.append(f"takes focus without a name: {accessible!r} in {path_of(root, accessible)}")
            if role in LISTS:
                rows = [child for child in accessible.children if "showing" in child.states and child.name]
                names = [child.name for child in rows]
                found += [f'{after!r} is told after what stands below it in {accessible!r}' for before, after in
                          zip(rows, rows[1:]) if role in ("list", "tree") and after.extents[1] < before.extents[1]]
                found += [f'"{twice}" is {names.count(twice)} times in {accessible!r}'
                          for twice in sorted(set(names)) if accessible.name != "Transcript" and names.count(twice) > 1]
        except Gone:
            continue
    return found


def path_of(root, wanted):
    """The names on the way from the window to an object, to find it in the sources."""
    way = []
    for accessible, depth in walk(root):
        way[depth:] = [f'{accessible.role} "{accessible.name}"']
        if accessible == wanted:
            break
    return " > ".join(way[1:-1])


class ScreenReaderWalk(DesktopCase):
    def check(self, state):
        with self.subTest(state):
            self.expect_no_faults(self.still())

    def expect_no_faults(self, root):
        self.assertEqual(faults(root), [], dump(root))

    def look(self):
        """The program's root, with what it and all below it say now."""
        return remembered(self.desktop.wait_until(self.desktop.app, "an accessible program"))

    def still(self):
        """The second of two looks at the tree that are the same."""
        before = None

        def settled():
            nonlocal before
            look = self.look()
            seen, before = before, dump(look)
            return look if seen == before else None
        return self.desktop.wait_until(settled, "a tree that stays as it is")

    def test_every_state_can_be_read_aloud(self):
        self.desktop.start()
        self.check("no project")
        self.run_ravant("project", "add", str(self.work))
        self.desktop.wait_for(name="work")
        self.check("a project without conversations")
        self.register_agent()
        self.ask("Say hello.")
        self.desktop.wait_for("list item", None, within=self.desktop.find(name="Projects"))
        self.check("a conversation in the sidebar")
        self.desktop.keys("Alt+Down", "Alt+Down")
        self.desktop.wait_for(name="Transcript")
        self.check("a conversation that is read")
        for number in range(3):
            self.run_ravant("run", "--project", str(self.work), "--continue", f"And the next step, number {number}.")
        self.desktop.wait_for(name=re.compile("number 2"), within=self.desktop.find(name="Transcript"))
        transcript = self.desktop.find(name="Transcript")
        transcript.take_focus()
        for keys in ("Home", "PageDown", "PageUp"):
            self.desktop.keys(keys)
            self.check(f"rows that were made after those below them: {keys}")
        self.ask("Say more.")
        self.desktop.wait_for("list item", "Say more., unread", ["showing"])
        self.check_at_work("unread")
        self.desktop.keys("Ctrl+F")
        self.check("find")
        self.desktop.keys("Esc", "Ctrl+K")
        self.desktop.wait_for("text", "Go to or run", ["focused"])
        self.desktop.wait_for(name="Results")
        self.check("palette")
        self.desktop.keys("Esc")
        self.desktop.wait_gone("text", "Go to or run")
        self.desktop.keys("Ctrl+N")
        self.desktop.wait_for("text", "Prompt", ["focused"])
        self.desktop.type("half a thought")
        self.check("draft")
        self.desktop.end()

    def test_a_run_that_fails_can_be_read_aloud(self):
        self.run_ravant("project", "add", str(self.work))
        self.register_agent("echo out of paper >&2; exit 1")
        self.ask("Go.", fails=True)
        self.desktop.start("--conversation", self.conversation())
        self.desktop.wait_for(name=re.compile("^Failed: "), within=self.desktop.wait_for(name="Transcript"))
        self.check("failed")
        self.desktop.end()

    def test_what_scripts_look_for_is_there(self):
        self.run_ravant("project", "add", str(self.work))
        self.register_agent(SPEAKING_AGENT)
        self.ask("Go.", fails=True)
        self.desktop.start("--conversation", self.conversation())
        self.desktop.wait_for("list item", re.compile("^Failed: "))
        shown = self.still()
        missing = [(role, name) for role, name in RELIED_ON
                   if not self.desktop.find(role, re.compile("^" + re.escape(name)), ["showing"], shown)]
        self.assertEqual(missing, [], dump(shown))
        self.desktop.end()

    def test_a_store_that_cannot_be_opened_can_be_read_aloud(self):
        self.desktop.data.mkdir(parents=True)
        (self.desktop.data / "store.sqlite").write_text("This is no store.\n" * 1000, encoding="utf-8")
        self.desktop.start()
        self.desktop.wait_for("push button", "Try again", ["showing"])
        self.check("trouble")
        self.desktop.press(self.desktop.find("push button", "Quit"))
        self.desktop.wait_for_end()

    def test_a_run_elsewhere_and_its_death_can_be_read_aloud(self):
        self.run_ravant("project", "add", str(self.work))
        self.register_agent("while :; do sleep 0.1; done")
        self.desktop.start("--project", str(self.work))
        run = self.start_ravant(*self.asked("Wait."))
        self.desktop.wait_for(name=re.compile(", running$"))
        self.check_at_work("running elsewhere")
        run.send_signal(signal.SIGKILL)
        run.wait()
        self.desktop.end()
        self.desktop.start("--conversation", self.conversation())
        self.desktop.wait_for(name=re.compile(", interrupted$"))
        self.check("interrupted")
        self.desktop.end()

    def test_a_conversation_at_work_can_be_read_aloud(self):
        self.run_ravant("project", "add", str(self.work))
        self.desktop.start("--project", str(self.work))
        self.desktop.wait_for("text", "Prompt", ["showing"])
        self.check("no agent")
        self.register_waiting_agent()
        self.desktop.wait_for("push button", re.compile("^Agent, Claude Code"), ["showing"])
        self.desktop.keys("Ctrl+L")
        for prompt in ("one", "two", "three"):
            self.send(prompt)
        self.desktop.wait_for("list item", "Queued: three", ["showing"])
        self.check_at_work("queue")
        for keys, opened in (("Ctrl+M", "Choose or type a model"), ("Ctrl+Shift+F", "Search everything")):
            self.desktop.keys(keys)
            self.desktop.wait_for(None, opened, ["showing"])
            self.check_at_work(opened)
            self.desktop.keys("Esc")
            self.desktop.wait_gone(None, opened, ["showing"])
        self.desktop.keys("Ctrl+Q")
        self.desktop.wait_for("push button", "Keep running in the background", ["showing"])
        self.check_at_work("the question at the end")
        self.desktop.keys("Esc")
        self.desktop.wait_gone("push button", "Keep running in the background", ["showing"])
        self.desktop.keys("Ctrl+.")
        self.desktop.wait_gone(name=re.compile(", running$"))
        self.desktop.keys("Ctrl+Shift+A")
        self.desktop.wait_for("push button", "Undo", ["showing"])
        self.check_at_work("a notice with Undo")
        self.desktop.end()

    def check_at_work(self, state):
        """As `check`, of a window in which the time of a run goes on."""
        with self.subTest(state):
            self.expect_no_faults(self.look())

    def test_every_button_does_something(self):
        self.run_ravant("project", "add", str(self.work))
        self.register_agent()
        self.ask("Go.")
        shown = ("--conversation", self.conversation())
        self.desktop.start(*shown)
        look = self.still()
        names = {(button.role, button.name) for button in find_all(look, states=["showing", "sensitive"])
                 if button.role in BUTTONS and button.name not in ELSEWHERE and button.description != UNAVAILABLE}
        self.assertTrue(names)
        for role, name in sorted(names):
            with self.subTest(f"{role} {name}"):
                before = dump(look)
                button = self.desktop.find(role, name, ["showing", "sensitive"], look)
                if button.description != UNAVAILABLE:
                    self.desktop.press(button)
                    self.assertTrue(until(lambda: self.desktop.tree() != before, self.desktop.patience),
                                    "nothing happened")
            self.desktop.end()
            self.desktop.start(*shown)
            look = self.still()
        self.desktop.end()


if __name__ == "__main__":
    ScreenReaderWalk.main(*sys.argv[1:])
