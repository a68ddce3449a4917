#!/usr/bin/python3 -B
"""Files and folders that are dragged onto the window by the pointer: `drops_test.py RAVANT_DESKTOP RAVANT DRAG_SOURCE`."""

import json
import re
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "support"))

# pylint: disable=wrong-import-position
from desktop_case import DesktopCase  # noqa: E402
from private_desktop import until  # noqa: E402

# Beside the window, on the screen.
SOURCE = (1300, 400)
STEPS = 6
# One drag: the pointer can be faster than what the two programs say to each other.
DRAG_SECONDS = 3


class Drops(DesktopCase):
    source = None

    def setUp(self):
        super().setUp()
        self.set(window_geometry="0,0 1200x900")
        self.register_agent()

    def drop(self, files, onto, is_there):
        """Drags files onto the middle of an element until it has had its effect."""
        dragged = self.desktop.run_beside(self.source, *map(str, (*SOURCE, *files)))
        self.desktop.xdotool("search", "--sync", "--onlyvisible", "--name", "drag source")
        start = [place + 50 for place in SOURCE]
        x, y, width, height = onto.extents
        way = (x + width // 2 - start[0], y + height // 2 - start[1])
        for _ in range(self.desktop.patience // DRAG_SECONDS):
            self.desktop.xdotool("mousemove", *map(str, start), "mousedown", "1")
            for step in range(1, STEPS + 1):
                self.desktop.xdotool("mousemove", *(str(at + part * step // STEPS) for at, part in zip(start, way)))
            self.desktop.xdotool("mousemove_relative", "2", "2", "mouseup", "1")
            if until(is_there, DRAG_SECONDS):
                break
        else:
            self.fail(f"{files} were dropped without an effect\n{self.desktop.tree()}")
        dragged.terminate()
        dragged.wait()
        self.desktop.focus_window()

    def attached(self):
        found = self.desktop.find("list", "Attachments", ["showing"])
        return [row.name for row in found.children if "showing" in row.states] if found else []

    def test_a_file_goes_to_the_prompt_and_a_folder_to_the_projects(self):
        self.run_ravant("project", "add", str(self.work))
        (self.work / "notes, second.md").write_text("Notes.\n", encoding="utf-8")
        self.desktop.start("--project", str(self.work))
        prompt = self.desktop.wait_for("text", "Prompt", ["focused"])
        self.drop([self.work / "notes, second.md"], prompt, self.attached)
        self.assertRegex(self.attached()[0], re.escape("notes, second.md"))
        self.send("Look.")
        self.desktop.wait_for("list item", re.compile("^You: Look"), ["showing"])

        other = self.desktop.home / "weather api"
        other.mkdir()
        self.drop([other], self.desktop.find(None, "Projects"), lambda: str(other) in self.projects())
        self.desktop.wait_for("list item", "weather api", ["showing"])
        self.desktop.end()

    def projects(self):
        return [project["path"] for project in json.loads(self.run_ravant("project", "list", "--json"))]


if __name__ == "__main__":
    Drops.source = str(Path(sys.argv[3]).resolve())
    Drops.main(*sys.argv[1:3], *sys.argv[4:])
