#!/usr/bin/env python3
"""Checks who includes whom: `desktop, cli -> app -> runners, agent, git, palette, integrations -> core -> platform`.

What a QML file imports counts as what it includes: the module Ravant.Theme is the folder desktop/theme.
Prints every include or import that is against the rules below as `file:line: reason` and exits 1 if there is one.
With --self-test it checks itself instead: that each kind of violation is found, and that what is lawful is not.
"""

import re
import sys
import tempfile
from pathlib import Path

# A folder may include itself and the folders of the layers to the right of its own, never its siblings.
LAYERS = [["desktop", "cli"], ["app"], ["runners", "agent", "git", "palette", "integrations"], ["core"], ["platform"]]

# Folders whose subfolders are siblings too: each may include itself and the files directly in the parent.
APART = ["runners", "integrations"]

# The layers inside the desktop program, as above: features are siblings.
DESKTOP_LAYERS = [["window", "start"], ["sidebar", "conversation", "composer", "palette", "attention"],
                  ["controls"], ["text"], ["theme", "program"], ["loop"]]

# Folders that are built on the one they are in, whose own files know nothing of them.
UPON = ["core/store/search"]

# Third-party headers and QML modules, and the only places that may include or import them (a folder ends in "/", the rest are patterns of paths).
WRAPPED = {
    r"sqlite3\.h": ["platform/sqlite/", "bench/"],
    r"curl/": ["platform/http/"],
    r"git2(\.h|/)": ["git/"],
    r"libsecret/": ["platform/keystore/"],
    r"utf8proc\.h": ["platform/text/"],
    r"md4c(-html)?\.h": ["desktop/text/"],
    r"CLI/": ["cli/"],
    r"Q[A-Z]\w*|Qt\w+/": ["desktop/", "tests/desktop/", "bench/show_window.cpp", "bench/flood_window.cpp",
                             "bench/shown_window.hpp"],
    r"(QtQuick\.(Controls|Templates|Dialogs)|Qt\.labs)\b": ["desktop/controls/"],
    r"QtTest$": ["tests/"],
    r"(gtest|gmock)/": ["tests/"],
    r"benchmark/": ["bench/"],
    r"boost/json": [
        "platform/json/", "platform/settings/", "cli/", "tests/", "bench/", "cmake/precompiled.hpp",
        r".*_wire\.[ch]pp", r"core/(user_prompt|token_usage)\w*\.[ch]pp",
    ],
    r"boost/(?!asio|json|system|uuid)": [],
}

SOURCE_FOLDERS = [folder for layer in LAYERS for folder in layer] + ["tests", "bench", "cmake"]
INCLUDE = re.compile(r'^\s*#\s*include\s*(?:"([^"]+)"|<([^>]+)>)')
IMPORT = re.compile(r'^\s*import\s+("[^"]+"|[\w.]+)')
OWN_MODULES = "Ravant."


def layer_of(folder):
    return next((rank for rank, layer in enumerate(LAYERS) if folder in layer), None)


def allowed(path, places):
    return any(path.startswith(place) if place.endswith("/") else re.fullmatch(place, path) for place in places)


def layer_violation(path, included):
    """Why the source `path` may not include our own header `included`, or None."""
    if "/" not in included:
        return "includes are written from the root of the sources"
    source, target = path.split("/"), included.split("/")
    source_rank, target_rank = layer_of(source[0]), layer_of(target[0])
    if source_rank is None:
        return None
    if target_rank is None:
        return f"{source[0]} may not include {target[0]}" if target[0] in SOURCE_FOLDERS else None
    if source[0] != target[0] and source_rank >= target_rank:
        return f"{source[0]} may not include {target[0]}"
    if source[0] == target[0] and source[0] in APART and len(target) > 2 and source[1] != target[1]:
        return f"{'/'.join(source[:-1])} may not include {'/'.join(target[:-1])}"
    if source[0] == target[0] == "desktop" and len(source) > 2 and len(target) > 2 and source[1] != target[1]:
        ranks = [next((rank for rank, layer in enumerate(DESKTOP_LAYERS) if name in layer), None)
                 for name in (source[1], target[1])]
        if None in ranks or ranks[0] >= ranks[1]:
            return f"desktop/{source[1]} may not include desktop/{target[1]}"
    folder, target_folder = "/".join(source[:-1]), "/".join(target[:-1])
    if target_folder in UPON and folder == "/".join(target[:-2]):
        return f"{folder} may not include {target_folder}"
    return None


def third_party_violation(path, header):
    for pattern, places in WRAPPED.items():
        if re.match(pattern, header) and not allowed(path, places):
            return f"only {', '.join(places) or 'nobody'} may include it"
    return None


def include_violation(path, line):
    """What the line includes, and why it may not, or None."""
    if not (match := INCLUDE.match(line)):
        return None
    own, third_party = match.groups()
    reason = own and layer_violation(path, own) or third_party_violation(path, own or third_party)
    return reason and f"{own or third_party}: {reason}"


def import_violation(path, line):
    """As `include_violation`, of a line of QML."""
    if not (match := IMPORT.match(line)):
        return None
    module = match[1]
    if module.startswith('"'):
        reason = "what is imported is a module"
    elif module.startswith(OWN_MODULES):
        reason = layer_violation(path, f"desktop/{module.removeprefix(OWN_MODULES).lower()}/qmldir")
    else:
        reason = third_party_violation(path, module)
    return reason and f"{module}: {reason}"


VIOLATION = {".cpp": include_violation, ".hpp": include_violation, ".qml": import_violation}


def violations(root):
    for file in (file for folder in SOURCE_FOLDERS for file in sorted((root / folder).rglob("*"))):
        if not (violation := VIOLATION.get(file.suffix)):
            continue
        path = file.relative_to(root).as_posix()
        for number, line in enumerate(file.read_text(encoding="utf-8").splitlines(), 1):
            if found := violation(path, line):
                yield f"{path}:{number}: {found}"


LAWFUL = [
    ("cli/run_command.cpp", '"app/start_up.hpp"'),
    ("cli/run_command.cpp", "<CLI/CLI.hpp>"),
    ("desktop/text/markdown_reader.hpp", "<md4c.h>"),
    ("runners/claude/claude_runner.cpp", '"runners/shell_session.hpp"'),
    ("runners/claude/claude_runner.cpp", '"runners/claude/claude_turn.hpp"'),
    ("runners/claude/claude_wire.cpp", "<boost/json.hpp>"),
    ("core/store/transcript_store.cpp", '"platform/sqlite/database.hpp"'),
    ("core/dispatcher.cpp", '"core/store/transcript_store.hpp"'),
    ("core/store/search/search_index.cpp", '"core/store/schema.hpp"'),
    ("platform/process/child_process.cpp", '"platform/async/async.hpp"'),
    ("platform/async/async.hpp", "<boost/asio/awaitable.hpp>"),
    ("desktop/main.cpp", '"desktop/window/no_network.hpp"'),
    ("desktop/sidebar/project_tree.hpp", '"desktop/program/store_changes.hpp"'),
    ("tests/core/store/store_test.cpp", '"cli/command.hpp"'),
    ("desktop/window/Main.qml", "Ravant.Sidebar"),
    ("desktop/sidebar/Sidebar.qml", "Ravant.Sidebar"),
    ("desktop/sidebar/Sidebar.qml", "Ravant.Controls as Controls"),
    ("desktop/controls/Question.qml", "QtQuick.Templates as T"),
    ("tests/desktop/controls/tst_buttons.qml", "Ravant.Theme"),
]
UNLAWFUL = [
    ("core/dispatcher.cpp", '"app/start_up.hpp"'),
    ("platform/async/actor.hpp", '"core/agent.hpp"'),
    ("app/start_up.cpp", '"cli/run_command.hpp"'),
    ("git/status_reader.cpp", '"palette/model.hpp"'),
    ("runners/claude/claude_runner.cpp", '"runners/codex/codex_wire.hpp"'),
    ("runners/shell_session.cpp", '"runners/claude/claude_runner.hpp"'),
    ("core/agent.cpp", '"tests/support/run.hpp"'),
    ("core/store/schema.cpp", '"core/store/search/search_index.hpp"'),
    ("core/agent.cpp", '"agent.hpp"'),
    ("core/store/search/search_letter.cpp", "<utf8proc.h>"),
    ("desktop/sidebar/project_tree.hpp", '"desktop/composer/draft.hpp"'),
    ("desktop/loop/view_model.hpp", '"desktop/program/store_changes.hpp"'),
    ("core/store/transcript_store.cpp", "<sqlite3.h>"),
    ("app/start_up.cpp", "  <curl/curl.h>"),
    ("app/start_up.cpp", "<QString>"),
    ("desktop/conversation/rows.cpp", "<md4c.h>"),
    ("runners/claude/claude_runner.cpp", "<boost/json/value.hpp>"),
    ("platform/process/child_process.cpp", "<boost/process.hpp>"),
    ("desktop/sidebar/Sidebar.qml", "Ravant.Composer"),
    ("desktop/controls/Question.qml", "Ravant.Window"),
    ("desktop/theme/ThemeIcon.qml", "Ravant.Program 1.0"),
    ("desktop/palette/PalettePopup.qml", "QtQuick.Controls.Basic as Basic"),
    ("desktop/window/Main.qml", "  QtQuick.Dialogs"),
    ("desktop/conversation/Transcript.qml", '"../sidebar"'),
    ("desktop/conversation/Transcript.qml", "QtTest"),
]


def found_in(path, include):
    line = f"import {include}" if path.endswith(".qml") else f"#pragma once\n#include {include}"
    with tempfile.TemporaryDirectory() as folder:
        file = Path(folder, path)
        file.parent.mkdir(parents=True)
        file.write_text(f"{line}\n", encoding="utf-8")
        return list(violations(Path(folder)))


def self_test():
    wrong = [f"not found: {path}: {include}" for path, include in UNLAWFUL if len(found_in(path, include)) != 1]
    wrong += [f"falsely found: {found}" for path, include in LAWFUL for found in found_in(path, include)]
    return wrong


def main():
    problems = self_test() if sys.argv[1:] == ["--self-test"] else list(violations(Path(__file__).parents[1]))
    print("\n".join(problems) or "ok")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
