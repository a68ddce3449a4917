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

MARKDOWN = [
    "# A `b`\n\nc *d* **e** ~~f~~ <g> &amp; [h](https://e.org \"t\") ![i](x) src/a.cpp:3:4\n\n---\n",
    "- a\n  - [x] b\n\n3) c\n   ```rust\n   r#\"x\n   ```\n> d\n> > e\n",
    "| a | b |\n|:-|--:|\n| 1 | `x\\|y` |\n||\n\n[a]: https://e.org\n[a] https://e.org/(b). a@b.cd",
    "```js\n`a ${b(`c`)} /* */ /d/g\n```\n```sh\ncat <<E\nE\n```\n    code\n\u202e\u2066\x1b",
]

SETTINGS = [
    '{"shell": {"startSeconds": 45}, "keyStore": "file", "mine": [1, 2.5, true, null]}',
    '{"a": 1e400, "b": 0.1, "c": 123456789012345678901234567890, "d": -0.0, "e": 1E5}',
    '{"theme": "light", "text": "\\u00e9\\ud83d\\ude00\\ud800"}',
    "",
]

EXPORTS = [
    """{"format":"ravant.conversation","version":1,
"project":{"path":"/p","name":"p"},
"conversation":{"id":"00000000-0000-4000-8000-000000000001","agentType":"pi","createdAt":"2026-11-21T10:00:00.000000Z",\
"lastActivityAt":"2026-11-21T10:00:00.000000Z","lastPromptAt":"2026-11-21T10:00:00.000000Z","archived":false,\
"lastUsedTokens":7,"title":"T","workItem":{"kind":"linearIssue","name":"E-1","url":"u"}},
"items":[
{"kind":"userMessage","createdAt":"2026-11-21T10:00:00.000000Z","text":"a","rawJSON":"{}","endReason":"limit"},
{"kind":"agentMessage","createdAt":"2026-11-21T10:00:01.000000Z","text":"a","rawJSON":{"base64":"/w=="},\
"inputTokens":5,"blocks":[{"index":0,"kind":"code","language":"c","text":"```\\n`<b>`"}]},
{"kind":"toolInvocationGroup","createdAt":"2026-11-21T10:00:01.000000Z","text":"","rawJSON":"","invocations":[\
{"toolName":"Bash","toolCallId":"1","input":"{}","status":"completed","createdAt":"2026-11-21T10:00:01.000000Z",\
"completedAt":"2026-11-21T10:00:02.000000Z","text":"","rawJSON":"","output":"\\u0000"}]},
{"kind":"failureEvent","createdAt":"2026-11-21T10:00:02.000000Z","text":"a","rawJSON":""}
]}
""",
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

SESSIONS = [
    [{"type": "user", "uuid": "u", "parentUuid": None, "cwd": "/p", "message": {"content": "Go"}},
     {"type": "assistant", "uuid": "r", "parentUuid": "u", "message": {"id": "m", "model": "x", "content": [
         {"type": "text", "text": "a"}, {"type": "tool_use", "id": "c", "name": "Bash", "input": {}}]}},
     {"type": "user", "uuid": "t", "parentUuid": "r", "message": {"content": [
         {"type": "tool_result", "tool_use_id": "c", "content": "out"}]}},
     {"type": "user", "uuid": "v", "parentUuid": None, "message": {"content": "Better"}}],
    [{"type": "session_meta", "ordinal": 0, "payload": {"id": "thread", "cwd": "/p", "history_mode": "paginated"}},
     {"type": "event_msg", "payload": {"type": "task_started", "turn_id": "t"}},
     {"type": "response_item", "payload": {"type": "function_call", "name": "exec_command", "call_id": "c",
                                           "arguments": "{\"cmd\": \"ls\"}"}},
     {"type": "event_msg", "payload": {"type": "item_completed", "turn_id": "t", "item": {
         "type": "CommandExecution", "id": "d", "command": ["bash", "-lc", "a b"], "aggregated_output": ""}}},
     {"type": "event_msg", "payload": {"type": "task_complete", "turn_id": "t", "error": {"message": "no"}}}],
    [{"type": "session_meta", "payload": {"id": "thread"}},
     {"type": "event_msg", "payload": {"type": "user_message", "message": "Go"}},
     {"type": "response_item", "payload": {"type": "function_call", "name": "shell", "call_id": "c",
                                           "arguments": "{\"command\": [\"ls\", \"a b\"]}"}},
     {"type": "response_item", "payload": {"type": "function_call_output", "call_id": "c",
                                           "output": "Process exited with code 3\nOutput:\nx"}}],
    [{"type": "session", "version": 3, "id": "s", "cwd": "/p"},
     {"type": "message", "id": "1", "parentId": None, "message": {"role": "user", "content": "Go"}},
     {"type": "message", "id": "2", "parentId": "1", "message": {"role": "assistant", "stopReason": "toolUse", "content": [
         {"type": "toolCall", "id": "c", "name": "bash", "arguments": {}}], "usage": {"input": 1}}},
     {"type": "message", "id": "3", "parentId": "2", "message": {"role": "toolResult", "toolCallId": "c", "content": []}},
     {"type": "context_edit", "id": "4", "parentId": "3", "targetId": "2"}],
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
            "patches": [text.encode() for text in PATCHES], "exports": [text.encode() for text in EXPORTS],
            "markdown": [text.encode() for text in MARKDOWN]}
    made["chat"] = ["".join(f"data: {json.dumps(event)}\n\n" for event in events).encode() + b"data: [DONE]\n"
                    for events in CHAT]
    made["github"] = [json.dumps(answer).encode() for answer in GITHUB]
    made["linear"] = [json.dumps(answer).encode() for answer in LINEAR]
    for folder in ("agents", "golden"):
        for cassette in sorted((tests / folder).glob("*/*.cassette")):
            made.setdefault(cassette.parent.name, []).extend(turns_of(cassette))
    made["json_rpc"] = made["codex"][:20] + [b'{"id":1,"result":{}}\n{"id":1,"result":{}}\n{"id":2,"error":{"code":-1}}\n',
                                            b'[{"id":0,"method":"ask","params":{}},{"id":"x","method":"ask"}]\n']
    made["sessions"] = ["".join(json.dumps(line) + "\n" for line in session).encode() for session in SESSIONS]
    for reader, inputs in made.items():
        (seeds / reader).mkdir(parents=True)
        for number, content in enumerate(inputs):
            (seeds / reader / str(number)).write_bytes(content)
    (seeds / "made").touch()


if __name__ == "__main__":
    main(Path(sys.argv[1]), Path(sys.argv[2]))
