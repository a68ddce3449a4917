#!/usr/bin/env python3
"""Checks what is installed around the window: `installed_files_test.py INSTALL_SCRIPT PROGRAM`.

INSTALL_SCRIPT is the cmake_install.cmake of desktop/around, which is run into a temporary folder; PROGRAM is the built
ravant-desktop. The desktop's own validators are asked where they are there.
"""

import configparser
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree
from pathlib import Path

ID = "com.ravant.Ravant"
OPTION = re.compile(r"(?<![\w-])--[a-z][a-z-]*")
# What the options' reader of Qt adds by itself.
OPTIONS_OF_QT = {"--help-all"}
DISPLAY = {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}


def said(*command):
    """Exit status and words, without a display."""
    environment = {name: value for name, value in os.environ.items() if name not in DISPLAY}
    done = subprocess.run(command, env=environment, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                          timeout=60, check=False)
    return done.returncode, done.stdout + done.stderr


def key_file(path):
    reader = configparser.RawConfigParser(delimiters="=", interpolation=None)
    reader.optionxform = str
    reader.read(path, encoding="utf-8")
    return reader


class InstalledFilesTest(unittest.TestCase):
    install_script = program = ""

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.root = Path(folder.name)
        status, words = said("cmake", f"-DCMAKE_INSTALL_PREFIX={cls.root}", "-P", cls.install_script)
        if status:
            raise AssertionError(words)
        cls.share = cls.root / "share"
        cls.entries = sorted((cls.share / "applications").glob("*.desktop"))
        cls.metainfo = cls.share / f"metainfo/{ID}.metainfo.xml"
        cls.manual = cls.share / "man/man1/ravant-desktop.1"

    def validate(self, tool, *arguments):
        if not shutil.which(tool):
            self.skipTest(f"{tool} is not installed")
        status, words = said(tool, *arguments)
        self.assertEqual(status, 0, words)
        return words

    def test_desktop_entries_are_valid(self):
        self.assertTrue(self.entries)
        self.validate("desktop-file-validate", *map(str, self.entries))

    def test_description_is_valid(self):
        self.validate("appstreamcli", "validate", "--no-net", str(self.metainfo))

    def test_manual_is_set_without_warnings(self):
        if not shutil.which("mandoc"):
            self.skipTest("mandoc is not installed")
        _, words = said("mandoc", "-Tlint", "-Wwarning", str(self.manual))
        self.assertEqual([line for line in words.splitlines() if "missing date" not in line], [])

    def test_desktop_bus_and_software_centre_mean_the_same_program(self):
        service = key_file(self.share / f"dbus-1/services/{ID}.service")["D-BUS Service"]
        entry = key_file(self.share / f"applications/{ID}.desktop")["Desktop Entry"]
        component = ElementTree.parse(self.metainfo).getroot()
        self.assertEqual(service["Name"], ID)
        self.assertEqual(component.findtext("id"), ID)
        self.assertEqual(component.findtext("launchable"), f"{ID}.desktop")
        self.assertEqual(component.findtext("provides/dbus"), ID)
        program = Path(service["Exec"].split()[0])
        self.assertEqual((program.is_absolute(), program.parent.name), (True, "bin"))
        self.assertEqual({program.name, entry["Exec"].split()[0], component.findtext("provides/binary")},
                         {Path(self.program).name})

    def test_icons_of_the_entries_are_there(self):
        icons = self.share / "icons/hicolor"
        for entry in self.entries:
            name = key_file(entry)["Desktop Entry"]["Icon"]
            ElementTree.parse(icons / f"scalable/apps/{name}.svg")
            png = (icons / f"128x128/apps/{name}.png").read_bytes()
            size = int.from_bytes(png[16:20], "big"), int.from_bytes(png[20:24], "big")
            self.assertEqual((png[:8], size), (b"\x89PNG\r\n\x1a\n", (128, 128)))

    def test_options_are_those_that_the_program_tells_without_a_display(self):
        status, words = said(self.program, "--help")
        self.assertEqual(status, 0, words)
        known = set(OPTION.findall(words)) - OPTIONS_OF_QT
        manual = re.sub(r"\\f[BIR]", "", self.manual.read_text(encoding="utf-8")).replace("\\-", "-")
        self.assertEqual(set(OPTION.findall(manual)), known)
        for file in [*self.entries, self.share / f"dbus-1/services/{ID}.service"]:
            files = key_file(file)
            used = {option for group in files.sections() for option in OPTION.findall(files[group].get("Exec", ""))}
            self.assertLessEqual(used, known, file.name)


if __name__ == "__main__":
    InstalledFilesTest.install_script, InstalledFilesTest.program = sys.argv[1:3]
    unittest.main(argv=sys.argv[:1])
