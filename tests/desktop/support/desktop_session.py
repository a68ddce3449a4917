"""The real window on a display of its own, worked by keys and read as a screen reader reads it.

    with DesktopSession("build/dev/desktop/ravant-desktop") as desktop:
        desktop.start("--project", str(desktop.home / "work"))
        desktop.wait_for("text", "Prompt", ["focused"])
        desktop.type("Say hello.")
        desktop.keys("Enter")
        desktop.wait_for("list item", re.compile("^Demo: Hello"))
        desktop.press(desktop.find("push button", "New conversation"))
        desktop.end()

Run it by /usr/bin/python3, which has the package python3-gi. Packages: xvfb, dbus-daemon, at-spi2-core, xdotool.
"""

import os
import signal
import subprocess
import uuid
from pathlib import Path

import accessible
from accessible import Gone
from private_desktop import PrivateDesktop, die_with_parent, processes_with, until

PROGRAM_TOKEN = "RAVANT_TEST_PROGRAM"

# Keys as people call them, where the display has other words.
KEYS = {
    "enter": "Return", "esc": "Escape", "backspace": "BackSpace", "del": "Delete", "pageup": "Prior",
    "pagedown": "Next", ",": "comma", ".": "period", "-": "minus", "/": "slash", "up": "Up", "down": "Down",
    "left": "Left", "right": "Right", "tab": "Tab", "home": "Home", "end": "End", "space": "space", "shift": "shift",
    "ctrl": "ctrl", "alt": "alt",
}


def key_words(combination):
    """"Ctrl+Shift+A" or "ctrl++" in the words of xdotool; a capital letter does not mean Shift."""
    words = combination.replace("++", "+plus").split("+")
    return "+".join(KEYS.get(word.lower(), word.lower() if len(word) == 1 else word) for word in words)


class Program:
    """A started program: its process, what it said on standard error, and what it left running."""

    def __init__(self, command, environment, folder, words):
        self.token = uuid.uuid4().hex
        self.words = words
        with words.open("wb") as output:
            self.process = subprocess.Popen(command, env=environment | {PROGRAM_TOKEN: self.token}, cwd=folder,
                                            stdin=subprocess.DEVNULL, stdout=output, stderr=output,
                                            preexec_fn=die_with_parent)
        self.pid = self.process.pid

    @property
    def runs(self):
        return self.process.poll() is None

    def said(self):
        return self.words.read_text(errors="replace")

    def children(self):
        """Living processes that the program, or what it started, has started: process id to command line."""
        found = processes_with(PROGRAM_TOKEN, self.token)
        found.pop(self.pid, None)
        return found


class DesktopSession(PrivateDesktop):
    """A private desktop for one program, which can be started in it any number of times. On leaving, the test fails
    where a program still runs, has left a child running, or has said anything (a warning of Qt, a sanitizer's report):
    `quiet=False` lets it speak."""

    def __init__(self, program, quiet=True, **options):
        super().__init__(**options)
        self.path, self.quiet = str(Path(program).resolve()), quiet
        self.programs_started = []

    def __exit__(self, kind=None, error=None, trace=None):
        faults = []
        try:
            if kind is None:
                faults = [fault for program in self.programs_started for fault in self._faults(program)]
        finally:
            for program in self.programs_started:
                if program.runs:
                    program.process.kill()
                    program.process.wait()
            said = "".join(program.said() for program in self.programs_started)
            super().__exit__()
        if said and error is not None:
            error.add_note(f"The program said:\n{said}")
        if faults:
            raise AssertionError("\n".join(faults))

    def _faults(self, program):
        if program.runs:
            yield f"process {program.pid} still ran at the end of the test"
        elif not until(lambda: not program.children(), self.patience):
            yield f"left running: {program.children()}"
        if self.quiet and program.said():
            yield f"the program said:\n{program.said()}"

    def start(self, *arguments, focus=True, **environment):
        """Starts the program, waits for its window and gives it the keyboard."""
        started = self.launch(*arguments, **environment)
        self.wait_for("frame", None, ["showing"])
        if focus:
            self.focus_window()
        return started

    def launch(self, *arguments, **environment):
        """Starts the program and waits for nothing."""
        words = self.folder / f"program-{len(self.programs_started)}.words"
        self.program = Program([self.path, *arguments], self.environment | environment, self.home, words)
        self.programs_started.append(self.program)
        return self.program

    def end(self, signal_number=signal.SIGTERM):
        """Asks the program to end and waits for it. Answers its exit status."""
        os.kill(self.program.pid, signal_number)
        return self.wait_for_end()

    def wait_for_end(self):
        if not until(lambda: not self.program.runs, self.patience):
            raise self._missed("the program's end")
        return self.program.process.returncode

    def kill(self):
        return self.end(signal.SIGKILL)

    def app(self):
        """The program as the accessibility bus has it, or None while it is not there."""
        try:
            return next((root for root, pid in accessible.applications(self.accessibility) if pid == self.program.pid),
                        None)
        except Gone:
            return None

    def find_all(self, role=None, name=None, states=(), within=None):
        root = within or self.app()
        return list(accessible.find_all(root, role, name, states)) if root else []

    def find(self, role=None, name=None, states=(), within=None):
        """The first that fits, or None. `name` and `role` are texts or patterns of `re`, a state may begin with "!"."""
        root = within or self.app()
        return next(accessible.find_all(root, role, name, states), None) if root else None

    def wait_until(self, condition, what):
        """What `condition` answers as soon as it is true. An object that vanishes while it looks is no answer."""
        def answer():
            try:
                return condition()
            except Gone:
                return None
        result = until(lambda: answer() or not self.program.runs and "ended", self.patience)
        if not result or result == "ended":
            raise self._missed(what)
        return result

    def wait_for(self, role=None, name=None, states=(), within=None):
        return self.wait_until(lambda: self.find(role, name, states, within), f"{role} {name!r} {list(states)}")

    def wait_gone(self, role=None, name=None, states=(), within=None):
        self.wait_until(lambda: not self.find(role, name, states, within), f"no {role} {name!r} {list(states)}")

    def _missed(self, what):
        state = "runs" if self.program.runs else f"ended with {self.program.process.returncode}"
        return AssertionError(f"waited in vain for {what}\nThe program {state} and said: {self.program.said() or '-'}\n"
                              f"{self.tree()}")

    def tree(self):
        root = self.app()
        return accessible.dump(root) if root else "(no accessible program)"

    def focus_window(self):
        """Gives the keyboard to the program's window: there is no window manager that would."""
        window = self.wait_until(self._window, "a window")
        self.xdotool("windowfocus", "--sync", window)
        self.wait_for(None, None, ["active"])

    def _window(self):
        try:
            return self.xdotool("search", "--onlyvisible", "--pid", str(self.program.pid)).split()[-1]
        except AssertionError:
            return None

    def keys(self, *combinations):
        """Presses keys one after the other: "Ctrl+K", "Enter", "Alt+Left"."""
        self.xdotool("key", "--clearmodifiers", *map(key_words, combinations))

    def type(self, text):
        """Types the text. A letter that the keyboard lacks is put onto it first, which takes the program a moment."""
        self.xdotool("type", "--clearmodifiers", "--delay", "1" if text.isascii() else "40", "--", text)

    def press(self, found):
        found.press()
