#!/usr/bin/python3 -B
"""What a test of the window relies on: that a session notices trouble, and that nothing outlives it."""

import re
import signal
import tempfile
import unittest
from pathlib import Path

from desktop_session import DesktopSession, key_words
from private_desktop import SESSION_TOKEN, processes_with


class DesktopSessionTest(unittest.TestCase):
    """Shell scripts stand in for programs: they have no window, but all else that can go wrong."""

    def session(self, script, **options):
        program = Path(self.enterContext(tempfile.TemporaryDirectory())) / "program"
        program.write_text(f"#!/bin/sh\n{script}\n")
        program.chmod(0o755)
        return DesktopSession(program, patience=options.pop("patience", 20), **options)

    def test_trouble_of_a_program_fails_the_test(self):
        troubles = {
            "speaks": ("echo a warning >&2", "a warning", True),
            "stays": ("exec sleep 300", "still ran", False),
            "leaves a child": ("sleep 300 & echo $! > child", "left running", True),
        }
        for trouble, (script, words, ends) in troubles.items():
            with self.subTest(trouble):
                session = self.session(script, patience=2)
                with self.assertRaisesRegex(AssertionError, words), session:
                    session.launch()
                    if ends:
                        session.wait_for_end()
                self.assertEqual(processes_with(SESSION_TOKEN, session.token), {})
                self.assertFalse(session.folder.exists())

    def test_a_program_that_does_nothing_wrong_passes(self):
        with self.session("trap 'exit 7' TERM; echo ready > ready; while :; do sleep 0.01; done") as session:
            program = session.launch()
            session.wait_until((session.home / "ready").exists, "the file")
            self.assertEqual(session.end(signal.SIGTERM), 7)
            self.assertNotEqual(session.launch().pid, program.pid)
            self.assertEqual(session.kill(), -signal.SIGKILL)

    def test_a_wait_in_vain_says_what_there_was_and_leaves_nothing_behind(self):
        session = self.session("echo out of paper; trap '' TERM HUP; sleep 300 & wait", patience=1)
        with self.assertRaises(AssertionError) as caught, session:
            session.launch()
            session.wait_for("push button", re.compile("^Send"))
        self.assertRegex(str(caught.exception), "(?s)push button.*Send.*runs and said: out of paper")
        self.assertEqual(processes_with(SESSION_TOKEN, session.token), {})

    def test_programs_see_nothing_of_the_tester(self):
        with self.session("env", quiet=False) as session:
            program = session.launch()
            session.wait_for_end()
            seen = dict(line.split("=", 1) for line in program.said().splitlines() if "=" in line)
        folders = [value for name, value in seen.items() if name == "HOME" or name.startswith("XDG_")]
        self.assertGreaterEqual(len(folders), 5)
        self.assertEqual([folder for folder in folders if not folder.startswith(str(session.folder))], [])
        self.assertRegex(seen["DBUS_SESSION_BUS_ADDRESS"], str(session.folder))

    def test_keys_are_named_as_people_name_them(self):
        for people, display in {"Ctrl+Shift+A": "ctrl+shift+a", "Ctrl+.": "ctrl+period", "Ctrl++": "ctrl+plus",
                                "Alt+Left": "alt+Left", "Enter": "Return", "F6": "F6"}.items():
            self.assertEqual(key_words(people), display)


if __name__ == "__main__":
    unittest.main()
