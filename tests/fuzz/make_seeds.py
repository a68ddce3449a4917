#!/usr/bin/env python3
"""Writes the fuzzers' seeds: what the cassettes' agents print, and small texts of each reader's own kind.

usage: make_seeds.py TESTS SEEDS
"""

import json
import shutil
import sys
from pathlib import Path

PROMPT_END = {"jsonrpc": "2.0", "id": 3, "result": {"stopReason": "end_turn", "usage": {"inputTokens": 5}}}

TEXTS = [
    "Words.\n\n```sh\nls -l\n```\n\nMore words.",
    "~~~~ c++ x\n```\nint main() {}\n~~~~\n",
    "```\nnever closed\r\n\r\n",
    "\x1b[2Jcleared\x07 \u202etxt.exe \u009b31m 漢字 a\u0301\r\n",
]

SETTINGS = [
    '{"shell": {"startSeconds": 45}, "keyStore": "file", "mine": [1, 2.5, true, null]}',
    '{"a": 1e400, "b": 0.1, "c": 123456789012345678901234567890, "d": -0.0, "e": 1E5}',
    '{"theme": "light", "text": "\\u00e9\\ud83d\\ude00\\ud800"}',
    "",
]

PATCHES = [
    "@@ -10,3 +12,4 @@ int main() {\n same\n-old\n+new\n+\n\n@@ -90 +95 @@ - x\n-a\n\\ No newline at end of file\n+b\r\n",
    "--- a\n+++ b\n@@ -0,0 +1,2 @@\n+@@ é\n é\né\n@@\n@@ -99999999999999999999 +-1 @@\n x",
]

CHAT = [
    [{"choices": [{"delta": {"content": "Hel"}}]}, {"choices": [{"delta": {"content": "lo"}, "finish_reason": "stop"}]}],
    [{"choices": [{"delta": {"tool_calls": [{"index": 0, "id": "a", "function": {"name": "bash", "arguments": "{"}}]}}]},
     {"choices": [{"delta": {"tool_calls": [{"function": {"arguments": "}"}}]}, "finish_reason": "tool_calls"}],
      "usage": {"prompt_tokens": 3, "completion_tokens": 2}}],
    [{"choices": [{"delta": {"reasoning_content": "Hm.", "content": [{"type": "text", "text": "parts"}]}}]}],
    [{"error": {"code": 429, "message": "slow down"}}],
]

PULL = {"id": "PR_1", "number": 1, "title": "T", "url": "u", "isDraft": False, "merged": False, "closed": True,
        "repository": {"nameWithOwner": "o/r"}, "author": {"login": "a"}, "reviewDecision": "APPROVED",
        "commits": {"nodes": [{"commit": {"statusCheckRollup": {"state": "SUCCESS"}}}]}}
GITHUB = [
    {"data": {"search": {"pageInfo": {"hasNextPage": True, "endCursor": "c"}, "nodes": [PULL, {}]}}},
    {"data": {"a0": {"pullRequest": PULL}, "a1": None, "a2": {"pullRequest": None}},
     "errors": [{"type": "NOT_FOUND", "path": ["a1"], "message": "gone\nghp_hush"}, {"type": "RATE_LIMITED"}]},
    [{"filename": "f", "previous_filename": "e", "status": "renamed", "additions": 1, "deletions": 2, "patch": "@@"}],
    [{"id": 1, "name": "r", "full_name": "o/r", "private": True, "pushed_at": "2026-11-21T09:14:16+02:00"}],
    {"login": "octo", "id": 1, "name": None},
    {"hosts": {"github.com": [{"login": "octo", "active": True, "host": "github.com", "token": "ghp_hush"}]}},
]

LINEAR_ISSUE = {"id": "i", "identifier": "ENG-1", "title": "T", "description": None, "priority": 2, "priorityLabel": "High",
                "state": {"name": "Todo", "type": "unstarted", "color": "#e2e2e2"}, "team": {"key": "ENG", "name": "E"},
                "project": {"name": "P"}, "url": "https://linear.app/i", "createdAt": "2026-11-21T10:00:00.123Z",
                "updatedAt": "2026-11-21T10:00:00+02:00"}
LINEAR = [
    {"data": {"viewer": {"id": "u", "name": "Ada", "email": "a@b.c"}, "organization": {"id": "o", "name": "O", "urlKey": "o"}}},
    {"data": {"teams": {"nodes": [{"id": "t", "key": "ENG", "name": "E", "color": None}]}}},
    {"data": {"viewer": {"assignedIssues": {"pageInfo": {"hasNextPage": True, "endCursor": "c"},
                                            "nodes": [LINEAR_ISSUE, {**LINEAR_ISSUE, "createdAt": "soon"}]}}}},
    {"data": None, "errors": [{"message": "Authentication required", "extensions": {"code": "RATELIMITED"}}]},
]


def turns_of(cassette):
    """What is printed for each prompt, as bytes."""
    turns = []
    for line in cassette.read_text(encoding="utf-8").splitlines():
        verb, _, rest = line.partition(" ")
        if line.startswith("== turn"):
            turns.append(b"")
        elif turns and line.startswith("{"):
            turns[-1] += line.encode() + b"\n"
        elif turns and verb in ("print", "no-newline"):
            turns[-1] += rest.encode().decode("unicode_escape").encode("latin-1", "replace") + b"\n"
        elif turns and verb == "reply-to-prompt":
            turns[-1] += json.dumps({**PROMPT_END, "result": json.loads(rest)}).encode() + b"\n"
    return [turn for turn in turns if turn]


def main(tests, seeds):
    shutil.rmtree(seeds, ignore_errors=True)
    made = {"text": [text.encode() for text in TEXTS], "settings": [text.encode() for text in SETTINGS], "json_rpc": [],
            "patches": [text.encode() for text in PATCHES]}
    made["chat"] = ["".join(f"data: {json.dumps(event)}\n\n" for event in events).encode() + b"data: [DONE]\n"
                    for events in CHAT]
    made["github"] = [json.dumps(answer).encode() for answer in GITHUB]
    made["linear"] = [json.dumps(answer).encode() for answer in LINEAR]
    for folder in ("agents", "golden"):
        for cassette in sorted((tests / folder).glob("*/*.cassette")):
            made.setdefault(cassette.parent.name, []).extend(turns_of(cassette))
    made["json_rpc"] = made["codex"][:20] + [b'{"id":1,"result":{}}\n{"id":1,"result":{}}\n{"id":2,"error":{"code":-1}}\n',
                                            b'[{"id":0,"method":"ask","params":{}},{"id":"x","method":"ask"}]\n']
    for reader, inputs in made.items():
        (seeds / reader).mkdir(parents=True)
        for number, content in enumerate(inputs):
            (seeds / reader / str(number)).write_bytes(content)
    (seeds / "made").touch()


if __name__ == "__main__":
    main(Path(sys.argv[1]), Path(sys.argv[2]))
