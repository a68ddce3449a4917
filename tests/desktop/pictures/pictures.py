#!/usr/bin/python3 -B
"""Writes pictures of the window in its states, for people to look at: `pictures.py RAVANT_DESKTOP RAVANT FOLDER`.

They are of the real program over a store that is filled anew each time, in both colours and at 100 and 200 %. Fails
where a picture is blank. Ages are told in words ("now"), so two runs differ in little but what the machine draws.
"""

import json
import subprocess
import sys
import tempfile
import zlib
from contextlib import contextmanager
from pathlib import Path

TESTS = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(TESTS / "desktop/support"))

# pylint: disable=wrong-import-position
from desktop_session import DesktopSession  # noqa: E402

DEMO_AGENT = TESTS.parent / "examples/demo-agent"
SCREEN = "1440x900"
CORNER = (1439, 899)
FEWEST_COLOURS = 12
CONVERSATIONS = (("ravant", "Read pages around an item"), ("ravant", "Diff view: side by side"),
                 ("weather-api", "Cache headers for tiles"), ("weather-api", "Upgrade the database"))


def colours(picture):
    """How many colours a PNG of `screenshot` has."""
    content = picture.read_bytes()
    width = int.from_bytes(content[16:20], "big")
    start = content.index(b"IDAT")
    rows = zlib.decompress(content[start + 4:start + 4 + int.from_bytes(content[start - 4:start], "big")])
    found = set()
    for top in range(0, len(rows), width * 3 + 1):
        row = rows[top + 1:top + 1 + width * 3]
        found.update(zip(row[0::3], row[1::3], row[2::3]))
    return len(found)


class Pictures:
    def __init__(self, program, ravant, folder):
        self.program, self.ravant, self.folder = program, str(Path(ravant).resolve()), Path(folder)
        self.folder.mkdir(parents=True, exist_ok=True)
        self.faults = []

    def take(self, desktop, name):
        desktop.xdotool("mousemove", *map(str, CORNER))
        self.still(desktop)
        self.shoot(desktop, name)

    def shoot(self, desktop, name):
        picture = self.folder / f"{name}.png"
        desktop.screenshot(picture)
        if colours(picture) < FEWEST_COLOURS:
            self.faults.append(f"{picture} is blank")

    @staticmethod
    def still(desktop):
        """Waits until two looks at the screen are the same."""
        with tempfile.TemporaryDirectory() as folder:
            pictures = [Path(folder) / "one", Path(folder) / "other"]

            def settled():
                for picture in pictures:
                    desktop.screenshot(picture)
                    desktop.tree()
                return pictures[0].read_bytes() == pictures[1].read_bytes()
            desktop.wait_until(settled, "a picture that stays as it is")

    def run(self, desktop, *arguments):
        subprocess.run([self.ravant, *arguments], env=desktop.environment, cwd=desktop.home, stdin=subprocess.DEVNULL,
                       capture_output=True, timeout=60, check=True)

    @contextmanager
    def desktop(self, appearance, zoom):
        with DesktopSession(self.program, screen=SCREEN) as desktop:
            desktop.settings.parent.mkdir(parents=True)
            desktop.settings.write_text(json.dumps(
                {"appearance": appearance, "keyStore": "file", "claude": {"asRoot": True}, "notifications": {"desktop": False},
                 "window": {"zoom": zoom, "geometry": f"0,0 {SCREEN}"}}), encoding="utf-8")
            yield desktop

    def fill(self, desktop):
        for project in dict.fromkeys(project for project, _ in CONVERSATIONS):
            folder = desktop.home / project
            folder.mkdir()
            (folder / "README.md").write_text(f"# {project}\n", encoding="utf-8")
            self.run(desktop, "project", "add", str(folder))
        self.run(desktop, "agent", "add", "claude", "--path", str(DEMO_AGENT))
        for project, words in CONVERSATIONS:
            self.run(desktop, "run", "--project", str(desktop.home / project), "--agent", "claude", "--model", "demo", words)

    def take_all(self):
        for appearance in ("light", "dark"):
            for zoom in (100, 200):
                self.take_states(appearance, zoom)
        with self.desktop("light", 100) as desktop:
            desktop.data.mkdir(parents=True)
            (desktop.data / "store.sqlite").write_text("This is no store.\n" * 1000, encoding="utf-8")
            desktop.start()
            desktop.wait_for("push button", "Try again")
            self.take(desktop, "trouble-light")
            desktop.press(desktop.find("push button", "Quit"))
            desktop.wait_for_end()
        return self.faults

    def take_states(self, appearance, zoom):
        name = appearance if zoom == 100 else f"{appearance}-{zoom}"
        with self.desktop(appearance, zoom) as desktop:
            desktop.start()
            self.take(desktop, f"empty-{name}")
            desktop.end()
            self.fill(desktop)
            listed = subprocess.run([self.ravant, "conversation", "list", "--json"], env=desktop.environment,
                                    capture_output=True, text=True, timeout=60, check=True).stdout
            desktop.start("--conversation", json.loads(listed)[-1]["id"])
            desktop.wait_for("frame", f"{CONVERSATIONS[0][1]} — Ravant")
            self.take(desktop, f"main-{name}")
            desktop.keys("Ctrl+F")
            self.take(desktop, f"find-{name}")
            desktop.keys("Esc", "Ctrl+K")
            desktop.wait_for("text", "Go to or run", ["focused"])
            self.take(desktop, f"palette-{name}")
            desktop.keys("Esc", "Ctrl+N")
            self.take(desktop, f"new-conversation-{name}")
            desktop.end()
            self.take_queue(desktop, name)

    def take_queue(self, desktop, name):
        agent = desktop.programs / "agent"
        agent.write_text("#!/bin/sh\nsleep 300 &\nwait\n", encoding="utf-8")
        agent.chmod(0o755)
        self.run(desktop, "agent", "set-path", "claude", str(agent))
        desktop.start()
        desktop.wait_for("text", "Prompt", ["focused"])
        for words in ("Measure the reader.", "Then do the same beside a writer.", "Write down what you see."):
            desktop.type(words)
            desktop.keys("Enter")
            desktop.wait_until(lambda: desktop.find("text", "Prompt").text == "", "an empty field")
        desktop.wait_for(name="Queued: Write down what you see.")
        # What runs is told with its time, and its mark moves: two looks are never the same.
        self.shoot(desktop, f"queue-{name}")
        desktop.end()


if __name__ == "__main__":
    FAULTS = Pictures(*sys.argv[1:4]).take_all()
    print("\n".join(FAULTS) or f"{len(list(Path(sys.argv[3]).glob('*.png')))} pictures in {sys.argv[3]}")
    sys.exit(bool(FAULTS))
