#!/usr/bin/python3 -B
"""Writes pictures of the window in its states, for people to look at: `pictures.py RAVANT_DESKTOP RAVANT FOLDER [once]`.

They are of the real program over stores that are filled anew each time, each in both colours and at 100 and 200 %, or
`once`: in these looks by turns. Fails
where a picture is blank, where a button or field has no place of its own in the window, and where words are cut off
that must not be. Ages are told in words
("now"), so two runs differ in little but what the machine draws.
"""

import itertools
import json
import re
import signal
import sqlite3
import sys
from contextlib import closing
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "support"))

# pylint: disable=wrong-import-position
from accessible import cut_off, misplaced, remembered  # noqa: E402
from desktop_case import DesktopCase  # noqa: E402
from private_desktop import until  # noqa: E402
from spoken import AGENT, said  # noqa: E402

LOOKS = [(appearance, zoom) for appearance in ("light", "dark") for zoom in (100, 200)]
CORNER = ("1439", "899")
FEWEST_COLOURS = 12
SAMPLED_ROWS = 15
MOVING_SECONDS = 1
# Between the height of a button at 100 % and that at 200 %.
HIGH_BUTTON = 45

PROJECTS = ("ravant", "weather-api")
PROMPTS = (("ravant", "Diff view: side by side"), ("weather-api", "Cache headers for tiles"),
           ("weather-api", "Upgrade the database"), ("ravant", "Read pages around an item"))


class Pictures(DesktopCase):
    folder = None
    turns = None

    def setUp(self):
        super().setUp()
        self.set(notifications_desktop=False, window_geometry="0,0 1440x900")

    # Pictures.

    def take(self, state, looks=LOOKS, prepare=lambda: None):
        """In each look, or the next; `prepare` brings about what is not there in the next look any more."""
        self.desktop.xdotool("mousemove", *CORNER)
        for appearance, zoom in self.looks_now(looks):
            self.change_look(appearance, zoom)
            prepare()
            self.take_one(state, appearance, zoom)
        self.change_look(*LOOKS[0])

    def looks_now(self, looks=LOOKS):
        return [next(look for look in self.turns if look in looks)] if self.turns else looks

    def take_one(self, state, appearance, zoom):
        self.wait_until_still()
        name = state + "-" + (appearance if zoom == 100 else f"{appearance}-{zoom}")
        with self.subTest(name):
            width, _, rows = self.desktop.pixels()
            found = {row[left:left + 3] for row in rows[::SAMPLED_ROWS] for left in range(0, width * 3, 3)}
            self.assertGreaterEqual(len(found), FEWEST_COLOURS, "a blank picture")
            shown = remembered(self.desktop.app())
            self.assertEqual(misplaced(shown) + [f"is cut off: {words}" for words in cut_off(shown)], [],
                             self.desktop.tree())
        self.desktop.screenshot(self.folder / f"{name}.png")

    def change_look(self, appearance, zoom):
        settings = json.loads(self.desktop.settings.read_text(encoding="utf-8"))
        settings["appearance"], settings.setdefault("window", {})["zoom"] = appearance, zoom
        written = self.desktop.folder / "settings.json"
        written.write_text(json.dumps(settings), encoding="utf-8")
        written.replace(self.desktop.settings)
        self.desktop.wait_until(lambda: self.looks_so(appearance, zoom), f"a window in {appearance} at {zoom} %")

    def looks_so(self, appearance, zoom):
        frame = self.desktop.find("frame", None, ["showing"])
        if not frame:
            return False
        x, y, width, height = frame.extents
        middle = self.desktop.pixels()[2][y + height // 2][x * 3:(x + width) * 3]
        is_dark = sum(middle) / len(middle) < 128
        if is_dark != (appearance == "dark"):
            return False
        button = self.desktop.find("push button", None, ["showing"])
        return button and (button.extents[3] > HIGH_BUTTON) == (zoom == 200)

    def wait_until_still(self):
        """Until two looks at the window are the same; where something runs, which moves, until all has its place."""
        if until(self.is_same(self.desktop.frame), MOVING_SECONDS):
            return
        self.desktop.wait_until(self.is_same(lambda: [found.extents for found in self.desktop.find_all()]),
                                "a window in which all stays where it is")

    @staticmethod
    def is_same(look):
        """A condition: that it looks as it did when it was asked before."""
        before = None

        def asked():
            nonlocal before
            seen, before = before, look()
            return seen == before
        return asked

    # States.

    def fill(self):
        for name in PROJECTS:
            (self.desktop.home / name).mkdir()
            (self.desktop.home / name / "README.md").write_text(f"# {name}\n", encoding="utf-8")
            self.run_ravant("project", "add", str(self.desktop.home / name))
        folder = self.desktop.home / "said"
        folder.mkdir()
        for name, words in said().items():
            (folder / name).write_text(words, encoding="utf-8")
        self.register_agent(AGENT)

    def ask_all(self):
        for project, prompt in PROMPTS:
            self.ask(prompt, self.desktop.home / project)

    def open(self, *arguments):
        self.desktop.start(*arguments)
        self.desktop.wait_for("text", "Prompt", ["showing"])

    def show(self, *keys, role=None, name=None):
        """Presses keys, and waits for what they show."""
        self.desktop.keys(*keys)
        return self.desktop.wait_for(role, name, ["showing"])

    def close(self, role, name):
        self.desktop.keys("Esc")
        self.desktop.wait_gone(role, name, ["showing"])

    def unfold(self):
        """The calls of tools, and each call."""
        for name in ("^Tool calls: ", "^(Edited|Ran|Edit|Bash)"):
            for row in self.desktop.find_all("list item", re.compile(name), ["showing"]):
                self.desktop.press(row)
                self.wait_until_still()

    def test_before_the_first_conversation(self):
        self.desktop.start()
        self.desktop.wait_for("push button", "Add project", ["showing"])
        self.take("empty")
        self.run_ravant("project", "add", str(self.work))
        self.desktop.wait_for(name="work")
        self.desktop.keys("Ctrl+N")
        self.desktop.wait_for("text", "Prompt", ["showing"])
        self.take("no-agent")
        self.register_agent("exit 1")
        (self.desktop.programs / "agent").unlink()
        self.desktop.end()
        self.desktop.start()
        self.desktop.wait_for("push button", "Set its path", ["showing"])
        self.take("agent-trouble")
        self.desktop.end()

    def test_what_is_read(self):
        self.fill()
        self.ask_all()
        self.open("--conversation", self.conversation())
        self.desktop.wait_for("list item", re.compile("^Tool calls: "), ["showing"])
        self.take("main")
        self.desktop.xdotool("windowsize", "--sync", self.desktop._window(), "720", "480")
        self.take("narrow", [look for look in LOOKS if look[1] == 100])
        self.desktop.xdotool("windowsize", "--sync", self.desktop._window(), "1440", "900")
        self.unfold()
        self.take("tools")
        self.show("Ctrl+F", role="text", name="Find in this conversation")
        self.desktop.type("item")
        self.take("find")
        self.close("text", "Find in this conversation")
        self.show("Ctrl+K", role="text", name="Go to or run")
        self.take("palette")
        self.close("text", "Go to or run")
        self.show("Ctrl+Shift+F", name="Search everything")
        self.desktop.type("reader")
        self.desktop.wait_for(name="Results")
        self.take("search")
        self.close(None, "Search everything")
        for _ in range(2):
            self.desktop.keys("Alt+Down")
        self.desktop.xdotool("keydown", "ctrl", "key", "Tab")
        self.take("recent")
        self.desktop.xdotool("keyup", "ctrl")
        self.show("Ctrl+N", role="text", name="Prompt")
        self.take("new-conversation")
        self.desktop.type("Compare them with this one.")
        self.desktop.keys("Shift+Enter", "Shift+Enter")
        self.desktop.type("Attached: README.md")
        self.desktop.end()
        self.open()
        self.desktop.wait_for("list item", re.compile("README.md"), within=self.desktop.wait_for("list", "Attachments", ["showing"]))
        self.take("attachments")
        (self.desktop.home / "ravant/README.md").unlink()
        self.desktop.keys("Ctrl+L", "Enter")
        self.desktop.wait_for("alert message", re.compile("README.md"), ["showing"])
        self.take("refusal")
        self.run_ravant("conversation", "archive", self.conversation())
        self.desktop.press(self.desktop.wait_for("push button", "Archived conversations", ["showing"]))
        self.take("archived")
        self.desktop.end()

    def test_what_is_chosen_from(self):
        self.fill()
        self.ask_all()
        self.open("--project", str(self.desktop.home / "ravant"))
        for state, keys, role, name in (("folder", "Ctrl+O", "dialog", "Add project"),
                                        ("project", "Ctrl+Shift+N", None, "New conversation in"),
                                        ("model", "Ctrl+M", None, "Choose or type a model")):
            self.show(keys, name=name, role=role)
            self.take(state)
            self.close(role, name)
        for state, name, entry in (("conversation-menu", re.compile("^Read pages"), "Archive"),
                                   ("project-menu", "weather-api", "Remove from sidebar")):
            row = self.desktop.wait_for("list item", name, ["showing"], self.desktop.find("tree", "Projects"))
            x, y, width, height = row.extents
            self.desktop.xdotool("mousemove", str(x + width // 2), str(y + height // 2), "click", "3")
            self.desktop.wait_for("menu item", entry, ["showing"])
            self.take(state)
            self.close("menu item", entry)
        self.desktop.end()

    def test_what_is_not_found(self):
        self.fill()
        self.ask_all()
        self.open("--conversation", self.conversation())
        self.show("Ctrl+F", role="text", name="Find in this conversation")
        self.desktop.type("xyzzy")
        self.take("find-nothing")
        self.close("text", "Find in this conversation")
        self.show("Ctrl+Shift+F", name="Search everything")
        self.desktop.type("xyzzy")
        self.take("search-nothing")
        self.close(None, "Search everything")
        with closing(sqlite3.connect(self.desktop.data / "store.sqlite")) as store:
            store.execute("ALTER TABLE message_block RENAME TO gone")
        self.desktop.keys("Alt+Down")
        self.desktop.wait_for("alert message", None, ["showing"])
        self.take("store-fault")
        self.desktop.end()

    def test_a_key_is_missing(self):
        self.run_ravant("project", "add", str(self.work))
        self.run_ravant("agent", "add", "ravant")
        self.desktop.start("--project", str(self.work))
        self.desktop.wait_for("push button", "Keep keys in a file", ["showing"])
        self.take("key-store-missing")
        self.desktop.end()
        self.set(keyStore="file")
        self.desktop.start("--project", str(self.work))
        self.desktop.wait_for("text", re.compile("^API key of "), ["showing"])
        self.take("key-missing")
        self.desktop.end()

    def test_at_work(self):
        self.fill()
        self.ask_all()
        self.open("--project", str(self.desktop.home / "ravant"))
        self.desktop.keys("Ctrl+L")
        self.send("Wait for the reader.")
        self.desktop.wait_for("list item", re.compile("^Tool calls: "), ["showing"])
        self.unfold()
        self.take("running")
        for prompt in ("Then do the same beside a writer.", "Write down what you see."):
            self.send(prompt)
        self.desktop.wait_for(name="Queued: Write down what you see.")
        self.take("queue")
        self.show("Ctrl+Q", role="push button", name="Keep running in the background")
        self.take("quit-question")
        self.close("push button", "Keep running in the background")
        self.desktop.keys("Ctrl+.")
        self.desktop.wait_gone(name=re.compile(", running$"))

        def archive():
            self.desktop.keys("Ctrl+J", "Alt+Down", "Ctrl+Shift+A")
            self.desktop.wait_for("push button", "Undo", ["showing"])
        self.take("notice", prepare=archive)
        self.desktop.end()

    def test_what_went_wrong(self):
        self.fill()
        project = self.desktop.home / "ravant"
        self.ask("Fail to print it.", project, fails=True)
        self.open("--conversation", self.conversation())
        self.desktop.wait_for("list item", re.compile("^Failed: "), ["showing"])
        self.take("failed")
        run = self.start_ravant(*self.asked("Wait for the printer.", project))
        self.desktop.wait_for(name=re.compile("^Wait for the printer., running$"))
        interrupted = self.conversation()
        run.send_signal(signal.SIGKILL)
        run.wait()
        self.desktop.end()
        self.open("--conversation", interrupted)
        self.desktop.wait_for(name=re.compile(", interrupted$"))
        self.take("interrupted")
        self.desktop.end()

    def test_a_store_that_cannot_be_opened(self):
        self.desktop.data.mkdir(parents=True, exist_ok=True)
        (self.desktop.data / "store.sqlite").write_text("This is no store.\n" * 1000, encoding="utf-8")
        for appearance, zoom in self.looks_now():
            self.set(appearance=appearance, window_zoom=zoom)
            self.desktop.start()
            self.desktop.wait_for("push button", "Try again", ["showing"])
            self.take_one("trouble", appearance, zoom)
            self.desktop.press(self.desktop.find("push button", "Quit"))
            self.desktop.wait_for_end()


if __name__ == "__main__":
    Pictures.folder = Path(sys.argv[3])
    Pictures.folder.mkdir(parents=True, exist_ok=True)
    if sys.argv[4:5] == ["once"]:
        Pictures.turns = itertools.cycle(LOOKS)
        del sys.argv[4]
    Pictures.main(*sys.argv[1:3], *sys.argv[4:])
