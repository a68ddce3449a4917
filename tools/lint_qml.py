#!/usr/bin/env python3
"""Runs qmllint over the QML files in folders: `lint_qml.py QMLLINT MODULES FOLDER...`, MODULES where the project's modules
are built.

Prints each finding as `file:line: finding`, then how many files were read. Exits 1 where something was found, and where
there was no file. Left out is what qmllint 6.4 finds in lawful code (`is_false`).
With --self-test instead of folders it checks that faulty files are found out, and that lawful code is not.
"""

import json
import re
import subprocess
import sys
import tempfile
from pathlib import Path

OPTIONS = [
    # Of use to those who give a control another content than its own, which nobody does.
    "--deferred-property-id", "disable",
    "--unused-imports", "warning",
]


def is_false(finding, source):
    """Whether qmllint is wrong: it knows no object outside of a component, which a component is free to name, and not
    that `Qt.callLater` is a function."""
    message = finding["message"]
    if message == "Unqualified access":
        word = source[finding["charOffset"]:finding["charOffset"] + finding["length"]]
        return re.search(rf"^\s*(\w.*\{{\s*)?id: {re.escape(word)}\b", source, re.MULTILINE) is not None
    return message.startswith('Property "callLater" is a QJSValue property.')


def findings(qmllint, modules, files):
    """All that is wrong, and of how many files."""
    asked = subprocess.run([qmllint, *OPTIONS, "-I", modules, "--json", "-", *map(str, files)], capture_output=True,
                           text=True, check=False)
    if not asked.stdout.startswith("{"):
        raise SystemExit(f"qmllint answered: {asked.stdout}{asked.stderr}")
    read = json.loads(asked.stdout)["files"]
    found = []
    for file in read:
        source = Path(file["filename"]).read_text(encoding="utf-8")
        wrong = [finding for finding in file["warnings"]
                 if finding["type"] in ("warning", "error", "critical") and not is_false(finding, source)]
        found += [f'{file["filename"]}:{finding.get("line", 0)}: {finding["message"]}' for finding in wrong]
        if not file["success"] and not file["warnings"]:
            found.append(f'{file["filename"]}: cannot be read')
    return found, len(read)


LAWFUL = """import QtQuick
Item {
    id: outer
    Repeater { model: 3; Item { required property int index; width: outer.width + index } }
    Component.onCompleted: Qt.callLater(() => outer.forceActiveFocus())
}
"""
UNLAWFUL = {
    "an unknown name": LAWFUL.replace("outer.width +", "inner.width +"),
    "an unknown type": LAWFUL.replace("Repeater", "Repeated"),
    "an unknown property": LAWFUL.replace("id: outer", "id: outer; colour: 3"),
    "an import that is not used": "import QtQuick.Layouts\n" + LAWFUL,
    "an unknown module": "import Ravant.Nothing\n" + LAWFUL,
    "an unfinished file": LAWFUL[:-3],
}


def self_test(qmllint):
    def found_in(source):
        with tempfile.TemporaryDirectory() as folder:
            file = Path(folder, "Part.qml")
            file.write_text(source, encoding="utf-8")
            return findings(qmllint, folder, [file])[0]
    wrong = [f"not found: {fault}" for fault, source in UNLAWFUL.items() if not found_in(source)]
    return wrong + [f"falsely found: {found}" for found in found_in(LAWFUL)]


def main(qmllint, *arguments):
    if arguments == ("--self-test",):
        problems = self_test(qmllint)
        print("\n".join(problems) or "ok")
        return bool(problems)
    modules, *folders = arguments
    files = sorted(file for folder in folders for file in Path(folder).rglob("*.qml"))
    if not files:
        print("there is no QML file to read")
        return True
    problems, count = findings(qmllint, modules, files)
    print("\n".join([*problems, f"{count} QML files, {len(problems)} findings"]))
    return bool(problems) or count != len(files)


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
