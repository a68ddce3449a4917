"""The agent of the pictures, and what it says."""

import json

# What the agent says of the prompt "Read pages around an item": texts, and calls of tools.
ANSWER = (
    """# Pages around an item
I read the **reader** first: `core/store/transcript_reader.hpp:42`, and [what it promises](https://example.org/docs).

- one page is *sixty* items
  1. the first is the one above the window
  2. the last is the one below it
- [x] both are read by one statement

> Two items can share a time stamp.""",
    ("Edit", {"file_path": "core/store/transcript_reader.cpp", "old_string": "a", "new_string": "a\nb"}, "ok", False),
    ("Bash", {"command": "ctest --preset dev -R TranscriptReader"}, "Exit code 8\n9 tests failed", True),
    """The first run failed because of them.

```cpp
/// Items next to `anchor`, oldest first; the anchor itself is left out.
awaitable<TranscriptPage> page(ConversationId conversation, Direction direction, std::int64_t limit = 60);
```

| 100,000 items | p50 | p95 |
|---|---|---|
| last 60 | 1.4 ms | 1.9 ms |
| 60 around the middle | 1.6 ms | 2.3 ms |""")

# Answers, but to a prompt that begins with "Wait" only with the calls of tools, and waits; with "Fail", it fails.
AGENT = """
for prompt; do :; done
cat "$HOME/said/begin"
case $prompt in
  Fail*) echo "out of paper: the tray is empty" >&2; exit 1 ;;
  Wait*) cat "$HOME/said/work"; sleep 300 & wait ;;
esac
cat "$HOME/said/work" "$HOME/said/end"
"""


def record(kind, **fields):
    return json.dumps({"type": kind, "session_id": "s"} | fields) + "\n"


def message(number, content):
    return record("assistant", message={"id": f"msg_{number}", "role": "assistant", "model": "demo", "content": [content],
                                        "usage": {"input_tokens": 82_000, "output_tokens": 200}})


def said():
    """What the agent prints, by the name of the file that its script has it in."""
    work = ""
    for number, part in enumerate(ANSWER):
        if isinstance(part, str):
            work += message(number, {"type": "text", "text": part})
            continue
        tool, given, result, is_error = part
        work += message(number, {"type": "tool_use", "id": f"tool_{number}", "name": tool, "input": given})
        work += record("user", message={"role": "user", "content": [
            {"type": "tool_result", "tool_use_id": f"tool_{number}", "content": result, "is_error": is_error}]})
    return {"begin": record("system", subtype="init", model="demo", tools=[]), "work": work,
            "end": record("result", subtype="success", is_error=False, result="Done.")}
