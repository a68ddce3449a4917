#!/usr/bin/python3 -B
"""Walks the accessibility tree of the window in the states it can be in: `walk.py RAVANT_DESKTOP RAVANT`.

In each state: whatever takes focus has a name, and no name is twice in one list. And every button that is there does
something when a screen reader presses it.
"""

import json
import re
import signal
import subprocess
import sys
import unittest
from pathlib import Path

TESTS = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(TESTS / "desktop/support"))

# pylint: disable=wrong-import-position
from accessible import Gone, find_all, walk  # noqa: E402
from desktop_session import DesktopSession  # noqa: E402
from private_desktop import until  # noqa: E402

DEMO_AGENT = TESTS.parent / "examples/demo-agent"
BUTTONS = {"push button", "toggle button", "check box", "radio button", "combo box", "menu item"}
LISTS = {"list", "tree", "tree table", "table", "menu", "page tab list"}
# What a button says of itself that cannot be pressed: Qt 6.4 does not tell readers otherwise.
UNAVAILABLE = "not available"

# What these do is not in the tree: they open another program, fill the clipboard, or show the list that is shown.
ELSEWHERE = {"Settings", "Copy", "Latest conversations"}


def faults(root):
    """What a listener could not make sense of, one line each."""
    found = []
    for accessible, _ in walk(root):
        try:
            role, name, states = accessible.role, accessible.name, accessible.states
            if "showing" not in states:
                continue
            if "focusable" in states and role != "label" and not name.strip():
                found.append(f"takes focus without a name: {accessible!r} in {path_of(root, accessible)}")
            if role in LISTS:
                names = [child.name for child in accessible.children if "showing" in child.states]
                found += [f'"{twice}" is {names.count(twice)} times in {accessible!r}'
                          for twice in sorted(set(names)) if names.count(twice) > 1]
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


class ScreenReaderWalk(unittest.TestCase):
    program = ravant = ""

    def setUp(self):
        self.desktop = self.enterContext(DesktopSession(self.program))
        self.work = self.desktop.home / "work"
        self.work.mkdir()

    def run_ravant(self, *arguments, fails=False):
        done = subprocess.run([self.ravant, *arguments], env=self.desktop.environment, cwd=self.work,
                              stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=60, check=False)
        self.assertEqual(done.returncode != 0, fails, f"{arguments}: {done.stdout}{done.stderr}")
        return done.stdout

    def conversation(self):
        return json.loads(self.run_ravant("conversation", "list", "--json"))[0]["id"]

    def register_agent(self, script=None):
        """The demo agent, or a shell script in the place of one, as the only agent."""
        agent = DEMO_AGENT
        if script:
            agent = self.desktop.programs / "agent"
            agent.write_text(f"#!/bin/sh\n{script}\n")
            agent.chmod(0o755)
        self.run_ravant("agent", "add", "claude", "--path", str(agent))
        self.run_ravant("settings", "set", "claude.asRoot", "true")

    def check(self, state):
        with self.subTest(state):
            self.assertEqual(faults(self.still()), [], self.desktop.tree())

    def still(self):
        """The program's root once two looks at the tree are the same."""
        before = None

        def settled():
            nonlocal before
            seen, before = before, self.desktop.tree()
            return seen == before
        self.desktop.wait_until(settled, "a tree that stays as it is")
        return self.desktop.app()

    def test_every_state_can_be_read_aloud(self):
        self.desktop.start()
        self.check("no project")
        self.run_ravant("project", "add", str(self.work))
        self.desktop.wait_for(name="work")
        self.check("a project without conversations")
        self.register_agent()
        self.run_ravant("run", "--project", str(self.work), "--agent", "claude", "--model", "demo", "Say hello.")
        self.desktop.wait_for("list item", None, within=self.desktop.find(name="Projects"))
        self.check("a conversation in the sidebar")
        self.desktop.keys("Alt+Down", "Alt+Down")
        self.desktop.wait_for(name="Transcript")
        self.check("a conversation that is read")
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
        self.run_ravant("run", "--project", str(self.work), "--agent", "claude", "--model", "demo", "Go.", fails=True)
        self.desktop.start("--conversation", self.conversation())
        self.desktop.wait_for(name=re.compile("^Failed: "), within=self.desktop.wait_for(name="Transcript"))
        self.check("failed")
        self.desktop.end()

    def test_a_run_elsewhere_and_its_death_can_be_read_aloud(self):
        self.run_ravant("project", "add", str(self.work))
        self.register_agent("while :; do sleep 0.1; done")
        self.desktop.start("--project", str(self.work))
        run = subprocess.Popen([self.ravant, "run", "--project", str(self.work), "--agent", "claude", "--model", "demo",
                                "Wait."], env=self.desktop.environment, cwd=self.work, stdin=subprocess.DEVNULL,
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(run.wait)
        self.addCleanup(run.kill)
        row = self.desktop.wait_for(name=re.compile(", running$"))
        self.assertEqual(faults(self.desktop.app()), [], f"{row!r}\n{self.desktop.tree()}")
        run.send_signal(signal.SIGKILL)
        run.wait()
        self.desktop.end()
        self.desktop.start("--conversation", self.conversation())
        self.desktop.wait_for(name=re.compile(", interrupted$"))
        self.check("interrupted")
        self.desktop.end()

    def test_every_button_does_something(self):
        self.run_ravant("project", "add", str(self.work))
        self.register_agent()
        self.run_ravant("run", "--project", str(self.work), "--agent", "claude", "--model", "demo", "Go.")
        shown = ("--conversation", self.conversation())
        self.desktop.start(*shown)
        self.still()
        names = {(button.role, button.name) for button in find_all(self.desktop.app(), states=["showing", "sensitive"])
                 if button.role in BUTTONS and button.name not in ELSEWHERE and button.description != UNAVAILABLE}
        self.assertTrue(names)
        for role, name in sorted(names):
            with self.subTest(f"{role} {name}"):
                before = self.desktop.tree()
                button = self.desktop.find(role, name, ["showing", "sensitive"])
                if button.description != UNAVAILABLE:
                    self.desktop.press(button)
                    self.assertTrue(until(lambda: self.desktop.tree() != before, self.desktop.patience),
                                    "nothing happened")
            self.desktop.end()
            self.desktop.start(*shown)
            self.still()
        self.desktop.end()


if __name__ == "__main__":
    ScreenReaderWalk.program, ScreenReaderWalk.ravant = sys.argv[1:3]
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
