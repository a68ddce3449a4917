"""The sessions that agents keep in files, brought in by `ravant import`, as bench/run measures it."""

import json
import os
import shutil
import subprocess
import sys

MEGABYTES = 50
LEAST = 50  # megabytes for each second of processor time
PROSE = "The reader keeps what it has read in one buffer and hands out views of it. "
TIME = "2026-11-22T10:00:00.000Z"


def line(**members):
    return json.dumps({"timestamp": TIME, **members}, separators=(",", ":")) + "\n"


def claude_turn(number):
    def entry(name, parent, kind, message):
        return line(type=kind, uuid=f"{name}-{number}", parentUuid=f"{parent}", isSidechain=False, cwd="/p",
                    sessionId="session-1", version="2.1.330", gitBranch="main", message=message)

    def reply(name, parent, block, stop):
        return entry(name, f"{parent}-{number}", "assistant",
                     {"id": f"msg_{name}_{number}", "role": "assistant", "model": "model", "content": [block],
                      "stop_reason": stop, "usage": {"input_tokens": 100, "output_tokens": 20}})

    yield entry("u", f"z-{number - 1}", "user", {"role": "user", "content": f"Prompt {number}"})
    yield line(type="api-request", sessionId="session-1", id=f"r{number}", body=PROSE * 120)
    call = {"type": "tool_use", "id": f"call_{number}", "name": "Bash", "input": {"command": "make"}}
    yield reply("c", "u", call, "tool_use")
    yield entry("t", f"c-{number}", "user", {"role": "user", "content": [
        {"type": "tool_result", "tool_use_id": f"call_{number}", "content": PROSE * 40}]})
    yield reply("z", "t", {"type": "text", "text": PROSE * 8}, "end_turn")


def codex_turn(number):
    turn = f"turn-{number}"

    def event(kind, **members):
        return line(ordinal=number, type="event_msg", payload={"type": kind, "turn_id": turn, **members})

    def item(**members):
        return event("item_completed", item=members)

    def response(kind, **members):
        return line(ordinal=number, type="response_item", payload={"type": kind, **members})

    yield event("task_started")
    yield item(type="UserMessage", content=[{"type": "text", "text": f"Prompt {number}"}])
    yield response("message", role="user", content=[{"type": "input_text", "text": f"Prompt {number}"}])
    yield response("function_call", name="exec_command", arguments='{"cmd":"make"}', call_id=f"call_{number}")
    yield item(type="CommandExecution", id=f"call_{number}", command=["/bin/bash", "-lc", "make"], status="completed",
               aggregated_output=PROSE * 40, exit_code=0)
    yield response("function_call_output", call_id=f"call_{number}", output="Output:\n" + PROSE * 40)
    yield item(type="AgentMessage", id=f"msg_{number}", content=[{"type": "Text", "text": PROSE * 8}])
    yield response("message", role="assistant", content=[{"type": "output_text", "text": PROSE * 8}])
    yield event("task_complete")


def pi_turn(number):
    def entry(name, parent, **message):
        return line(type="message", id=f"{name}-{number}", parentId=parent, message=message)

    reply = {"role": "assistant", "model": "model", "usage": {"input": 100, "output": 20}}
    parent = f"z-{number - 1}" if number else None
    yield entry("u", parent, role="user", content=[{"type": "text", "text": f"Prompt {number}"}])
    yield entry("c", f"u-{number}", **reply, stopReason="toolUse", content=[
        {"type": "toolCall", "id": f"call_{number}", "name": "bash", "arguments": {"command": "make"}}])
    yield entry("t", f"c-{number}", role="toolResult", toolCallId=f"call_{number}", isError=False,
                content=[{"type": "text", "text": PROSE * 40}])
    yield entry("z", f"t-{number}", **reply, stopReason="stop", content=[{"type": "text", "text": PROSE * 8}])


THREAD = "11111111-1111-7111-8111-111111111111"
FORMATS = {
    "claude": ("projects/-p/session-1.jsonl", "", claude_turn),
    "codex": (f"sessions/2026/11/22/rollout-2026-11-22T10-00-00-{THREAD}.jsonl",
              line(type="session_meta", payload={"id": THREAD, "cwd": "/p", "history_mode": "paginated"}), codex_turn),
    "pi": ("sessions/--p--/1_session-1.jsonl", line(type="session", version=3, id="session-1", cwd="/p"), pi_turn)}


def write_session(path, first, turn):
    """Says how many turns it has."""
    path.parent.mkdir(parents=True)
    with path.open("w") as file:
        file.write(first)
        for number in range(sys.maxsize):
            if file.tell() > MEGABYTES * 1_000_000:
                return number
            file.writelines(turn(number))


def agent_sessions(bench):
    bench.say(f"sessions: a session of {MEGABYTES} MB of each agent is brought into an empty store, by the whole "
              "program, in processor time.")
    for agent, (path, first, turn) in FORMATS.items():
        folder = bench.folder / "sessions" / agent
        turns = write_session(folder / path, first, turn)
        least = None
        for _ in range(max(2, bench.rounds // 2)):
            store = folder / "store"
            shutil.rmtree(store, ignore_errors=True)
            command = ["--data-dir", store, "import", agent, "--from", folder, "--json"]
            child = subprocess.Popen([bench.build / "cli" / "ravant", *command], stdout=subprocess.PIPE)
            told = json.loads(child.stdout.read())
            _, status, usage = os.wait4(child.pid, 0)
            child.returncode = os.waitstatus_to_exitcode(status)
            if child.returncode or (told["conversations"], told["items"], told["skipped"]) != (1, 3 * turns, []):
                sys.exit(f"the import of {agent} came to {told}")
            seconds = usage.ru_utime + usage.ru_stime
            took = seconds, usage.ru_maxrss / 1024
            least = min(least or took, took)
        bench.row_at_least(f"sessions: {agent}, MB a second", MEGABYTES / least[0], LEAST, " MB/s")
        bench.reported(f"sessions: memory of {agent}", least[1], " MiB")
